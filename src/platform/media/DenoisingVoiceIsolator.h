#pragma once

#include "platform/MovieSound.h"
#include "platform/media/FfmpegMovieSound.h"

namespace platform::media {

// Cleans a recorded voice: the sound read at 48 kHz, all tracks mixed to one channel, passed
// through the denoiser bench/voice_cleaning.sh chose, and written as a sound file.
class DenoisingVoiceIsolator : public VoiceIsolator {
public:
    Result<bool> isolate(const QString& source, const QString& destination,
                         const Progress& progress) override;

private:
    FfmpegMovieSound m_sound;
};

} // namespace platform::media
