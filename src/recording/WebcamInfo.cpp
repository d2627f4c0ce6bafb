#include "recording/WebcamInfo.h"

#include <QJsonArray>

#include <algorithm>

QJsonObject WebcamPlacement::toJson() const {
    return QJsonObject{{QStringLiteral("time"), time},
                       {QStringLiteral("x"), x},
                       {QStringLiteral("y"), y},
                       {QStringLiteral("size"), size}};
}

WebcamPlacement WebcamPlacement::fromJson(const QJsonObject& object) {
    WebcamPlacement placement;
    placement.time = object.value(QStringLiteral("time")).toDouble();
    placement.x = object.value(QStringLiteral("x")).toDouble();
    placement.y = object.value(QStringLiteral("y")).toDouble();
    placement.size = object.value(QStringLiteral("size")).toDouble();
    return placement;
}

std::optional<WebcamPlacement> WebcamInfo::placement(double time) const {
    if (placements.isEmpty()) return std::nullopt;
    // The first placement that starts after `time`; the one before it is in force.
    const auto later = std::upper_bound(placements.cbegin(), placements.cend(), time,
                                        [](double t, const WebcamPlacement& p) { return t < p.time; });
    if (later == placements.cbegin()) return placements.first();
    return *std::prev(later);
}

QJsonObject WebcamInfo::toJson() const {
    QJsonArray list;
    for (const WebcamPlacement& placement : placements)
        list.append(placement.toJson());
    return QJsonObject{{QStringLiteral("placements"), list}, {QStringLiteral("mirrored"), mirrored}};
}

WebcamInfo WebcamInfo::fromJson(const QJsonObject& object) {
    WebcamInfo info;
    const QJsonArray list = object.value(QStringLiteral("placements")).toArray();
    for (const QJsonValue& value : list)
        if (value.isObject()) info.placements.append(WebcamPlacement::fromJson(value.toObject()));
    // Kept in time order whatever the file says, so that lookups stay right.
    std::stable_sort(info.placements.begin(), info.placements.end(),
                     [](const WebcamPlacement& a, const WebcamPlacement& b) { return a.time < b.time; });
    info.mirrored = object.value(QStringLiteral("mirrored")).toBool();
    return info;
}
