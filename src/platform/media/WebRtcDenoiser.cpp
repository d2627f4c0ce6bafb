#include "platform/media/WebRtcDenoiser.h"

#include <webrtc/modules/audio_processing/include/audio_processing.h>

#include <algorithm>

namespace platform::media {

namespace {

// 10 ms, what the module takes at a time.
constexpr qsizetype frameSize = WebRtcDenoiser::rate / 100;
// Samples between a sound going in and coming out at 48 kHz: the band-splitting filters and the
// suppressor's analysis window (measured by cross-correlation, see NoiseSuppressorTest).
constexpr qint64 lag = 334;

} // namespace

WebRtcDenoiser::WebRtcDenoiser(int level, float originalShare)
    : FrameFilter(frameSize, lag), m_processing(webrtc::AudioProcessing::Create()),
      m_original(size_t(lag), 0.0f), m_originalShare(std::clamp(originalShare, 0.0f, 1.0f)) {
    auto* suppression = m_processing->noise_suppression();
    suppression->set_level(webrtc::NoiseSuppression::Level(std::clamp(level, 0, 3)));
    suppression->Enable(true);
    m_result.resize(size_t(frameSize));
}

WebRtcDenoiser::~WebRtcDenoiser() = default;

void WebRtcDenoiser::process(std::vector<float>& frame) {
    m_original.insert(m_original.end(), frame.begin(), frame.end());
    const webrtc::StreamConfig mono(rate, 1, false);
    const float* const input[] = {frame.data()};
    float* const output[] = {m_result.data()};
    // A frame the module refuses passes through as it came.
    const bool cleaned =
        m_processing->ProcessStream(input, mono, mono, output) == webrtc::AudioProcessing::kNoError;
    for (size_t i = 0; i < frame.size(); ++i) {
        const float original = m_original.front();
        m_original.pop_front();
        frame[i] = cleaned ? (1.0f - m_originalShare) * m_result[i] + m_originalShare * original : original;
    }
}

} // namespace platform::media
