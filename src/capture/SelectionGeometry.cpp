#include "capture/SelectionGeometry.h"

#include <algorithm>
#include <cmath>

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
