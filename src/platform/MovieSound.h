#pragma once

#include "common/Result.h"

#include <QString>

#include <functional>

namespace platform {

// The sound of movies as plain samples: read out for analysis and recognition, and put back
// into a movie whose pictures are copied as they are.
class MovieSound {
public:
    // Interleaved 32-bit float samples, `frames` of them per channel. Returning false cancels.
    using Chunk = std::function<bool(const float* samples, qsizetype frames)>;
    // Changes interleaved samples in place before they are encoded.
    using Transform = std::function<void(float* samples, qsizetype frames)>;
    // How far the work is, 0...1; returning false cancels it.
    using Progress = std::function<bool(double done)>;

    virtual ~MovieSound() = default;

    // How many sound tracks `file` has (0 for a silent movie). Fails when it is no movie or
    // sound file.
    virtual Result<int> soundTracks(const QString& file) = 0;

    // Decodes the sound of `file` (a movie or a sound file) at `rate` Hz with `channels`
    // channels, handing it on in time order, chunk by chunk. `track` picks one sound track
    // (0 is the first); -1 mixes all of them. A file without sound fails. Cancelling fails with
    // the code `Cancelled`. Blocks: call it off the GUI thread.
    virtual Result<bool> readSound(const QString& file, int track, int rate, int channels,
                                   const Chunk& chunk) = 0;

    // Writes `destination` (a QuickTime movie): the pictures of `source` copied packet by packet
    // and one sound track made from the sound of `soundSource` (all its tracks mixed; it may be
    // `source` itself), passed through `transform` at 48 kHz and encoded as AAC with `channels`
    // channels. A failed or cancelled rewrite leaves no destination behind; `source` is never
    // changed. Cancelling fails with the code `Cancelled`.
    virtual Result<bool> replaceSound(const QString& source, const QString& soundSource,
                                      const QString& destination, int channels, const Transform& transform,
                                      const Progress& progress) = 0;

    static constexpr int Cancelled = 3;
};

// Takes background noise out of recorded speech.
class VoiceIsolator {
public:
    using Progress = MovieSound::Progress;

    virtual ~VoiceIsolator() = default;
    // Whether this machine can clean voices (its implementation could be loaded).
    virtual bool available() { return true; }
    // Writes `destination` (a sound file at 48 kHz; its format by its extension) with the sound
    // of `source` (all its tracks mixed) and the noise around the voice suppressed. A failure
    // leaves no destination behind.
    virtual Result<bool> isolate(const QString& source, const QString& destination,
                                 const Progress& progress) = 0;
};

} // namespace platform
