#pragma once

#include "platform/MovieSound.h"

namespace platform::media {

// The sound of movies through FFmpeg: decoded and resampled with libswresample for reading,
// and encoded as AAC beside the copied pictures for rewriting.
class FfmpegMovieSound : public MovieSound {
public:
    Result<int> soundTracks(const QString& file) override;
    Result<bool> readSound(const QString& file, int track, int rate, int channels,
                           const Chunk& chunk) override;
    Result<bool> replaceSound(const QString& source, const QString& soundSource, const QString& destination,
                              int channels, const Transform& transform, const Progress& progress) override;
};

} // namespace platform::media
