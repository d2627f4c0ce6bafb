#include "editor/CachedLayer.h"

#include <QCache>
#include <QImage>
#include <QMutex>
#include <QPainter>
#include <QTransform>

#include <cmath>

namespace CachedLayer {

namespace {

QMutex cacheMutex;
QCache<QByteArray, Layer>& cache() {
    // Enough for a few hundred annotation shadows and texts at 4K; the least recent go first.
    static QCache<QByteArray, Layer> layers(160 * 1024 * 1024);
    return layers;
}

} // namespace

void clearCache() {
    QMutexLocker lock(&cacheMutex);
    cache().clear();
}

void drawLayer(QPainter& painter, const QRectF& extent, const QByteArray& key,
               const std::function<Layer(const Placement&)>& render) {
    if (extent.isEmpty()) return;
    const QTransform world = painter.worldTransform();
    const QTransform linear(world.m11(), world.m12(), world.m21(), world.m22(), 0, 0);
    const QPointF corner = world.map(extent.topLeft());
    const QPoint whole(int(std::floor(corner.x())), int(std::floor(corner.y())));
    // Layers are pixel-exact, so the sub-pixel position is part of their identity.
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
        layer = render(Placement{linear, fraction});
        QMutexLocker lock(&cacheMutex);
        cache().insert(fullKey, new Layer(layer), std::max<qsizetype>(1, layer.image.sizeInBytes()));
    }

    painter.save();
    painter.resetTransform();
    painter.drawImage(whole + layer.topLeft, layer.image);
    painter.restore();
}

void draw(QPainter& painter, const QRectF& extent, const QByteArray& key,
          const std::function<void(QPainter&)>& body) {
    drawLayer(painter, extent, key + 'L', [&](const Placement& placement) {
        const QRect area = placement.linear.mapRect(QRectF(QPointF(0, 0), extent.size()))
                               .translated(placement.fraction)
                               .toAlignedRect();
        Layer layer{QImage(area.size(), QImage::Format_ARGB32_Premultiplied), area.topLeft()};
        layer.image.fill(Qt::transparent);
        QPainter p(&layer.image);
        p.setRenderHints(painter.renderHints());
        p.setTransform(QTransform::fromTranslate(-extent.left(), -extent.top()) * placement.linear *
                       QTransform::fromTranslate(placement.fraction.x() - area.left(),
                                                 placement.fraction.y() - area.top()));
        body(p);
        return layer;
    });
}

} // namespace CachedLayer
