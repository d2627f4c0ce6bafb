#include "capture/ScrollingCaptureController.h"

#include "app/Toast.h"
#include "capture/ScreenCaptureService.h"
#include "capture/ScrollStitch.h"
#include "platform/Platform.h"

#include <QElapsedTimer>
#include <QFuture>
#include <QKeySequence>
#include <QLoggingCategory>
#include <QTimer>
#include <QtConcurrent/QtConcurrentRun>

#include <algorithm>
#include <cmath>

Q_LOGGING_CATEGORY(lcScrolling, "pictavia.scrolling", QtWarningMsg)

namespace {

const QString runningToast = QStringLiteral("Scrolling capture running. Press Esc to finish");
const QString movedToast = QStringLiteral("Scrolling capture stopped. The page moved unexpectedly");
constexpr double runningToastSeconds = 3.0;

// Scroll bars sit within this many points of the area's edges; the offset search leaves
// that much out, the bar is looked for within it.
constexpr double barZonePoints = 20.0;

int sideMargin(const QImage& frame, bool horizontal, double scale) {
    const int across = horizontal ? frame.height() : frame.width();
    return std::min(int(barZonePoints * scale), across / 10);
}

} // namespace

ScrollingCaptureController::ScrollingCaptureController(const QRectF& rect, SelectionTarget target,
                                                       ScrollAxis axis, Completion completion, Timing timing)
    : rect(rect), target(std::move(target)), axis(axis), m_completion(std::move(completion)),
      m_timing(timing) {
    m_axisDecided = axis != ScrollAxis::automatic;
    if (axis == ScrollAxis::automatic) this->axis = ScrollAxis::vertical;
}

ScrollingCaptureController::~ScrollingCaptureController() {
    if (auto& hotkeys = platform::services().hotkeys)
        for (int handle : std::as_const(m_monitors))
            hotkeys->unbind(handle);
}

int ScrollingCaptureController::stepPoints(double length, double scale, bool overlayScrollers, int frozenLead,
                                           int frozenTrail, int windowCorners) {
    if (!overlayScrollers) return int(0.6 * length);
    // Floating bars and fixed edges cover content that must come round again in the next
    // frame: a shorter step keeps every line visible clear of them once.
    const double edges = frozenLead + std::max(frozenTrail + int(8 * scale), windowCorners);
    return std::max(int((length - edges / scale) * 0.48), 20);
}

int ScrollingCaptureController::stepPoints(bool horizontal) const {
    const double length = horizontal ? rect.width() : rect.height();
    return stepPoints(length, scale(), overlayScrollers, frozenLead, frozenTrail, windowCorners);
}

double ScrollingCaptureController::scale() const {
    return target.display.scale > 0 ? target.display.scale : 1.0;
}

void ScrollingCaptureController::begin() {
    m_clock.start();
    // The wheel reaches the window under the pointer. Placing it may ask the user first, so
    // the toast and Esc come after the answer.
    if (auto& scroller = platform::services().scrollSynthesizer) {
        const QPoint centre = target.display.geometry.topLeft() + (rect.center() * scale()).toPoint();
        if (auto placed = scroller->movePointer(centre); !placed) {
            m_failure = placed.error().message;
            return finish();
        }
    }
    Toast::show(runningToast, runningToastSeconds);
    if (auto& hotkeys = platform::services().hotkeys)
        if (const auto handle = hotkeys->bind(QKeySequence(Qt::Key_Escape), [this] { requestStop(); }))
            m_monitors.append(*handle);
    QTimer::singleShot(m_timing.firstGrab, this, [this] { grabFirst(); });
}

void ScrollingCaptureController::requestStop() {
    m_stopRequested = true;
}

