#include "platform/media/VoiceDenoiser.h"

#include <speex/speex_preprocess.h>

#include <algorithm>
#include <cmath>

namespace platform::media {

namespace {

constexpr int sampleRate = 48'000;
constexpr int frameSize = sampleRate / 100; // 10 ms, the preprocessor's usual frame
constexpr int suppressionDb = -25;

class SpeexDenoiser final : public VoiceDenoiser {
public:
    SpeexDenoiser() : m_state(speex_preprocess_state_init(frameSize, sampleRate)) {
        int on = 1;
        int off = 0; // the voice detector is off by default, and asking says so on stderr
        int suppression = suppressionDb;
        speex_preprocess_ctl(m_state, SPEEX_PREPROCESS_SET_DENOISE, &on);
        speex_preprocess_ctl(m_state, SPEEX_PREPROCESS_SET_NOISE_SUPPRESS, &suppression);
        speex_preprocess_ctl(m_state, SPEEX_PREPROCESS_SET_AGC, &off);
        speex_preprocess_ctl(m_state, SPEEX_PREPROCESS_SET_DEREVERB, &off);
        m_frame.reserve(frameSize);
    }
    ~SpeexDenoiser() override { speex_preprocess_state_destroy(m_state); }
    SpeexDenoiser(const SpeexDenoiser&) = delete;
    SpeexDenoiser& operator=(const SpeexDenoiser&) = delete;

    Result<bool> add(const float* samples, qsizetype count, std::vector<float>& out) override {
        for (qsizetype i = 0; i < count; ++i) {
            // The preprocessor works on 16-bit samples.
            m_frame.push_back(spx_int16_t(std::lrint(std::clamp(samples[i], -1.0f, 1.0f) * 32767.0f)));
            if (int(m_frame.size()) == frameSize) run(out);
        }
        return true;
    }

    Result<bool> finish(std::vector<float>& out) override {
        if (m_frame.empty()) return true;
        const size_t kept = m_frame.size();
        m_frame.resize(frameSize, 0);
        run(out);
        out.resize(out.size() - (frameSize - kept));
        return true;
    }

private:
    void run(std::vector<float>& out) {
        speex_preprocess_run(m_state, m_frame.data());
        for (const spx_int16_t sample : m_frame)
            out.push_back(float(sample) / 32768.0f);
        m_frame.clear();
    }

    SpeexPreprocessState* m_state;
    std::vector<spx_int16_t> m_frame;
};

} // namespace

Result<std::unique_ptr<VoiceDenoiser>> speexDenoiser() {
    return std::unique_ptr<VoiceDenoiser>(std::make_unique<SpeexDenoiser>());
}

} // namespace platform::media
