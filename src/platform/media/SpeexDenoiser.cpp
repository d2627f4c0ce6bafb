#include "platform/media/SpeexDenoiser.h"

#include <speex/speex_preprocess.h>

#include <algorithm>
#include <cmath>

namespace platform::media {

SpeexDenoiser::SpeexDenoiser(int suppression, int rate)
    : m_frameSize(rate / 100), m_state(speex_preprocess_state_init(m_frameSize, rate)),
      m_given(-m_frameSize) {
    int on = 1;
    int off = 0; // the voice detector is off by default, and asking for that says so on stderr
    speex_preprocess_ctl(m_state, SPEEX_PREPROCESS_SET_DENOISE, &on);
    speex_preprocess_ctl(m_state, SPEEX_PREPROCESS_SET_NOISE_SUPPRESS, &suppression);
    speex_preprocess_ctl(m_state, SPEEX_PREPROCESS_SET_AGC, &off);
    speex_preprocess_ctl(m_state, SPEEX_PREPROCESS_SET_DEREVERB, &off);
    m_frame.reserve(size_t(m_frameSize));
}

SpeexDenoiser::~SpeexDenoiser() {
    speex_preprocess_state_destroy(m_state);
}

void SpeexDenoiser::add(const float* samples, qsizetype count, std::vector<float>& out) {
    for (qsizetype i = 0; i < count; ++i) {
        // The preprocessor works on 16-bit samples.
        m_frame.push_back(int16_t(std::lrint(std::clamp(samples[i], -1.0f, 1.0f) * 32767.0f)));
        if (int(m_frame.size()) == m_frameSize) run(out);
    }
    m_taken += count;
}

void SpeexDenoiser::finish(std::vector<float>& out) {
    // Silence pushes the last samples through the delay.
    while (m_given < m_taken) {
        m_frame.resize(size_t(m_frameSize), 0);
        run(out);
    }
    out.resize(out.size() - size_t(m_given - m_taken));
    m_given = m_taken;
}

void SpeexDenoiser::run(std::vector<float>& out) {
    speex_preprocess_run(m_state, m_frame.data());
    for (const int16_t sample : m_frame) {
        if (m_given++ < 0) continue;
        out.push_back(float(sample) / 32768.0f);
    }
    m_frame.clear();
}

} // namespace platform::media
