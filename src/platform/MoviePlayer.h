#pragma once

#include "common/Result.h"

#include <QImage>
#include <QString>

#include <functional>
#include <memory>

namespace platform {

// Plays a movie for a preview: its pictures handed over at their time, its sound played to
// the default output. Everything but the callbacks is called from one (the GUI) thread.
class MoviePlayer {
public:
    // A picture due now and its time in seconds. Called on the player's own thread: copy
    // what is needed and hand it over.
    using Frame = std::function<void(const QImage& picture, double time)>;
    // Playback reached the end (or the end of the range), or stopped on an error (a sentence
    // for the user; empty at a normal end). Called on the player's thread.
    using Ended = std::function<void(const QString& error)>;

    virtual ~MoviePlayer() = default;
    virtual void setFrameHandler(Frame frame) = 0;
    virtual void setEndHandler(Ended ended) = 0;
    virtual void play() = 0;
    virtual void pause() = 0;
    virtual bool isPlaying() const = 0;
    // Shows the picture at `seconds` (playing on from there when playing).
    virtual void seek(double seconds) = 0;
    // Seconds of the picture shown last.
    virtual double position() const = 0;
    // Plays only [start, end) of the movie.
    virtual void setRange(double start, double end) = 0;
    virtual void setVolume(double gain) = 0; // 0...2
    virtual void setMuted(bool muted) = 0;
};

class MoviePlayers {
public:
    virtual ~MoviePlayers() = default;
    // A player for `file`, paused at its first picture; a sentence when it cannot be read.
    // A machine without a sound server plays pictures alone.
    virtual Result<std::unique_ptr<MoviePlayer>> open(const QString& file) = 0;
};

} // namespace platform
