#include "ui/editor/CanvasTransform.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace ui::editor {

QPointF CanvasTransform::maxScroll() const {
    const QSizeF zoomed = zoomedSize();
    return {std::max(0.0, zoomed.width() - viewportSize.width()),
            std::max(0.0, zoomed.height() - viewportSize.height())};
}

QPointF CanvasTransform::origin() const {
    const QSizeF zoomed = zoomedSize();
    const QPointF limit = maxScroll();
    // Centred along an axis that fits, scrolled along one that does not.
    const double x = zoomed.width() <= viewportSize.width() ? (viewportSize.width() - zoomed.width()) / 2
                                                            : -std::clamp(scroll.x(), 0.0, limit.x());
    const double y = zoomed.height() <= viewportSize.height() ? (viewportSize.height() - zoomed.height()) / 2
                                                              : -std::clamp(scroll.y(), 0.0, limit.y());
    return {x, y};
}

QRectF CanvasTransform::toView(const QRectF& canvas) const {
    return {toView(canvas.topLeft()), canvas.size() * zoom};
}

QRectF CanvasTransform::toCanvas(const QRectF& view) const {
    return {toCanvas(view.topLeft()), view.size() / zoom};
}

QTransform CanvasTransform::painterTransform() const {
    const QPointF o = origin();
    return QTransform(zoom, 0, 0, zoom, o.x(), o.y());
}

QPointF CanvasTransform::clampedScroll(const QPointF& wanted) const {
    const QPointF limit = maxScroll();
    return {std::clamp(wanted.x(), 0.0, limit.x()), std::clamp(wanted.y(), 0.0, limit.y())};
}

double CanvasTransform::fitZoom(double cap) const {
    if (contentSize.isEmpty()) return 1.0;
    const double width = std::max(1.0, viewportSize.width() - 2 * fitMargin);
    const double height = std::max(1.0, viewportSize.height() - 2 * fitMargin);
    const double fit = std::min(width / contentSize.width(), height / contentSize.height());
    return std::clamp(std::min(fit, cap), minZoom, maxZoom);
}

CanvasTransform CanvasTransform::zoomedAround(double newZoom, const QPointF& anchor) const {
    const QPointF fixed = toCanvas(anchor);
    CanvasTransform next = *this;
    next.zoom = std::clamp(newZoom, minZoom, maxZoom);
    // Scroll so that `fixed` lands under the anchor again: anchor = -scroll + fixed * zoom.
    next.scroll = next.clampedScroll(fixed * next.zoom - anchor);
    return next;
}

double nextZoomStep(double zoom, bool in) {
    static constexpr std::array steps{0.05, 0.1, 0.125, 0.25, 0.33, 0.5, 0.67, 0.75, 1.0,
                                      1.25, 1.5, 2.0,   3.0,  4.0,  6.0, 8.0,  12.0, 16.0};
    constexpr double slack = 1.001; // a zoom a hair off a step still counts as on it
    if (in) {
        for (double step : steps)
            if (step > zoom * slack) return step;
        return steps.back();
    }
    for (auto it = steps.rbegin(); it != steps.rend(); ++it)
        if (*it < zoom / slack) return *it;
    return steps.front();
}

} // namespace ui::editor
