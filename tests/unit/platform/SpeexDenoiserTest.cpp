// The noise suppressor at the rates it is used at (16 kHz for the recogniser, 48 kHz for the
// voice cleaner): what comes out is as long as what went in and in step with it, and steady
// noise is pushed down while a voice-like tone keeps its loudness.

#include "platform/media/SpeexDenoiser.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>

using platform::media::SpeexDenoiser;

namespace {

double decibels(const std::vector<float>& samples, size_t from, size_t to) {
    double sum = 0;
    for (size_t i = from; i < to; ++i)
        sum += double(samples[i]) * samples[i];
    return 10.0 * std::log10(sum / double(to - from) + 1e-12);
}

// The first sample at or above `level`.
size_t onset(const std::vector<float>& samples, float level) {
    for (size_t i = 0; i < samples.size(); ++i)
        if (std::abs(samples[i]) >= level) return i;
    return samples.size();
}

} // namespace

TEST(SpeexDenoiserTest, SteadyNoiseGoesDownAndTheToneStaysInStep) {
    for (const int rate : {16'000, 48'000}) {
        SCOPED_TRACE(rate);
        // Two seconds of soft noise, then half a second of a loud 440 Hz tone over the same noise,
        // fed in uneven chunks as a reader hands them over.
        std::mt19937 random(7);
        std::normal_distribution<float> noise(0.0f, 0.01f);
        const size_t toneAt = size_t(2 * rate), length = toneAt + size_t(rate / 2) + 123;
        std::vector<float> sound(length);
        for (size_t i = 0; i < length; ++i) {
            sound[i] = noise(random);
            if (i >= toneAt)
                sound[i] += 0.5f * float(std::sin(2 * std::numbers::pi * 440.0 * double(i - toneAt) / rate));
        }
        SpeexDenoiser denoiser(SpeexDenoiser::defaultSuppression, rate);
        std::vector<float> out;
        for (size_t from = 0; from < length; from += 1000)
            denoiser.add(sound.data() + from, qsizetype(std::min<size_t>(1000, length - from)), out);
        denoiser.finish(out);

        ASSERT_EQ(out.size(), sound.size());
        // The noise once the suppressor has learnt it (the second second).
        EXPECT_LT(decibels(out, size_t(rate), toneAt), decibels(sound, size_t(rate), toneAt) - 6.0);
        EXPECT_NEAR(decibels(out, toneAt + size_t(rate / 10), toneAt + size_t(rate / 2)),
                    decibels(sound, toneAt + size_t(rate / 10), toneAt + size_t(rate / 2)), 1.5);
        EXPECT_NEAR(double(onset(out, 0.2f)), double(onset(sound, 0.2f)), rate / 100.0);
    }
}
