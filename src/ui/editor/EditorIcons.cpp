#include "ui/editor/EditorIcons.h"

#include "ui/OverlayStyle.h"

#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

#include <functional>

namespace ui::editor::icons {

namespace {

constexpr double grid = 24;
constexpr double stroke = 1.8;

using Drawing = std::function<void(QPainter&)>;

QPen pen(const QColor& color, double width = stroke) {
    return QPen(color, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
}

void arrowHead(QPainter& p, QPointF tip, QPointF from) {
    const QPointF d = tip - from;
    const double length = std::hypot(d.x(), d.y());
    const QPointF u = d / length;
    const QPointF n(-u.y(), u.x());
    const QPointF base = tip - u * 6.5;
    QPainterPath head;
    head.moveTo(tip);
    head.lineTo(base + n * 3.8);
    head.lineTo(base - n * 3.8);
    head.closeSubpath();
    p.fillPath(head, p.pen().color());
}

void centredText(QPainter& p, const QRectF& box, const QString& text, double size, const QColor& color) {
    QFont font = overlaystyle::font(size, QFont::Bold);
    p.setFont(font);
    p.setPen(color);
    p.drawText(box, Qt::AlignCenter, text);
}

void paintGlyph(QPainter& p, Glyph glyph) {
    const QColor ink = p.pen().color();
    p.setPen(pen(ink));
    p.setBrush(Qt::NoBrush);
    switch (glyph) {
    case Glyph::Undo:
    case Glyph::Redo: {
        p.save();
        if (glyph == Glyph::Redo) p.setTransform(QTransform(-1, 0, 0, 1, grid, 0), true);
        QPainterPath path;
        path.moveTo(6, 10);
        path.lineTo(15, 10);
        path.cubicTo(18.5, 10, 20, 12.5, 20, 14.5);
        path.cubicTo(20, 17, 18, 19, 15, 19);
        path.lineTo(11, 19);
        p.drawPath(path);
        p.drawPolyline(QPolygonF{{9.5, 6}, {5.5, 10}, {9.5, 14}});
        p.restore();
        break;
    }
    case Glyph::Copy:
        p.drawRoundedRect(QRectF(8.5, 8.5, 11, 12), 2, 2);
        p.drawPolyline(QPolygonF{{5, 15.5}, {5, 6}, {6, 4.5}, {14.5, 4.5}});
        break;
    case Glyph::Save:
        p.drawLine(QPointF(12, 4), QPointF(12, 14.5));
        p.drawPolyline(QPolygonF{{7.5, 10.5}, {12, 15}, {16.5, 10.5}});
        p.drawPolyline(QPolygonF{{4.5, 15}, {4.5, 19.5}, {19.5, 19.5}, {19.5, 15}});
        break;
    case Glyph::Done:
        p.setPen(pen(ink, 2.2));
        p.drawPolyline(QPolygonF{{5, 12.5}, {10, 17.5}, {19, 7}});
        break;
    case Glyph::Beautify: {
        // A four-pointed sparkle and a small one.
        auto sparkle = [&](QPointF c, double r) {
            QPainterPath s;
            s.moveTo(c.x(), c.y() - r);
            s.quadTo(c.x() + r * 0.15, c.y() - r * 0.15, c.x() + r, c.y());
            s.quadTo(c.x() + r * 0.15, c.y() + r * 0.15, c.x(), c.y() + r);
            s.quadTo(c.x() - r * 0.15, c.y() + r * 0.15, c.x() - r, c.y());
            s.quadTo(c.x() - r * 0.15, c.y() - r * 0.15, c.x(), c.y() - r);
            p.fillPath(s, ink);
        };
        sparkle({10, 13}, 7.5);
        sparkle({18.5, 6}, 3.5);
        break;
    }
    case Glyph::ZoomIn:
    case Glyph::ZoomOut:
        p.drawEllipse(QPointF(10.5, 10.5), 6, 6);
        p.drawLine(QPointF(15, 15), QPointF(20, 20));
        p.drawLine(QPointF(7.5, 10.5), QPointF(13.5, 10.5));
        if (glyph == Glyph::ZoomIn) p.drawLine(QPointF(10.5, 7.5), QPointF(10.5, 13.5));
        break;
    case Glyph::Plus:
        p.drawLine(QPointF(12, 5), QPointF(12, 19));
        p.drawLine(QPointF(5, 12), QPointF(19, 12));
        break;
    case Glyph::Scan:
        p.drawPolyline(QPolygonF{{4.5, 9}, {4.5, 4.5}, {9, 4.5}});
        p.drawPolyline(QPolygonF{{15, 4.5}, {19.5, 4.5}, {19.5, 9}});
        p.drawPolyline(QPolygonF{{19.5, 15}, {19.5, 19.5}, {15, 19.5}});
        p.drawPolyline(QPolygonF{{9, 19.5}, {4.5, 19.5}, {4.5, 15}});
        p.fillRect(QRectF(7.5, 10.5, 9, 3), ink);
        break;
    case Glyph::Text:
        p.drawRoundedRect(QRectF(4.5, 4.5, 15, 15), 3, 3);
        p.drawLine(QPointF(8, 9), QPointF(16, 9));
        p.drawLine(QPointF(8, 12), QPointF(16, 12));
        p.drawLine(QPointF(8, 15), QPointF(13, 15));
        break;
    case Glyph::RemoveBackground: {
        // A figure cut out of a checked backdrop.
        for (int row = 0; row < 4; ++row)
            for (int column = 0; column < 4; ++column)
                if ((row + column) % 2 == 0)
                    p.fillRect(QRectF(4 + column * 4, 4 + row * 4, 4, 4),
                               QColor(ink.red(), ink.green(), ink.blue(), 90));
        p.setBrush(ink);
        p.setPen(Qt::NoPen);
        p.drawEllipse(QPointF(12, 9.5), 3, 3);
        QPainterPath body;
        body.moveTo(6, 20);
        body.cubicTo(6, 14, 18, 14, 18, 20);
        body.closeSubpath();
        p.drawPath(body);
        break;
    }
    }
}

QPixmap render(const Drawing& draw, const QColor& color, double ratio) {
    QPixmap pixmap(QSize(qRound(grid * ratio), qRound(grid * ratio)));
    pixmap.setDevicePixelRatio(ratio);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(pen(color));
    draw(painter);
    return pixmap;
}

QIcon makeIcon(const Drawing& draw, const QColor& ink) {
    QIcon icon;
    QColor faded = ink;
    faded.setAlphaF(0.35);
    for (double ratio : {1.0, 2.0}) {
        icon.addPixmap(render(draw, ink, ratio), QIcon::Normal, QIcon::Off);
        icon.addPixmap(render(draw, Qt::white, ratio), QIcon::Normal, QIcon::On);
        icon.addPixmap(render(draw, faded, ratio), QIcon::Disabled, QIcon::Off);
        icon.addPixmap(render(draw, faded, ratio), QIcon::Disabled, QIcon::On);
    }
    return icon;
}

} // namespace

void paintTool(QPainter& p, EditorTool tool) {
    const QColor ink = p.pen().color();
    p.setPen(pen(ink));
    p.setBrush(Qt::NoBrush);
    switch (tool) {
    case EditorTool::Select: {
        QPainterPath cursor;
        cursor.moveTo(7, 4);
        cursor.lineTo(7, 18.5);
        cursor.lineTo(10.8, 15);
        cursor.lineTo(13.5, 20.5);
        cursor.lineTo(15.8, 19.4);
        cursor.lineTo(13.2, 14);
        cursor.lineTo(18.3, 14);
        cursor.closeSubpath();
        p.drawPath(cursor);
        break;
    }
    case EditorTool::Arrow:
        p.drawLine(QPointF(5, 19), QPointF(15.5, 8.5));
        arrowHead(p, QPointF(19.5, 4.5), QPointF(5, 19));
        break;
    case EditorTool::Line:
        p.drawLine(QPointF(5, 19), QPointF(19, 5));
        break;
    case EditorTool::Rect:
        p.drawRoundedRect(QRectF(4, 6, 16, 12), 1.5, 1.5);
        break;
    case EditorTool::Ellipse:
        p.drawEllipse(QRectF(3.5, 6, 17, 12));
        break;
    case EditorTool::Freehand: {
        QPainterPath squiggle;
        squiggle.moveTo(4, 16);
        squiggle.cubicTo(6, 8, 9, 6, 10.5, 10);
        squiggle.cubicTo(12, 14, 13, 18, 15.5, 15);
        squiggle.cubicTo(17.5, 12.5, 18, 8, 20, 7);
        p.drawPath(squiggle);
        break;
    }
    case EditorTool::Highlight: {
        QColor wash = ink;
        wash.setAlphaF(0.4);
        p.fillRect(QRectF(3.5, 9, 17, 7.5), wash);
        p.drawLine(QPointF(6, 12.75), QPointF(18, 12.75));
        p.drawLine(QPointF(3.5, 19.5), QPointF(20.5, 19.5));
        break;
    }
    case EditorTool::Text:
        p.setPen(pen(ink, 2.2));
        p.drawLine(QPointF(6, 6), QPointF(18, 6));
        p.drawLine(QPointF(12, 6), QPointF(12, 19));
        p.setPen(pen(ink, 1.6));
        p.drawLine(QPointF(9.5, 19), QPointF(14.5, 19));
        break;
    case EditorTool::Emoji:
        p.drawEllipse(QPointF(12, 12), 8, 8);
        p.setBrush(ink);
        p.setPen(Qt::NoPen);
        p.drawEllipse(QPointF(9.2, 10), 1.2, 1.2);
        p.drawEllipse(QPointF(14.8, 10), 1.2, 1.2);
        p.setPen(pen(ink, 1.6));
        p.setBrush(Qt::NoBrush);
        p.drawArc(QRectF(8, 9.5, 8, 7), -20 * 16, -140 * 16);
        break;
    case EditorTool::Counter:
        p.setBrush(ink);
        p.setPen(Qt::NoPen);
        p.drawEllipse(QPointF(12, 12), 8.5, 8.5);
        p.setCompositionMode(QPainter::CompositionMode_DestinationOut);
        centredText(p, QRectF(3.5, 3.5, 17, 17), QStringLiteral("1"), 11, Qt::black);
        p.setCompositionMode(QPainter::CompositionMode_SourceOver);
        break;
    case EditorTool::Step:
        p.setBrush(ink);
        p.setPen(Qt::NoPen);
        p.drawRoundedRect(QRectF(2.5, 7, 19, 10), 5, 5);
        p.setCompositionMode(QPainter::CompositionMode_DestinationOut);
        centredText(p, QRectF(2.5, 7, 19, 10), QStringLiteral("1 2"), 7.5, Qt::black);
        p.setCompositionMode(QPainter::CompositionMode_SourceOver);
        break;
    case EditorTool::Blur:
        for (int row = 0; row < 4; ++row)
            for (int column = 0; column < 4; ++column) {
                QColor cell = ink;
                cell.setAlphaF(0.25 + 0.75 * ((row * 3 + column * 5) % 7) / 6.0);
                p.fillRect(QRectF(4.5 + column * 3.75, 4.5 + row * 3.75, 3.4, 3.4), cell);
            }
        break;
    case EditorTool::Spotlight: {
        QPainterPath dim;
        dim.addRoundedRect(QRectF(3, 4, 18, 16), 2.5, 2.5);
        dim.addEllipse(QPointF(12, 12), 5, 4.5);
        QColor shade = ink;
        shade.setAlphaF(0.5);
        p.fillPath(dim, shade);
        p.drawEllipse(QPointF(12, 12), 5, 4.5);
        break;
    }
    case EditorTool::Crop:
        p.drawPolyline(QPolygonF{{7, 3}, {7, 17}, {21, 17}});
        p.drawPolyline(QPolygonF{{3, 7}, {17, 7}, {17, 21}});
        break;
    }
}

QIcon tool(EditorTool tool, const QColor& ink) {
    return makeIcon([tool](QPainter& p) { paintTool(p, tool); }, ink);
}

QIcon glyph(Glyph glyph, const QColor& ink) {
    return makeIcon([glyph](QPainter& p) { paintGlyph(p, glyph); }, ink);
}

} // namespace ui::editor::icons
