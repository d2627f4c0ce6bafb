#include "video/StudioPointer.h"

#include "recording/ClickHighlighter.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace {

// A panning view follows where the pointer dwells, not every flick.
constexpr double calmWindow = 0.6;

const QColor rippleYellow(255, 204, 0);

// A ripple's width in frame pixels, `progress` (0...1) through its life.
double rippleDiameter(double progress, double pixelsPerPoint) {
    return (ClickHighlighter::kDiameter +
            (ClickHighlighter::kEndDiameter - ClickHighlighter::kDiameter) * progress) *
           pixelsPerPoint;
}

// A plain arrow pointer for tracks that kept no pointer images: 12 × 19 points, tip at 0, 0.
QImage drawnArrow(double scale) {
    const QSize size(int(std::ceil(14 * scale)), int(std::ceil(21 * scale)));
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainterPath arrow;
    arrow.moveTo(1, 1);
    arrow.lineTo(1, 17);
    arrow.lineTo(5, 13);
    arrow.lineTo(8, 19.5);
    arrow.lineTo(10.5, 18.5);
    arrow.lineTo(7.5, 12);
    arrow.lineTo(13, 12);
    arrow.closeSubpath();
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(scale, scale);
    painter.setPen(QPen(Qt::white, 1.4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::black);
    painter.drawPath(arrow);
    return image;
}

} // namespace

StudioPointer::StudioPointer(const RecordingTimeline& timeline, QSize video, double duration,
                             double smoothing)
    : m_clicks(timeline.clicks), m_video(video) {
    if (timeline.areaWidth > 0 && video.width() > 0) m_pointsToPixels = video.width() / timeline.areaWidth;
    const CursorPath raw(timeline.cursor, duration);
    m_path = raw.smoothed(std::clamp(smoothing, 0.0, 1.0) * maxSmoothingWindow);
    m_calm = raw.smoothed(calmWindow);
    for (const CursorShape& recorded : timeline.cursorShapes) {
        QImage image = QImage::fromData(recorded.png).convertToFormat(QImage::Format_ARGB32_Premultiplied);
        if (image.isNull() || recorded.width <= 0 || recorded.height <= 0) image = {};
        m_shapes.push_back({image, QSizeF(recorded.width, recorded.height) * m_pointsToPixels,
                            QPointF(recorded.hotX, recorded.hotY) * m_pointsToPixels});
    }
    // Drawn large, so that scaling it down keeps it sharp.
    m_shapes.push_back({drawnArrow(4), QSizeF(14, 21) * m_pointsToPixels, QPointF(1, 1) * m_pointsToPixels});
}

std::optional<QPointF> StudioPointer::position(double time) const {
    const auto place = m_path.position(time);
    if (!place) return std::nullopt;
    return QPointF(place->x() * m_video.width(), place->y() * m_video.height());
}

std::optional<QPointF> StudioPointer::calmPosition(double time) const {
    const auto place = m_calm.position(time);
    if (!place) return std::nullopt;
    return QPointF(place->x() * m_video.width(), place->y() * m_video.height());
}

const StudioPointer::Shape& StudioPointer::shapeAt(double time) const {
    const int index = m_path.shape(time);
    if (index >= 0 && size_t(index) + 1 < m_shapes.size() && !m_shapes[size_t(index)].image.isNull())
        return m_shapes[size_t(index)];
    return m_shapes.back();
}

std::optional<QRectF> StudioPointer::pointerBox(double time, const QTransform& toFrame, double zoom,
                                                double size) const {
    const auto place = position(time);
    if (!place || m_shapes.empty()) return std::nullopt;
    const Shape& shape = shapeAt(time);
    const double scale = zoom * std::clamp(size, 0.6, 2.5);
    const QPointF tip = toFrame.map(*place);
    return QRectF(tip - shape.hot * scale, shape.size * scale);
}

void StudioPointer::drawPointer(QPainter& painter, double time, const QTransform& toFrame, double zoom,
                                double size) const {
    const auto box = pointerBox(time, toFrame, zoom, size);
    if (!box) return;
    painter.save();
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(*box, shapeAt(time).image);
    painter.restore();
}

QRectF StudioPointer::pointerBounds(double time, const QTransform& toFrame, double zoom, double size) const {
    const auto box = pointerBox(time, toFrame, zoom, size);
    return box ? box->adjusted(-1, -1, 1, 1) : QRectF();
}

void StudioPointer::drawRipples(QPainter& painter, double time, const QTransform& toFrame,
                                double zoom) const {
    bool any = false;
    for (const ClickMark& click : m_clicks) {
        const double age = time - click.time;
        if (age < 0 || age >= rippleSeconds) continue;
        if (!any) {
            painter.save();
            painter.setRenderHint(QPainter::Antialiasing);
            any = true;
        }
        const double progress = age / rippleSeconds;
        const double diameter = rippleDiameter(progress, m_pointsToPixels * zoom);
        const QPointF center = toFrame.map(QPointF(click.x * m_video.width(), click.y * m_video.height()));
        QColor fill = rippleYellow;
        fill.setAlphaF(float(ClickHighlighter::kFillOpacity * (1 - progress)));
        QColor ring = rippleYellow;
        ring.setAlphaF(float(1 - progress));
        painter.setBrush(fill);
        painter.setPen(QPen(ring, ClickHighlighter::kBorderWidth * m_pointsToPixels * zoom));
        painter.drawEllipse(center, diameter / 2, diameter / 2);
    }
    if (any) painter.restore();
}

QRectF StudioPointer::rippleBounds(double time, const QTransform& toFrame, double zoom) const {
    QRectF bounds;
    for (const ClickMark& click : m_clicks) {
        const double age = time - click.time;
        if (age < 0 || age >= rippleSeconds) continue;
        const double scale = m_pointsToPixels * zoom;
        const double reach =
            rippleDiameter(age / rippleSeconds, scale) / 2 + ClickHighlighter::kBorderWidth * scale / 2 + 1;
        const QPointF center = toFrame.map(QPointF(click.x * m_video.width(), click.y * m_video.height()));
        bounds |= QRectF(center - QPointF(reach, reach), QSizeF(2 * reach, 2 * reach));
    }
    return bounds;
}
