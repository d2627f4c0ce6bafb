#pragma once

#include "recording/TrackingTypes.h"

#include <QJsonObject>
#include <QList>
#include <QPointF>
#include <QUuid>

// One zoom move: from `time` the view eases in over `ramp` seconds to `level`, holds for
// `hold` seconds and eases out again. `center` is where it aims, as fractions of the picture
// (0.5, 0.5 is the middle).
struct ZoomKeyframe {
    QUuid id = QUuid::createUuid();
    double time = 0;
    double hold = 1.6;
    double level = 2.0;
    QPointF center{0.5, 0.5};

    bool operator==(const ZoomKeyframe&) const = default;

    QJsonObject toJson() const;
    // Missing or mistyped fields keep their defaults; a missing id gets a new one.
    static ZoomKeyframe fromJson(const QJsonObject& object);
};

// The zoom moves of a movie, kept in time order.
struct ZoomTrack {
    // Seconds to ease in, and to ease out.
    static constexpr double ramp = 0.45;

    QList<ZoomKeyframe> keyframes;

    // How far the view is zoomed at one moment: `progress` 0 (whole picture) to 1 (fully in),
    // with `scale` 1 + progress·(level − 1) toward `center`.
    struct State {
        double scale = 1;
        QPointF center{0.5, 0.5};
        double progress = 0;
    };

    // Zooms toward `clicks`: clicks closer together than one zoom's length share one longer
    // zoom aimed between them, and no zoom is still running when the movie ends.
    static ZoomTrack automatic(QList<ClickMark> clicks, double level, double hold, double duration);

    State state(double time) const;
    void sort();
    bool operator==(const ZoomTrack&) const = default;
};
