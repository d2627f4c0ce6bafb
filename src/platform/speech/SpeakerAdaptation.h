#pragma once

#include "common/Result.h"
#include "platform/speech/SphinxModels.h"

#include <QByteArrayList>
#include <QString>

#include <cstdint>
#include <functional>
#include <vector>

namespace platform::speech {

// One utterance to adapt with: its sound (16-bit, 16 kHz) and the words first heard in it, as
// the dictionary spells them ("read(2)"), fillers left out.
struct AdaptationUtterance {
    std::vector<int16_t> pcm;
    QByteArrayList words;
};

// Adapts an acoustic model to one speaker without being told what was said: the words of a
// first decoding are aligned with the sound by the trainer's Baum-Welch pass, and one global
// MLLR transform of the Gaussian means is solved from that alignment. The decoder loads the
// transform with -mllr. The work runs Debian's trainer tools (sphinxtrain's bw and mllr_solve,
// sphinxbase's sphinx_fe, pocketsphinx_mdef_convert) in `workDir`.
class SpeakerAdaptation {
public:
    // Whether the tools are installed.
    static bool available();

    // The path of the transform file written in `workDir`. `keepGoing` is asked now and then;
    // false stops the work and fails. Fails with a sentence when a tool is missing or fails,
    // or when the utterances hold too few words to adapt to.
    static Result<QString> estimate(const SphinxModel& model,
                                    const std::vector<AdaptationUtterance>& utterances,
                                    const QString& workDir, const std::function<bool()>& keepGoing);

    // Fewer words than this give a transform that fits the first decoding's mistakes more
    // than the voice.
    static constexpr int fewestWords = 20;
};

} // namespace platform::speech
