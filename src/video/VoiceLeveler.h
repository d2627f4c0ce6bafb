#pragma once

#include "common/Result.h"

#include <QString>

#include <optional>
#include <vector>

// Brings a recording's quiet speech up to a common loudness, keeps its peaks from clipping,
// and puts the result (cleaned of background noise when asked) back into the movie.
namespace VoiceLeveler {

// Sound is measured and rewritten at this rate, in blocks of 50 ms.
constexpr int sampleRate = 48'000;
constexpr int blockSamples = 2400;
// Blocks at or below this RMS are silence or room noise, not speech.
constexpr float speechThreshold = 0.0018f;
// With this many speech blocks or fewer there is too little speech to judge.
constexpr int fewestSpeechBlocks = 9;
// The 90th percentile of the speech blocks' RMS is brought to this...
constexpr float targetLevel = 0.125f;
// ...by a gain of at least 1 (never quieter) and at most this.
constexpr float largestGain = 16.0f;
// A single track needing no more than this is left as it is.
constexpr float negligibleGain = 1.12f;

// The RMS of consecutive blocks of `blockSamples` mono samples, fed in pieces of any size. A
// last, incomplete block is not counted.
class BlockLevels {
public:
    void add(const float* samples, qsizetype count);
    const std::vector<float>& levels() const { return m_levels; }

private:
    std::vector<float> m_levels;
    double m_sum = 0;
    int m_filled = 0;
};

// The gain that brings the loud parts of speech to `targetLevel`, from the blocks' RMS.
float gainFor(std::vector<float> blockLevels);

// The gain for the sound of `file` (a movie or a sound file): `track` picks one sound track,
// -1 mixes all of them. Blocks: call it off the GUI thread.
Result<float> speechGain(const QString& file, int track = -1);

// The soft limiter: samples beyond 0.7 are bent smoothly towards 0.99, smaller ones pass.
void limit(float* samples, qsizetype count);

// Levels the sound of `movie` in place: cleans the voice first when `clean` is set and this
// machine can, mixes all sound tracks into one (one channel when `mono` is set), applies the
// gain and the limiter. A single track that needs no gain and was not cleaned is left as it is.
// Every failure leaves `movie` as it was. Gives the cleaned sound's work file when one was
// made; the caller keeps or removes it. Blocks: call it off the GUI thread.
Result<std::optional<QString>> process(const QString& movie, bool mono, bool clean);

} // namespace VoiceLeveler
