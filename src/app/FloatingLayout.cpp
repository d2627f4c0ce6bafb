#include "app/FloatingLayout.h"

#include <algorithm>
#include <cmath>

namespace FloatingLayout {

QRectF toLogical(const QRectF& root, const QPointF& screenOrigin, double ratio) {
    return {screenOrigin + (root.topLeft() - screenOrigin) / ratio, root.size() / ratio};
}

QRect toRoot(const QRectF& logical, const QPointF& screenOrigin, double ratio) {
    const QPointF topLeft = screenOrigin + (logical.topLeft() - screenOrigin) * ratio;
    return {QPoint(qRound(topLeft.x()), qRound(topLeft.y())),
            QSize(qRound(logical.width() * ratio), qRound(logical.height() * ratio))};
}

QRect centredSquare(const QRect& displayRoot, double scale, double side) {
    const int pixels = qRound(side * scale);
    return {displayRoot.x() + (displayRoot.width() - pixels) / 2,
            displayRoot.y() + (displayRoot.height() - pixels) / 2, pixels, pixels};
}

QRectF keptInside(const QRectF& rect, const QRectF& area) {
    QRectF kept = rect;
    if (kept.right() > area.right()) kept.moveRight(area.right());
    if (kept.bottom() > area.bottom()) kept.moveBottom(area.bottom());
    if (kept.left() < area.left()) kept.moveLeft(area.left());
    if (kept.top() < area.top()) kept.moveTop(area.top());
    return kept;
}

std::array<double, 4> slices(double start, double end, double first, double last) {
    const double span = end - start;
    if (first + last > span && first + last > 0) {
        const double shrink = span / (first + last);
        first *= shrink;
        last *= shrink;
    }
    return {start, start + first, end - last, end};
}

namespace card {

double width(QAOSize size) {
    switch (size) {
    case QAOSize::small:
        return 160;
    case QAOSize::large:
        return 320;
    case QAOSize::medium:
        break;
    }
    return 240;
}

QSizeF minimumSize() {
    return {2 * buttonSize.width() + buttonGap + 2 * buttonInset,
            2 * buttonSize.height() + buttonGap + 2 * buttonInset};
}

QSizeF size(const QSize& image, QAOSize qaoSize) {
    const double full = width(qaoSize);
    const double maxHeight = full * 0.75;
    double w = full;
    double h = image.isEmpty() ? maxHeight : full * image.height() / image.width();
    if (h > maxHeight) {
        w = maxHeight * image.width() / image.height();
        h = maxHeight;
    }
    const QSizeF least = minimumSize();
    return {std::round(std::max(w, least.width())), std::round(std::max(h, least.height()))};
}

QList<QRectF> buttonRects(const QSizeF& card, int count) {
    QList<QRectF> rects;
    if (count <= 0) return rects;
    const double bw = buttonSize.width();
    const double bh = buttonSize.height();
    const double rowWidth = count * bw + (count - 1) * buttonGap;
    const int columns = rowWidth + 2 * buttonInset <= card.width() ? count : std::min(2, count);
    const int rows = (count + columns - 1) / columns;
    const double top = (card.height() - (rows * bh + (rows - 1) * buttonGap)) / 2;
    for (int i = 0; i < count; ++i) {
        const int row = i / columns;
        const int inRow = std::min(columns, count - row * columns);
        const double left = (card.width() - (inRow * bw + (inRow - 1) * buttonGap)) / 2;
        rects.append(QRectF(left + (i % columns) * (bw + buttonGap), top + row * (bh + buttonGap), bw, bh));
    }
    return rects;
}

Stack stack(const QList<Placed>& oldestFirst) {
    const int count = static_cast<int>(oldestFirst.size());
    Stack result;
    result.dropped = std::max(0, count - maxVisible);
    for (;;) {
        result.positions.clear();
        bool fits = true;
        QList<std::pair<QRectF, double>> nextBottoms; // per display area
        for (int i = result.dropped; i < count; ++i) {
            const Placed& card = oldestFirst[i];
            auto column = std::find_if(nextBottoms.begin(), nextBottoms.end(),
                                       [&](const auto& entry) { return entry.first == card.area; });
            const bool lowest = column == nextBottoms.end();
            if (lowest)
                column = nextBottoms.insert(nextBottoms.end(), {card.area, card.area.bottom() - edgeMargin});
            const QPointF position(card.area.right() - edgeMargin - card.size.width(),
                                   column->second - card.size.height());
            if (!lowest && position.y() < card.area.top() + edgeMargin) fits = false;
            column->second = position.y() - spacing;
            result.positions.append(position);
        }
        if (fits || result.dropped >= count - 1) return result;
        ++result.dropped;
    }
}

} // namespace card

AutoDismiss::AutoDismiss(int seconds, qint64 nowMs)
    : m_enabled(seconds > 0), m_remaining(qint64(seconds) * 1000), m_runningSince(nowMs) {}

void AutoDismiss::setHovered(bool hovered, qint64 nowMs) {
    if (hovered && m_runningSince) {
        m_remaining = std::max<qint64>(0, m_remaining - (nowMs - *m_runningSince));
        m_runningSince.reset();
    } else if (!hovered && !m_runningSince) {
        m_remaining = std::max(m_remaining, grace);
        m_runningSince = nowMs;
    }
}

std::optional<qint64> AutoDismiss::deadline() const {
    if (!m_enabled || !m_runningSince) return std::nullopt;
    return *m_runningSince + m_remaining;
}

namespace pin {

double zoomLimit(const QSizeF& size, double ratio) {
    const double pixels = size.width() * size.height() * ratio * ratio;
    if (pixels <= 0) return maxZoom;
    return std::clamp(std::sqrt(maxPixels / pixels), 1.0, maxZoom);
}

double zoomed(double zoom, double notches, double limit) {
    double next = zoom * std::pow(zoomStep, notches);
    // Passing 100 % stops there, so the pin can always get back to its real size.
    if ((zoom < 1.0 && next > 1.0) || (zoom > 1.0 && next < 1.0) || std::abs(next - 1.0) < 0.005) next = 1.0;
    return std::clamp(next, minZoom, std::max(limit, minZoom));
}

QRectF scaledAround(const QRectF& rect, const QPointF& anchor, double factor) {
    return {anchor + (rect.topLeft() - anchor) * factor, rect.size() * factor};
}

double fitting(const QSizeF& size, const QSizeF& room) {
    if (size.isEmpty()) return 1.0;
    return std::clamp(std::min(room.width() / size.width(), room.height() / size.height()), minZoom, 1.0);
}

Placement place(const QSizeF& size, const QRectF& target, const QRectF& area) {
    const double zoom = fitting(size, area.size());
    QRectF rect(QPointF(), size * zoom);
    rect.moveCenter(target.center());
    return {keptInside(rect, area), zoom};
}

Frame frame(const QRectF& image, const QMarginsF& margins) {
    const QRectF outer = image.marginsAdded(margins);
    const QPoint topLeft(static_cast<int>(std::floor(outer.left())),
                         static_cast<int>(std::floor(outer.top())));
    const QPoint bottomRight(static_cast<int>(std::ceil(outer.right())),
                             static_cast<int>(std::ceil(outer.bottom())));
    return {QRect(topLeft, QSize(bottomRight.x() - topLeft.x(), bottomRight.y() - topLeft.y())),
            image.translated(-QPointF(topLeft))};
}

} // namespace pin

namespace hud {

QRect place(const QRect& recorded, const QRect& display, const QSize& panel, double scale) {
    const int space = qRound(gap * scale);
    const QRect room = display.adjusted(space, space, -space, -space);
    const QRect area = recorded & display;
    const int centredX = area.x() + (area.width() - panel.width()) / 2;
    const int centredY = area.y() + (area.height() - panel.height()) / 2;
    const QList<QRect> candidates{
        QRect(QPoint(centredX, area.bottom() + 1 + space), panel),           // below
        QRect(QPoint(centredX, area.top() - space - panel.height()), panel), // above
        QRect(QPoint(area.right() + 1 + space, centredY), panel),            // right
        QRect(QPoint(area.left() - space - panel.width(), centredY), panel), // left
    };
    for (const QRect& candidate : candidates) {
        // Slid along the area's side to stay on the display, it must still miss the area.
        const QRect kept = keptInside(QRectF(candidate), QRectF(room)).toRect();
        if (room.contains(kept) && !kept.intersects(area)) return kept;
    }
    return {QPoint(display.x() + (display.width() - panel.width()) / 2,
                   display.bottom() + 1 - space - panel.height()),
            panel};
}

} // namespace hud

} // namespace FloatingLayout
