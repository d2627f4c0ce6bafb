#include "capture/SelectionGeometry.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

using Part = SelectionGeometry::Part;

bool movesLeft(Part part) {
    return part == Part::topLeft || part == Part::left || part == Part::bottomLeft;
}
bool movesRight(Part part) {
    return part == Part::topRight || part == Part::right || part == Part::bottomRight;
}
bool movesTop(Part part) {
    return part == Part::topLeft || part == Part::top || part == Part::topRight;
}
bool movesBottom(Part part) {
    return part == Part::bottomLeft || part == Part::bottom || part == Part::bottomRight;
}

// The rectangle spanned by two corners in any order.
QRectF spanned(double x1, double y1, double x2, double y2) {
    return QRectF(QPointF(std::min(x1, x2), std::min(y1, y2)), QPointF(std::max(x1, x2), std::max(y1, y2)));
}

// Shifts `rect` back onto `bounds` (it is never larger than them).
QRectF keptInside(QRectF rect, const QRectF& bounds) {
    if (rect.left() < bounds.left()) rect.moveLeft(bounds.left());
    if (rect.top() < bounds.top()) rect.moveTop(bounds.top());
    if (rect.right() > bounds.right()) rect.moveRight(bounds.right());
    if (rect.bottom() > bounds.bottom()) rect.moveBottom(bounds.bottom());
    return rect;
}

// The minimum size rounded up to whole pixels, so edges kept that far apart stay on them.
double minimumOnGrid(double scale) {
    return std::ceil(SelectionGeometry::minimumSize * scale - 1e-9) / scale;
}

} // namespace

SelectionGeometry::SelectionGeometry(QSize pixelSize, double scale)
    : m_bounds(0, 0, pixelSize.width() / scale, pixelSize.height() / scale), m_scale(scale) {}

double SelectionGeometry::snap(double value) const {
    return std::round(value * m_scale) / m_scale;
}

QPointF SelectionGeometry::snappedInside(QPointF point) const {
    return {std::clamp(snap(point.x()), 0.0, m_bounds.width()),
            std::clamp(snap(point.y()), 0.0, m_bounds.height())};
}

void SelectionGeometry::setSelection(const std::optional<QRectF>& rect) {
    m_drag = Drag::none;
    m_part = Part::none;
    m_before.reset();
    m_rect.reset();
    if (!rect) return;
    const QRectF r = rect->normalized();
    const QPointF topLeft = snappedInside(r.topLeft());
    const QPointF bottomRight = snappedInside(r.bottomRight());
    const double minimum = minimumOnGrid(m_scale);
    if (bottomRight.x() - topLeft.x() < minimum || bottomRight.y() - topLeft.y() < minimum) return;
    m_rect = QRectF(topLeft, bottomRight);
}

SelectionGeometry::Part SelectionGeometry::hitTest(QPointF point) const {
    if (!m_rect) return Part::none;
    const QRectF& r = *m_rect;
    // Handles reach outwards fully but inwards at most a quarter of the selection, so a
    // small selection can still be taken from the middle to move it.
    const double out = handleReach;
    const double inX = std::min(handleReach, r.width() / 4);
    const double inY = std::min(handleReach, r.height() / 4);
    const double x = point.x();
    const double y = point.y();
    const bool spanX = x >= r.left() - out && x <= r.right() + out;
    const bool spanY = y >= r.top() - out && y <= r.bottom() + out;
    if (!spanX || !spanY) return Part::none;
    const bool nearLeft = x <= r.left() + inX;
    const bool nearRight = x >= r.right() - inX;
    const bool nearTop = y <= r.top() + inY;
    const bool nearBottom = y >= r.bottom() - inY;
    if (nearTop && nearLeft) return Part::topLeft;
    if (nearTop && nearRight) return Part::topRight;
    if (nearBottom && nearLeft) return Part::bottomLeft;
    if (nearBottom && nearRight) return Part::bottomRight;
    if (nearTop) return Part::top;
    if (nearBottom) return Part::bottom;
    if (nearLeft) return Part::left;
    if (nearRight) return Part::right;
    return Part::inside;
}

void SelectionGeometry::press(QPointF point, bool adjust) {
    m_pressPoint = point;
    m_part = adjust ? hitTest(point) : Part::none;
    if (m_part != Part::none) {
        m_drag = m_part == Part::inside ? Drag::moving : Drag::resizing;
        m_pressRect = *m_rect;
        return;
    }
    m_drag = Drag::pending;
    m_anchor = snappedInside(point);
    m_before = m_rect;
}

