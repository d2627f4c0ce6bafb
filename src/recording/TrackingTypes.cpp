#include "recording/TrackingTypes.h"

QJsonObject ClickMark::toJson() const {
    return {{QStringLiteral("time"), time}, {QStringLiteral("x"), x}, {QStringLiteral("y"), y}};
}

ClickMark ClickMark::fromJson(const QJsonObject& o) {
    return {o.value(QStringLiteral("time")).toDouble(), o.value(QStringLiteral("x")).toDouble(),
            o.value(QStringLiteral("y")).toDouble()};
}

QJsonObject CursorSample::toJson() const {
    return {{QStringLiteral("time"), time},
            {QStringLiteral("x"), x},
            {QStringLiteral("y"), y},
            {QStringLiteral("shape"), shape}};
}

CursorSample CursorSample::fromJson(const QJsonObject& o) {
    return {o.value(QStringLiteral("time")).toDouble(), o.value(QStringLiteral("x")).toDouble(),
            o.value(QStringLiteral("y")).toDouble(), o.value(QStringLiteral("shape")).toInt()};
}

QJsonObject CursorShape::toJson() const {
    return {{QStringLiteral("png"), QString::fromLatin1(png.toBase64())},
            {QStringLiteral("width"), width},
            {QStringLiteral("height"), height},
            {QStringLiteral("hotX"), hotX},
            {QStringLiteral("hotY"), hotY}};
}

CursorShape CursorShape::fromJson(const QJsonObject& o) {
    return {QByteArray::fromBase64(o.value(QStringLiteral("png")).toString().toLatin1()),
            o.value(QStringLiteral("width")).toDouble(), o.value(QStringLiteral("height")).toDouble(),
            o.value(QStringLiteral("hotX")).toDouble(), o.value(QStringLiteral("hotY")).toDouble()};
}
