#pragma once

#include <QPointF>
#include <QRectF>
#include <QSize>
#include <QString>

#include <optional>

// One rectangle being chosen on one display, in points from the display's top-left
// corner. Its edges always fall on whole pixels of the display and it never leaves the
// display. The overlay feeds it pointer positions and arrow keys and draws what it holds.
class SelectionGeometry {
public:
    // Where a point falls on the selection: one of the eight handles (an edge can be taken
    // anywhere along it), inside it, or elsewhere.
    enum class Part { none, inside, topLeft, top, topRight, right, bottomRight, bottom, bottomLeft, left };
    // What the pointer is doing: a press that has not moved far yet, drawing a new
    // selection, or moving or resizing the one there is.
    enum class Drag { none, pending, drawing, moving, resizing };

    // Smallest selection on each side; a drag that ends smaller chooses nothing.
    static constexpr double minimumSize = 3.0;
    // How far a press may move before it draws a new selection (so a click is not one).
    static constexpr double dragThreshold = 3.0;
    // How far outside a handle or an edge a press still takes it.
    static constexpr double handleReach = 8.0;

    // A display of `pixelSize` pixels, `scale` pixels to a point.
    SelectionGeometry(QSize pixelSize, double scale);

    QRectF bounds() const { return m_bounds; }
    double scale() const { return m_scale; }

    // The selection; while a new one is drawn, the rectangle drawn so far.
    std::optional<QRectF> selection() const { return m_rect; }
    bool hasSelection() const { return m_rect.has_value(); }
    // Replaces the selection, snapped to pixels and kept on the display; a rectangle that
    // ends up smaller than minimumSize gives none. Ends any drag.
    void setSelection(const std::optional<QRectF>& rect);
    void clear() { setSelection(std::nullopt); }

    Part hitTest(QPointF point) const;

    // A button press. With `adjust`, a press on the selection takes it (to move it from
    // inside, to resize it from a handle); anywhere else the press draws a new selection,
    // which replaces the current one once the pointer has moved past dragThreshold.
    void press(QPointF point, bool adjust);
    void drag(QPointF point);
    // Ends the drag. A press that never moved keeps the selection there was; a new one too
    // small to count gives that back too. True when a selection stands afterwards.
    bool release();
    Drag dragState() const { return m_drag; }
    // The handle being dragged (inside while moving), none otherwise.
    Part heldPart() const { return m_part; }

    // Arrow keys: moves the selection by (dx, dy) points, or with `resize` moves its right
    // and bottom edges instead. Nothing while a drag is going on.
    void nudge(int dx, int dy, bool resize);

    // The selection's size in pixels, and as the overlay shows it ("1280 × 720").
    QSize pixelSize() const;
    QString sizeText() const;

private:
    double snap(double value) const;
    QPointF snappedInside(QPointF point) const;
    QRectF resized(QPointF delta) const;

    QRectF m_bounds;
    double m_scale;
    std::optional<QRectF> m_rect;
    std::optional<QRectF> m_before; // the selection a new drag would replace
    Drag m_drag = Drag::none;
    Part m_part = Part::none;
    QPointF m_pressPoint; // where the drag began, unsnapped
    QPointF m_anchor;     // the drag's start on the pixel grid
    QRectF m_pressRect;   // the selection when the drag began
};