void SelectionGeometry::drag(QPointF point) {
    const QPointF delta = point - m_pressPoint;
    switch (m_drag) {
    case Drag::none:
        return;
    case Drag::pending:
        if (std::abs(delta.x()) <= dragThreshold && std::abs(delta.y()) <= dragThreshold) return;
        m_drag = Drag::drawing;
        [[fallthrough]];
    case Drag::drawing: {
        const QPointF end = snappedInside(point);
        m_rect = spanned(m_anchor.x(), m_anchor.y(), end.x(), end.y());
        return;
    }
    case Drag::moving:
        m_rect = keptInside(m_pressRect.translated(snap(delta.x()), snap(delta.y())), m_bounds);
        return;
    case Drag::resizing:
        m_rect = resized(delta);
        return;
    }
}

QRectF SelectionGeometry::resized(QPointF delta) const {
    const double minimum = minimumOnGrid(m_scale);
    // Moves one edge against a fixed one: it may pass over it (the selection flips) but
    // never comes closer than the minimum size, and stays on the display.
    const auto edge = [&](double moving, double fixed, double limit) {
        double v = std::clamp(snap(moving), 0.0, limit);
        v = v <= fixed ? std::min(v, fixed - minimum) : std::max(v, fixed + minimum);
        if (v < 0) v = fixed + minimum;
        if (v > limit) v = fixed - minimum;
        return v;
    };
    const QRectF& r = m_pressRect;
    double left = r.left(), right = r.right(), top = r.top(), bottom = r.bottom();
    if (movesLeft(m_part)) left = edge(r.left() + delta.x(), r.right(), m_bounds.width());
    if (movesRight(m_part)) right = edge(r.right() + delta.x(), r.left(), m_bounds.width());
    if (movesTop(m_part)) top = edge(r.top() + delta.y(), r.bottom(), m_bounds.height());
    if (movesBottom(m_part)) bottom = edge(r.bottom() + delta.y(), r.top(), m_bounds.height());
    return spanned(left, top, right, bottom);
}

bool SelectionGeometry::release() {
    if (m_drag == Drag::drawing && m_rect) {
        const double minimum = minimumOnGrid(m_scale);
        if (m_rect->width() < minimum || m_rect->height() < minimum) m_rect = m_before;
    }
    m_drag = Drag::none;
    m_part = Part::none;
    m_before.reset();
    return m_rect.has_value();
}

void SelectionGeometry::nudge(int dx, int dy, bool resize) {
    if (!m_rect || m_drag != Drag::none) return;
    QRectF r = *m_rect;
    if (resize) {
        const double minimum = minimumOnGrid(m_scale);
        r.setRight(std::clamp(r.right() + snap(dx), r.left() + minimum, m_bounds.width()));
        r.setBottom(std::clamp(r.bottom() + snap(dy), r.top() + minimum, m_bounds.height()));
    } else {
        r = keptInside(r.translated(snap(dx), snap(dy)), m_bounds);
    }
    m_rect = r;
}

QSize SelectionGeometry::pixelSize() const {
    if (!m_rect) return {0, 0};
    return {static_cast<int>(std::lround(m_rect->width() * m_scale)),
            static_cast<int>(std::lround(m_rect->height() * m_scale))};
}

QString SelectionGeometry::sizeText() const {
    const QSize size = pixelSize();
    return QStringLiteral("%1 \u00D7 %2").arg(size.width()).arg(size.height());
}

SelectionFlow::SelectionFlow(const QList<platform::DisplayInfo>& displays,
                             const SelectionParameters& parameters)
    : m_displays(displays), m_showActions(parameters.showActions), m_adjustable(parameters.adjustable),
      m_windowSwitch(parameters.allowWindowSwitch), m_enterTakesDisplay(parameters.enterTakesDisplay),
      m_actions(parameters.showActions ? parameters.actions : QList<SelectionAction>{}) {
    for (const platform::DisplayInfo& d : m_displays)
        m_geometry.emplace_back(d.geometry.size(), d.scale);
    if (const auto& initial = parameters.initialSelection) {
        for (qsizetype i = 0; i < m_displays.size(); ++i) {
            if (m_displays[i].id != initial->displayID) continue;
            m_geometry[size_t(i)].setSelection(initial->rect);
            if (m_geometry[size_t(i)].hasSelection()) m_active = int(i);
            break;
        }
    }
}

int SelectionFlow::displayAt(QPointF root) const {
    const QPoint pixel(int(std::floor(root.x())), int(std::floor(root.y())));
    for (qsizetype i = 0; i < m_displays.size(); ++i)
        if (m_displays[i].geometry.contains(pixel)) return int(i);
    return -1;
}

