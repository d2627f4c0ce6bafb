#pragma once

#include "platform/MoviePlayer.h"

namespace platform::media {

// Plays movies decoded with FFmpeg on a thread of their own, the sound through PulseAudio.
class FfmpegMoviePlayers : public MoviePlayers {
public:
    FfmpegMoviePlayers();
    Result<std::unique_ptr<MoviePlayer>> open(const QString& file) override;
};

} // namespace platform::media
