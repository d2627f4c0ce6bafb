#pragma once

#include "common/Result.h"

#include <QImage>
#include <QSize>
#include <QString>

namespace platform {

// What a movie or animated GIF file holds, read without decoding it all.
struct MediaInfo {
    double duration = 0;  // seconds; 0 when unknown
    QSize size;           // pixels of the first video stream
    double frameRate = 0; // frames a second; 0 when unknown
    QString videoCodec;   // e.g. "h264", "hevc", "gif"
    bool hasAudio = false;
    QString audioCodec; // empty without audio
};

// Reads movies and GIFs.
class MediaReader {
public:
    virtual ~MediaReader() = default;
    // Errors carry the sentence for the user, e.g. "… is not a video Pictavia can read."
    virtual Result<MediaInfo> info(const QString& file) = 0;
    // The frame shown at `seconds` (clamped to the file's length), as ARGB32.
    virtual Result<QImage> frameAt(const QString& file, double seconds) = 0;
};

} // namespace platform
