#include "ui/SelectionLoupe.h"

#include "capture/SelectionGeometry.h"
#include "ui/OverlayStyle.h"

#include <QPainter>
#include <QPainterPath>

#include <cmath>

namespace ui {

namespace {

constexpr double targetSide = 120; // points
constexpr double devicePixelsPerCell = 8;
constexpr double padding = 4;
constexpr double infoHeight = 38; // two lines of text
constexpr double pointerGap = 24;
constexpr double zoomRadius = 7;

} // namespace

SelectionLoupe::SelectionLoupe(double scale) : m_scale(scale), m_cell(devicePixelsPerCell / scale) {
    m_cells = 2 * int(targetSide / m_cell / 2) + 1;
}

QRectF SelectionLoupe::rectFor(QPointF pointer, const QRectF& bounds) const {
    const double side = m_cells * m_cell;
    QRectF r = SelectionLayout::besidePointer(QSizeF(side + 2 * padding, side + 2 * padding + infoHeight),
                                              pointer, bounds, pointerGap);
    // On whole pixels, so the magnified pixels and the grid are sharp.
    r.moveTopLeft(QPointF(std::round(r.left() * m_scale) / m_scale, std::round(r.top() * m_scale) / m_scale));
    return r;
}

void SelectionLoupe::paint(QPainter& p, const QRectF& rect, const QImage& snapshot, QPoint pixel) const {
    overlaystyle::drawPill(p, rect, zoomRadius + padding);
    const double side = m_cells * m_cell;
    const QRectF zoom(rect.left() + padding, rect.top() + padding, side, side);
    const int half = m_cells / 2;

    p.save();
    QPainterPath clip;
    clip.addRoundedRect(zoom, zoomRadius, zoomRadius);
    p.setClipPath(clip, Qt::IntersectClip);
    p.fillRect(zoom, QColor(12, 12, 12));
    QImage around = snapshot.copy(pixel.x() - half, pixel.y() - half, m_cells, m_cells);
    around.setDevicePixelRatio(1);
    p.setRenderHint(QPainter::SmoothPixmapTransform, false);
    p.drawImage(zoom, around);

    // The grid, one device pixel wide, and the centre row and column lightened a little.
    p.setRenderHint(QPainter::Antialiasing, false);
    QPen grid(QColor(0, 0, 0, 46), 0);
    p.setPen(grid);
    for (int i = 1; i < m_cells; ++i) {
        const double at = i * m_cell;
        p.drawLine(QPointF(zoom.left() + at, zoom.top()), QPointF(zoom.left() + at, zoom.bottom()));
        p.drawLine(QPointF(zoom.left(), zoom.top() + at), QPointF(zoom.right(), zoom.top() + at));
    }
    const QRectF centre(zoom.left() + half * m_cell, zoom.top() + half * m_cell, m_cell, m_cell);
    p.fillRect(QRectF(zoom.left(), centre.top(), side, m_cell), QColor(255, 255, 255, 22));
    p.fillRect(QRectF(centre.left(), zoom.top(), m_cell, side), QColor(255, 255, 255, 22));
    p.setBrush(Qt::NoBrush);
    const double device = 1.0 / m_scale;
    p.setPen(QPen(QColor(0, 0, 0, 160), 0));
    p.drawRect(centre.adjusted(-device, -device, 0, 0));
    p.setPen(QPen(Qt::white, 0));
    p.drawRect(centre.adjusted(0, 0, -device, -device));
    p.restore();

    p.save();
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(QColor(255, 255, 255, 50), 1));
    p.setBrush(Qt::NoBrush);
    p.drawRoundedRect(zoom.adjusted(-0.5, -0.5, 0.5, 0.5), zoomRadius + 0.5, zoomRadius + 0.5);

    // The pointer's pixel on one line, the centre pixel's colour on the next.
    const QColor colour = snapshot.rect().contains(pixel) ? snapshot.pixelColor(pixel) : QColor(Qt::black);
    const double lineHeight = (rect.bottom() - zoom.bottom() - 4) / 2;
    const QRectF first(zoom.left() + 4, zoom.bottom() + 3, side - 8, lineHeight);
    const QRectF second = first.translated(0, lineHeight);
    p.setFont(overlaystyle::font(11, QFont::Medium));
    p.setPen(QColor(255, 255, 255, 210));
    p.drawText(first, Qt::AlignVCenter | Qt::AlignLeft,
               QStringLiteral("%1, %2").arg(pixel.x()).arg(pixel.y()));
    const QRectF swatch(second.left(), second.center().y() - 5, 10, 10);
    p.setPen(QPen(QColor(255, 255, 255, 120), 1));
    p.setBrush(colour);
    p.drawRoundedRect(swatch, 2.5, 2.5);
    p.setPen(Qt::white);
    p.drawText(second.adjusted(16, 0, 0, 0), Qt::AlignVCenter | Qt::AlignLeft,
               colour.name(QColor::HexRgb).toUpper());
    p.restore();
}

} // namespace ui
