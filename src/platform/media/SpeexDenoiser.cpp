#include "platform/media/SpeexDenoiser.h"

#include <speex/speex_preprocess.h>

#include <algorithm>
#include <cmath>

namespace platform::media {

// Frames of 10 ms, the preprocessor's usual, which is also the lag of what comes out.
SpeexDenoiser::SpeexDenoiser(int suppression, int rate)
    : FrameFilter(rate / 100, rate / 100), m_state(speex_preprocess_state_init(rate / 100, rate)) {
    int on = 1;
    int off = 0; // the voice detector is off by default, and asking for that says so on stderr
    speex_preprocess_ctl(m_state, SPEEX_PREPROCESS_SET_DENOISE, &on);
    speex_preprocess_ctl(m_state, SPEEX_PREPROCESS_SET_NOISE_SUPPRESS, &suppression);
    speex_preprocess_ctl(m_state, SPEEX_PREPROCESS_SET_AGC, &off);
    speex_preprocess_ctl(m_state, SPEEX_PREPROCESS_SET_DEREVERB, &off);
    m_pcm.resize(size_t(rate / 100));
}

SpeexDenoiser::~SpeexDenoiser() {
    speex_preprocess_state_destroy(m_state);
}

void SpeexDenoiser::process(std::vector<float>& frame) {
    for (size_t i = 0; i < frame.size(); ++i)
        m_pcm[i] = int16_t(std::lrint(std::clamp(frame[i], -1.0f, 1.0f) * 32767.0f));
    speex_preprocess_run(m_state, m_pcm.data());
    for (size_t i = 0; i < frame.size(); ++i)
        frame[i] = float(m_pcm[i]) / 32768.0f;
}

} // namespace platform::media
