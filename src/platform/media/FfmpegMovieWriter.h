#pragma once

#include "platform/MovieWriter.h"

namespace platform::media {

// QuickTime movies written with FFmpeg: H.264 through libx264 or HEVC through libx265, AAC
// audio, in fragments that a crash cannot take back (each is flushed to the file as it is
// completed, and the file plays up to the last one).
class FfmpegMovieWriter : public MovieWriter {
public:
    FfmpegMovieWriter();
    Result<std::unique_ptr<MovieFile>> create(const QString& path, const MovieSettings& settings) override;
};

} // namespace platform::media
