#pragma once

#include "platform/SpeechRecognizer.h"
#include "platform/speech/SpeechSegmenter.h"

#include <QByteArrayList>

namespace platform::speech {

// Speech recognition with PocketSphinx and the acoustic and language models Debian installs
// under /usr/share/pocketsphinx/model (or the user's own, see SphinxModels.h). The sound is
// split at pauses and each utterance decoded whole, one decoder per call; then, where the
// trainer's tools are installed, decoded again with the model adapted to the speaker. Steady
// background noise is pushed down first where there is much of it.
class PocketSphinxRecognizer : public SpeechRecognizer {
public:
    // How the decoder searches and where utterances split. The defaults were measured with
    // bench/captions.sh.
    struct Tuning {
        SegmenterSettings segments;
        // Decoder options as PocketSphinx spells them ("-beam", "1e-60", ...), after the defaults.
        QByteArrayList options;
        // Options that differ in the first decoding when a second one follows (its words only
        // guide the adaptation), and in the second decoding, with the model adapted to the speaker.
        QByteArrayList firstPassOptions;
        QByteArrayList secondPassOptions;
        // Whether the model is adapted to the speaker between a first and a second decoding
        // (when the trainer's tools are installed), and how sure the first decoding must be of
        // a word (its posterior probability) for the adaptation to rely on it; 0 takes all.
        bool adaptToSpeaker = true;
        float adaptationPosterior = 0;
        // Steady background noise is pushed down before the sound is split and decoded where the
        // speech stands fewer than this many decibels above the pauses (0: never).
        double suppressNoiseBelowDb = 30;
    };

    explicit PocketSphinxRecognizer(QStringList modelRoots = {}, Tuning tuning = defaultTuning());

    static Tuning defaultTuning();

    QStringList knownLanguages() override;
    QStringList onDeviceLanguages() override;
    QString howToAdd(const QString& language) override;
    int sampleRate() override { return 16000; }
    Result<QList<HeardWord>> recognize(const std::vector<float>& samples, const QString& language,
                                       const Progress& progress) override;

private:
    // The words of one decoding of all the stretches: as heard, and as the dictionary spells
    // them where they are sure enough to adapt to.
    struct Decoding {
        enum Outcome { Done, Unloadable, Broken, Cancelled } outcome = Done;
        std::vector<QList<HeardWord>> heard;
        std::vector<QByteArrayList> said;
    };
    using PcmOf = std::function<std::vector<short>(const Stretch&)>;
    Decoding decode(const QByteArrayList& args, const std::vector<Stretch>& stretches, const PcmOf& pcmOf,
                    int rate, const Progress& progress) const;

    QStringList m_roots;
    Tuning m_tuning;
};

// Sets a decoder option ("-topn", "16") in a list of them: the decoder refuses one given twice.
void setOption(QByteArrayList& options, const QByteArray& name, const QByteArray& value);

} // namespace platform::speech
