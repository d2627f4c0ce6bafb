#pragma once

#include <QByteArray>
#include <QImage>
#include <QPoint>
#include <QRectF>
#include <QTransform>

#include <functional>

class QPainter;

// Drawing that is costly to repeat (paths built from glyphs, say) rendered once into an
// image at device resolution and copied on later redraws.
namespace CachedLayer {

// An image at device resolution, placed relative to the whole device pixel where its
// extent's top left corner lands.
struct Layer {
    QImage image;
    QPoint topLeft;
};

// What a layer is rendered for: the painter's transform without its translation, and
// where inside a device pixel the extent's corner falls.
struct Placement {
    QTransform linear;
    QPointF fraction;
};

// Draws the layer kept under `key` for the painter's placement of `extent`, rendering it
// with `render` when there is none yet.
void drawLayer(QPainter& painter, const QRectF& extent, const QByteArray& key,
               const std::function<Layer(const Placement&)>& render);

// Draws what `body` draws inside `extent`, through the cache. `key` names the look
// relative to `extent`'s top left, so moving the drawing keeps its image.
void draw(QPainter& painter, const QRectF& extent, const QByteArray& key,
          const std::function<void(QPainter&)>& body);

// Forgets every kept image (for measurements of a cold start).
void clearCache();

} // namespace CachedLayer
