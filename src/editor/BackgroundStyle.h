#pragma once

#include <QColor>
#include <QList>
#include <QRectF>
#include <QString>
#include <QStringView>

#include <optional>

class QPainter;
class QImage;

// The beautify backgrounds, in picker order. Raw values are the names used in project
// files and presets ("glassOcean").
enum class BackgroundStyle {
    None,
    White,
    Black,
    Ocean,
    Sunset,
    Forest,
    Lavender,
    Candy,
    Midnight,
    Corvanta,
    GlassOcean,
    GlassSunset,
    GlassLavender,
    GlassCandy,
    GlassCorvanta,
    Desktop,
    CustomImage
};

namespace Backgrounds {

QList<BackgroundStyle> allCases();
QString raw(BackgroundStyle style);
std::optional<BackgroundStyle> parse(QStringView raw);
QString label(BackgroundStyle style);      // "Glass Ocean"
bool isImageBacked(BackgroundStyle style); // desktop and customImage
bool isGlass(BackgroundStyle style);
QList<BackgroundStyle> pickerCases();              // every style except the image-backed ones
QList<QColor> swatchColors(BackgroundStyle style); // the gradient's colours, first to last

// The brand gradient's colour stops, first to last.
QList<QColor> brandColors();

// Fills `rect` with the style. Image-backed styles draw `image` scaled to cover the
// rectangle (nothing when it is null); `None` draws nothing.
void paint(QPainter& painter, const QRectF& rect, BackgroundStyle style, const QImage& image);

// The frosted layers of the glass styles, drawn over their gradient.
void drawGlassLayers(QPainter& painter, const QRectF& rect, const QList<QColor>& colors);

} // namespace Backgrounds
