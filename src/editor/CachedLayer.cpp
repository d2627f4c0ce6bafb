#include "editor/CachedLayer.h"

#include <QCache>
#include <QImage>
#include <QMutex>
#include <QPainter>
#include <QTransform>

#include <cmath>

namespace CachedLayer {

namespace {

struct Layer {
    QImage image;
    QPoint topLeft; // relative to the whole-pixel device position of the extent's corner
};

QMutex cacheMutex;
QCache<QByteArray, Layer>& cache() {
    static QCache<QByteArray, Layer> layers(64 * 1024 * 1024);
    return layers;
}

} // namespace

void clearCache() {
    QMutexLocker lock(&cacheMutex);
    cache().clear();
}

void draw(QPainter& painter, const QRectF& extent, const QByteArray& key,
          const std::function<void(QPainter&)>& body) {
    if (extent.isEmpty()) return;
    const QTransform world = painter.worldTransform();
    const QTransform linear(world.m11(), world.m12(), world.m21(), world.m22(), 0, 0);
    const QPointF corner = world.map(extent.topLeft());
    const QPoint whole(int(std::floor(corner.x())), int(std::floor(corner.y())));
    const QPointF fraction = corner - QPointF(whole);

    QByteArray fullKey = key;
    for (double value : {world.m11(), world.m12(), world.m21(), world.m22(), fraction.x(), fraction.y(),
                         extent.width(), extent.height()})
        fullKey.append(reinterpret_cast<const char*>(&value), sizeof value);

    Layer layer;
    {
        QMutexLocker lock(&cacheMutex);
        if (const Layer* cached = cache().object(fullKey)) layer = *cached;
    }
    if (layer.image.isNull()) {
        const QRect area =
            linear.mapRect(QRectF(QPointF(0, 0), extent.size())).translated(fraction).toAlignedRect();
        layer.image = QImage(area.size(), QImage::Format_ARGB32_Premultiplied);
        layer.image.fill(Qt::transparent);
        layer.topLeft = area.topLeft();
        {
            QPainter p(&layer.image);
            p.setRenderHints(painter.renderHints());
            p.setTransform(QTransform::fromTranslate(-extent.left(), -extent.top()) * linear *
                           QTransform::fromTranslate(fraction.x() - area.left(), fraction.y() - area.top()));
            body(p);
        }
        QMutexLocker lock(&cacheMutex);
        cache().insert(fullKey, new Layer(layer), std::max<qsizetype>(1, layer.image.sizeInBytes()));
    }

    painter.save();
    painter.resetTransform();
    painter.drawImage(whole + layer.topLeft, layer.image);
    painter.restore();
}

} // namespace CachedLayer
