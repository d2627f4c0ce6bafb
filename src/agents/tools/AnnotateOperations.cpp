#include "agents/tools/AnnotateOperations.h"

#include "agents/AgentTool.h"
#include "agents/ToolMedia.h"
#include "editor/Annotation.h"
#include "editor/BackgroundStyle.h"
#include "editor/EditorModel.h"
#include "text/TextLocator.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>

#include <algorithm>
#include <cmath>

namespace AnnotateOperations {

namespace {

struct Named {
    Kind kind;
    const char* name;
};

constexpr Named kinds[] = {
    {Kind::Arrow, "arrow"},
    {Kind::Line, "line"},
    {Kind::Rectangle, "rectangle"},
    {Kind::Ellipse, "ellipse"},
    {Kind::Highlight, "highlight"},
    {Kind::Blur, "blur"},
    {Kind::Pixelate, "pixelate"},
    {Kind::Spotlight, "spotlight"},
    {Kind::Text, "text"},
    {Kind::Step, "step"},
    {Kind::Counter, "counter"},
    {Kind::Emoji, "emoji"},
    {Kind::Freehand, "freehand"},
    {Kind::Crop, "crop"},
    {Kind::Rotate, "rotate"},
    {Kind::Flip, "flip"},
    {Kind::Resize, "resize"},
    {Kind::ExpandCanvas, "expand_canvas"},
    {Kind::Background, "background"},
    {Kind::ClearAnnotations, "clear_annotations"},
};

// Other spellings agents reach for.
std::optional<Kind> kindNamed(QString text) {
    text = text.trimmed().toLower().replace(u'-', u'_').replace(u' ', u'_');
    if (text == u"rect" || text == u"box" || text == u"square") return Kind::Rectangle;
    if (text == u"circle" || text == u"oval") return Kind::Ellipse;
    if (text == u"badge" || text == u"number") return Kind::Counter;
    if (text == u"pen" || text == u"draw" || text == u"path") return Kind::Freehand;
    if (text == u"expand" || text == u"padding" || text == u"canvas") return Kind::ExpandCanvas;
    if (text == u"clear" || text == u"clear_all") return Kind::ClearAnnotations;
    if (text == u"scale") return Kind::Resize;
    for (const auto& named : kinds)
        if (text == QLatin1String(named.name)) return named.kind;
    return std::nullopt;
}

// What an agent sent, for messages: text in quotes, anything else as compact JSON.
QString shown(const QJsonValue& value) {
    if (value.isString()) return QStringLiteral("“%1”").arg(value.toString().left(40));
    if (value.isArray() || value.isObject()) {
        const QJsonDocument document =
            value.isArray() ? QJsonDocument(value.toArray()) : QJsonDocument(value.toObject());
        return QString::fromUtf8(document.toJson(QJsonDocument::Compact)).left(60);
    }
    if (value.isBool()) return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    return QString::number(value.toDouble());
}

// The keys of one operation object, read with the shared lenient readers of ToolArgs. A key
// that is missing, null or blank reads as absent. One that is there but unusable ("nan",
// "inf", a word where a number goes, a point with such a member) reads as absent too and
// leaves the first such problem behind, so the operation is refused with it rather than
// drawn with a default the agent did not ask for.
class Fields {
public:
    explicit Fields(const QJsonObject& object) : m_object(object) {}

    std::optional<double> number(QStringView key) {
        return read(key, ToolArgs::numberFrom, QStringLiteral("must be a finite number"));
    }
    std::optional<QPointF> point(QStringView key) {
        return read(key, ToolArgs::pointFrom,
                    QStringLiteral("must be a point {x, y} or [x, y] of finite numbers"));
    }
    std::optional<QRectF> rect(QStringView key) {
        const auto rect = read(key, ToolArgs::rectFrom,
                               QStringLiteral("needs x, y, width and height as finite numbers (an object "
                                              "or [x, y, width, height])"));
        if (!rect) return std::nullopt;
        return rect->normalized();
    }
    std::optional<QString> text(QStringView key) const { return ToolArgs::stringFrom(m_object.value(key)); }
    std::optional<bool> boolean(QStringView key) const { return ToolArgs::booleanFrom(m_object.value(key)); }
    QJsonValue raw(QStringView key) const { return m_object.value(key); }

