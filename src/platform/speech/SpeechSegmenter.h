#pragma once

#include <vector>

namespace platform::speech {

// A stretch of sound to recognise as one utterance, in samples.
struct Stretch {
    long long begin = 0;
    long long end = 0; // one past the last sample
};

// Where the speech is in a long sound: it is split at pauses, so each utterance is short
// enough for the decoder's search and its cepstral mean is that of one stretch of talk, and
// long silences cost no decoding.
struct SegmenterSettings {
    double frameSeconds = 0.01;
    // A frame is voiced when it is this many decibels above the noise floor (the quiet end of
    // the loudness of all frames), or this share of the way up to the loud end, whichever is more.
    double minRiseDb = 8.0;
    double riseShare = 0.3;
    // Quiet shorter than this does not split (seconds); voiced runs shorter than this are clicks.
    double pause = 0.3;
    double shortest = 0.08;
    // Sound kept before and after each voiced run, so word edges are not cut.
    double padding = 0.25;
    // Longer utterances are cut at their quietest moment.
    double longest = 25.0;
};

// How many decibels the loud end of `samples` (its speech) stands above the quiet end (the
// noise floor between words): small where steady noise fills the pauses.
double loudnessSpread(const std::vector<float>& samples, int rate, double frameSeconds = 0.01);

// The stretches of `samples` (mono, at `rate` Hz) that hold speech, in order, not overlapping.
std::vector<Stretch> findSpeech(const std::vector<float>& samples, int rate,
                                const SegmenterSettings& settings = {});

} // namespace platform::speech
