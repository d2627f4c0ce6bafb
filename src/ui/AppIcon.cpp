#include "ui/AppIcon.h"

#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

namespace ui {

namespace {

// A rounded accent square with the corner brackets of a selection and a dot in the middle.
QPixmap mark(int size) {
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    const qreal s = size;
    QPainterPath tile;
    tile.addRoundedRect(QRectF(s * 0.04, s * 0.04, s * 0.92, s * 0.92), s * 0.22, s * 0.22);
    QLinearGradient fill(0, 0, s, s);
    fill.setColorAt(0, QColor(0x4F, 0x8E, 0xF7));
    fill.setColorAt(1, QColor(0x25, 0x63, 0xEB));
    p.fillPath(tile, fill);
    QPen pen(Qt::white, std::max(1.5, s * 0.09), Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    p.setPen(pen);
    const qreal a = s * 0.26, b = s * 0.74, l = s * 0.16;
    p.drawPolyline(QPolygonF{{a, a + l}, {a, a}, {a + l, a}});
    p.drawPolyline(QPolygonF{{b - l, a}, {b, a}, {b, a + l}});
    p.drawPolyline(QPolygonF{{a, b - l}, {a, b}, {a + l, b}});
    p.drawPolyline(QPolygonF{{b - l, b}, {b, b}, {b, b - l}});
    p.setPen(Qt::NoPen);
    p.setBrush(Qt::white);
    p.drawEllipse(QPointF(s / 2, s / 2), s * 0.08, s * 0.08);
    return pixmap;
}

} // namespace

QIcon appIcon() {
    static const QIcon icon = [] {
        QIcon i;
        for (int size : {16, 22, 24, 32, 48, 64, 128, 256})
            i.addPixmap(mark(size));
        return i;
    }();
    return icon;
}

} // namespace ui
