#pragma once

#include "capture/OutputPipeline.h"
#include "common/Result.h"

#include <QObject>
#include <QRectF>

#include <cstdint>
#include <functional>
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

// The same captures without holding up the caller's thread: the grab and the encoding run
// on a worker thread, the delivery on the receiver's thread, then `done`. Nothing is called
// when the receiver goes first.
using Done = std::function<void(const Result<OutputPipeline::Delivered>&)>;
void fullscreen(std::optional<uint32_t> displayID, QObject* receiver, Done done);
void rect(const QRectF& rect, std::optional<uint32_t> displayID, bool copyOnly, QObject* receiver, Done done);
void window(uint32_t windowID, QObject* receiver, Done done);

// The frontmost normal window of an application, by name (case-insensitive).
std::optional<uint32_t> windowOfApp(const QString& appName);

} // namespace StillCapture
