#pragma once

#include <QColor>
#include <QFont>
#include <QRectF>
#include <QString>

class QPainter;

// The look shared by the selection overlays: dark translucent pills with white text and
// one accent colour. Sizes are in points; the overlays paint in the display's points.
namespace ui::overlaystyle {

inline const QColor pillFill(0x1E, 0x1E, 0x1E, 217); // #1E1E1E at 85 %
inline const QColor pillEdge(255, 255, 255, 26);
inline const QColor accent(0x3B, 0x82, 0xF6);
inline constexpr double pillRadius = 7;

// The system font at a size in points of the overlay (not the font's own point size,
// which Qt would scale by the DPI a second time).
QFont font(double size, QFont::Weight weight = QFont::Normal);

// A dark rounded panel with a hairline edge and a soft shadow below.
void drawPill(QPainter& painter, const QRectF& rect, double radius = pillRadius);

// One line of text in a pill, `padding` points around it: the pill's size.
QSizeF textPillSize(const QFont& font, const QString& text, QSizeF padding = {10, 5});
// Paints that pill with the text centred.
void drawTextPill(QPainter& painter, const QRectF& rect, const QFont& font, const QString& text);

} // namespace ui::overlaystyle
