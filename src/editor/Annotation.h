#pragma once

#include "common/Result.h"
#include "editor/EditorTypes.h"

#include <QColor>
#include <QFont>
#include <QList>
#include <QPointF>
#include <QRectF>
#include <QString>
#include <QUuid>
#include <QVariantMap>

#include <optional>

// One mark drawn over the base image. Coordinates are image pixels, origin top left.
struct Annotation {
    QUuid id = QUuid::createUuid();
    EditorTool tool = EditorTool::Arrow;
    QPointF p1;            // arrow tail, rectangle corner, badge centre, text or emoji top left
    QPointF p2;            // arrow tip, opposite corner
    QList<QPointF> points; // a freehand path
    QString text;          // the text of a text annotation, the emoji of an emoji one
    int number = 1;        // counter and step badges
    QColor color = systemRed();
    bool brandGradient = false;
    BlurStyle blurStyle = BlurStyle::Pixelate;
    double lineWidth = 4.0;
    double fontSize = 28.0;
    std::optional<QString> fontName; // none: the bold system font
    TextStyle textStyle = TextStyle::Plain;
    double opacity = 1.0;
    bool shadow = true;

    bool operator==(const Annotation&) const = default;

    // For hit-testing, selection handles and gradient fills.
    QRectF bounds() const;

    // Keyed coding: the field names as keys, the tool by its name, points as [x, y]
    // pairs, the colour as {r, g, b, a} in sRGB 0...1. Only "tool", "p1" and "p2" are
    // required when reading; the rest take the defaults above.
    QVariantMap encode() const;
    static Result<Annotation> decode(const QVariantMap& map);

    // The font of a text annotation: `fontName` at `fontSize`, else the bold system font.
    QFont textFont() const;
    // The measured text plus 4 in width and 2 in height.
    QSizeF textSize() const;
    // "Step N" in the bold system font at 0.85 × fontSize, padded into a pill.
    QString stepLabel() const;
    QFont stepFont() const;
    QSizeF stepPillSize() const;
    // The emoji's font and measured size: the system font at twice fontSize.
    QFont emojiFont() const;
    QSizeF emojiSize() const;
};

// A colour as sRGB components 0...1, the way documents store it.
namespace CodableColor {
QVariantMap encode(const QColor& color);
std::optional<QColor> decode(const QVariant& value);
} // namespace CodableColor

// The bold system font at a size in pixels.
QFont boldSystemFont(double pixelSize);
QFont systemFont(double pixelSize);
