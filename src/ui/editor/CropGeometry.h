#pragma once

#include <QPointF>
#include <QRectF>
#include <QSizeF>

namespace ui::editor {

// The crop rectangle a drag from `anchor` to `point` selects inside an image of `bounds`
// size: free when `aspect` (width over height) is 0, otherwise the largest rectangle of
// that aspect which spans the drag, grows from the anchor towards the pointer and stays
// inside the image. Coordinates are image pixels.
QRectF cropRectForDrag(const QPointF& anchor, const QPointF& point, double aspect, const QSizeF& bounds);

// The rectangle rounded to whole pixels and clipped to the image; empty when nothing of
// it is left.
QRectF pixelAligned(const QRectF& rect, const QSizeF& bounds);

} // namespace ui::editor
