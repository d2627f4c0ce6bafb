#pragma once

#include <QJsonObject>
#include <QList>

#include <optional>

// Where the camera bubble was from `time` (seconds since the recording started) on: its
// top-left corner as fractions of the recorded region's width and height from the region's
// top-left, and its width as a fraction of the region's width.
struct WebcamPlacement {
    double time = 0;
    double x = 0;
    double y = 0;
    double size = 0;

    bool operator==(const WebcamPlacement&) const = default;

    QJsonObject toJson() const;
    // Missing or mistyped numbers read as 0.
    static WebcamPlacement fromJson(const QJsonObject& object);
};

// The bubble's places over a recording, in time order, and whether the camera is mirrored.
struct WebcamInfo {
    QList<WebcamPlacement> placements;
    bool mirrored = false;

    bool operator==(const WebcamInfo&) const = default;

    // The latest placement at or before `time`; before the first, the first; none without any.
    std::optional<WebcamPlacement> placement(double time) const;

    QJsonObject toJson() const;
    static WebcamInfo fromJson(const QJsonObject& object);
};
