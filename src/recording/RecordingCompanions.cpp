#include "recording/RecordingCompanions.h"

#include "app/Toast.h"
#include "platform/AudioSource.h"
#include "platform/Platform.h"

RecordingCompanions::RecordingCompanions(RecordingRegion region, QRect screen,
                                         const RecordingOptions& options, bool gif,
                                         std::function<double()> elapsed, std::function<bool()> isRunning)
    : m_region(std::move(region)), m_screen(screen), m_options(options), m_gif(gif),
      m_elapsed(std::move(elapsed)), m_isRunning(std::move(isRunning)) {}

RecordingCompanions::~RecordingCompanions() {
    if (m_input) m_input->stop();
}

std::vector<uint32_t> RecordingCompanions::start(RecordingOverlayViews* views) {
    Q_UNUSED(views);
    const bool studio = m_options.studio && !m_gif;
    const bool trackClicks = m_options.showClicks || studio;
    if (trackClicks || m_options.showKeystrokes) {
        auto& monitors = platform::services().inputMonitors;
        auto monitor = monitors ? monitors->create()
                                : Result<std::unique_ptr<platform::InputMonitor>>(Error{
                                      QStringLiteral("Clicks and keys cannot be watched on this desktop")});
        Result<bool> started = monitor ? Result<bool>(true) : Result<bool>(monitor.error());
        if (monitor) {
            m_input = std::move(monitor.value());
            started = m_input->start(
                [this](const platform::ButtonPress& press) {
                    QMetaObject::invokeMethod(
                        this, [this, press] { handleButton(press); }, Qt::QueuedConnection);
                },
                [this](const platform::KeyPress& press) {
                    QMetaObject::invokeMethod(
                        this, [this, press] { handleKey(press); }, Qt::QueuedConnection);
                });
        }
        if (started)
            m_clicksTracked = trackClicks;
        else {
            m_input.reset();
            Toast::show(started.error().message);
        }
    }
    if (studio) {
        if (auto& screen = platform::services().screen) {
            m_cursor = std::make_unique<CursorRecorder>(m_region, m_elapsed, m_isRunning, true, *screen);
            m_cursor->start();
        }
    }
    std::vector<uint32_t> inPicture;
    for (const auto& view : m_views)
        for (const uint32_t window : view->windowsInPicture())
            inPicture.push_back(window);
    return inPicture;
}

RecordingCompanions::Tracked RecordingCompanions::stop() {
    if (m_input) m_input->stop();
    m_input.reset();
    m_views.clear();
    Tracked tracked;
    tracked.clicks = m_clicks;
    tracked.clicksTracked = m_clicksTracked;
    if (m_cursor) tracked.cursor = m_cursor->stop();
    return tracked;
}

double RecordingCompanions::elapsedAt(qint64 eventTime) const {
    // The press waited in the event queue a moment: its time is the recording's time then.
    const double delay = double(platform::AudioSource::now() - eventTime) / 1e6;
    return std::max(0.0, m_elapsed() - std::max(0.0, delay));
}

void RecordingCompanions::handleButton(const platform::ButtonPress& press) {
    if (!m_isRunning()) return;
    if (press.button != Qt::LeftButton && press.button != Qt::RightButton) return;
    if (m_clicksTracked) {
        m_region.refresh();
        if (m_region.contains(press.rootPosition)) {
            const QPointF at = m_region.normalized(press.rootPosition);
            m_clicks.append({elapsedAt(press.time), at.x(), at.y()});
        }
    }
}

void RecordingCompanions::handleKey(const platform::KeyPress& press) {
    if (!m_isRunning()) return;
    Q_UNUSED(press);
}
