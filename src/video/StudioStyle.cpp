#include "video/StudioStyle.h"

#include "common/RawValues.h"

#include <QJsonValue>

#include <algorithm>
#include <array>
#include <utility>

namespace {

constexpr RawValues shapes{
    std::array{std::pair{StudioShape::original, "original"}, std::pair{StudioShape::wide, "wide"},
               std::pair{StudioShape::vertical, "vertical"}, std::pair{StudioShape::square, "square"}}};
constexpr RawValues framings{
    std::array{std::pair{StudioFraming::fit, "fit"}, std::pair{StudioFraming::follow, "follow"}}};
constexpr RawValues captionPositions{
    std::array{std::pair{CaptionPosition::bottom, "bottom"}, std::pair{CaptionPosition::top, "top"}}};
constexpr RawValues captionLooks{
    std::array{std::pair{CaptionLook::box, "box"}, std::pair{CaptionLook::outline, "outline"}}};
constexpr RawValues captionColors{
    std::array{std::pair{CaptionColor::white, "white"}, std::pair{CaptionColor::yellow, "yellow"}}};
constexpr RawValues cameraPositions{std::array{
    std::pair{CameraPosition::recorded, "recorded"}, std::pair{CameraPosition::bottomLeft, "bottomLeft"},
    std::pair{CameraPosition::bottomRight, "bottomRight"}, std::pair{CameraPosition::topRight, "topRight"},
    std::pair{CameraPosition::topLeft, "topLeft"}}};
constexpr RawValues cameraShapes{
    std::array{std::pair{CameraShape::circle, "circle"}, std::pair{CameraShape::rounded, "rounded"}}};

template <typename E, size_t N>
void readEnum(const QJsonObject& object, const char* key, const RawValues<E, N>& names, E& field) {
    if (const auto value = names.parse(object.value(QLatin1String(key)).toString())) field = *value;
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
    return shapes.raw(value);
}
std::optional<StudioShape> parseShape(const QString& raw) {
    return shapes.parse(raw);
}
QString raw(StudioFraming value) {
    return framings.raw(value);
}
std::optional<StudioFraming> parseFraming(const QString& raw) {
    return framings.parse(raw);
}
QString raw(CaptionPosition value) {
    return captionPositions.raw(value);
}
std::optional<CaptionPosition> parseCaptionPosition(const QString& raw) {
    return captionPositions.parse(raw);
}
QString raw(CaptionLook value) {
    return captionLooks.raw(value);
}
std::optional<CaptionLook> parseCaptionLook(const QString& raw) {
    return captionLooks.parse(raw);
}
QString raw(CaptionColor value) {
    return captionColors.raw(value);
}
std::optional<CaptionColor> parseCaptionColor(const QString& raw) {
    return captionColors.parse(raw);
}
QString raw(CameraPosition value) {
    return cameraPositions.raw(value);
}
std::optional<CameraPosition> parseCameraPosition(const QString& raw) {
    return cameraPositions.parse(raw);
}
QString raw(CameraShape value) {
    return cameraShapes.raw(value);
}
std::optional<CameraShape> parseCameraShape(const QString& raw) {
    return cameraShapes.parse(raw);
}
} // namespace StudioNames
