#pragma once

#include "common/Result.h"

#include <QImage>
#include <QSize>
#include <QString>

#include <memory>

namespace platform {

// How a movie is encoded.
struct MovieSettings {
    enum class Codec { h264, hevc };
    QSize size;   // even on both sides
    int fps = 30; // the expected frame rate
    Codec codec = Codec::h264;
    qint64 bitRate = 0;        // video, bits a second
    int keyFrameInterval = 60; // at most this many frames between key frames
    int audioTracks = 0;       // AAC tracks (system audio, microphone), each at 48 kHz
    int audioChannels = 2;     // 1 or 2, for every audio track
    int audioBitRate = 192'000;
    double fragmentSeconds = 5; // the file stays playable up to the last whole fragment
};

// One movie being written. Times are microseconds from the movie's start; frames and
// sample blocks of a track come in time order. Not for several threads at once.
class MovieFile {
public:
    virtual ~MovieFile() = default;
    // A frame of any size (scaled to the movie's) shown from `time` on.
    virtual Result<bool> addVideo(const QImage& frame, qint64 time) = 0;
    // `frames` samples per channel, interleaved floats in -1...1, starting at `time`.
    virtual Result<bool> addAudio(int track, const float* samples, int frames, qint64 time) = 0;
    // Encodes what is buffered and completes the file.
    virtual Result<bool> finish() = 0;
};

// Makes movie files (QuickTime, H.264 or HEVC with AAC audio).
class MovieWriter {
public:
    virtual ~MovieWriter() = default;
    virtual Result<std::unique_ptr<MovieFile>> create(const QString& path, const MovieSettings& settings) = 0;
};

} // namespace platform
