#include "editor/Annotation.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QPolygonF>
#include <QVariantList>

#include <algorithm>
#include <cmath>

namespace {

// Numbers arrive as doubles from JSON and as integers or reals from property lists.
std::optional<double> readNumber(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::Double:
    case QMetaType::Float:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong: {
        const double d = value.toDouble();
        if (std::isfinite(d)) return d;
        return std::nullopt;
    }
    default:
        return std::nullopt;
    }
}

QVariantList encodePoint(const QPointF& point) {
    return {point.x(), point.y()};
}

std::optional<QPointF> decodePoint(const QVariant& value) {
    if (value.typeId() != QMetaType::QVariantList) return std::nullopt;
    const QVariantList pair = value.toList();
    if (pair.size() != 2) return std::nullopt;
    const auto x = readNumber(pair[0]);
    const auto y = readNumber(pair[1]);
    if (!x || !y) return std::nullopt;
    return QPointF(*x, *y);
}

Error invalid(const QString& key, const QString& expectation) {
    return Error{QStringLiteral("The annotation's \"%1\" is not %2.").arg(key, expectation)};
}

QSizeF measured(const QFont& font, const QString& text) {
    return QFontMetricsF(font).size(0, text);
}

// Applies an optional key: absent keeps the default, present but malformed is an error.
template <typename T, typename Read>
std::optional<Error> readOptional(const QVariantMap& map, const QString& key, const QString& expectation,
                                  T& out, Read read) {
    const auto it = map.constFind(key);
    if (it == map.constEnd()) return std::nullopt;
    const std::optional<T> value = read(*it);
    if (!value) return invalid(key, expectation);
    out = *value;
    return std::nullopt;
}

std::optional<QString> readString(const QVariant& value) {
    if (value.typeId() != QMetaType::QString) return std::nullopt;
    return value.toString();
}

std::optional<bool> readBool(const QVariant& value) {
    if (value.typeId() != QMetaType::Bool) return std::nullopt;
    return value.toBool();
}

} // namespace

QFont systemFont(double pixelSize) {
    QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    font.setPixelSize(std::max(1, int(std::lround(pixelSize))));
    return font;
}

QFont boldSystemFont(double pixelSize) {
    QFont font = systemFont(pixelSize);
    font.setBold(true);
    return font;
}

QRectF Annotation::bounds() const {
    switch (tool) {
    case EditorTool::Counter: {
        const double side = fontSize * 1.7;
        return {p1.x() - side / 2, p1.y() - side / 2, side, side};
    }
    case EditorTool::Step: {
        const QSizeF size = stepPillSize();
        return {p1.x() - size.width() / 2, p1.y() - size.height() / 2, size.width(), size.height()};
    }
    case EditorTool::Emoji:
        return {p1, emojiSize()};
    case EditorTool::Text:
        return {p1, textSize()};
    case EditorTool::Freehand: {
        const QRectF box = points.isEmpty() ? QRectF(p1, QSizeF()) : QPolygonF(points).boundingRect();
        return box.adjusted(-lineWidth, -lineWidth, lineWidth, lineWidth);
    }
    default:
        return QRectF(p1, p2).normalized().adjusted(-lineWidth, -lineWidth, lineWidth, lineWidth);
    }
}

QFont Annotation::textFont() const {
    if (!fontName) return boldSystemFont(fontSize);
    QFont font(*fontName);
    font.setPixelSize(std::max(1, int(std::lround(fontSize))));
    return font;
}

QSizeF Annotation::textSize() const {
    return measured(textFont(), text) + QSizeF(4, 2);
}

QString Annotation::stepLabel() const {
    return QStringLiteral("Step %1").arg(number);
}

QFont Annotation::stepFont() const {
    return boldSystemFont(fontSize * 0.85);
}

QSizeF Annotation::stepPillSize() const {
    return measured(stepFont(), stepLabel()) + QSizeF(fontSize * 1.2, fontSize * 0.55);
}

QFont Annotation::emojiFont() const {
    // The colour emoji font first: system fonts often carry black-and-white emoji glyphs.
    QFont font = systemFont(fontSize * 2);
    font.setFamilies({QStringLiteral("Noto Color Emoji"), font.family()});
    return font;
}

QSizeF Annotation::emojiSize() const {
    return measured(emojiFont(), text);
}

QVariantMap Annotation::encode() const {
    QVariantMap map;
    map["id"] = id.toString(QUuid::WithoutBraces);
    map["tool"] = editorToolNames.raw(tool);
    map["p1"] = encodePoint(p1);
    map["p2"] = encodePoint(p2);
    QVariantList path;
    path.reserve(points.size());
    for (const QPointF& point : points)
        path.append(QVariant(encodePoint(point)));
    map["points"] = path;
    map["text"] = text;
    map["number"] = number;
    map["color"] = CodableColor::encode(color);
    map["brandGradient"] = brandGradient;
    map["blurStyle"] = blurStyleNames.raw(blurStyle);
    map["lineWidth"] = lineWidth;
    map["fontSize"] = fontSize;
    if (fontName) map["fontName"] = *fontName;
    map["textStyle"] = textStyleNames.raw(textStyle);
    map["opacity"] = opacity;
    map["shadow"] = shadow;
    return map;
}

