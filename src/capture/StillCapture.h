#pragma once

#include "capture/OutputPipeline.h"
#include "common/Result.h"

#include <QRectF>

#include <cstdint>
#include <optional>

// Captures that need no interaction: a whole display, a known rectangle, a window by
// number. Each grabs, prepares and delivers through the output pipeline, and returns
// what was delivered or the error to show.
namespace StillCapture {

// The whole display with the given number, or the one under the pointer.
Result<OutputPipeline::Delivered> fullscreen(std::optional<uint32_t> displayID);

// A rectangle in points relative to the display's top-left corner, on the given display
// or the one under the pointer; remembered as the last area.
Result<OutputPipeline::Delivered> rect(const QRectF& rect, std::optional<uint32_t> displayID, bool copyOnly);

// One window, named after its application and title, with the shadow the
// "windowShadow" preference asks for.
Result<OutputPipeline::Delivered> window(uint32_t windowID);

// The frontmost normal window of an application, by name (case-insensitive).
std::optional<uint32_t> windowOfApp(const QString& appName);

} // namespace StillCapture
