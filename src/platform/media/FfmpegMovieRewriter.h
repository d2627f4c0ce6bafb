#pragma once

#include "platform/MovieRewriter.h"

namespace platform::media {

// Rewrites movies with FFmpeg: the video is decoded, drawn on and encoded again (libx264 or
// libx265, as the source was), the sound packets are copied untouched.
class FfmpegMovieRewriter : public MovieRewriter {
public:
    FfmpegMovieRewriter();
    Result<bool> rewrite(const QString& source, const QString& destination, const Paint& paint,
                         const Progress& progress) override;
    Result<std::unique_ptr<MovieFrameSequence>> frames(const QString& file) override;
};

} // namespace platform::media