Result<Annotation> Annotation::decode(const QVariantMap& map) {
    Annotation a;
    for (const char* key : {"tool", "p1", "p2"})
        if (!map.contains(QLatin1String(key)))
            return Error{QStringLiteral("The annotation has no \"%1\".").arg(QLatin1String(key))};

    const QString toolName = map["tool"].toString();
    const auto tool = editorToolNames.parse(toolName);
    if (map["tool"].typeId() != QMetaType::QString || !tool)
        return Error{QStringLiteral("The annotation's tool \"%1\" is not a known tool.").arg(toolName)};
    a.tool = *tool;

    const auto p1 = decodePoint(map["p1"]);
    if (!p1) return invalid("p1", "a pair of numbers");
    const auto p2 = decodePoint(map["p2"]);
    if (!p2) return invalid("p2", "a pair of numbers");
    a.p1 = *p1;
    a.p2 = *p2;

    if (const auto it = map.constFind("id"); it != map.constEnd()) {
        const QUuid id = QUuid::fromString(it->toString());
        if (id.isNull()) return invalid("id", "a UUID");
        a.id = id;
    }
    if (const auto it = map.constFind("points"); it != map.constEnd()) {
        if (it->typeId() != QMetaType::QVariantList) return invalid("points", "a list of points");
        for (const QVariant& item : it->toList()) {
            const auto point = decodePoint(item);
            if (!point) return invalid("points", "a list of number pairs");
            a.points.append(*point);
        }
    }

    const auto asInt = [](const QVariant& v) -> std::optional<int> {
        const auto d = readNumber(v);
        if (!d || *d != std::floor(*d) || std::abs(*d) > 1e9) return std::nullopt;
        return int(*d);
    };
    const auto asColor = [](const QVariant& v) { return CodableColor::decode(v); };
    const auto asBlur = [](const QVariant& v) -> std::optional<BlurStyle> {
        return blurStyleNames.parse(v.toString());
    };
    const auto asTextStyle = [](const QVariant& v) -> std::optional<TextStyle> {
        return textStyleNames.parse(v.toString());
    };
    QString fontName;
    const bool hasFontName = map.contains("fontName");

    std::optional<Error> error;
    const auto check = [&error](std::optional<Error> e) {
        if (!error && e) error = std::move(e);
    };
    check(readOptional(map, "text", "text", a.text, readString));
    check(readOptional(map, "number", "a whole number", a.number, asInt));
    check(readOptional(map, "color", "a colour with r, g, b and a between 0 and 1", a.color, asColor));
    check(readOptional(map, "brandGradient", "true or false", a.brandGradient, readBool));
    check(readOptional(map, "blurStyle", "\"pixelate\" or \"gaussian\"", a.blurStyle, asBlur));
    check(readOptional(map, "lineWidth", "a number", a.lineWidth, readNumber));
    check(readOptional(map, "fontSize", "a number", a.fontSize, readNumber));
    check(readOptional(map, "fontName", "text", fontName, readString));
    check(readOptional(map, "textStyle", "\"plain\", \"filled\" or \"outlined\"", a.textStyle, asTextStyle));
    check(readOptional(map, "opacity", "a number", a.opacity, readNumber));
    check(readOptional(map, "shadow", "true or false", a.shadow, readBool));
    if (error) return *error;
    if (hasFontName) a.fontName = fontName;
    return a;
}

namespace CodableColor {

QVariantMap encode(const QColor& color) {
    const QColor srgb = color.toRgb();
    return {{"r", double(srgb.redF())},
            {"g", double(srgb.greenF())},
            {"b", double(srgb.blueF())},
            {"a", double(srgb.alphaF())}};
}

std::optional<QColor> decode(const QVariant& value) {
    if (value.typeId() != QMetaType::QVariantMap) return std::nullopt;
    const QVariantMap map = value.toMap();
    double components[4] = {0, 0, 0, 1};
    const char* keys[4] = {"r", "g", "b", "a"};
    for (int i = 0; i < 4; ++i) {
        const auto it = map.constFind(QLatin1String(keys[i]));
        if (it == map.constEnd()) {
            if (i == 3) continue; // an opaque colour may leave out alpha
            return std::nullopt;
        }
        const auto component = readNumber(*it);
        if (!component) return std::nullopt;
        components[i] = std::clamp(*component, 0.0, 1.0);
    }
    return QColor::fromRgbF(float(components[0]), float(components[1]), float(components[2]),
                            float(components[3]));
}

} // namespace CodableColor