namespace {

struct Grabbed {
    std::optional<QImage> image;
    QString failure; // why there is no image
    ScrollSamples samples;
    ScrollOffset::Measurement measured;
    qint64 measuringNs = 0; // the samples and the offset search, for the timing log
};

// The grab and its measurement against `previous`, on a worker thread.
Grabbed grabAndMeasure(const QRectF& rect, const platform::DisplayInfo& display, bool horizontal,
                       const ScrollSamples* previous, int expected) {
    Grabbed grabbed;
    auto image = ScreenCaptureService::shared().captureArea(rect, display);
    if (!image) {
        grabbed.failure = image.error().message;
        return grabbed;
    }
    grabbed.image = std::move(image).value();
    QElapsedTimer clock;
    clock.start();
    grabbed.samples =
        ScrollSamples::of(*grabbed.image, horizontal,
                          sideMargin(*grabbed.image, horizontal, display.scale > 0 ? display.scale : 1));
    if (previous) grabbed.measured = ScrollOffset::measure(*previous, grabbed.samples, expected);
    grabbed.measuringNs = clock.nsecsElapsed();
    return grabbed;
}

} // namespace

void ScrollingCaptureController::grabFirst() {
    QtConcurrent::run([rect = rect, display = target.display, horizontal = horizontal()] {
        return grabAndMeasure(rect, display, horizontal, nullptr, 0);
    }).then(this, [this](const Grabbed& grabbed) {
        if (!grabbed.image) {
            m_failure = grabbed.failure;
            return finish();
        }
        m_measuringNs += grabbed.measuringNs;
        m_frames.append({*grabbed.image, grabbed.samples});
        emit lengthChanged(stitchedLength());
        step();
    });
}

void ScrollingCaptureController::step() {
    if (m_stopRequested || m_steps >= maxSteps || stitchedLength() >= maxTotalLength) return finish();
    const double stepPixels = stepPoints(horizontal()) * scale();
    int notches = 1;
    int expected = 0;
    if (m_pixelsPerNotch > 0) {
        notches = std::max(1, int(stepPixels / m_pixelsPerNotch));
        expected = int(std::lround(notches * m_pixelsPerNotch));
    }
    if (!postScroll(notches)) return;
    ++m_steps;
    QTimer::singleShot(m_timing.settle, this,
                       [this, notches, expected] { grabAfterScroll(notches, expected, false); });
}

bool ScrollingCaptureController::postScroll(int notches) {
    lastScroll = QDateTime::currentDateTime();
    if (auto& scroller = platform::services().scrollSynthesizer)
        if (auto turned = scroller->turnWheel(notches, horizontal()); !turned) {
            // The desktop took the pointer back: what came before is kept, with the reason.
            finish(turned.error().message);
            return false;
        }
    return true;
}

void ScrollingCaptureController::grabAfterScroll(int notches, int expected, bool recheck) {
    // A copy: the worker may outlive this controller when the user ends the capture.
    QtConcurrent::run([rect = rect, display = target.display, horizontal = horizontal(),
                       previous = m_frames.last().samples, expected] {
        return grabAndMeasure(rect, display, horizontal, &previous, expected);
    }).then(this, [this, notches, expected, recheck](const Grabbed& grabbed) {
        if (!grabbed.image) return finish();
        m_measuringNs += grabbed.measuringNs;
        judge({*grabbed.image, grabbed.samples}, grabbed.measured, notches, expected, recheck);
    });
}

void ScrollingCaptureController::judge(Frame frame, ScrollOffset::Measurement measured, int notches,
                                       int expected, bool rechecked) {
    using Kind = ScrollOffset::Measurement::Kind;
    qCDebug(lcScrolling, "step of %d notches, expected %d: %d, offset %d, mismatch %.3f, lead %d, trail %d",
            notches, expected, int(measured.kind), measured.offset, measured.mismatch, measured.frozenLead,
            measured.frozenTrail);
    if (measured.kind == Kind::moved) {
        if (!m_axisDecided) m_axisDecided = true;
        return accept(std::move(frame), measured, notches, expected);
    }
    if (m_stopRequested) return finish();
    if (!rechecked && measured.kind == Kind::still) {
        // One more notch before this counts as the end: a list of identical rows scrolled by
        // a whole number of rows looks as if it had not moved at all.
        if (!postScroll(1)) return;
        const int probed = expected > 0 ? int(std::lround(expected + m_pixelsPerNotch)) : 0;
        return QTimer::singleShot(m_timing.settle, this,
                                  [this, notches, probed] { grabAfterScroll(notches + 1, probed, true); });
    }
    // Content still settling or still being drawn gets a second look before it is judged.
    if (!rechecked)
        return QTimer::singleShot(m_timing.recheck, this,
                                  [this, notches, expected] { grabAfterScroll(notches, expected, true); });
    if (measured.kind == Kind::still && !m_axisDecided && m_frames.size() == 1) {
        // Nothing moved down: an automatic axis tries sideways.
        m_axisDecided = true;
        axis = ScrollAxis::horizontal;
        Frame& first = m_frames.first();
        first.samples = ScrollSamples::of(first.image, true, sideMargin(first.image, true, scale()));
        return step();
    }
    // Two frames that do not move: the end of the content.
    if (measured.kind == Kind::still) return finish();
    finish(movedToast);
}

