#include "ui/OverlayStyle.h"

#include <QApplication>
#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>

namespace ui::overlaystyle {

QFont font(double size, QFont::Weight weight) {
    QFont f = QApplication::font();
    // Pixel sizes are whole; the painter's scale to the display's points does the rest.
    f.setPixelSize(std::max(1, qRound(size)));
    f.setWeight(weight);
    f.setHintingPreference(QFont::PreferNoHinting);
    return f;
}

void drawPill(QPainter& painter, const QRectF& rect, double radius) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0, 0, 0, 40));
    painter.drawRoundedRect(rect.translated(0, 1), radius + 0.5, radius + 0.5);
    painter.setBrush(pillFill);
    painter.setPen(QPen(pillEdge, 1));
    painter.drawRoundedRect(rect.adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
    painter.restore();
}

QSizeF textPillSize(const QFont& font, const QString& text, QSizeF padding) {
    const QFontMetricsF metrics(font);
    return {std::ceil(metrics.horizontalAdvance(text)) + 2 * padding.width(),
            std::ceil(metrics.height()) + 2 * padding.height()};
}

void drawTextPill(QPainter& painter, const QRectF& rect, const QFont& font, const QString& text) {
    drawPill(painter, rect);
    painter.save();
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(rect, Qt::AlignCenter, text);
    painter.restore();
}

} // namespace ui::overlaystyle
