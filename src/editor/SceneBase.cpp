#include "editor/SceneBase.h"

#include "editor/BackgroundStyle.h"
#include "editor/SoftShadow.h"

#include <QCache>
#include <QMutex>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace SceneBase {

namespace {

QMutex cacheMutex;

// A few canvases' worth: switching between two styles stays instant.
QCache<QString, QImage>& backgrounds() {
    static QCache<QString, QImage> cache(160 * 1024 * 1024);
    return cache;
}

QCache<qint64, bool>& opacity() {
    static QCache<qint64, bool> cache(64);
    return cache;
}

const QImage& sourceOf(const EditorScene& scene) {
    return scene.background == BackgroundStyle::Desktop ? scene.backdropImage : scene.customBackground;
}

bool hasWindowShadow(const EditorScene& scene) {
    return scene.isWindowCapture && scene.windowShadow && scene.padding > 0;
}

void drawWindowShadow(QPainter& painter, const EditorScene& scene) {
    // Soft and a little below the window, sized to the padding so it never gets cut off.
    const double blur = std::min(scene.padding * 0.6, 28.0 * scene.scale);
    const SoftShadow::Spec spec{blur, blur * 0.35, 0.45};
    SoftShadow::drawRoundedRectShadow(painter, scene.imageRect(), scene.cornerRadius, spec);
}

QImage backgroundImage(const EditorScene& scene, QSize size) {
    const QImage& source = sourceOf(scene);
    const bool shadow = hasWindowShadow(scene);
    const QString key = QStringLiteral("%1 %2x%3 %4 %5 %6 %7 %8")
                            .arg(Backgrounds::raw(scene.background))
                            .arg(size.width())
                            .arg(size.height())
                            .arg(Backgrounds::isImageBacked(scene.background) ? source.cacheKey() : 0)
                            .arg(shadow)
                            .arg(shadow ? scene.padding : 0)
                            .arg(shadow ? scene.cornerRadius : 0)
                            .arg(shadow ? scene.scale : 0);
    {
        QMutexLocker lock(&cacheMutex);
        if (const QImage* cached = backgrounds().object(key)) return *cached;
    }
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    {
        QPainter painter(&image);
        painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
        Backgrounds::paint(painter, QRectF(image.rect()), scene.background, source);
        // The window shadow never changes while editing, so it is kept with the background.
        if (shadow) drawWindowShadow(painter, scene);
    }
    QMutexLocker lock(&cacheMutex);
    backgrounds().insert(key, new QImage(image), std::max<qsizetype>(1, image.sizeInBytes()));
    return image;
}

// The whole pixels inside the image rectangle.
QRect innerPixels(const QRectF& rect) {
    const QPoint topLeft(int(std::ceil(rect.left())), int(std::ceil(rect.top())));
    const QPoint bottomRight(int(std::floor(rect.right())), int(std::floor(rect.bottom())));
    return QRect(topLeft, bottomRight - QPoint(1, 1));
}

double cornerOf(const EditorScene& scene) {
    const QRectF rect = scene.imageRect();
    return std::clamp(scene.cornerRadius, 0.0, std::min(rect.width(), rect.height()) / 2);
}

void drawBackground(QPainter& painter, const EditorScene& scene, bool imageCoversItsRect) {
    if (scene.background == BackgroundStyle::None && !hasWindowShadow(scene)) return;
    const QSizeF content = scene.contentSize();
    const QSize size(int(std::ceil(content.width())), int(std::ceil(content.height())));
    if (size.isEmpty()) return;
    const QImage background = backgroundImage(scene, size);
    if (!imageCoversItsRect) {
        painter.drawImage(QPoint(0, 0), background);
        return;
    }
    // Only what the image leaves showing: the padding, and the squares behind its corners.
    const QRect inner = innerPixels(scene.imageRect());
    const int corner = int(std::ceil(cornerOf(scene)));
    QList<QRect> parts = {
        {0, 0, size.width(), inner.top()},
        {0, inner.bottom() + 1, size.width(), size.height() - inner.bottom() - 1},
        {0, inner.top(), inner.left(), inner.height()},
        {inner.right() + 1, inner.top(), size.width() - inner.right() - 1, inner.height()},
    };
    if (corner > 0)
        parts += {QRect(inner.topLeft(), QSize(corner, corner)),
                  QRect(inner.right() - corner + 1, inner.top(), corner, corner),
                  QRect(inner.left(), inner.bottom() - corner + 1, corner, corner),
                  QRect(inner.right() - corner + 1, inner.bottom() - corner + 1, corner, corner)};
    for (const QRect& part : parts)
        if (!part.isEmpty()) painter.drawImage(part.topLeft(), background, part);
}

void drawImage(QPainter& painter, const EditorScene& scene, bool opaque) {
    const QImage& image = scene.baseImage;
    const QRectF rect = scene.imageRect();
    const double radius = cornerOf(scene);
    // Blocks meet without seams only where image pixels land on whole device pixels.
    const QTransform& world = painter.worldTransform();
    const bool aligned = rect.topLeft() == rect.topLeft().toPoint() &&
                         world.type() <= QTransform::TxTranslate && world.dx() == std::round(world.dx()) &&
                         world.dy() == std::round(world.dy());
    painter.save();
    // An opaque image replaces what is under it: a copy instead of a blend.
    if (opaque) painter.setCompositionMode(QPainter::CompositionMode_Source);
    if (radius <= 0 || !aligned) {
        if (radius <= 0) {
            painter.drawImage(rect.topLeft(), image);
        } else {
            QBrush texture(image);
            texture.setTransform(QTransform::fromTranslate(rect.left(), rect.top()));
            painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
            painter.setPen(Qt::NoPen);
            painter.setBrush(texture);
            painter.drawRoundedRect(rect, radius, radius);
        }
        painter.restore();
        return;
    }
    // Straight blocks are copied; only the corner squares go through the rounded fill.
    const QPoint origin = rect.topLeft().toPoint();
    const int c = int(std::ceil(radius));
    const int w = image.width(), h = image.height();
    const QRect blocks[] = {{0, c, w, h - 2 * c}, {c, 0, w - 2 * c, c}, {c, h - c, w - 2 * c, c}};
    for (const QRect& block : blocks)
        if (!block.isEmpty()) painter.drawImage(origin + block.topLeft(), image, block);

    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    QBrush texture(image);
    texture.setTransform(QTransform::fromTranslate(origin.x(), origin.y()));
    painter.setPen(Qt::NoPen);
    painter.setBrush(texture);
    const QRect corners[] = {{0, 0, c, c}, {w - c, 0, c, c}, {0, h - c, c, c}, {w - c, h - c, c, c}};
    for (const QRect& corner : corners) {
        // The corner of a small rounded square is the corner of the whole image's outline.
        const QRect square = corner.translated(origin);
        QRectF small(square.topLeft(), QSizeF(2 * c, 2 * c));
        if (corner.left() > 0) small.moveRight(square.right() + 1);
        if (corner.top() > 0) small.moveBottom(square.bottom() + 1);
        painter.save();
        painter.setClipRect(square, Qt::IntersectClip);
        painter.drawRoundedRect(small, radius, radius);
        painter.restore();
    }
    painter.restore();
}

} // namespace

