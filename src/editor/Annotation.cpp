#include "editor/Annotation.h"

#include "common/KeyedValues.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QPolygonF>
#include <QVariantList>

#include <algorithm>
#include <cmath>

namespace {

QVariantList encodePoint(const QPointF& point) {
    return {point.x(), point.y()};
}

std::optional<QPointF> decodePoint(const QVariant& value) {
    if (value.typeId() != QMetaType::QVariantList) return std::nullopt;
    const QVariantList pair = value.toList();
    if (pair.size() != 2) return std::nullopt;
    const auto x = KeyedValues::number(pair[0]);
    const auto y = KeyedValues::number(pair[1]);
    if (!x || !y) return std::nullopt;
    return QPointF(*x, *y);
}

Error invalid(const QString& key, const QString& expectation) {
    return Error{QStringLiteral("The annotation's \"%1\" is not %2.").arg(key, expectation)};
}

QSizeF measured(const QFont& font, const QString& text) {
    return QFontMetricsF(font).size(0, text);
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

    const auto asColor = [](const QVariant& v) { return CodableColor::decode(v); };
    const auto asBlur = [](const QVariant& v) { return blurStyleNames.parse(v.toString()); };
    const auto asTextStyle = [](const QVariant& v) { return textStyleNames.parse(v.toString()); };
    namespace kv = KeyedValues;
    kv::Reader read(map, invalid);
    read.optional("text", "text", a.text, kv::text);
    read.optional("number", "a whole number", a.number, kv::wholeNumber);
    read.optional("color", "a colour with r, g, b and a between 0 and 1", a.color, asColor);
    read.optional("brandGradient", "true or false", a.brandGradient, kv::boolean);
    read.optional("blurStyle", "\"pixelate\" or \"gaussian\"", a.blurStyle, asBlur);
    read.optional("lineWidth", "a number", a.lineWidth, kv::number);
    read.optional("fontSize", "a number", a.fontSize, kv::number);
    read.optional("fontName", "text", a.fontName, kv::text);
    read.optional("textStyle", "\"plain\", \"filled\" or \"outlined\"", a.textStyle, asTextStyle);
    read.optional("opacity", "a number", a.opacity, kv::number);
    read.optional("shadow", "true or false", a.shadow, kv::boolean);
    if (read.error()) return *read.error();
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
        const auto component = KeyedValues::number(*it);
        if (!component) return std::nullopt;
        components[i] = std::clamp(*component, 0.0, 1.0);
    }
    return QColor::fromRgbF(float(components[0]), float(components[1]), float(components[2]),
                            float(components[3]));
}

} // namespace CodableColor
