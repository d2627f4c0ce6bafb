#include "video/StudioCamera.h"

#include "recording/WebcamComposer.h"

#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>

#include <algorithm>
#include <cmath>

namespace StudioCamera {

namespace {

// The texture transform that lays `camera`'s middle square over `place`.
QTransform squareOnto(QSize camera, QRectF place, bool mirrored) {
    const double square = std::min(camera.width(), camera.height());
    const double scale = place.width() / square;
    QTransform transform;
    transform.translate(place.left(), place.top());
    if (mirrored) {
        transform.translate(place.width(), 0);
        transform.scale(-1, 1);
    }
    transform.scale(scale, scale);
    transform.translate(-(camera.width() - square) / 2, -(camera.height() - square) / 2);
    return transform;
}

QPainterPath outline(QRectF place, CameraShape shape) {
    QPainterPath path;
    if (shape == CameraShape::circle)
        path.addEllipse(place);
    else
        path.addRoundedRect(place, place.width() * 0.22, place.width() * 0.22);
    return path;
}

// The camera's square with its outer part blurred: a small copy scaled up (soft) under the
// sharp picture, which fades out toward the edge. Costs a few small images per frame.
QImage softenedSquare(const QImage& camera, int side, bool mirrored) {
    QImage sharp(side, side, QImage::Format_ARGB32_Premultiplied);
    sharp.fill(Qt::transparent);
    {
        QPainter painter(&sharp);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.setTransform(squareOnto(camera.size(), QRectF(0, 0, side, side), mirrored));
        painter.drawImage(0, 0, camera);
    }
    const int small = std::max(4, side / 14);
    const QImage tiny = sharp.scaled(small, small, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    QImage soft(side, side, QImage::Format_ARGB32_Premultiplied);
    {
        QPainter painter(&soft);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.setCompositionMode(QPainter::CompositionMode_Source);
        painter.drawImage(QRectF(0, 0, side, side), tiny);
    }
    {
        // The sharp middle: opaque out to 45 % of the radius, gone at 85 %.
        QPainter painter(&sharp);
        QRadialGradient fade(QPointF(side / 2.0, side / 2.0), side / 2.0);
        fade.setColorAt(0.0, Qt::black);
        fade.setColorAt(0.45, Qt::black);
        fade.setColorAt(0.85, Qt::transparent);
        fade.setColorAt(1.0, Qt::transparent);
        painter.setCompositionMode(QPainter::CompositionMode_DestinationIn);
        painter.fillRect(sharp.rect(), fade);
        painter.setCompositionMode(QPainter::CompositionMode_DestinationOver);
        painter.drawImage(0, 0, soft);
    }
    return sharp;
}

} // namespace

QRect bubbleRect(const StudioStyle& style, const std::optional<WebcamInfo>& info, double time, QRect card,
                 QSize frame) {
    const std::optional<WebcamPlacement> recorded = info ? info->placement(time) : std::nullopt;
    const double scale = std::clamp(style.cameraSize, 0.5, 2.5);
    const double shorter = std::min(frame.width(), frame.height());
    if (style.cameraPosition == CameraPosition::recorded && recorded) {
        const QRect place = WebcamComposer::bubbleRect(card.size(), *recorded).translated(card.topLeft());
        // Scaled about the bubble's centre and kept inside the frame.
        const int side = std::min(int(std::lround(place.width() * scale)), int(shorter));
        QRect scaled(0, 0, side, side);
        scaled.moveCenter(place.center());
        scaled.moveLeft(std::clamp(scaled.left(), 0, frame.width() - side));
        scaled.moveTop(std::clamp(scaled.top(), 0, frame.height() - side));
        return side > 0 ? scaled : QRect();
    }
    // A corner of the frame (bottom left for a recording that kept no places), at the
    // recorded width (or a default) of the card.
    const double share = recorded && recorded->size > 0 ? recorded->size : defaultSize;
    const int side = std::min(int(std::lround(share * card.width() * scale)), int(shorter * 0.6));
    if (side <= 0) return {};
    const int margin = int(std::lround(shorter * 0.04));
    const bool left = style.cameraPosition == CameraPosition::topLeft ||
                      style.cameraPosition == CameraPosition::bottomLeft ||
                      style.cameraPosition == CameraPosition::recorded;
    const bool top =
        style.cameraPosition == CameraPosition::topLeft || style.cameraPosition == CameraPosition::topRight;
    return QRect(left ? margin : frame.width() - margin - side, top ? margin : frame.height() - margin - side,
                 side, side);
}

void draw(QPainter& painter, const QImage& camera, QRect place, CameraShape shape, bool mirrored, bool blur) {
    if (camera.isNull() || place.isEmpty()) return;
    const QRectF area(place);
    QBrush brush;
    if (blur) {
        const QImage softened = softenedSquare(camera, place.width(), mirrored);
        brush = QBrush(softened);
        brush.setTransform(QTransform::fromTranslate(area.left(), area.top()));
    } else {
        // Scaled on its own first: a plain scale is several times faster than sampling the
        // camera through a transformed brush.
        QImage square(place.size(), QImage::Format_RGB32);
        {
            QPainter scaler(&square);
            scaler.setRenderHint(QPainter::SmoothPixmapTransform);
            const int side = std::min(camera.width(), camera.height());
            scaler.drawImage(
                QRectF(square.rect()), camera,
                QRectF((camera.width() - side) / 2.0, (camera.height() - side) / 2.0, side, side));
        }
        if (mirrored) square = std::move(square).mirrored(true, false);
        brush = QBrush(square);
        brush.setTransform(QTransform::fromTranslate(area.left(), area.top()));
    }
    painter.save();
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    painter.setPen(Qt::NoPen);
    painter.setBrush(brush);
    painter.drawPath(outline(area, shape));
    painter.restore();
}

} // namespace StudioCamera
