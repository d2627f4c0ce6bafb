#pragma once

#include <QByteArray>
#include <QRectF>

#include <functional>

class QPainter;

// Drawing that is costly to repeat (paths built from glyphs, say) rendered once into an
// image at device resolution and copied on later redraws.
namespace CachedLayer {

// Draws what `body` draws inside `extent`, through the cache. `key` names the look
// relative to `extent`'s top left, so moving the drawing keeps its image.
void draw(QPainter& painter, const QRectF& extent, const QByteArray& key,
          const std::function<void(QPainter&)>& body);

// Forgets every kept image (for measurements of a cold start).
void clearCache();

} // namespace CachedLayer
