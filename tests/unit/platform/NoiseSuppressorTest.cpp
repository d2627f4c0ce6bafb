// The noise suppressors at the rates they are used at (SpeexDSP's at 16 kHz in the recogniser,
// WebRTC's at 48 kHz in the voice cleaner): what comes out is as long as what went in and in
// step with it, and steady noise is pushed down while a voice-like sound keeps its loudness.

#include "platform/media/SpeexDenoiser.h"
#include "platform/media/WebRtcDenoiser.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <numbers>
#include <random>

using platform::media::SpeexDenoiser;
using platform::media::WebRtcDenoiser;

namespace {

double decibels(const std::vector<float>& samples, size_t from, size_t to) {
    double sum = 0;
    for (size_t i = from; i < to; ++i)
        sum += double(samples[i]) * samples[i];
    return 10.0 * std::log10(sum / double(to - from) + 1e-12);
}

// The shift of `out` against `in` (within ±range samples) at which the two match best.
int bestShift(const std::vector<float>& in, const std::vector<float>& out, size_t from, size_t to,
              int range) {
    int best = 0;
    double bestSum = -1e300;
    for (int shift = -range; shift <= range; ++shift) {
        double sum = 0;
        for (size_t i = from; i < to; ++i)
            sum += double(in[i]) * out[size_t(qsizetype(i) + shift)];
        if (sum > bestSum) bestSum = sum, best = shift;
    }
    return best;
}

// Two seconds of soft noise, then half a second of a loud sound over the same noise: a 440 Hz
// tone, or noise of all frequencies rising and falling like a voice.
std::vector<float> noiseThenLoud(int rate, bool tone) {
    std::mt19937 random(7);
    std::normal_distribution<float> noise(0.0f, 0.01f);
    std::normal_distribution<float> loud(0.0f, 0.2f);
    const size_t loudAt = size_t(2 * rate), length = loudAt + size_t(rate / 2) + 123;
    std::vector<float> sound(length);
    for (size_t i = 0; i < length; ++i) {
        sound[i] = noise(random);
        if (i < loudAt) continue;
        const double t = double(i - loudAt) / rate;
        sound[i] += tone ? 0.5f * float(std::sin(2 * std::numbers::pi * 440.0 * t))
                         : loud(random) * float(1.0 + std::sin(2 * std::numbers::pi * 3.0 * t));
    }
    return sound;
}

// Fed in uneven chunks, as a reader hands them over.
std::vector<float> cleaned(platform::media::FrameFilter& denoiser, const std::vector<float>& sound) {
    std::vector<float> out;
    for (size_t from = 0; from < sound.size(); from += 1000)
        denoiser.add(sound.data() + from, qsizetype(std::min<size_t>(1000, sound.size() - from)), out);
    denoiser.finish(out);
    return out;
}

void expectQuieterNoiseSameSoundInStep(
    int rate, const std::function<std::vector<float>(const std::vector<float>&)>& clean) {
    const size_t loudAt = size_t(2 * rate);
    for (const bool tone : {true, false}) {
        SCOPED_TRACE(tone ? "tone" : "broadband");
        const std::vector<float> sound = noiseThenLoud(rate, tone);
        const std::vector<float> out = clean(sound);
        ASSERT_EQ(out.size(), sound.size());
        // The noise once the suppressor has learnt it (the second second).
        EXPECT_LT(decibels(out, size_t(rate), loudAt), decibels(sound, size_t(rate), loudAt) - 6.0);
        const size_t from = loudAt + size_t(rate / 10), to = loudAt + size_t(rate / 2);
        EXPECT_NEAR(decibels(out, from, to), decibels(sound, from, to), 1.5);
        // A lag left in would show as a shift; a tone cannot tell whole periods apart.
        if (!tone) {
            EXPECT_NEAR(bestShift(sound, out, from, to - size_t(rate / 100), rate / 100), 0, 2);
        }
    }
}

} // namespace

TEST(NoiseSuppressorTest, SpeexPushesSteadyNoiseDownAndKeepsTheSoundInStep) {
    for (const int rate : {16'000, 48'000}) {
        SCOPED_TRACE(rate);
        expectQuieterNoiseSameSoundInStep(rate, [rate](const std::vector<float>& sound) {
            SpeexDenoiser denoiser(SpeexDenoiser::defaultSuppression, rate);
            return cleaned(denoiser, sound);
        });
    }
}

TEST(NoiseSuppressorTest, WebRtcPushesSteadyNoiseDownAndKeepsTheSoundInStep) {
    expectQuieterNoiseSameSoundInStep(WebRtcDenoiser::rate, [](const std::vector<float>& sound) {
        WebRtcDenoiser denoiser;
        return cleaned(denoiser, sound);
    });
}