    // The first key that was there but could not be read, as "`key` must be …".
    const std::optional<QString>& problem() const { return m_problem; }

private:
    static bool absent(const QJsonValue& value) {
        return value.isUndefined() || value.isNull() ||
               (value.isString() && value.toString().trimmed().isEmpty());
    }

    template <typename Reader>
    auto read(QStringView key, Reader reader, const QString& wanted) -> decltype(reader(QJsonValue())) {
        const QJsonValue value = m_object.value(key);
        if (absent(value)) return std::nullopt;
        auto parsed = reader(value);
        if (!parsed && !m_problem)
            m_problem = QStringLiteral("`%1` %2, not %3").arg(key, wanted, shown(value));
        return parsed;
    }

    const QJsonObject& m_object;
    std::optional<QString> m_problem;
};

// Reads the style keys every operation may carry.
Result<Style> readStyle(Fields& fields) {
    Style style;
    if (const auto color = fields.text(u"color")) {
        if (color->compare(u"brand", Qt::CaseInsensitive) == 0)
            style.brand = true;
        else if (auto parsed = parseColor(*color))
            style.color = parsed;
        else
            return Error{QStringLiteral("`color` “%1” is not a colour name, #hex or \"brand\"").arg(*color)};
    }
    style.strokeWidth = fields.number(u"stroke_width");
    if (!style.strokeWidth) style.strokeWidth = fields.number(u"line_width");
    style.opacity = fields.number(u"opacity");
    style.fontSize = fields.number(u"font_size");
    if (fields.problem()) return Error{*fields.problem()};
    if (style.strokeWidth && (*style.strokeWidth <= 0 || *style.strokeWidth > 200))
        return Error{QStringLiteral("`stroke_width` must be between 0 and 200")};
    if (style.opacity)
        style.opacity = std::clamp(*style.opacity > 1 ? *style.opacity / 100 : *style.opacity, 0.0, 1.0);
    style.shadow = fields.boolean(u"shadow");
    if (style.fontSize && (*style.fontSize < 4 || *style.fontSize > 800))
        return Error{QStringLiteral("`font_size` must be between 4 and 800")};
    style.font = fields.text(u"font");
    if (const auto textStyle = fields.text(u"text_style")) {
        style.textStyle = textStyleNames.parse(textStyle->toLower());
        if (!style.textStyle)
            return Error{
                QStringLiteral("`text_style` must be plain, filled or outlined, not “%1”").arg(*textStyle)};
    }
    if (const auto blur = fields.text(u"blur_style")) {
        const QString lower = blur->toLower();
        if (lower == u"pixelate" || lower == u"pixelated" || lower == u"pixels")
            style.blurStyle = BlurStyle::Pixelate;
        else if (lower == u"gaussian" || lower == u"blur" || lower == u"smooth")
            style.blurStyle = BlurStyle::Gaussian;
        else
            return Error{QStringLiteral("`blur_style` must be pixelate or gaussian, not “%1”").arg(*blur)};
    }
    return style;
}

Result<Operation> parseOne(const QJsonObject& object, int index) {
    Operation op;
    op.index = index;
    Fields fields(object);
    QString typeName = fields.text(u"type").value_or(QString());
    if (typeName.isEmpty()) typeName = fields.text(u"op").value_or(QString());
    if (typeName.isEmpty()) typeName = fields.text(u"tool").value_or(QString());
    if (typeName.isEmpty())
        return Error{
            QStringLiteral("Operation %1 has no `type` (one of %2).").arg(index).arg(names().join(u", "))};
    const auto kind = kindNamed(typeName);
    if (!kind)
        return Error{QStringLiteral("Operation %1: unknown type “%2”. Use one of %3.")
                         .arg(index)
                         .arg(typeName, names().join(u", "))};
    op.kind = *kind;
    const QString label = QStringLiteral("Operation %1 (%2): ").arg(index).arg(name(op.kind));
    auto fail = [&label](const QString& message) { return Error{label + message + u'.'}; };

    auto style = readStyle(fields);
    if (!style) return fail(style.error().message);
    op.style = *style;
    op.targetText = fields.text(u"target_text");
    const auto occurrence = fields.number(u"occurrence");
    op.from = fields.point(u"from");
    op.to = fields.point(u"to");
    op.at = fields.point(u"at");
    op.rect = fields.rect(u"rect");
    if (fields.problem()) return fail(*fields.problem());
    if (occurrence) {
        if (*occurrence < 1) return fail(QStringLiteral("`occurrence` counts from 1"));
        if (*occurrence > 10000) return fail(QStringLiteral("`occurrence` must be at most 10000"));
        op.occurrence = int(std::lround(*occurrence));
    }
    op.position = fields.text(u"position").value_or(QString()).toLower();
    if (!op.position.isEmpty() && !QStringList{QStringLiteral("below"), QStringLiteral("above"),
                                               QStringLiteral("left"), QStringLiteral("right")}
                                       .contains(op.position))
        return fail(QStringLiteral("`position` must be below, above, left or right"));
    op.align = fields.text(u"align").value_or(QString()).toLower();

    const bool targeted = op.targetText.has_value();
    switch (op.kind) {
    case Kind::Arrow:
    case Kind::Line:
        if (!targeted && (!op.from || !op.to))
            return fail(QStringLiteral("needs `from` and `to` points ({x, y} or [x, y]), or `target_text`"));
        break;
    case Kind::Rectangle:
    case Kind::Ellipse:
    case Kind::Highlight:
    case Kind::Blur:
    case Kind::Pixelate:
    case Kind::Spotlight:
        if (!targeted && !op.rect)
            return fail(QStringLiteral("needs `rect` {x, y, width, height}, or `target_text`"));
        if (op.rect && (op.rect->width() <= 0 || op.rect->height() <= 0))
            return fail(QStringLiteral("`rect` must have a width and height above 0"));
        break;
    case Kind::Text: {
        // The text as written, spaces and all; a bare number is text too.
        const QJsonValue text = fields.raw(u"text");
        op.text = text.isString() ? text.toString() : fields.text(u"text").value_or(QString());
        if (op.text.trimmed().isEmpty()) return fail(QStringLiteral("needs `text`"));
        if (!targeted && !op.at)
            return fail(QStringLiteral("needs `at` {x, y} (top left of the text), or `target_text`"));
        break;
    }
    case Kind::Counter:
    case Kind::Step:
        if (const auto n = fields.number(u"number")) {
            if (*n < 0 || *n > 9999) return fail(QStringLiteral("`number` must be between 0 and 9999"));
            op.number = int(std::lround(*n));
        }
        if (fields.problem()) return fail(*fields.problem());
        if (!targeted && !op.at)
            return fail(QStringLiteral("needs `at` {x, y} (the badge's centre), or `target_text`"));
        break;
    case Kind::Emoji:
        op.text = fields.text(u"emoji").value_or(fields.text(u"text").value_or(QString()));
        if (op.text.isEmpty()) return fail(QStringLiteral("needs `emoji`, e.g. \"👍\""));
        op.size = fields.number(u"size");
        if (fields.problem()) return fail(*fields.problem());
        if (op.size && (*op.size < 8 || *op.size > 1000))
            return fail(QStringLiteral("`size` must be between 8 and 1000"));
        if (!targeted && !op.at)
            return fail(QStringLiteral("needs `at` {x, y} (top left of the emoji), or `target_text`"));
        break;
    case Kind::Freehand: {
        for (const auto& value : fields.raw(u"points").toArray()) {
            const auto p = ToolArgs::pointFrom(value);
            if (!p)
                return fail(
                    QStringLiteral(
                        "every entry of `points` must be a point {x, y} or [x, y] of finite numbers, not %1")
                        .arg(shown(value)));
            op.points.append(*p);
        }
        if (op.points.size() < 2) return fail(QStringLiteral("needs `points`, at least two"));
        break;
    }
    case Kind::Crop:
        if (const auto aspect = fields.text(u"aspect")) {
            op.aspect = parseAspect(*aspect);
            if (!op.aspect)
                return fail(QStringLiteral("`aspect` must look like \"16:9\", not “%1”").arg(*aspect));
        }
        if (!op.rect && !op.aspect)
            return fail(QStringLiteral("needs `rect` or `aspect` (\"16:9\", \"1:1\"…)"));
        break;
    case Kind::Rotate: {
        const auto degrees = fields.number(u"degrees");
        if (fields.problem()) return fail(*fields.problem());
        const double turn = degrees.value_or(90);
        const int d = std::fabs(turn) <= 360 ? int(std::lround(turn)) : 0;
        if (d != 90 && d != -90 && d != 180 && d != -180 && d != 270)
            return fail(QStringLiteral("`degrees` must be 90, -90 or 180"));
        op.degrees = d == 270 ? -90 : (d == -180 ? 180 : d);
        break;
    }
    case Kind::Flip: {
        const QString direction = fields.text(u"direction").value_or(QStringLiteral("horizontal")).toLower();
        if (direction != u"horizontal" && direction != u"vertical")
            return fail(QStringLiteral("`direction` must be horizontal or vertical"));
        op.horizontal = direction == u"horizontal";
        break;
    }
    case Kind::Resize:
        op.width = fields.number(u"width");
        op.scale = fields.number(u"scale");
        if (fields.problem()) return fail(*fields.problem());
        if (!op.width && !op.scale)
            return fail(QStringLiteral("needs `width` (pixels) or `scale` (e.g. 0.5)"));
        if (op.width && (*op.width < 1 || *op.width > 20000))
            return fail(QStringLiteral("`width` must be between 1 and 20000"));
        if (op.scale && (*op.scale <= 0 || *op.scale > 8))
            return fail(QStringLiteral("`scale` must be above 0 and at most 8"));
        break;
    case Kind::ExpandCanvas: {
        const double all = fields.number(u"all").value_or(0);
        op.top = fields.number(u"top").value_or(all);
        op.left = fields.number(u"left").value_or(all);
        op.bottom = fields.number(u"bottom").value_or(all);
        op.right = fields.number(u"right").value_or(all);
        if (fields.problem()) return fail(*fields.problem());
        for (double side : {op.top, op.left, op.bottom, op.right})
            if (side < 0 || side > 10000)
                return fail(QStringLiteral("margins must be between 0 and 10000 pixels"));
        if (op.top + op.left + op.bottom + op.right <= 0)
            return fail(QStringLiteral("needs `all` or one of top, left, bottom, right"));
        if (const auto fill = fields.text(u"fill")) {
            if (fill->compare(u"transparent", Qt::CaseInsensitive) != 0) {
                op.fill = parseColor(*fill);
                if (!op.fill) return fail(QStringLiteral("`fill` “%1” is not a colour").arg(*fill));
            }
        }
        break;
    }
    case Kind::Background:
        op.preset = fields.text(u"preset");
        op.backgroundStyle = fields.text(u"style");
        if (!op.backgroundStyle) op.backgroundStyle = fields.text(u"background");
        op.padding = fields.number(u"padding");
        op.cornerRadius = fields.number(u"corner_radius");
        if (fields.problem()) return fail(*fields.problem());
        if (op.backgroundStyle && !Backgrounds::parse(*op.backgroundStyle))
            return fail(QStringLiteral("unknown background style “%1” (list_styles has them)")
                            .arg(*op.backgroundStyle));
        if (op.padding && (*op.padding < 0 || *op.padding > 2000))
            return fail(QStringLiteral("`padding` must be between 0 and 2000"));
        if (op.cornerRadius && (*op.cornerRadius < 0 || *op.cornerRadius > 1000))
            return fail(QStringLiteral("`corner_radius` must be between 0 and 1000"));
        if (!op.preset && !op.backgroundStyle && !op.padding && !op.cornerRadius)
            return fail(QStringLiteral("needs `preset` or `style`, `padding`, `corner_radius`"));
        break;
    case Kind::ClearAnnotations:
        break;
    }
    return op;
}

// Images agents make stay within what an editor window and a preview can handle.
constexpr double maxPixels = 50e6;
QString tooLarge() {
    return QStringLiteral("the result would be larger than 50 megapixels.");
}

// Text goes below its target by default; badges and emoji sit to its left.
QString placementOf(const Operation& op) {
    if (!op.position.isEmpty()) return op.position;
    if (op.kind == Kind::Text) return QStringLiteral("below");
    if (op.kind == Kind::Emoji) return QStringLiteral("right");
    return QStringLiteral("left");
}

// How far from the image geometry may reach: far beyond any image this tool makes, and
// small enough that the float-to-int conversions further on (blur patches, crops) stay
// defined.
constexpr double maxCoordinate = 1e6;
bool withinReach(const QPointF& p) {
    return std::fabs(p.x()) <= maxCoordinate && std::fabs(p.y()) <= maxCoordinate; // false for NaN
}
QString outOfReach() {
    return QStringLiteral("the coordinates lie too far outside the image.");
}

// The saved image's size, as AnnotationRenderer::render makes it: the base image with its
// padding on every side, in whole pixels.
QSizeF renderedSize(const EditorModel& model) {
    const QSizeF content = model.contentSize();
    return {std::ceil(content.width()), std::ceil(content.height())};
}

// Image pixels per preview pixel for an image of `size`, as ToolMedia makes previews.
double previewScaleFor(const QSizeF& size) {
    const double longSide = std::max(size.width(), size.height());
    return longSide > ToolMedia::previewMaxSide ? longSide / ToolMedia::previewMaxSide : 1.0;
}

} // namespace

const QStringList& names() {
    static const QStringList list = [] {
        QStringList all;
        for (const auto& named : kinds)
            all << QString::fromLatin1(named.name);
        return all;
    }();
    return list;
}

QString name(Kind kind) {
    for (const auto& named : kinds)
        if (named.kind == kind) return QString::fromLatin1(named.name);
    return {};
}

std::optional<EditorTool> toolOf(Kind kind) {
    switch (kind) {
    case Kind::Arrow:
        return EditorTool::Arrow;
    case Kind::Line:
        return EditorTool::Line;
    case Kind::Rectangle:
        return EditorTool::Rect;
    case Kind::Ellipse:
        return EditorTool::Ellipse;
    case Kind::Highlight:
        return EditorTool::Highlight;
    case Kind::Blur:
    case Kind::Pixelate:
        return EditorTool::Blur;
    case Kind::Spotlight:
        return EditorTool::Spotlight;
    case Kind::Text:
        return EditorTool::Text;
    case Kind::Counter:
        return EditorTool::Counter;
    case Kind::Step:
        return EditorTool::Step;
    case Kind::Emoji:
        return EditorTool::Emoji;
    case Kind::Freehand:
        return EditorTool::Freehand;
    default:
        return std::nullopt;
    }
}

std::optional<Coordinates> coordinatesNamed(const QString& name) {
    const QString lower = name.trimmed().toLower();
    if (lower.isEmpty() || lower == u"pixels" || lower == u"image" || lower == u"px")
        return Coordinates::Pixels;
    if (lower == u"normalized" || lower == u"normalised" || lower == u"relative")
        return Coordinates::Normalized;
    if (lower == u"preview") return Coordinates::Preview;
    return std::nullopt;
}

std::optional<QColor> parseColor(const QString& text) {
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty()) return std::nullopt;
    // Eight hex digits carry alpha first (#AARRGGBB), as list_styles tells agents.
    QColor color = QColor::fromString(trimmed.startsWith(u'#') ? trimmed : trimmed.toLower());
    if (!color.isValid() && !trimmed.startsWith(u'#')) color = QColor::fromString(u'#' + trimmed);
    if (!color.isValid()) return std::nullopt;
    return color;
}

