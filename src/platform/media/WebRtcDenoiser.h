#pragma once

#include "platform/media/FrameFilter.h"

#include <deque>
#include <memory>

namespace webrtc {
class AudioProcessing;
}

namespace platform::media {

// The noise suppressor of WebRTC's audio processing module over a stream of mono 48 kHz float
// samples, in step with the input.
class WebRtcDenoiser : public FrameFilter {
public:
    // How hard the noise is pushed down, WebRTC's levels 0 (low) to 3 (very high).
    // bench/caption_score.py, noisy half of its tuning set, the recogniser's words wrong after
    // cleaning: level 1 25.9 % (uncleaned 28.5 %; SpeexDSP's suppressor at -15 dB 28.7 %); level 0
    // 27.7 %; levels 2 and 3 took so much of the voices with the noise that 31.4 and 31.9 % came
    // out wrong.
    static constexpr int defaultLevel = 1;
    // How much of the original sound is mixed back in, which softens what the suppressor does to
    // the voice. Same bench, level 1: 25.6 % wrong with 0.3 of the original mixed in, 25.9 % with
    // none.
    static constexpr float defaultOriginalShare = 0.3f;
    static constexpr int rate = 48'000;

    explicit WebRtcDenoiser(int level = defaultLevel, float originalShare = defaultOriginalShare);
    ~WebRtcDenoiser() override;

private:
    void process(std::vector<float>& frame) override;

    std::unique_ptr<webrtc::AudioProcessing> m_processing;
    std::vector<float> m_result;  // the module's output for one frame
    std::deque<float> m_original; // the input, held back by the module's lag to meet its output
    float m_originalShare;
};

} // namespace platform::media
