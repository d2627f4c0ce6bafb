#include "video/ZoomTrack.h"

#include <algorithm>

QJsonObject ZoomKeyframe::toJson() const {
    return {{QStringLiteral("id"), id.toString(QUuid::WithoutBraces)},
            {QStringLiteral("time"), time},
            {QStringLiteral("hold"), hold},
            {QStringLiteral("level"), level},
            {QStringLiteral("x"), center.x()},
            {QStringLiteral("y"), center.y()}};
}

ZoomKeyframe ZoomKeyframe::fromJson(const QJsonObject& object) {
    ZoomKeyframe frame;
    if (const QUuid id(object.value(QStringLiteral("id")).toString()); !id.isNull()) frame.id = id;
    frame.time = object.value(QStringLiteral("time")).toDouble(frame.time);
    frame.hold = object.value(QStringLiteral("hold")).toDouble(frame.hold);
    frame.level = object.value(QStringLiteral("level")).toDouble(frame.level);
    frame.center = {object.value(QStringLiteral("x")).toDouble(0.5),
                    object.value(QStringLiteral("y")).toDouble(0.5)};
    return frame;
}

ZoomTrack ZoomTrack::automatic(QList<ClickMark> clicks, double level, double hold, double duration) {
    std::stable_sort(clicks.begin(), clicks.end(),
                     [](const ClickMark& a, const ClickMark& b) { return a.time < b.time; });
    ZoomTrack track;
    // The click that opened each keyframe: the end of the movie is measured from it, so a
    // click just before the end makes no zoom and one a second before it a short one.
    QList<double> opened;
    for (const ClickMark& click : clicks) {
        const double start = std::max(click.time - 0.36, 0.0);
        const QPointF point(click.x, click.y);
        if (!track.keyframes.isEmpty()) {
            ZoomKeyframe& last = track.keyframes.last();
            if (start < last.time + 2 * ramp + last.hold) {
                last.hold = std::max(last.hold, hold + click.time - (last.time + ramp));
                last.center = (last.center + point) / 2;
                continue;
            }
        }
        ZoomKeyframe frame;
        frame.time = start;
        frame.hold = hold;
        frame.level = level;
        frame.center = point;
        track.keyframes.append(frame);
        opened.append(click.time);
    }
    ZoomTrack kept;
    for (qsizetype i = 0; i < track.keyframes.size(); ++i) {
        if (opened[i] >= duration - 0.2) continue;
        ZoomKeyframe frame = track.keyframes[i];
        frame.hold = std::min(frame.hold, std::max(duration - opened[i] - 2 * ramp, 0.1));
        kept.keyframes.append(frame);
    }
    return kept;
}

ZoomTrack::State ZoomTrack::state(double time) const {
    for (const ZoomKeyframe& frame : keyframes) {
        if (time < frame.time || time > frame.time + 2 * ramp + frame.hold) continue;
        double u = 1;
        if (time < frame.time + ramp)
            u = (time - frame.time) / ramp;
        else if (time >= frame.time + ramp + frame.hold)
            u = 1 - (time - (frame.time + ramp + frame.hold)) / ramp;
        u = std::clamp(u, 0.0, 1.0);
        const double progress = u < 0.5 ? 2 * u * u : 1 - 0.5 * (2 - 2 * u) * (2 - 2 * u);
        return {1 + progress * (frame.level - 1), frame.center, progress};
    }
    return {};
}

void ZoomTrack::sort() {
    std::stable_sort(keyframes.begin(), keyframes.end(),
                     [](const ZoomKeyframe& a, const ZoomKeyframe& b) { return a.time < b.time; });
}