QPointF SelectionFlow::pointsOn(int display, QPointF root) const {
    const platform::DisplayInfo& d = m_displays.at(display);
    return (root - QPointF(d.geometry.topLeft())) / d.scale;
}

void SelectionFlow::clearAll() {
    for (SelectionGeometry& g : m_geometry)
        g.clear();
    m_active = -1;
    m_dragging = -1;
}

std::optional<SelectionFlow::End> SelectionFlow::ending(SelectionOutcome::Kind kind,
                                                        SelectionAction action) const {
    End end{kind, action, -1, {}};
    const bool withSelection =
        kind == SelectionOutcome::Kind::selected || kind == SelectionOutcome::Kind::action;
    if (withSelection && m_active >= 0) {
        end.display = m_active;
        end.rect = m_geometry[size_t(m_active)].selection().value_or(QRectF());
        return end;
    }
    end.display = pointerDisplay();
    if (end.display < 0 && !m_displays.isEmpty()) end.display = 0;
    if (kind == SelectionOutcome::Kind::selected && end.display >= 0)
        end.rect = m_geometry[size_t(end.display)].bounds();
    return end;
}

std::optional<SelectionFlow::End> SelectionFlow::press(Qt::MouseButton mouseButton, QPointF root, int button,
                                                       bool onBar) {
    m_pointer = root;
    if (mouseButton == Qt::RightButton) {
        // Drops a drag half made; the release does the rest.
        m_rightHandled = m_dragging >= 0;
        if (m_dragging >= 0) {
            m_geometry[size_t(m_dragging)].clear();
            if (m_active == m_dragging) m_active = -1;
            m_dragging = -1;
        }
        return std::nullopt;
    }
    const int display = displayAt(root);
    if (mouseButton != Qt::LeftButton || m_dragging >= 0 || display < 0) return std::nullopt;
    if (button >= 0 && button < m_actions.size()) {
        m_pressedButton = button;
        return std::nullopt;
    }
    if (onBar) return std::nullopt;
    m_dragging = display;
    m_geometry[size_t(display)].press(pointsOn(display, root), keepsSelection() && display == m_active);
    return std::nullopt;
}

void SelectionFlow::move(QPointF root) {
    m_pointer = root;
    if (m_dragging < 0) return;
    // Past the display's edge the drag goes on, held at the edge.
    SelectionGeometry& g = m_geometry[size_t(m_dragging)];
    g.drag(pointsOn(m_dragging, root));
    // A new selection on another display replaces the one there was.
    if (g.dragState() == SelectionGeometry::Drag::drawing && m_active != m_dragging) {
        if (m_active >= 0) m_geometry[size_t(m_active)].clear();
        m_active = m_dragging;
    }
}

std::optional<SelectionFlow::End> SelectionFlow::release(Qt::MouseButton mouseButton, QPointF root,
                                                         int button) {
    if (mouseButton == Qt::RightButton) {
        m_pointer = root;
        if (std::exchange(m_rightHandled, false)) return std::nullopt;
        if (m_active >= 0) {
            clearAll();
            return std::nullopt;
        }
        return m_dragging < 0 ? ending(SelectionOutcome::Kind::cancelled) : std::nullopt;
    }
    if (mouseButton != Qt::LeftButton) return std::nullopt;
    if (m_pressedButton >= 0) {
        m_pointer = root;
        const int pressed = std::exchange(m_pressedButton, -1);
        if (button == pressed) return ending(SelectionOutcome::Kind::action, m_actions.at(pressed));
        return std::nullopt;
    }
    // The last position counts even when no move reported it.
    move(root);
    if (m_dragging < 0) return std::nullopt;
    const int display = std::exchange(m_dragging, -1);
    if (m_geometry[size_t(display)].release()) {
        m_active = display;
        if (!keepsSelection()) return ending(SelectionOutcome::Kind::selected);
    } else if (m_active == display) {
        m_active = -1;
    }
    return std::nullopt;
}

std::optional<SelectionFlow::End> SelectionFlow::key(int key, Qt::KeyboardModifiers modifiers) {
    switch (key) {
    case Qt::Key_Escape:
        return ending(SelectionOutcome::Kind::cancelled);
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (m_dragging >= 0) return std::nullopt;
        if (m_adjustable || m_enterTakesDisplay) return ending(SelectionOutcome::Kind::selected);
        if (m_showActions && m_active >= 0)
            return ending(SelectionOutcome::Kind::action, SelectionAction::capture);
        return std::nullopt;
    case Qt::Key_W:
        if (m_windowSwitch) return ending(SelectionOutcome::Kind::switchToWindowPicker);
        return std::nullopt;
    case Qt::Key_Left:
    case Qt::Key_Right:
    case Qt::Key_Up:
    case Qt::Key_Down: {
        if (m_active < 0 || m_dragging >= 0) return std::nullopt;
        const int step = modifiers.testFlag(Qt::ShiftModifier) ? 10 : 1;
        const int dx = key == Qt::Key_Left ? -step : (key == Qt::Key_Right ? step : 0);
        const int dy = key == Qt::Key_Up ? -step : (key == Qt::Key_Down ? step : 0);
        const bool resize = modifiers & (Qt::AltModifier | Qt::ControlModifier);
        m_geometry[size_t(m_active)].nudge(dx, dy, resize);
        return std::nullopt;
    }
    default:
        return std::nullopt;
    }
}

