#include "video/StudioStyle.h"

#include <QJsonValue>

#include <algorithm>
#include <array>
#include <utility>

namespace {

template <typename E, size_t N> using Names = std::array<std::pair<E, const char*>, N>;

constexpr Names<StudioShape, 4> shapes{{{StudioShape::original, "original"},
                                        {StudioShape::wide, "wide"},
                                        {StudioShape::vertical, "vertical"},
                                        {StudioShape::square, "square"}}};
constexpr Names<StudioFraming, 2> framings{{{StudioFraming::fit, "fit"}, {StudioFraming::follow, "follow"}}};
constexpr Names<CaptionPosition, 2> captionPositions{
    {{CaptionPosition::bottom, "bottom"}, {CaptionPosition::top, "top"}}};
constexpr Names<CaptionLook, 2> captionLooks{{{CaptionLook::box, "box"}, {CaptionLook::outline, "outline"}}};
constexpr Names<CaptionColor, 2> captionColors{
    {{CaptionColor::white, "white"}, {CaptionColor::yellow, "yellow"}}};
constexpr Names<CameraPosition, 5> cameraPositions{{{CameraPosition::recorded, "recorded"},
                                                    {CameraPosition::bottomLeft, "bottomLeft"},
                                                    {CameraPosition::bottomRight, "bottomRight"},
                                                    {CameraPosition::topRight, "topRight"},
                                                    {CameraPosition::topLeft, "topLeft"}}};
constexpr Names<CameraShape, 2> cameraShapes{
    {{CameraShape::circle, "circle"}, {CameraShape::rounded, "rounded"}}};

template <typename E, size_t N> QString nameOf(const Names<E, N>& names, E value) {
    for (const auto& [item, name] : names)
        if (item == value) return QString::fromLatin1(name);
    return {};
}

template <typename E, size_t N> std::optional<E> valueOf(const Names<E, N>& names, const QString& raw) {
    for (const auto& [item, name] : names)
        if (raw == QLatin1String(name)) return item;
    return std::nullopt;
}

template <typename E, size_t N>
void readEnum(const QJsonObject& object, const char* key, const Names<E, N>& names, E& field) {
    if (const auto value = valueOf(names, object.value(QLatin1String(key)).toString())) field = *value;
}

void readNumber(const QJsonObject& object, const char* key, double low, double high, double& field) {
    const QJsonValue value = object.value(QLatin1String(key));
    if (value.isDouble()) field = std::clamp(value.toDouble(), low, high);
}

void readBool(const QJsonObject& object, const char* key, bool& field) {
    const QJsonValue value = object.value(QLatin1String(key));
    if (value.isBool()) field = value.toBool();
}

} // namespace

bool StudioStyle::isStyled() const {
    return background != BackgroundStyle::None || shape != StudioShape::original || drawPointer ||
           clickRipples;
}

QJsonObject StudioStyle::toJson() const {
    QJsonObject object{{QStringLiteral("background"), Backgrounds::raw(background)},
                       {QStringLiteral("padding"), padding},
                       {QStringLiteral("cornerRadius"), cornerRadius},
                       {QStringLiteral("shadow"), shadow},
                       {QStringLiteral("shape"), StudioNames::raw(shape)},
                       {QStringLiteral("framing"), StudioNames::raw(framing)},
                       {QStringLiteral("followPointer"), followPointer},
                       {QStringLiteral("drawPointer"), drawPointer},
                       {QStringLiteral("pointerSize"), pointerSize},
                       {QStringLiteral("pointerSmoothing"), pointerSmoothing},
                       {QStringLiteral("clickRipples"), clickRipples},
                       {QStringLiteral("captions"), captions},
                       {QStringLiteral("captionScale"), captionScale},
                       {QStringLiteral("captionPosition"), StudioNames::raw(captionPosition)},
                       {QStringLiteral("captionLook"), StudioNames::raw(captionLook)},
                       {QStringLiteral("captionColor"), StudioNames::raw(captionColor)},
                       {QStringLiteral("camera"), camera},
                       {QStringLiteral("cameraPosition"), StudioNames::raw(cameraPosition)},
                       {QStringLiteral("cameraSize"), cameraSize},
                       {QStringLiteral("cameraShape"), StudioNames::raw(cameraShape)},
                       {QStringLiteral("cameraBlur"), cameraBlur}};
    if (!backgroundImage.isEmpty()) object.insert(QStringLiteral("backgroundImage"), backgroundImage);
    return object;
}

StudioStyle StudioStyle::fromJson(const QJsonObject& object) {
    StudioStyle style;
    if (const auto background = Backgrounds::parse(object.value(QStringLiteral("background")).toString()))
        style.background = *background;
    style.backgroundImage = object.value(QStringLiteral("backgroundImage")).toString();
    readNumber(object, "padding", 0, 0.2, style.padding);
    readNumber(object, "cornerRadius", 0, 0.5, style.cornerRadius);
    readBool(object, "shadow", style.shadow);
    readEnum(object, "shape", shapes, style.shape);
    readEnum(object, "framing", framings, style.framing);
    readBool(object, "followPointer", style.followPointer);
    readBool(object, "drawPointer", style.drawPointer);
    readNumber(object, "pointerSize", 0.6, 2.5, style.pointerSize);
    readNumber(object, "pointerSmoothing", 0, 1, style.pointerSmoothing);
    readBool(object, "clickRipples", style.clickRipples);
    readBool(object, "captions", style.captions);
    readNumber(object, "captionScale", 0.5, 2.5, style.captionScale);
    readEnum(object, "captionPosition", captionPositions, style.captionPosition);
    readEnum(object, "captionLook", captionLooks, style.captionLook);
    readEnum(object, "captionColor", captionColors, style.captionColor);
    readBool(object, "camera", style.camera);
    readEnum(object, "cameraPosition", cameraPositions, style.cameraPosition);
    readNumber(object, "cameraSize", 0.5, 2.5, style.cameraSize);
    readEnum(object, "cameraShape", cameraShapes, style.cameraShape);
    readBool(object, "cameraBlur", style.cameraBlur);
    return style;
}

namespace StudioNames {
QString raw(StudioShape value) {
    return nameOf(shapes, value);
}
std::optional<StudioShape> parseShape(const QString& raw) {
    return valueOf(shapes, raw);
}
QString raw(StudioFraming value) {
    return nameOf(framings, value);
}
std::optional<StudioFraming> parseFraming(const QString& raw) {
    return valueOf(framings, raw);
}
QString raw(CaptionPosition value) {
    return nameOf(captionPositions, value);
}
std::optional<CaptionPosition> parseCaptionPosition(const QString& raw) {
    return valueOf(captionPositions, raw);
}
QString raw(CaptionLook value) {
    return nameOf(captionLooks, value);
}
std::optional<CaptionLook> parseCaptionLook(const QString& raw) {
    return valueOf(captionLooks, raw);
}
QString raw(CaptionColor value) {
    return nameOf(captionColors, value);
}
std::optional<CaptionColor> parseCaptionColor(const QString& raw) {
    return valueOf(captionColors, raw);
}
QString raw(CameraPosition value) {
    return nameOf(cameraPositions, value);
}
std::optional<CameraPosition> parseCameraPosition(const QString& raw) {
    return valueOf(cameraPositions, raw);
}
QString raw(CameraShape value) {
    return nameOf(cameraShapes, value);
}
std::optional<CameraShape> parseCameraShape(const QString& raw) {
    return valueOf(cameraShapes, raw);
}
} // namespace StudioNames
