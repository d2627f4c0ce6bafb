#pragma once

#include "capture/SelectionTypes.h"

#include <QPointF>
#include <QRectF>
#include <QSize>
#include <QString>

#include <optional>
#include <vector>

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

// The rules of one area selection over every display: which display holds the selection
// (one at a time), what the buttons and keys do, and when the selection is over. The
// overlay reports the pointer in root-window pixels, and which action bar button is under
// it; it shows what this holds.
class SelectionFlow {
public:
    // How the flow ended: `display` is the one holding the selection or, without one, the
    // one under the pointer; `rect` is in its points.
    struct End {
        SelectionOutcome::Kind kind = SelectionOutcome::Kind::cancelled;
        SelectionAction action = SelectionAction::capture;
        int display = -1;
        QRectF rect;
    };

    // Uses the parameters' showActions (released selections stay, the action bar, Enter
    // captures), adjustable (released selections stay, Enter confirms, the whole display
    // without a selection), enterTakesDisplay (Enter confirms as when adjustable),
    // allowWindowSwitch, actions and initialSelection.
    SelectionFlow(const QList<platform::DisplayInfo>& displays, const SelectionParameters& parameters);

    // The display holding a root-window point (-1 for none), and the point in its points.
    int displayAt(QPointF root) const;
    QPointF pointsOn(int display, QPointF root) const;

    // `button` is the action bar button under the pointer (-1 for none); `onBar` whether the
    // pointer is on the bar at all.
    std::optional<End> press(Qt::MouseButton mouseButton, QPointF root, int button, bool onBar);
    void move(QPointF root);
    std::optional<End> release(Qt::MouseButton mouseButton, QPointF root, int button);
    std::optional<End> key(int key, Qt::KeyboardModifiers modifiers);

    const SelectionGeometry& geometry(int display) const { return m_geometry.at(size_t(display)); }
    QPointF pointer() const { return m_pointer; }
    int pointerDisplay() const { return displayAt(m_pointer); }
    int active() const { return m_active; }     // the display holding the selection, or -1
    int dragging() const { return m_dragging; } // the display of the drag going on, or -1
    int pressedButton() const { return m_pressedButton; }
    // Whether the loupe helps now: while drawing or resizing, and before there is a
    // selection, but not beside a selection standing for its buttons or adjusting.
    bool wantsLoupe() const;
    // Whether a display's selection shows its handles, and its action bar.
    bool showsHandles(int display) const;
    bool showsActionBar(int display) const;

private:
    bool keepsSelection() const { return m_showActions || m_adjustable; }
    std::optional<End> ending(SelectionOutcome::Kind kind,
                              SelectionAction action = SelectionAction::capture) const;
    void clearAll();

    QList<platform::DisplayInfo> m_displays;
    std::vector<SelectionGeometry> m_geometry; // one per display
    bool m_showActions;
    bool m_adjustable;
    bool m_windowSwitch;
    bool m_enterTakesDisplay;
    QList<SelectionAction> m_actions;
    QPointF m_pointer; // in root-window pixels
    int m_active = -1;
    int m_dragging = -1;
    int m_pressedButton = -1;
    bool m_rightHandled = false; // a right press that already dropped a drag
};

// Where the overlay puts its panels around a selection, in the display's points. Each keeps
// `margin` points from the display's edges where the display is large enough.
namespace SelectionLayout {

constexpr double margin = 8;

// A panel (the action bar) centred under the selection, `gap` points below it; above it
// when there is no room below (`above` says so), inside its bottom edge when there is
// none above either.
QRectF underSelection(QSizeF size, const QRectF& selection, const QRectF& bounds, double gap, bool* above);
// A label (the size readout) over the selection's top-left corner; inside that corner when
// there is no room above or the action bar is there.
QRectF overCorner(QSizeF size, const QRectF& selection, const QRectF& bounds, double gap, bool barAbove);
// A panel (the loupe) `gap` points below and right of the pointer, flipped to the other
// side where it would leave the display.
QRectF besidePointer(QSizeF size, QPointF pointer, const QRectF& bounds, double gap);
// A panel (the hint) centred `fromEdge` points below the display's top; at the same
// distance above the bottom when one of `avoid` comes within `clearance` points of that
// place; none when they come near both.
std::optional<QRectF> clearOf(QSizeF size, const QRectF& bounds, const QList<QRectF>& avoid, double fromEdge,
                              double clearance);

} // namespace SelectionLayout
