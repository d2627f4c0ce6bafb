#pragma once

#include "video/StudioStyle.h"
#include "video/ZoomTrack.h"

#include <QPointF>
#include <QRect>
#include <QRectF>
#include <QSize>
#include <QTransform>

#include <optional>

// Where things go in a styled frame. The recording is shown in the "card", a fixed rectangle
// of the frame (inset by the padding when a background is set); what moves from frame to
// frame is only the "view", the part of the picture the card shows.
namespace StudioLayout {

// The frame's size at the recording's own resolution (see StudioScene::frameSize).
QSize frameSize(const StudioStyle& style, QSize video);

// Whether the look puts the recording on a background, where padding, corners and shadow apply.
bool hasBackdrop(const StudioStyle& style);

// The card's place in a frame of `target` pixels, on whole pixels.
QRect card(const StudioStyle& style, QSize video, QSize target);
// Its corner radius in pixels (0 without a background).
double cornerRadius(const StudioStyle& style, QRect card);

// The part of the picture (in picture pixels) shown in `card` at one moment. `pan` is where a
// filled frame follows the pointer; `zoom` scales about its centre while the view moves from
// the picture's middle toward `aim` (the zoom's centre, or the pointer) by its progress. The
// view never leaves the picture.
QRectF view(const StudioStyle& style, QSize video, QSizeF card, const ZoomTrack::State& zoom,
            std::optional<QPointF> pan, QPointF aim);

// From picture pixels to frame pixels, for `view` shown in `card`.
QTransform pictureToFrame(const QRectF& view, const QRect& card);

} // namespace StudioLayout
