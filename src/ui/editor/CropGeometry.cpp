#include "ui/editor/CropGeometry.h"

#include <algorithm>
#include <cmath>

namespace ui::editor {

QRectF cropRectForDrag(const QPointF& anchor, const QPointF& point, double aspect, const QSizeF& bounds) {
    const QRectF image(QPointF(0, 0), bounds);
    const QPointF a(std::clamp(anchor.x(), 0.0, bounds.width()),
                    std::clamp(anchor.y(), 0.0, bounds.height()));
    const QPointF p(std::clamp(point.x(), 0.0, bounds.width()), std::clamp(point.y(), 0.0, bounds.height()));
    if (aspect <= 0) return QRectF(a, p).normalized();

    const double dx = p.x() - a.x();
    const double dy = p.y() - a.y();
    const double signX = dx < 0 ? -1 : 1;
    const double signY = dy < 0 ? -1 : 1;
    // The room there is from the anchor towards the pointer.
    const double roomX = signX > 0 ? bounds.width() - a.x() : a.x();
    const double roomY = signY > 0 ? bounds.height() - a.y() : a.y();

    // Follow whichever side the drag stretches more, relative to the aspect.
    double width = std::abs(dx);
    double height = std::abs(dy);
    if (width < height * aspect)
        width = height * aspect;
    else
        height = width / aspect;
    if (width > roomX) {
        width = roomX;
        height = width / aspect;
    }
    if (height > roomY) {
        height = roomY;
        width = height * aspect;
    }
    return QRectF(a, QPointF(a.x() + signX * width, a.y() + signY * height)).normalized() & image;
}

QRectF pixelAligned(const QRectF& rect, const QSizeF& bounds) {
    const double left = std::max(0.0, std::round(rect.left()));
    const double top = std::max(0.0, std::round(rect.top()));
    const double right = std::min(bounds.width(), std::round(rect.right()));
    const double bottom = std::min(bounds.height(), std::round(rect.bottom()));
    if (right <= left || bottom <= top) return {};
    return QRectF(QPointF(left, top), QPointF(right, bottom));
}

} // namespace ui::editor