std::optional<double> parseAspect(const QString& text) {
    const QString lower = text.trimmed().toLower();
    if (lower == u"square") return 1.0;
    if (lower == u"wide") return 16.0 / 9.0;
    if (lower == u"portrait" || lower == u"vertical") return 9.0 / 16.0;
    for (const QChar separator : {u':', u'/', u'x'}) {
        const auto parts = lower.split(separator);
        if (parts.size() != 2) continue;
        bool okW = false, okH = false;
        const double w = parts[0].trimmed().toDouble(&okW), h = parts[1].trimmed().toDouble(&okH);
        if (okW && okH && w > 0 && h > 0) return w / h;
        return std::nullopt;
    }
    bool ok = false;
    const double ratio = lower.toDouble(&ok);
    if (ok && ratio > 0) return ratio;
    return std::nullopt;
}

Result<QList<Operation>> parse(const QJsonArray& operations) {
    if (operations.isEmpty())
        return Error{QStringLiteral("`operations` is empty: give at least one operation.")};
    if (operations.size() > 200) return Error{QStringLiteral("At most 200 operations per call.")};
    QList<Operation> parsed;
    for (int i = 0; i < operations.size(); ++i) {
        if (!operations[i].isObject())
            return Error{
                QStringLiteral("Operation %1 is not an object like {\"type\": \"arrow\", …}.").arg(i + 1)};
        auto op = parseOne(operations[i].toObject(), i + 1);
        if (!op) return op.error();
        parsed.append(*op);
    }
    return parsed;
}

