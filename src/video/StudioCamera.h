#pragma once

#include "recording/WebcamInfo.h"
#include "video/StudioStyle.h"

#include <QImage>
#include <QRect>

#include <optional>

class QPainter;

// The camera bubble of a styled frame: where the bubble was while recording (over the card,
// so it stays with the recording) or in a corner of the frame, scaled, cut round or with
// rounded corners, mirrored like the recording's camera.
namespace StudioCamera {

// The bubble's width as a share of the card's width when the recording kept no places.
constexpr double defaultSize = 0.2;

// The bubble's square in the frame; empty when there is nothing to place.
QRect bubbleRect(const StudioStyle& style, const std::optional<WebcamInfo>& info, double time, QRect card,
                 QSize frame);

// Draws `camera`'s middle square into `place`. With `blur` the picture's outer part is
// softened, the middle (where a face usually is) kept sharp.
void draw(QPainter& painter, const QImage& camera, QRect place, CameraShape shape, bool mirrored, bool blur);

} // namespace StudioCamera
