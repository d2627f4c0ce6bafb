#pragma once

#include "common/Result.h"

#include <QString>

#include <chrono>
#include <functional>
#include <memory>

namespace platform {

// Which sound a recording takes.
struct AudioSourceSettings {
    enum class Device {
        systemAudio, // what the computer plays: the default output's monitor
        microphone,  // the default input
    };
    Device device = Device::systemAudio;
    int sampleRate = 48'000;
    int channels = 2; // 1 or 2
};

// A live stream of sound on a thread of its own.
class AudioSource {
public:
    // `frames` samples per channel, interleaved floats in -1...1; `time` is when the first of
    // them was heard, in microseconds of std::chrono::steady_clock, the clock frame streams
    // use. Called on the source's thread: a receiver copies the samples and returns at once.
    using BufferHandler = std::function<void(const float* samples, int frames, qint64 time)>;
    // Called once, on the source's thread, when the sound stops by itself (the server quit,
    // the device was unplugged); no buffers follow.
    using ErrorHandler = std::function<void(const Error& error)>;

    virtual ~AudioSource() = default;
    // Fails at once, with a sentence a user understands, when there is no sound server or
    // no such device.
    virtual Result<bool> start(const AudioSourceSettings& settings, BufferHandler onBuffer,
                               ErrorHandler onError) = 0;
    // Delivers the sound heard until `until` (still on its way from the server), waiting for
    // it a moment at most, and returns once no handler runs any more. Safe to call more than
    // once.
    virtual void stopAt(qint64 until) = 0;
    void stop() { stopAt(now()); }

    // The time now on the sources' clock.
    static qint64 now() {
        return std::chrono::duration_cast<std::chrono::microseconds>(
                   std::chrono::steady_clock::now().time_since_epoch())
            .count();
    }
};

// Makes audio sources of this desktop's sound server.
class AudioSources {
public:
    virtual ~AudioSources() = default;
    virtual Result<std::unique_ptr<AudioSource>> create() = 0;
};

} // namespace platform
