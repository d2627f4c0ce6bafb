#pragma once

#include "common/RawValues.h"
#include "editor/BackgroundStyle.h"

#include <QJsonObject>
#include <QString>

#include <optional>

// The frame a styled movie is shown in.
enum class StudioShape { original, wide, vertical, square };
// How a recording goes into a frame of another shape: all of it, or filling the frame and
// panning with the pointer.
enum class StudioFraming { fit, follow };
enum class CaptionPosition { bottom, top };
enum class CaptionLook { box, outline };
enum class CaptionColor { white, yellow };
// Where the camera bubble goes: where it was while recording, or a corner.
enum class CameraPosition { recorded, bottomLeft, bottomRight, topRight, topLeft };
enum class CameraShape { circle, rounded };

// The names of the choices, as in JSON and the agent tools.
inline constexpr RawValues studioShapeValues{
    std::array{std::pair{StudioShape::original, "original"}, std::pair{StudioShape::wide, "wide"},
               std::pair{StudioShape::vertical, "vertical"}, std::pair{StudioShape::square, "square"}}};
inline constexpr RawValues studioFramingValues{
    std::array{std::pair{StudioFraming::fit, "fit"}, std::pair{StudioFraming::follow, "follow"}}};
inline constexpr RawValues captionPositionValues{
    std::array{std::pair{CaptionPosition::bottom, "bottom"}, std::pair{CaptionPosition::top, "top"}}};
inline constexpr RawValues captionLookValues{
    std::array{std::pair{CaptionLook::box, "box"}, std::pair{CaptionLook::outline, "outline"}}};
inline constexpr RawValues captionColorValues{
    std::array{std::pair{CaptionColor::white, "white"}, std::pair{CaptionColor::yellow, "yellow"}}};
inline constexpr RawValues cameraPositionValues{std::array{
    std::pair{CameraPosition::recorded, "recorded"}, std::pair{CameraPosition::bottomLeft, "bottomLeft"},
    std::pair{CameraPosition::bottomRight, "bottomRight"}, std::pair{CameraPosition::topRight, "topRight"},
    std::pair{CameraPosition::topLeft, "topLeft"}}};
inline constexpr RawValues cameraShapeValues{
    std::array{std::pair{CameraShape::circle, "circle"}, std::pair{CameraShape::rounded, "rounded"}}};

// The studio look of a movie: how each frame is composed from the recording, its pointer
// track, clicks, captions and camera. Lengths are fractions so a look holds at any size.
struct StudioStyle {
    BackgroundStyle background = BackgroundStyle::None;
    QString backgroundImage;    // the picture of a custom-image background
    double padding = 0.06;      // space around the recording, 0...0.2 of the frame's shorter side
    double cornerRadius = 0.02; // of the recording's shorter side, 0...0.5
    bool shadow = true;
    StudioShape shape = StudioShape::original;
    StudioFraming framing = StudioFraming::fit;

    bool followPointer = true; // while zoomed in, pan with the pointer
    // The pointer drawn from the recorded track (studio recordings, which have no system
    // pointer in their pictures): its size 0.6...2.5 and smoothing 0 (raw) ... 1.
    bool drawPointer = false;
    double pointerSize = 1.0;
    double pointerSmoothing = 0.6;
    bool clickRipples = false;

    bool captions = false;
    double captionScale = 1.0;
    CaptionPosition captionPosition = CaptionPosition::bottom;
    CaptionLook captionLook = CaptionLook::box;
    CaptionColor captionColor = CaptionColor::white;

    bool camera = true;
    CameraPosition cameraPosition = CameraPosition::recorded;
    double cameraSize = 1.0; // relative to the recorded bubble, 0.5...2.5
    CameraShape cameraShape = CameraShape::circle;
    bool cameraBlur = false;

    bool operator==(const StudioStyle&) const = default;

    // Whether frames look any different from the recording played as it is (the camera and
    // captions count only where the movie has them, which the scene knows).
    bool isStyled() const;

    // Keys are the field names; enums by their names ("vertical", "bottomLeft"). Missing or
    // mistyped keys keep their defaults and numbers are clamped to their ranges.
    QJsonObject toJson() const;
    static StudioStyle fromJson(const QJsonObject& object);
};
