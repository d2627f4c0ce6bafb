#include "ui/SelectionActionBar.h"

#include "capture/SelectionGeometry.h"
#include "ui/OverlayStyle.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>

namespace ui {

namespace {

constexpr double barPadding = 4;
constexpr double buttonHeight = 32;
constexpr double buttonPaddingX = 10;
constexpr double iconSize = 16;
constexpr double iconGap = 7;
constexpr double buttonSpacing = 2;
constexpr double selectionGap = 10;

// A line glyph for each action in a 16-point box, drawn with the painter's pen.
void drawGlyph(QPainter& p, SelectionAction action, const QRectF& box) {
    p.save();
    p.translate(box.topLeft());
    p.scale(box.width() / 16, box.height() / 16);
    const QColor ink = p.pen().color();
    switch (action) {
    case SelectionAction::capture: { // an arrow into a tray
        p.drawLine(QPointF(8, 1.5), QPointF(8, 10));
        p.drawPolyline(QPolygonF({{4.5, 6.5}, {8, 10}, {11.5, 6.5}}));
        p.drawPolyline(QPolygonF({{2, 10.5}, {2, 14}, {14, 14}, {14, 10.5}}));
        break;
    }
    case SelectionAction::copy: { // two sheets
        p.drawPolyline(QPolygonF({{5.5, 4.5}, {5.5, 1.5}, {14.5, 1.5}, {14.5, 11.5}, {10.5, 11.5}}));
        p.drawRoundedRect(QRectF(1.5, 4.5, 9, 10), 1.5, 1.5);
        break;
    }
    case SelectionAction::ocr: { // a T inside scan corners
        p.drawPolyline(QPolygonF({{1.5, 5}, {1.5, 1.5}, {5, 1.5}}));
        p.drawPolyline(QPolygonF({{11, 1.5}, {14.5, 1.5}, {14.5, 5}}));
        p.drawPolyline(QPolygonF({{14.5, 11}, {14.5, 14.5}, {11, 14.5}}));
        p.drawPolyline(QPolygonF({{5, 14.5}, {1.5, 14.5}, {1.5, 11}}));
        p.drawLine(QPointF(5, 5), QPointF(11, 5));
        p.drawLine(QPointF(8, 5), QPointF(8, 11.5));
        break;
    }
    case SelectionAction::pin: { // a push pin
        QPainterPath head;
        head.moveTo(5.5, 1.5);
        head.lineTo(10.5, 1.5);
        head.lineTo(10, 6.5);
        head.lineTo(12.5, 9.5);
        head.lineTo(3.5, 9.5);
        head.lineTo(6, 6.5);
        head.closeSubpath();
        p.drawPath(head);
        p.drawLine(QPointF(8, 9.5), QPointF(8, 15));
        break;
    }
    case SelectionAction::record: { // a red dot in a ring
        p.drawEllipse(QPointF(8, 8), 6.5, 6.5);
        p.setPen(Qt::NoPen);
        p.setBrush(QColor(0xEF, 0x44, 0x44));
        p.drawEllipse(QPointF(8, 8), 4, 4);
        break;
    }
    case SelectionAction::gif: { // a frame with "GIF"
        p.drawRoundedRect(QRectF(0.75, 2.5, 14.5, 11), 2, 2);
        QFont f = overlaystyle::font(6, QFont::Bold);
        p.setFont(f);
        p.setPen(ink);
        p.drawText(QRectF(0.75, 2.5, 14.5, 11), Qt::AlignCenter, QStringLiteral("GIF"));
        break;
    }
    case SelectionAction::scroll: { // a tall page with an arrow down
        p.drawRoundedRect(QRectF(3.5, 0.75, 9, 14.5), 1.5, 1.5);
        p.drawLine(QPointF(8, 4), QPointF(8, 11));
        p.drawPolyline(QPolygonF({{5.5, 8.5}, {8, 11}, {10.5, 8.5}}));
        break;
    }
    }
    p.restore();
}

} // namespace

SelectionActionBar::SelectionActionBar(const QList<SelectionAction>& actions)
    : m_actions(actions), m_font(overlaystyle::font(13, QFont::Medium)) {
    const QFontMetricsF metrics(m_font);
    double width = 2 * barPadding;
    for (SelectionAction action : m_actions) {
        const double w =
            std::ceil(2 * buttonPaddingX + iconSize + iconGap + metrics.horizontalAdvance(label(action)));
        m_widths.append(w);
        width += w;
    }
    if (m_actions.size() > 1) width += buttonSpacing * double(m_actions.size() - 1);
    m_rect = QRectF(0, 0, width, buttonHeight + 2 * barPadding);
}

QString SelectionActionBar::label(SelectionAction action) {
    switch (action) {
    case SelectionAction::capture:
        return QStringLiteral("Save");
    case SelectionAction::copy:
        return QStringLiteral("Copy");
    case SelectionAction::ocr:
        return QStringLiteral("Copy Text");
    case SelectionAction::pin:
        return QStringLiteral("Pin");
    case SelectionAction::record:
        return QStringLiteral("Record");
    case SelectionAction::gif:
        return QStringLiteral("GIF");
    case SelectionAction::scroll:
        return QStringLiteral("Scroll");
    }
    return {};
}

void SelectionActionBar::place(const QRectF& selection, const QRectF& bounds) {
    m_rect = SelectionLayout::underSelection(m_rect.size(), selection, bounds, selectionGap, &m_above);
}

QRectF SelectionActionBar::buttonRect(int index) const {
    double x = m_rect.left() + barPadding;
    for (int i = 0; i < index; ++i)
        x += m_widths[i] + buttonSpacing;
    return {x, m_rect.top() + barPadding, m_widths[index], buttonHeight};
}

int SelectionActionBar::buttonAt(QPointF point) const {
    if (!m_rect.contains(point)) return -1;
    for (int i = 0; i < m_actions.size(); ++i)
        if (buttonRect(i).contains(point)) return i;
    return -1;
}

void SelectionActionBar::paint(QPainter& p, int hovered, int pressed) const {
    if (m_actions.isEmpty()) return;
    overlaystyle::drawPill(p, m_rect, 9);
    p.save();
    p.setRenderHint(QPainter::Antialiasing);
    p.setFont(m_font);
    for (int i = 0; i < m_actions.size(); ++i) {
        const QRectF button = buttonRect(i);
        if (i == pressed || i == hovered) {
            p.setPen(Qt::NoPen);
            p.setBrush(i == pressed ? overlaystyle::accent : QColor(255, 255, 255, 30));
            p.drawRoundedRect(button, 6, 6);
        }
        const QRectF icon(button.left() + buttonPaddingX, button.center().y() - iconSize / 2, iconSize,
                          iconSize);
        QPen pen(Qt::white, 1.5);
        pen.setCapStyle(Qt::RoundCap);
        pen.setJoinStyle(Qt::RoundJoin);
        p.setPen(pen);
        p.setBrush(Qt::NoBrush);
        drawGlyph(p, m_actions[i], icon);
        p.setPen(Qt::white);
        const QRectF text(icon.right() + iconGap, button.top(), button.right() - icon.right() - iconGap,
                          button.height());
        p.drawText(text, Qt::AlignVCenter | Qt::AlignLeft, label(m_actions[i]));
    }
    p.restore();
}

} // namespace ui
