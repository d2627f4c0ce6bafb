#pragma once

#include "platform/MovieSound.h"
#include "platform/media/FfmpegMovieSound.h"

namespace platform::media {

// Cleans a recorded voice: the sound read at 48 kHz, all tracks mixed to one channel, passed
// through WebRTC's noise suppressor and written as a sound file. Chosen by what the recogniser
// makes of noisy speech afterwards (bench/caption_score.py, see WebRtcDenoiser.h): FFmpeg's
// afftdn made it worse, and SpeexDSP's suppressor, which the recogniser already applies to noisy
// sound itself, changed little.
class DenoisingVoiceIsolator : public VoiceIsolator {
public:
    Result<bool> isolate(const QString& source, const QString& destination,
                         const Progress& progress) override;

private:
    FfmpegMovieSound m_sound;
};

} // namespace platform::media