Result<QRectF> locate(const QString& phrase, int occurrence, const QImage& image, const TextFinder& finder) {
    const QList<TextBox> boxes = finder ? finder(phrase, image) : TextLocator::find(phrase, image);
    if (boxes.isEmpty()) return Error{QStringLiteral("“%1” was not found in the image").arg(phrase)};
    if (occurrence > boxes.size())
        return Error{
            QStringLiteral("“%1” occurs %2 time(s), not %3").arg(phrase).arg(boxes.size()).arg(occurrence)};
    return boxes[occurrence - 1].rect;
}

Result<Applied> apply(EditorModel& model, const QList<Operation>& operations, const Options& options) {
    Applied applied;
    // The preview the agent was shown is of the image as it is before the first operation.
    const double previewScale = options.previewScale && *options.previewScale > 0
                                    ? *options.previewScale
                                    : previewScaleFor(renderedSize(model));
    for (const Operation& op : operations) {
        const QString label = QStringLiteral("Operation %1 (%2): ").arg(op.index).arg(name(op.kind));
        // Agents measure on the saved image: the base image inside its padding (a window's
        // shadow, a beautify background). Annotations, crops and the boxes of recognised text
        // are in base image coordinates, so input is read against the whole rendered canvas
        // and then moved by where the image sits on it.
        const QSizeF imageSize = model.imageSize();
        const QSizeF canvas = renderedSize(model);
        const QPointF origin = model.scene().imageRect().topLeft();
        auto onCanvas = [&](QPointF p) {
            switch (options.coordinates) {
            case Coordinates::Normalized:
                return QPointF(p.x() * canvas.width(), p.y() * canvas.height());
            case Coordinates::Preview:
                return p * previewScale;
            case Coordinates::Pixels:
                break;
            }
            return p;
        };
        auto map = [&](QPointF p) { return onCanvas(p) - origin; };
        auto mapRect = [&](const QRectF& r) {
            return QRectF(map(r.topLeft()), map(r.bottomRight())).normalized();
        };

        std::optional<QRectF> target;
        if (op.targetText && toolOf(op.kind)) {
            // Recognised on the base image, so the box is already where annotations live.
            auto found = locate(*op.targetText, op.occurrence, model.baseImage(), options.findText);
            if (!found) return Error{label + found.error().message + u'.'};
            target = *found;
        }

        if (const auto tool = toolOf(op.kind)) {
            Annotation a = model.newAnnotation({}, {});
            a.tool = *tool;
            a.number = 1;
            a.text.clear();
            a.points.clear();
            if (op.style.color) a.color = *op.style.color, a.brandGradient = false;
            if (op.style.brand) a.brandGradient = true;
            if (op.style.strokeWidth) a.lineWidth = *op.style.strokeWidth;
            if (op.style.opacity) a.opacity = *op.style.opacity;
            if (op.style.shadow) a.shadow = *op.style.shadow;
            if (op.style.fontSize) a.fontSize = *op.style.fontSize;
            if (op.style.font) a.fontName = op.style.font;
            if (op.style.textStyle) a.textStyle = *op.style.textStyle;
            if (op.kind == Kind::Pixelate) a.blurStyle = BlurStyle::Pixelate;
            if (op.kind == Kind::Blur) a.blurStyle = op.style.blurStyle.value_or(BlurStyle::Gaussian);
            if (op.kind == Kind::Blur || op.kind == Kind::Pixelate) a.shadow = false;

            switch (op.kind) {
            case Kind::Arrow:
            case Kind::Line:
                if (target && op.kind == Kind::Arrow) {
                    // From below and to one side of the text to just short of it.
                    const double reach = std::clamp(target->height() * 4, 60.0, 240.0);
                    const bool fromLeft = target->left() - reach >= 0;
                    const bool fromBelow = target->bottom() + reach * 0.6 <= imageSize.height();
                    a.p2 = fromLeft ? QPointF(target->left() - 6, target->center().y())
                                    : QPointF(target->right() + 6, target->center().y());
                    a.p1 = a.p2 + QPointF(fromLeft ? -reach : reach, fromBelow ? reach * 0.6 : -reach * 0.6);
                } else if (target) {
                    // A line under the text.
                    a.p1 = QPointF(target->left(), target->bottom() + 3);
                    a.p2 = QPointF(target->right(), target->bottom() + 3);
                } else {
                    a.p1 = map(*op.from);
                    a.p2 = map(*op.to);
                }
                break;
            case Kind::Rectangle:
            case Kind::Ellipse:
            case Kind::Highlight:
            case Kind::Blur:
            case Kind::Pixelate:
            case Kind::Spotlight: {
                QRectF box = op.rect && !target ? mapRect(*op.rect) : *target;
                if (target) {
                    // A little room around the glyphs; ellipses need more to clear the corners.
                    const double margin = op.kind == Kind::Ellipse ? std::max(8.0, box.height() * 0.5) : 4.0;
                    box = box.adjusted(-margin, -margin, margin, margin);
                }
                a.p1 = box.topLeft();
                a.p2 = box.bottomRight();
                break;
            }
            case Kind::Text: {
                a.text = op.text;
                if (target) {
                    const QSizeF textSize = a.textSize();
                    const QString place = placementOf(op);
                    double x = target->left();
                    if (op.align == u"center" || op.align == u"centre")
                        x = target->center().x() - textSize.width() / 2;
                    else if (op.align == u"right")
                        x = target->right() - textSize.width();
                    QPointF at(x, target->bottom() + 8);
                    if (place == u"above") at.setY(target->top() - 8 - textSize.height());
                    if (place == u"left")
                        at = QPointF(target->left() - 12 - textSize.width(),
                                     target->center().y() - textSize.height() / 2);
                    if (place == u"right")
                        at = QPointF(target->right() + 12, target->center().y() - textSize.height() / 2);
                    a.p1 = at;
                } else {
                    a.p1 = map(*op.at);
                }
                a.p2 = a.p1 + QPointF(a.textSize().width(), a.textSize().height());
                break;
            }
            case Kind::Counter:
            case Kind::Step: {
                a.number =
                    op.number.value_or(op.kind == Kind::Counter ? model.nextCounter() : model.nextStep());
                if (target) {
                    const double gap = 10;
                    const QSizeF badge =
                        op.kind == Kind::Step ? a.stepPillSize() : QSizeF(a.fontSize * 1.7, a.fontSize * 1.7);
                    const QString place = placementOf(op);
                    QPointF centre(target->left() - gap - badge.width() / 2, target->center().y());
                    if (place == u"right") centre.setX(target->right() + gap + badge.width() / 2);
                    if (place == u"above")
                        centre = QPointF(target->center().x(), target->top() - gap - badge.height() / 2);
                    if (place == u"below")
                        centre = QPointF(target->center().x(), target->bottom() + gap + badge.height() / 2);
                    a.p1 = centre;
                } else {
                    a.p1 = map(*op.at);
                }
                a.p2 = a.p1;
                break;
            }
            case Kind::Emoji: {
                a.text = op.text;
                // Pixels like a font size, never a fraction of the image; measured on the
                // preview when the agent measures there.
                if (op.size)
                    a.fontSize =
                        (options.coordinates == Coordinates::Preview ? *op.size * previewScale : *op.size) /
                        2;
                const QSizeF emoji = a.emojiSize();
                if (target) {
                    const QString place = placementOf(op);
                    QPointF at(target->right() + 8, target->center().y() - emoji.height() / 2);
                    if (place == u"left") at.setX(target->left() - 8 - emoji.width());
                    if (place == u"above")
                        at = QPointF(target->center().x() - emoji.width() / 2,
                                     target->top() - 8 - emoji.height());
                    if (place == u"below")
                        at = QPointF(target->center().x() - emoji.width() / 2, target->bottom() + 8);
                    a.p1 = at;
                } else {
                    a.p1 = map(*op.at);
                }
                a.p2 = a.p1 + QPointF(emoji.width(), emoji.height());
                break;
            }
            case Kind::Freehand:
                for (const QPointF& p : op.points)
                    a.points.append(map(p));
                a.p1 = a.points.first();
                a.p2 = a.points.last();
                break;
            default:
                break;
            }
            const bool reachable = withinReach(a.p1) && withinReach(a.p2) &&
                                   std::all_of(a.points.begin(), a.points.end(), withinReach);
            if (!reachable) return Error{label + outOfReach()};
            model.addAnnotation(a);
            ++applied.annotationsAdded;
            applied.steps << label.chopped(2) +
                                 (target ? QStringLiteral(" at “%1”").arg(*op.targetText) : QString());
            continue;
        }

        switch (op.kind) {
        case Kind::Crop: {
            QRectF box = op.rect ? mapRect(*op.rect) : QRectF(QPointF(0, 0), imageSize);
            if (!withinReach(box.topLeft()) || !withinReach(box.bottomRight()))
                return Error{label + outOfReach()};
            if (op.aspect) {
                // The largest rectangle of that shape inside the box, centred on it.
                QSizeF fitted(box.width(), box.width() / *op.aspect);
                if (fitted.height() > box.height()) fitted = QSizeF(box.height() * *op.aspect, box.height());
                box = QRectF(box.center() - QPointF(fitted.width() / 2, fitted.height() / 2), fitted);
            }
            box = box.intersected(QRectF(QPointF(0, 0), imageSize));
            if (box.width() < 1 || box.height() < 1) {
                QString message = QStringLiteral("the crop rectangle lies outside the %1×%2 image")
                                      .arg(imageSize.width())
                                      .arg(imageSize.height());
                if (!origin.isNull())
                    message += QStringLiteral(", which starts at %1, %2 of the saved %3×%4 image")
                                   .arg(origin.x())
                                   .arg(origin.y())
                                   .arg(canvas.width())
                                   .arg(canvas.height());
                return Error{label + message + u'.'};
            }
            model.applyCrop(box);
            break;
        }
        case Kind::Rotate:
            if (op.degrees == 180) {
                model.rotate(true);
                model.rotate(true);
            } else {
                model.rotate(op.degrees == 90);
            }
            break;
        case Kind::Flip:
            model.flip(op.horizontal);
            break;
        case Kind::Resize: {
            // `width` is pixels and `scale` a factor whatever `coordinates` says, and both are
            // of the saved image: the padding scales with the base image, so the result comes
            // out at that width.
            const double width = op.width ? *op.width : canvas.width() * *op.scale;
            const double factor = width / std::max(1.0, canvas.width());
            if (width * canvas.height() * factor > maxPixels) return Error{label + tooLarge()};
            const int savedWidth = std::max(1, int(std::lround(width)));
            const double padding = model.padding();
            const int baseWidth =
                padding > 0 ? std::max(1, int(std::lround(imageSize.width() * factor))) : savedWidth;
            const double newPadding = padding > 0 ? std::max(0.0, (savedWidth - baseWidth) / 2.0) : 0.0;
            if (baseWidth == int(imageSize.width()) && newPadding == padding) break;
            if (baseWidth != int(imageSize.width()))
                model.resizeImage(baseWidth);
            else
                model.pushUndo();
            model.setPadding(newPadding);
            model.setCornerRadius(model.cornerRadius() * baseWidth / std::max(1.0, imageSize.width()));
            break;
        }
        case Kind::ExpandCanvas: {
            // Margins are lengths along their axis: fractions of the width or height with
            // normalised coordinates.
            const double top = onCanvas(QPointF(0, op.top)).y(), bottom = onCanvas(QPointF(0, op.bottom)).y();
            const double left = onCanvas(QPointF(op.left, 0)).x(), right = onCanvas(QPointF(op.right, 0)).x();
            if ((canvas.width() + left + right) * (canvas.height() + top + bottom) > maxPixels)
                return Error{label + tooLarge()};
            model.expandCanvas(int(std::lround(top)), int(std::lround(left)), int(std::lround(bottom)),
                               int(std::lround(right)), op.fill);
            break;
        }
        case Kind::Background: {
            if (op.padding &&
                (imageSize.width() + 2 * *op.padding) * (imageSize.height() + 2 * *op.padding) > maxPixels)
                return Error{label + tooLarge()};
            model.pushUndo();
            if (op.preset) {
                const auto preset = BeautifyPreset::named(options.presets, *op.preset);
                if (!preset)
                    return Error{label + QStringLiteral("there is no beautify preset “%1”.").arg(*op.preset)};
                model.setBackground(Backgrounds::parse(preset->style).value_or(BackgroundStyle::None));
                model.setPadding(preset->padding);
                model.setCornerRadius(preset->radius);
            }
            if (op.backgroundStyle) model.setBackground(*Backgrounds::parse(*op.backgroundStyle));
            if (op.padding) model.setPadding(*op.padding);
            if (op.cornerRadius) model.setCornerRadius(*op.cornerRadius);
            // A background without room around the image shows nothing.
            if (model.background() != BackgroundStyle::None && model.padding() <= 0) model.setPadding(64);
            break;
        }
        case Kind::ClearAnnotations:
            model.clearAnnotations();
            break;
        default:
            break;
        }
        applied.steps << label.chopped(2);
    }
    return applied;
}

} // namespace AnnotateOperations
