#include "platform/media/WebRtcDenoiser.h"

#include <webrtc/modules/audio_processing/include/audio_processing.h>

#include <algorithm>

namespace platform::media {

namespace {

constexpr qsizetype frameSize = WebRtcDenoiser::rate / 100;
// Samples between a sound going in and coming out at 48 kHz: the band-splitting filters and the
// suppressor's analysis window (measured by cross-correlation, see WebRtcDenoiserTest).
constexpr qint64 lag = 334;

} // namespace

WebRtcDenoiser::WebRtcDenoiser(int level) : m_processing(webrtc::AudioProcessing::Create()), m_given(-lag) {
    auto* suppression = m_processing->noise_suppression();
    suppression->set_level(webrtc::NoiseSuppression::Level(std::clamp(level, 0, 3)));
    suppression->Enable(true);
    m_frame.reserve(size_t(frameSize));
    m_result.resize(size_t(frameSize));
}

WebRtcDenoiser::~WebRtcDenoiser() = default;

void WebRtcDenoiser::add(const float* samples, qsizetype count, std::vector<float>& out) {
    for (qsizetype i = 0; i < count; ++i) {
        m_frame.push_back(samples[i]);
        if (qsizetype(m_frame.size()) == frameSize) run(out);
    }
    m_taken += count;
}

void WebRtcDenoiser::finish(std::vector<float>& out) {
    // Silence pushes the last samples through the lag.
    while (m_given < m_taken) {
        m_frame.resize(size_t(frameSize), 0.0f);
        run(out);
    }
    out.resize(out.size() - size_t(m_given - m_taken));
    m_given = m_taken;
}

void WebRtcDenoiser::run(std::vector<float>& out) {
    const webrtc::StreamConfig mono(rate, 1, false);
    const float* const input[] = {m_frame.data()};
    float* const output[] = {m_result.data()};
    // A frame the module refuses passes through as it came.
    if (m_processing->ProcessStream(input, mono, mono, output) != webrtc::AudioProcessing::kNoError)
        std::copy(m_frame.begin(), m_frame.end(), m_result.begin());
    for (const float sample : m_result) {
        if (m_given++ < 0) continue;
        out.push_back(sample);
    }
    m_frame.clear();
}

} // namespace platform::media
