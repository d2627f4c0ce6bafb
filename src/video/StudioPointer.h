#pragma once

#include "recording/CursorPath.h"
#include "video/RecordingTimeline.h"

#include <QImage>
#include <QPointF>
#include <QTransform>

#include <optional>
#include <vector>

class QPainter;

// The pointer of a studio recording drawn anew from its track: the smoothed path, the pointer
// images seen while recording (decoded once), and the ripples of its clicks.
class StudioPointer {
public:
    // The Gaussian window for a smoothing of 0 (raw) ... 1.
    static constexpr double maxSmoothingWindow = 0.25;
    // How long a click's ripple shows, and its size (in the recorded screen's points) as it
    // grows while fading.
    static constexpr double rippleSeconds = 0.5;

    StudioPointer() = default;
    StudioPointer(const RecordingTimeline& timeline, QSize video, double duration, double smoothing);

    bool isEmpty() const { return m_path.xs().empty(); }
    // Where the pointer is at `time`, in picture pixels.
    std::optional<QPointF> position(double time) const;
    // The same, smoothed heavily enough for a view that pans with it.
    std::optional<QPointF> calmPosition(double time) const;

    // `toFrame` maps picture pixels to the frame; `zoom` is how many frame pixels a picture
    // pixel covers. `size` is the look's pointer size.
    void drawPointer(QPainter& painter, double time, const QTransform& toFrame, double zoom,
                     double size) const;
    void drawRipples(QPainter& painter, double time, const QTransform& toFrame, double zoom) const;
    // Where the two draw in the frame at `time` (empty when they draw nothing), antialiased
    // edges included.
    QRectF pointerBounds(double time, const QTransform& toFrame, double zoom, double size) const;
    QRectF rippleBounds(double time, const QTransform& toFrame, double zoom) const;

private:
    struct Shape {
        QImage image;
        QSizeF size; // in picture pixels
        QPointF hot; // in picture pixels from the image's top left
    };
    const Shape& shapeAt(double time) const;
    // The pointer image's place in the frame, if it shows at `time`.
    std::optional<QRectF> pointerBox(double time, const QTransform& toFrame, double zoom, double size) const;

    CursorPath m_path;
    CursorPath m_calm;
    std::vector<Shape> m_shapes; // the recorded images, then a drawn arrow for tracks without any
    QList<ClickMark> m_clicks;
    QSize m_video;
    double m_pointsToPixels = 1; // picture pixels per recorded point
};
