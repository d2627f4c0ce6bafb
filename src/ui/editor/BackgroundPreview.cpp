#include "ui/editor/BackgroundPreview.h"

#include <QPainter>
#include <QPainterPath>

namespace ui::editor {

QImage backgroundPreview(BackgroundStyle style, const QImage& thumbnail, const QImage& backdrop, QSize size,
                         double ratio) {
    QImage preview(size * ratio, QImage::Format_ARGB32_Premultiplied);
    preview.setDevicePixelRatio(ratio);
    preview.fill(Qt::transparent);
    QPainter painter(&preview);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    const QRectF box(QPointF(0, 0), QSizeF(size));
    QPainterPath frame;
    frame.addRoundedRect(box.adjusted(0.5, 0.5, -0.5, -0.5), 5, 5);
    painter.setClipPath(frame);
    if (style == BackgroundStyle::None) {
        // Transparency, as image editors show it.
        const double cell = 5;
        painter.fillRect(box, QColor(0xF4, 0xF4, 0xF4));
        for (int row = 0; row * cell < box.height(); ++row)
            for (int column = row % 2; column * cell < box.width(); column += 2)
                painter.fillRect(QRectF(column * cell, row * cell, cell, cell), QColor(0xDD, 0xDD, 0xDD));
    } else {
        Backgrounds::paint(painter, box, style, backdrop);
    }

    if (!thumbnail.isNull()) {
        // The picture inset the way padding places it, with a soft edge below.
        const QRectF room =
            box.adjusted(box.width() * 0.16, box.height() * 0.18, -box.width() * 0.16, -box.height() * 0.18);
        QSizeF fitted = thumbnail.size() / thumbnail.devicePixelRatio();
        fitted.scale(room.size(), Qt::KeepAspectRatio);
        QRectF target(QPointF(), fitted);
        target.moveCenter(room.center());
        QPainterPath rounded;
        rounded.addRoundedRect(target, 2.5, 2.5);
        painter.fillPath(rounded.translated(0, 1), QColor(0, 0, 0, 50));
        painter.save();
        painter.setClipPath(rounded, Qt::IntersectClip);
        painter.drawImage(target, thumbnail);
        painter.restore();
    }
    painter.setClipping(false);
    painter.setPen(QPen(QColor(0, 0, 0, 40), 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(frame);
    return preview;
}

QImage previewThumbnail(const QImage& image, int longest) {
    if (image.isNull()) return {};
    if (std::max(image.width(), image.height()) <= longest) return image;
    return image.scaled(QSize(longest, longest), Qt::KeepAspectRatio, Qt::SmoothTransformation);
}

} // namespace ui::editor
