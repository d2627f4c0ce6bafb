#include "recording/RecordingCompanions.h"

#include "app/Toast.h"
#include "platform/AudioSource.h"
#include "platform/Platform.h"

#include <utility>

RecordingCompanions::RecordingCompanions(RecordingRegion region, QRect screen,
                                         const RecordingOptions& options, bool gif,
                                         std::function<double()> elapsed, std::function<bool()> isRunning)
    : m_region(std::move(region)), m_screen(screen), m_options(options), m_gif(gif),
      m_elapsed(std::move(elapsed)), m_isRunning(std::move(isRunning)) {}

RecordingCompanions::~RecordingCompanions() {
    if (m_input) m_input->stop();
}

std::vector<uint32_t> RecordingCompanions::start(RecordingOverlayViews* views) {
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
        if (started) {
            m_clicksTracked = trackClicks;
            if (m_options.showClicks) {
                m_highlighter = std::make_unique<ClickHighlighter>();
                m_highlighter->start();
                if (views) m_views.push_back(views->show(*m_highlighter));
            }
            if (m_options.showKeystrokes) {
                m_keystrokes = std::make_unique<KeystrokeOverlay>(m_screen);
                m_keystrokes->start();
                if (views) m_views.push_back(views->show(*m_keystrokes));
            }
        } else {
            m_input.reset();
            // Said once a run: highlighting clicks is on by default, and a desktop that does not
            // let programs watch the input (Wayland) would repeat it at every recording.
            static QString said;
            const QString sentence = started.error().message +
                                     QStringLiteral(": recordings go on without click highlights, keystrokes "
                                                    "or zooms toward the clicks.");
            if (std::exchange(said, sentence) != sentence) Toast::show(sentence);
        }
    }
    if (studio) {
        if (auto& screen = platform::services().screen) {
            m_cursor = std::make_unique<CursorRecorder>(m_region, m_elapsed, m_isRunning, true, *screen);
            m_cursor->start();
        }
    }
    if (m_options.webcam && !m_gif) startWebcam(views);
    std::vector<uint32_t> inPicture;
    for (const auto& view : m_views)
        if (view)
            for (const uint32_t window : view->windowsInPicture())
                inPicture.push_back(window);
    return inPicture;
}

void RecordingCompanions::startWebcam(RecordingOverlayViews* views) {
    auto& cameras = platform::services().cameras;
    if (!cameras) return Toast::show(QStringLiteral("No camera can be used on this desktop"));
    m_webcam = std::make_unique<WebcamOverlay>(*cameras, m_screen);
    // Without a camera the recording goes on; the bubble goes away.
    connect(m_webcam.get(), &WebcamOverlay::failed, this, [this](const QString& sentence) {
        Toast::show(sentence);
        if (m_webcam) m_webcam->stop();
        emit cameraChanged(QStringLiteral("No camera"));
    });
    connect(m_webcam.get(), &WebcamOverlay::ready, this,
            [this] { emit cameraChanged(QStringLiteral("Camera on")); });
    emit cameraChanged(QStringLiteral("Camera starting"));
    m_webcam->start();
    m_webcam->follow([this] { return m_region.rect(); }, m_elapsed);
    if (views) m_views.push_back(views->show(*m_webcam));
}

RecordingCompanions::Tracked RecordingCompanions::stop() {
    if (m_input) m_input->stop();
    m_input.reset();
    m_views.clear();
    if (m_highlighter) m_highlighter->stop();
    if (m_keystrokes) m_keystrokes->stop();
    Tracked tracked;
    if (m_webcam) {
        tracked.webcam = m_webcam->info();
        m_webcam->feed().setHandler({});
        m_webcam->stop();
    }
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
    if (m_highlighter) m_highlighter->showRipple(press.rootPosition);
}

void RecordingCompanions::handleKey(const platform::KeyPress& press) {
    if (!m_isRunning()) return;
    if (m_keystrokes) m_keystrokes->keyPressed(press);
}
