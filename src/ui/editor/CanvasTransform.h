#pragma once

#include <QPointF>
#include <QRectF>
#include <QSize>
#include <QSizeF>
#include <QTransform>

namespace ui::editor {

// Where the canvas (image plus padding, in image pixels) appears in the view (logical
// pixels): scaled by the zoom, scrolled by the offset, centred while it is smaller than
// the view.
struct CanvasTransform {
    QSizeF contentSize; // canvas units
    QSize viewportSize; // logical pixels
    double zoom = 1.0;  // logical pixels per canvas unit
    QPointF scroll;     // logical pixels the zoomed canvas is scrolled by

    static constexpr double minZoom = 0.05;
    static constexpr double maxZoom = 16.0;
    static constexpr double fitMargin = 24; // logical pixels around a fitted canvas

    QSizeF zoomedSize() const { return contentSize * zoom; }
    // The largest scroll offsets; zero along an axis where the canvas fits.
    QPointF maxScroll() const;
    // Top left of the canvas in the view.
    QPointF origin() const;

    QPointF toView(const QPointF& canvas) const { return origin() + canvas * zoom; }
    QPointF toCanvas(const QPointF& view) const { return (view - origin()) / zoom; }
    QRectF toView(const QRectF& canvas) const;
    QRectF toCanvas(const QRectF& view) const;
    // Canvas units to view pixels, for painters.
    QTransform painterTransform() const;

    // The scroll offset clamped to what the canvas allows.
    QPointF clampedScroll(const QPointF& scroll) const;
    // The zoom that shows the whole canvas with a margin, never above `cap`.
    double fitZoom(double cap = 1.0) const;
    // Changes the zoom (clamped) keeping the canvas point under `anchor` (view) in place.
    CanvasTransform zoomedAround(double newZoom, const QPointF& anchor) const;
};

// The next step up or down the usual zoom levels (25 %, 50 %, 100 % ...).
double nextZoomStep(double zoom, bool in);

} // namespace ui::editor
