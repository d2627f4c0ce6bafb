#pragma once

#include "capture/CaptureContext.h"
#include "common/Result.h"
#include "platform/FrameStream.h"
#include "platform/Platform.h"

#include <QRectF>

#include <cstdint>
#include <optional>

// What a recording is started with: the frames to stream, their size in pixels, the display
// they are on and the context that names the file.
struct RecordingSource {
    platform::FrameSource frames;
    QSize pixels;
    platform::DisplayInfo display;
    CaptureContext context;
    // The area in points from the display's top-left corner; the whole display when empty.
    QRectF areaRect;

    // A whole display: the one with the number, else the one under the pointer.
    static Result<RecordingSource> fullscreen(std::optional<uint32_t> displayID);
    // A rectangle in points from the display's top-left corner; it must lie on the display.
    static Result<RecordingSource> area(const QRectF& rect, std::optional<uint32_t> displayID);
    // One window, followed as it moves.
    static Result<RecordingSource> window(uint32_t windowID);
};
