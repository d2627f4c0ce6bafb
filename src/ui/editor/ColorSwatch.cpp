#include "ui/editor/ColorSwatch.h"

#include "ui/OverlayStyle.h"

#include <QLinearGradient>
#include <QPainter>

namespace ui::editor {

ColorSwatch::ColorSwatch(QList<QColor> colors, const QString& name, QWidget* parent)
    : QAbstractButton(parent), m_colors(std::move(colors)) {
    setCheckable(true);
    setFixedSize(22, 22); // a circle, however little room the bar has
    setCursor(Qt::PointingHandCursor);
    setToolTip(name);
    setAccessibleName(name);
    setFocusPolicy(Qt::NoFocus);
}

void ColorSwatch::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF box = QRectF(rect()).adjusted(1.5, 1.5, -1.5, -1.5);
    if (isChecked()) {
        painter.setPen(QPen(overlaystyle::accent, 2));
        painter.setBrush(Qt::NoBrush);
        painter.drawEllipse(box);
    }
    const double inset = isChecked() ? 3.5 : (m_hovered ? 1.5 : 2.5);
    const QRectF dot = box.adjusted(inset, inset, -inset, -inset);
    QBrush fill;
    if (m_colors.size() > 1) {
        QLinearGradient gradient(dot.topLeft(), dot.bottomRight());
        for (qsizetype i = 0; i < m_colors.size(); ++i)
            gradient.setColorAt(double(i) / (m_colors.size() - 1), m_colors[i]);
        fill = gradient;
    } else {
        fill = m_colors.value(0);
    }
    // A hairline keeps white and black visible on either theme.
    painter.setPen(QPen(QColor(128, 128, 128, 110), 1));
    painter.setBrush(fill);
    painter.drawEllipse(dot);
}

void ColorSwatch::enterEvent(QEnterEvent* event) {
    m_hovered = true;
    update();
    QAbstractButton::enterEvent(event);
}

void ColorSwatch::leaveEvent(QEvent* event) {
    m_hovered = false;
    update();
    QAbstractButton::leaveEvent(event);
}

} // namespace ui::editor
