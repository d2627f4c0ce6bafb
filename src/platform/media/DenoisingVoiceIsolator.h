#pragma once

#include "platform/MovieSound.h"
#include "platform/media/FfmpegMovieSound.h"

namespace platform::media {

// Cleans a recorded voice: the sound read at 48 kHz, all tracks mixed to one channel, passed
// through WebRTC's noise suppressor and written as a sound file. Chosen by what the recogniser
// makes of noisy speech afterwards (bench/caption_score.py): FFmpeg's afftdn made it worse, and
// SpeexDSP's suppressor, which the recogniser already applies to noisy sound itself, changed
// little; WebRTC's, at a moderate level, took the words wrong from 28.5 to 25.9 %.
class DenoisingVoiceIsolator : public VoiceIsolator {
public:
    Result<bool> isolate(const QString& source, const QString& destination,
                         const Progress& progress) override;

private:
    FfmpegMovieSound m_sound;
};

} // namespace platform::media
