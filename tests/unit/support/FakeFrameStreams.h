#pragma once

#include "platform/FrameStream.h"

#include <optional>

namespace testsupport {

// A frame stream the test drives: frames arrive when the test sends them, with the times it
// chooses, so that pauses and gaps are exact.
class FakeFrameStream : public platform::FrameStream {
public:
    explicit FakeFrameStream(int& stops) : m_stops(stops) {}
    FrameHandler onFrame;
    ErrorHandler onError;
    platform::FrameSource source;
    Result<bool> start(const platform::FrameSource& what, const platform::FrameStreamSettings&,
                       FrameHandler frames, ErrorHandler errors) override {
        source = what;
        onFrame = std::move(frames);
        onError = std::move(errors);
        return true;
    }
    void stop() override { ++m_stops; }
    int missedFrames() const override { return 0; }

private:
    int& m_stops;
};

class FakeFrameStreams : public platform::FrameStreams {
public:
    FakeFrameStream* last = nullptr; // valid while its recording runs
    int stops = 0;
    std::optional<Error> failure; // what create() says instead of making a stream
    Result<std::unique_ptr<platform::FrameStream>> create() override {
        if (failure) return *failure;
        auto stream = std::make_unique<FakeFrameStream>(stops);
        last = stream.get();
        return std::unique_ptr<platform::FrameStream>(std::move(stream));
    }
};

} // namespace testsupport