void clearCache() {
    QMutexLocker lock(&cacheMutex);
    backgrounds().clear();
}

bool isOpaque(const QImage& image) {
    if (!image.hasAlphaChannel()) return true;
    {
        QMutexLocker lock(&cacheMutex);
        if (const bool* known = opacity().object(image.cacheKey())) return *known;
    }
    bool opaque = true;
    if (image.format() == QImage::Format_ARGB32_Premultiplied || image.format() == QImage::Format_ARGB32) {
        for (int y = 0; y < image.height() && opaque; ++y) {
            const auto* line = reinterpret_cast<const QRgb*>(image.constScanLine(y));
            QRgb all = 0xFF000000;
            for (int x = 0; x < image.width(); ++x)
                all &= line[x];
            opaque = qAlpha(all) == 0xFF;
        }
    } else {
        opaque = false; // other formats with alpha are rare here; blending them is always right
    }
    QMutexLocker lock(&cacheMutex);
    opacity().insert(image.cacheKey(), new bool(opaque));
    return opaque;
}

void draw(QPainter& painter, const EditorScene& scene) {
    const bool hasImage = !scene.baseImage.isNull();
    const bool opaque = hasImage && isOpaque(scene.baseImage);
    // Under a scaled or rotated view the shortcuts would leave seams; draw plainly there.
    const bool straight = painter.worldTransform().type() <= QTransform::TxTranslate;
    drawBackground(painter, scene, opaque && straight);
    if (hasImage) drawImage(painter, scene, opaque && straight);
}

} // namespace SceneBase
