#pragma once

#include "common/Result.h"

#include <QImage>
#include <QRect>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace platform {

// What a recording shows: a rectangle of the screen in root pixels (a whole display or an
// area of one), or one window, followed as it moves and seen even where others cover it.
struct FrameSource {
    std::optional<QRect> rootRect;
    std::optional<uint32_t> windowId;
};

struct FrameStreamSettings {
    int fps = 30;
    bool showCursor = true; // the pointer drawn into the frames
    // Windows of this program that belong in the picture (click ripples, the keystroke
    // panel); every other window of ours is left out.
    std::vector<uint32_t> windowsInPicture;
};

// A live stream of screen frames at a frame rate, on a thread of its own.
class FrameStream {
public:
    // Each frame with the time it was taken, in microseconds of std::chrono::steady_clock (the
    // clock audio sources use, so that sound and picture line up). Called on the
    // stream's thread: a receiver hands the frame on and returns at once.
    using FrameHandler = std::function<void(const QImage& frame, qint64 time)>;
    // Called once, on the stream's thread, when the stream ends by itself (a window closed,
    // the display went away); no frames follow.
    using ErrorHandler = std::function<void(const Error& error)>;

    virtual ~FrameStream() = default;
    virtual Result<bool> start(const FrameSource& source, const FrameStreamSettings& settings,
                               FrameHandler onFrame, ErrorHandler onError) = 0;
    // Returns once no handler runs any more. Safe to call more than once.
    virtual void stop() = 0;
    // Frames that could not be taken in their interval (a slow grab), since start.
    virtual int missedFrames() const = 0;
};

// Makes frame streams of this desktop.
class FrameStreams {
public:
    virtual ~FrameStreams() = default;
    virtual Result<std::unique_ptr<FrameStream>> create() = 0;
};

} // namespace platform
