#pragma once

#include "common/Result.h"

#include <QImage>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace platform {

// One picture of a movie and the time it is shown from, in microseconds from the movie's start.
struct MovieFrame {
    QImage image;
    qint64 time = 0;
};

// A movie's pictures one after another, for drawing one movie into another.
class MovieFrameSequence {
public:
    virtual ~MovieFrameSequence() = default;
    // The next picture, none at the end; an error when the file is damaged.
    virtual Result<std::optional<MovieFrame>> next() = 0;
};

// Makes a new movie from an old one whose pictures are drawn on: every picture is decoded,
// handed to `paint`, encoded again with the old movie's codec and about its bit rate, and
// every other stream (the sound) is copied as it is.
class MovieRewriter {
public:
    // Draws on one picture (Format_RGB32, the movie's size) shown from `time` (µs).
    using Paint = std::function<void(QImage& frame, qint64 time)>;
    // How far the work is, 0...1; returning false cancels it.
    using Progress = std::function<bool(double done)>;

    virtual ~MovieRewriter() = default;
    // Writes `destination` (a QuickTime movie). A cancelled or failed rewrite leaves no
    // destination behind; cancelling fails with the code `Cancelled`.
    virtual Result<bool> rewrite(const QString& source, const QString& destination, const Paint& paint,
                                 const Progress& progress) = 0;
    virtual Result<std::unique_ptr<MovieFrameSequence>> frames(const QString& file) = 0;

    static constexpr int Cancelled = 3;
};

} // namespace platform
