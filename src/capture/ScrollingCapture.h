#pragma once

#include "app/PreferenceEnums.h"
#include "capture/CaptureContext.h"
#include "capture/ScrollingCaptureController.h"
#include "capture/StillCapture.h"
#include "common/Result.h"

#include <QObject>
#include <QRectF>

#include <cstdint>
#include <optional>

// Scrolling captures of a known area, for scripts: no overlay and no panel; the long image
// is delivered through the output pipeline like any capture.
namespace ScrollingCapture {

struct Area {
    QRectF rect; // points from the display's top-left corner
    platform::DisplayInfo display;
    CaptureContext context;
};

// A rectangle of the display with the number (else the one under the pointer); refused
// when it reaches past the display's edge.
Result<Area> ofRect(const QRectF& rect, std::optional<uint32_t> displayID);
// A window's frame, on the display that holds most of it.
Result<Area> ofWindow(uint32_t windowID);

// Scrolls and stitches the area, then delivers the image; `done` runs on the receiver's
// thread (nothing when the receiver goes first). Fails when scrolling cannot be
// synthesised here or nothing could be grabbed.
void run(const Area& area, ScrollAxis axis, QObject* receiver, StillCapture::Done done,
         ScrollingCaptureController::Timing timing = {});

} // namespace ScrollingCapture
