#include "ui/main/ActionTile.h"

#include <QPainter>

namespace ui {
namespace {

constexpr int iconSide = 22;
constexpr int wellSide = 38;
constexpr int padding = 12;

} // namespace

ActionTile::ActionTile(const QIcon& icon, const QString& title, const QString& detail, QWidget* parent)
    : QAbstractButton(parent), m_detail(detail) {
    setIcon(icon);
    setText(title);
    setAccessibleName(title);
    setFocusPolicy(Qt::StrongFocus);
    setCursor(Qt::PointingHandCursor);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void ActionTile::setDetail(const QString& detail) {
    m_detail = detail;
    update();
}

QSize ActionTile::sizeHint() const {
    const QFontMetrics metrics(font());
    const int lines = metrics.height() * 2 + 2;
    const int textWidth = std::max(metrics.horizontalAdvance(text()), metrics.horizontalAdvance(m_detail));
    return {padding * 3 + wellSide + textWidth + 8, std::max(wellSide, lines) + padding * 2};
}

QSize ActionTile::minimumSizeHint() const {
    return {padding * 3 + wellSide + 60, sizeHint().height()};
}

void ActionTile::enterEvent(QEnterEvent* event) {
    m_hovered = true;
    update();
    QAbstractButton::enterEvent(event);
}

void ActionTile::leaveEvent(QEvent* event) {
    m_hovered = false;
    update();
    QAbstractButton::leaveEvent(event);
}

void ActionTile::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPalette& pal = palette();
    const QRectF frame = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);

    // A card that lifts a little under the pointer and sinks when pressed.
    QColor fill = pal.color(QPalette::Base);
    if (isDown())
        fill = pal.color(QPalette::Midlight);
    else if (m_hovered)
        fill = pal.color(QPalette::AlternateBase);
    QColor border = pal.color(QPalette::Mid);
    if (hasFocus() || m_hovered) border = pal.color(QPalette::Highlight);
    painter.setPen(QPen(border, hasFocus() ? 1.5 : 1.0));
    painter.setBrush(fill);
    painter.drawRoundedRect(frame, 8, 8);

    // The icon on a soft well of the accent colour; without an icon theme, the words alone.
    int left = padding;
    if (!icon().isNull()) {
        const QRectF well(padding, (height() - wellSide) / 2.0, wellSide, wellSide);
        QColor tint = pal.color(QPalette::Highlight);
        tint.setAlphaF(0.14);
        painter.setPen(Qt::NoPen);
        painter.setBrush(tint);
        painter.drawRoundedRect(well, 8, 8);
        const QRect iconRect(well.center().toPoint() - QPoint(iconSide / 2, iconSide / 2),
                             QSize(iconSide, iconSide));
        icon().paint(&painter, iconRect, Qt::AlignCenter, isEnabled() ? QIcon::Normal : QIcon::Disabled);
        left = int(well.right()) + padding;
    }
    const QRect words(left, padding, width() - left - padding, height() - 2 * padding);
    QFont titleFont = font();
    titleFont.setWeight(QFont::DemiBold);
    const QFontMetrics titleMetrics(titleFont);
    const int lineHeight = titleMetrics.height();
    const int top = m_detail.isEmpty() ? words.top() + (words.height() - lineHeight) / 2
                                       : words.top() + (words.height() - 2 * lineHeight - 2) / 2;
    painter.setFont(titleFont);
    painter.setPen(pal.color(isEnabled() ? QPalette::Text : QPalette::PlaceholderText));
    painter.drawText(QRect(words.left(), top, words.width(), lineHeight), Qt::AlignLeft | Qt::AlignVCenter,
                     titleMetrics.elidedText(text(), Qt::ElideRight, words.width()));
    if (!m_detail.isEmpty()) {
        painter.setFont(font());
        painter.setPen(pal.color(QPalette::PlaceholderText));
        painter.drawText(QRect(words.left(), top + lineHeight + 2, words.width(), lineHeight),
                         Qt::AlignLeft | Qt::AlignVCenter,
                         QFontMetrics(font()).elidedText(m_detail, Qt::ElideRight, words.width()));
    }
}

} // namespace ui
