#pragma once

#include "common/Result.h"
#include "platform/FrameStream.h"

#include <QRect>
#include <QSize>

#include <memory>
#include <optional>

namespace platform::wayland {

// Where a PipeWire stream's pictures come from and what of them is wanted.
struct CastTarget {
    int fd = -1;       // the PipeWire connection the portal opened; the stream takes it over
    uint32_t node = 0; // the stream's node on that connection
    // The shared output's size in pixels, and the part of it to keep in those pixels
    // (nullopt: all of it). A desktop that sends the output at another size is scaled to it.
    QSize outputPixels;
    std::optional<QRect> crop;
};

// Pictures of a screen cast, taken from PipeWire and handed on at the frame rate asked for.
class PipeWireStream {
public:
    virtual ~PipeWireStream() = default;
    // Connects, negotiates shared-memory buffers and waits for the first picture, so that a
    // stream that gives none fails here with a sentence.
    virtual Result<bool> start(const CastTarget& target, const FrameStreamSettings& settings,
                               FrameStream::FrameHandler onFrame, FrameStream::ErrorHandler onError) = 0;
    virtual void stop() = 0;
    virtual int missedFrames() const = 0;
};

// Makes PipeWire streams: what the module pictavia-pipewire.so provides.
class PipeWireStreams {
public:
    virtual ~PipeWireStreams() = default;
    virtual std::unique_ptr<PipeWireStream> create() = 0;
};

} // namespace platform::wayland
