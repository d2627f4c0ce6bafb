#include "platform/speech/SpeechSegmenter.h"

#include <algorithm>
#include <cmath>

namespace platform::speech {

namespace {

// Below this (in decibels of full scale) a sound is silent, whatever its spread.
constexpr double silentDb = -70.0;

double percentile(std::vector<double> values, double share) {
    const auto at = values.begin() + std::ptrdiff_t(share * double(values.size() - 1));
    std::nth_element(values.begin(), at, values.end());
    return *at;
}

// The loudness of each frame of `frame` samples, in decibels of full scale.
std::vector<double> frameLoudness(const std::vector<float>& samples, long long frame) {
    const long long total = (long long)samples.size();
    const long long frames = (total + frame - 1) / frame;
    std::vector<double> loudness(size_t(frames), 0.0);
    for (long long f = 0; f < frames; ++f) {
        double sum = 0;
        const long long from = f * frame, to = std::min(total, from + frame);
        for (long long i = from; i < to; ++i)
            sum += double(samples[size_t(i)]) * samples[size_t(i)];
        loudness[size_t(f)] = 10.0 * std::log10(sum / double(to - from) + 1e-12);
    }
    return loudness;
}

// The quiet and the loud end of the frames' loudness.
constexpr double floorShare = 0.1, loudShare = 0.95;

} // namespace

double loudnessSpread(const std::vector<float>& samples, int rate, double frameSeconds) {
    const std::vector<double> loudness =
        frameLoudness(samples, std::max(1LL, std::llround(frameSeconds * rate)));
    if (loudness.empty()) return 0;
    return percentile(loudness, loudShare) - percentile(loudness, floorShare);
}

std::vector<Stretch> findSpeech(const std::vector<float>& samples, int rate,
                                const SegmenterSettings& settings) {
    const long long frame = std::max(1LL, std::llround(settings.frameSeconds * rate));
    const long long total = (long long)samples.size();
    const std::vector<double> loudness = frameLoudness(samples, frame);
    const long long frames = (long long)loudness.size();
    if (frames == 0) return {};
    const double floor = percentile(loudness, floorShare);
    const double loud = percentile(loudness, loudShare);
    if (loud < silentDb) return {};

    // Runs of voiced frames, as [first, last + 1).
    std::vector<std::pair<long long, long long>> runs;
    if (loud - floor < settings.minRiseDb) {
        runs.push_back({0, frames}); // no quiet to tell speech from: all of it
    } else {
        const double threshold = floor + std::max(settings.minRiseDb, settings.riseShare * (loud - floor));
        for (long long f = 0; f < frames; ++f) {
            if (loudness[size_t(f)] <= threshold) continue;
            const long long pauseFrames = std::llround(settings.pause / settings.frameSeconds);
            if (!runs.empty() && f - runs.back().second < pauseFrames)
                runs.back().second = f + 1;
            else
                runs.push_back({f, f + 1});
        }
        const long long shortest = std::llround(settings.shortest / settings.frameSeconds);
        std::erase_if(runs, [&](const auto& run) { return run.second - run.first < shortest; });
    }

    // Padded, joined where the padding meets, and cut where too long.
    const long long padding = std::llround(settings.padding / settings.frameSeconds);
    const long long longest = std::max(2LL, std::llround(settings.longest / settings.frameSeconds));
    std::vector<std::pair<long long, long long>> padded;
    for (const auto& [first, last] : runs) {
        const long long begin = std::max(0LL, first - padding), end = std::min(frames, last + padding);
        if (!padded.empty() && begin <= padded.back().second)
            padded.back().second = std::max(padded.back().second, end);
        else
            padded.push_back({begin, end});
    }
    std::vector<Stretch> stretches;
    for (auto [begin, end] : padded) {
        while (end - begin > longest) {
            const auto from = loudness.begin() + begin + longest / 2, to = loudness.begin() + begin + longest;
            const long long cut = std::min_element(from, to) - loudness.begin();
            stretches.push_back({begin * frame, cut * frame});
            begin = cut;
        }
        stretches.push_back({begin * frame, std::min(total, end * frame)});
    }
    return stretches;
}

} // namespace platform::speech
