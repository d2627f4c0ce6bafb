#pragma once

#include <QtGlobal>

#include <memory>
#include <vector>

namespace webrtc {
class AudioProcessing;
}

namespace platform::media {

// The noise suppressor of WebRTC's audio processing module over a stream of mono 48 kHz float
// samples. Its filter bank's lag is taken out: the output is as long as the input and in step
// with it.
class WebRtcDenoiser {
public:
    // How hard the noise is pushed down, WebRTC's levels 0 (low) to 3 (very high).
    // bench/caption_score.py, noisy half of its tuning set, the recogniser's words wrong after
    // cleaning: level 1 25.9 % (uncleaned 28.5 %; SpeexDSP's suppressor at -15 dB 28.7 %);
    // levels 2 and 3 took so much of the voices with the noise that 31.4 and 31.9 % came out wrong.
    static constexpr int defaultLevel = 1;
    static constexpr int rate = 48'000;

    explicit WebRtcDenoiser(int level = defaultLevel);
    ~WebRtcDenoiser();
    WebRtcDenoiser(const WebRtcDenoiser&) = delete;
    WebRtcDenoiser& operator=(const WebRtcDenoiser&) = delete;

    // Appends what is ready to `out`.
    void add(const float* samples, qsizetype count, std::vector<float>& out);
    // Appends the rest.
    void finish(std::vector<float>& out);

private:
    void run(std::vector<float>& out);

    std::unique_ptr<webrtc::AudioProcessing> m_processing;
    std::vector<float> m_frame;  // 10 ms, what the module takes at a time
    std::vector<float> m_result; // the module's output for one frame
    qint64 m_taken = 0;          // samples handed in
    qint64 m_given;              // samples handed out; it starts at minus the lag, which is left out
};

} // namespace platform::media