void ScrollingCaptureController::accept(Frame frame, const ScrollOffset::Measurement& measured, int notches,
                                        int expected) {
    // The wheel's distance is measured, not assumed: programs scroll by lines of their own.
    // A step that went further than asked corrects it; a shorter one is the page's end.
    if (m_pixelsPerNotch <= 0 || (expected > 0 && measured.offset > ScrollOffset::acceptedHigh * expected))
        m_pixelsPerNotch = double(measured.offset) / notches;
    m_trail = std::min(m_trail.value_or(measured.frozenTrail), measured.frozenTrail);
    frozenLead = m_frames.size() == 1 ? measured.frozenLead : std::min(frozenLead, measured.frozenLead);
    frozenTrail = *m_trail;
    if (!m_bar) {
        const int zone = int(barZonePoints * scale());
        m_bar = ScrollerRemoval::findBar(m_frames.last().samples, frame.samples, measured.offset,
                                         measured.frozenLead, measured.frozenTrail, zone);
        scrollBar = m_bar;
    }
    m_frames.append(std::move(frame));
    m_offsets.append(measured.offset);
    emit lengthChanged(stitchedLength());
    step();
}

int ScrollingCaptureController::stitchedLength() const {
    if (m_frames.isEmpty()) return 0;
    const QImage& first = m_frames.first().image;
    int length = horizontal() ? first.width() : first.height();
    for (int offset : m_offsets)
        length += offset;
    return std::min(length, maxTotalLength);
}

void ScrollingCaptureController::finish(const QString& toast) {
    if (m_finishing) return;
    m_finishing = true;
    if (auto& hotkeys = platform::services().hotkeys)
        for (int handle : std::as_const(m_monitors))
            hotkeys->unbind(handle);
    m_monitors.clear();
    if (!toast.isEmpty()) Toast::show(toast);
    if (m_frames.isEmpty()) {
        if (m_completion) std::exchange(m_completion, nullptr)(std::nullopt);
        emit finished();
        return;
    }
    QList<QImage> images;
    QList<ScrollSamples> samples;
    for (const Frame& frame : std::as_const(m_frames)) {
        images.append(frame.image);
        samples.append(frame.samples);
    }
    const bool sideways = horizontal();
    const int frameLength = sideways ? images.first().width() : images.first().height();
    const auto pieces = ScrollStitch::pieces(m_offsets, frameLength, m_trail.value_or(0), maxTotalLength);
    struct Stitched {
        std::optional<QImage> image;
        qint64 ns = 0;
    };
    QtConcurrent::run([images, samples, pieces, sideways, bar = m_bar]() -> Stitched {
        QElapsedTimer clock;
        clock.start();
        auto stitched = ScrollStitch::stitch(images, pieces, sideways);
        if (stitched && bar && images.size() >= 2) {
            QList<ScrollerRemoval::Band> bands;
            for (const ScrollSamples& s : samples)
                bands.append(ScrollerRemoval::bandOf(s, *bar));
            ScrollerRemoval::apply(*stitched, images, ScrollerRemoval::patches(bands, pieces), *bar,
                                   sideways);
        }
        return Stitched{std::move(stitched), clock.nsecsElapsed()};
    }).then(this, [this](const Stitched& stitched) {
        const QImage* image = stitched.image ? &*stitched.image : nullptr;
        qCDebug(lcScrolling, "%d frames, %d px; %lld ms in all, %lld ms measuring, %lld ms stitching",
                int(m_frames.size()), image ? (horizontal() ? image->width() : image->height()) : 0,
                m_clock.elapsed(), m_measuringNs / 1000000, stitched.ns / 1000000);
        if (m_completion) std::exchange(m_completion, nullptr)(stitched.image);
        emit finished();
    });
}
