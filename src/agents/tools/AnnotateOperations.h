#pragma once

#include "common/Result.h"
#include "editor/BeautifyPreset.h"
#include "editor/EditorTypes.h"
#include "text/TextBox.h"

#include <QColor>
#include <QImage>
#include <QJsonArray>
#include <QList>
#include <QPointF>
#include <QRectF>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

class EditorModel;

// The drawing language of annotate_image: a list of operation objects, each read leniently
// (with the readers of ToolArgs) and checked before anything is drawn, then run in order on
// an editor model. Coordinates are pixels of the saved image, the rendered canvas with any
// padding around the base image, unless the caller says they are normalised (0 to 1 of that
// canvas) or pixels of a preview of it; they are converted into the model's base image
// coordinates when each operation runs, so a crop or resize earlier in the list changes what
// later values mean. Sizes are pixels or factors, never fractions of the image: stroke_width,
// font_size and resize width and scale are taken as they are; an emoji's size alone follows
// preview pixels.
namespace AnnotateOperations {

enum class Kind {
    Arrow,
    Line,
    Rectangle,
    Ellipse,
    Highlight,
    Blur,
    Pixelate,
    Spotlight,
    Text,
    Counter,
    Step,
    Emoji,
    Freehand,
    Crop,
    Rotate,
    Flip,
    Resize,
    ExpandCanvas,
    Background,
    ClearAnnotations
};

// The operation names, in the order the description lists them.
const QStringList& names();
QString name(Kind kind);
// The annotation tool an operation draws with; none for image operations.
std::optional<EditorTool> toolOf(Kind kind);

enum class Coordinates { Pixels, Normalized, Preview };
// "pixels" (or "image"), "normalized", "preview"; none for anything else.
std::optional<Coordinates> coordinatesNamed(const QString& name);

struct Style {
    std::optional<QColor> color;
    bool brand = false;
    std::optional<double> strokeWidth;
    std::optional<double> opacity; // 0 to 1
    std::optional<bool> shadow;
    std::optional<double> fontSize;
    std::optional<QString> font;
    std::optional<TextStyle> textStyle;
    std::optional<BlurStyle> blurStyle;
};

struct Operation {
    int index = 0; // 1 = first, for messages
    Kind kind = Kind::Arrow;
    Style style;
    // Geometry in the caller's coordinates.
    std::optional<QPointF> from, to, at;
    std::optional<QRectF> rect;
    QList<QPointF> points;
    // Aimed at recognised text instead of coordinates.
    std::optional<QString> targetText;
    int occurrence = 1; // which match, 1 = first (top left first)
    QString position;   // text and badges placed at the target: "below", "above", "left", "right"
    QString align;      // text: "left", "center", "right" under or over the target
    QString text;       // text, emoji
    std::optional<int> number;
    std::optional<double> size; // emoji size in pixels
    // Image operations.
    std::optional<double> aspect; // crop to width over height, centred
    int degrees = 0;
    bool horizontal = true;
    std::optional<double> width;
    std::optional<double> scale;
    double top = 0, left = 0, bottom = 0, right = 0;
    std::optional<QColor> fill;
    std::optional<QString> preset;
    std::optional<QString> backgroundStyle;
    std::optional<double> padding;
    std::optional<double> cornerRadius;
};

// Every operation checked; the first problem as "Operation N (type): what is wrong."
Result<QList<Operation>> parse(const QJsonArray& operations);

// Colours as agents name them: "#RGB", "#RRGGBB", "#AARRGGBB" or a CSS name; none otherwise.
std::optional<QColor> parseColor(const QString& text);
// "16:9", "4:3", "1:1", "square", or a plain ratio like 1.5; none otherwise.
std::optional<double> parseAspect(const QString& text);

// Where recognised text is in an image; TextLocator::find unless a caller supplies another.
using TextFinder = std::function<QList<TextBox>(const QString& phrase, const QImage& image)>;

struct Options {
    Coordinates coordinates = Coordinates::Pixels;
    // Saved-image pixels per preview pixel, for Coordinates::Preview. Absent: that of the
    // preview ToolMedia makes of the image as it is before the first operation.
    std::optional<double> previewScale;
    TextFinder findText;
    // The user's beautify presets, read on the main thread, which owns the preset store.
    QList<BeautifyPreset> presets;
};

struct Applied {
    int annotationsAdded = 0;
    QStringList steps; // one line per operation, for the agent
};

// Runs the operations on the model in order. Stops at the first that cannot run (target
// text not found, a preset that does not exist) with a message naming it; the model then
// holds the changes of the operations before it.
Result<Applied> apply(EditorModel& model, const QList<Operation>& operations, const Options& options);

// The box an operation aims at for target text: the occurrence-th match, or an error that
// says what was searched.
Result<QRectF> locate(const QString& phrase, int occurrence, const QImage& image, const TextFinder& finder);

} // namespace AnnotateOperations
