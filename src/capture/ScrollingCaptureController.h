#pragma once

#include "app/PreferenceEnums.h"
#include "capture/ScrollOffset.h"
#include "capture/ScrollSamples.h"
#include "capture/ScrollerRemoval.h"
#include "capture/SelectionTypes.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QImage>
#include <QList>
#include <QObject>
#include <QRectF>

#include <chrono>
#include <functional>
#include <optional>

// One scrolling capture: scrolls the content under a rectangle of a display with the
// wheel, grabs the rectangle after every step, measures how far the content moved and
// stitches the frames into one long image. Main thread; grabs, measuring and stitching
// run on worker threads, the waits are timers.
class ScrollingCaptureController : public QObject {
    Q_OBJECT
public:
    // Receives the stitched image, or none when nothing could be captured; exactly once.
    using Completion = std::function<void(std::optional<QImage>)>;

    // The waits: before the first grab, and for the content to settle after a scroll.
    // Tests shorten them.
    struct Timing {
        std::chrono::milliseconds firstGrab{300};
        std::chrono::milliseconds settle{650};
        std::chrono::milliseconds recheck{350}; // a second look before a frame is judged
    };

    ScrollingCaptureController(const QRectF& rect, SelectionTarget target, ScrollAxis axis,
                               Completion completion, Timing timing);
    ScrollingCaptureController(const QRectF& rect, SelectionTarget target, ScrollAxis axis,
                               Completion completion)
        : ScrollingCaptureController(rect, std::move(target), axis, std::move(completion), Timing{}) {}
    ~ScrollingCaptureController() override;

    // Starts the capture and returns at once.
    void begin();
    // Esc or the panel's Done: the frames taken so far are stitched and delivered.
    void requestStop();
    // Why the capture ended before its first frame, for the completion to tell: the desktop
    // did not let the wheel turn (the user said no, or it has no way), or the area could not
    // be grabbed. Empty otherwise.
    const QString& failure() const { return m_failure; }

    // The distance of one scroll step in points, for an area `length` points long along
    // the axis on a display of `scale` pixels per point.
    static int stepPoints(double length, double scale, bool overlayScrollers, int frozenLead, int frozenTrail,
                          int windowCorners);
    int stepPoints(bool horizontal) const;

    const QRectF rect;
    const SelectionTarget target;
    int maxSteps = 50;
    int maxTotalLength = 24000;
    int frozenLead = 0;
    int frozenTrail = 0;
    int windowCorners = 0; // no window manager here rounds window corners in the content
    ScrollAxis axis;
    // Classic scroll bars beside the content: toolkits on X11 draw them so unless told
    // otherwise, and the area may hold any program's.
    bool overlayScrollers = false;
    std::optional<ScrollerRemoval::Bar> scrollBar;
    QDateTime lastScroll = QDateTime::currentDateTime();

signals:
    // The stitched length so far, in pixels along the axis.
    void lengthChanged(int pixels);
    // The completion has run.
    void finished();

private:
    struct Frame {
        QImage image;
        ScrollSamples samples;
    };

    bool horizontal() const { return axis == ScrollAxis::horizontal; }
    double scale() const;
    void grabFirst();
    void step();
    void grabAfterScroll(int notches, int expected, bool recheck);
    void judge(Frame frame, ScrollOffset::Measurement measured, int notches, int expected, bool rechecked);
    void accept(Frame frame, const ScrollOffset::Measurement& measured, int notches, int expected);
    int stitchedLength() const;
    void finish(const QString& toast = {});
    // False when the wheel could not turn, and the capture is finishing.
    bool postScroll(int notches);

    Completion m_completion;
    QString m_failure;
    Timing m_timing;
    QList<int> m_monitors; // the Esc key's grab
    bool m_stopRequested = false;
    bool m_finishing = false;
    bool m_axisDecided = false;  // an automatic axis is vertical until the first scroll says
    double m_pixelsPerNotch = 0; // measured: wheels scroll by lines, each program its own
    int m_steps = 0;
    QList<Frame> m_frames;
    QList<int> m_offsets;       // frame i + 1 moved this many pixels past frame i
    std::optional<int> m_trail; // the footer kept by every pair so far
    std::optional<ScrollerRemoval::Bar> m_bar;
    QElapsedTimer m_clock;    // since begin(), for the timing log
    qint64 m_measuringNs = 0; // on workers: samples and offset searches
};
