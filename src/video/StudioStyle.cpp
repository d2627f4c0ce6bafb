#include "video/StudioStyle.h"

#include "common/RawValues.h"

#include <QJsonValue>

#include <algorithm>
#include <array>
#include <utility>

namespace {

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
                       {QStringLiteral("shape"), studioShapeValues.raw(shape)},
                       {QStringLiteral("framing"), studioFramingValues.raw(framing)},
                       {QStringLiteral("followPointer"), followPointer},
                       {QStringLiteral("drawPointer"), drawPointer},
                       {QStringLiteral("pointerSize"), pointerSize},
                       {QStringLiteral("pointerSmoothing"), pointerSmoothing},
                       {QStringLiteral("clickRipples"), clickRipples},
                       {QStringLiteral("captions"), captions},
                       {QStringLiteral("captionScale"), captionScale},
                       {QStringLiteral("captionPosition"), captionPositionValues.raw(captionPosition)},
                       {QStringLiteral("captionLook"), captionLookValues.raw(captionLook)},
                       {QStringLiteral("captionColor"), captionColorValues.raw(captionColor)},
                       {QStringLiteral("camera"), camera},
                       {QStringLiteral("cameraPosition"), cameraPositionValues.raw(cameraPosition)},
                       {QStringLiteral("cameraSize"), cameraSize},
                       {QStringLiteral("cameraShape"), cameraShapeValues.raw(cameraShape)},
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
    readEnum(object, "shape", studioShapeValues, style.shape);
    readEnum(object, "framing", studioFramingValues, style.framing);
    readBool(object, "followPointer", style.followPointer);
    readBool(object, "drawPointer", style.drawPointer);
    readNumber(object, "pointerSize", 0.6, 2.5, style.pointerSize);
    readNumber(object, "pointerSmoothing", 0, 1, style.pointerSmoothing);
    readBool(object, "clickRipples", style.clickRipples);
    readBool(object, "captions", style.captions);
    readNumber(object, "captionScale", 0.5, 2.5, style.captionScale);
    readEnum(object, "captionPosition", captionPositionValues, style.captionPosition);
    readEnum(object, "captionLook", captionLookValues, style.captionLook);
    readEnum(object, "captionColor", captionColorValues, style.captionColor);
    readBool(object, "camera", style.camera);
    readEnum(object, "cameraPosition", cameraPositionValues, style.cameraPosition);
    readNumber(object, "cameraSize", 0.5, 2.5, style.cameraSize);
    readEnum(object, "cameraShape", cameraShapeValues, style.cameraShape);
    readBool(object, "cameraBlur", style.cameraBlur);
    return style;
}