bool SelectionFlow::wantsLoupe() const {
    using Drag = SelectionGeometry::Drag;
    if (m_dragging >= 0) {
        const Drag drag = m_geometry[size_t(m_dragging)].dragState();
        return drag == Drag::drawing || drag == Drag::resizing || (drag == Drag::pending && m_active < 0);
    }
    return !(keepsSelection() && m_active >= 0);
}

bool SelectionFlow::showsHandles(int display) const {
    const SelectionGeometry& g = m_geometry.at(size_t(display));
    return keepsSelection() && g.hasSelection() && g.dragState() != SelectionGeometry::Drag::drawing;
}

bool SelectionFlow::showsActionBar(int display) const {
    using Drag = SelectionGeometry::Drag;
    const SelectionGeometry& g = m_geometry.at(size_t(display));
    const bool standing = g.dragState() == Drag::none || g.dragState() == Drag::pending;
    return !m_actions.isEmpty() && g.hasSelection() && standing;
}

namespace SelectionLayout {

namespace {

// Keeps [start, start + length) inside [low, high] where it fits, else at `low`.
double within(double start, double length, double low, double high) {
    return std::max(low, std::min(start, high - length));
}

} // namespace

QRectF underSelection(QSizeF size, const QRectF& selection, const QRectF& bounds, double gap, bool* above) {
    QRectF r(QPointF(), size);
    r.moveLeft(within(selection.center().x() - size.width() / 2, size.width(), bounds.left() + margin,
                      bounds.right() - margin));
    bool isAbove = false;
    if (selection.bottom() + gap + size.height() <= bounds.bottom() - margin) {
        r.moveTop(selection.bottom() + gap);
    } else if (selection.top() - gap - size.height() >= bounds.top() + margin) {
        r.moveTop(selection.top() - gap - size.height());
        isAbove = true;
    } else {
        r.moveBottom(std::min(selection.bottom(), bounds.bottom()) - gap);
    }
    if (above) *above = isAbove;
    return r;
}

QRectF overCorner(QSizeF size, const QRectF& selection, const QRectF& bounds, double gap, bool barAbove) {
    QRectF r(QPointF(selection.left(), selection.top() - gap - size.height()), size);
    if (r.top() < bounds.top() + margin / 2 || barAbove)
        r.moveTopLeft(selection.topLeft() + QPointF(gap, gap));
    r.moveLeft(within(r.left(), size.width(), bounds.left() + margin / 2, bounds.right() - margin / 2));
    return r;
}

QRectF besidePointer(QSizeF size, QPointF pointer, const QRectF& bounds, double gap) {
    double x = pointer.x() + gap;
    double y = pointer.y() + gap;
    if (x + size.width() > bounds.right() - margin) x = pointer.x() - gap - size.width();
    if (y + size.height() > bounds.bottom() - margin) y = pointer.y() - gap - size.height();
    x = within(std::max(x, bounds.left() + margin), size.width(), bounds.left() + margin,
               bounds.right() - margin);
    y = within(std::max(y, bounds.top() + margin), size.height(), bounds.top() + margin,
               bounds.bottom() - margin);
    return {QPointF(x, y), size};
}

std::optional<QRectF> clearOf(QSizeF size, const QRectF& bounds, const QList<QRectF>& avoid, double fromEdge,
                              double clearance) {
    const QRectF top(QPointF(bounds.center().x() - size.width() / 2, bounds.top() + fromEdge), size);
    const QRectF bottom = top.translated(0, bounds.height() - 2 * fromEdge - size.height());
    const auto clear = [&](const QRectF& place) {
        const QRectF around = place.adjusted(-clearance, -clearance, clearance, clearance);
        return std::none_of(avoid.begin(), avoid.end(),
                            [&](const QRectF& r) { return r.intersects(around); });
    };
    if (clear(top)) return top;
    if (clear(bottom)) return bottom;
    return std::nullopt;
}

} // namespace SelectionLayout
