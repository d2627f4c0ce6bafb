#pragma once

#include "platform/SpeechRecognizer.h"
#include "platform/speech/SpeechSegmenter.h"

#include <QByteArrayList>

namespace platform::speech {

// Speech recognition with PocketSphinx and the acoustic and language models Debian installs
// under /usr/share/pocketsphinx/model (or the user's own, see SphinxModels.h). The sound is
// split at pauses and each utterance decoded whole, one decoder per call.
class PocketSphinxRecognizer : public SpeechRecognizer {
public:
    // How the decoder searches and where utterances split. The defaults were measured with
    // bench/captions.sh.
    struct Tuning {
        SegmenterSettings segments;
        // Decoder options as PocketSphinx spells them ("-beam", "1e-60", ...), after the defaults.
        QByteArrayList options;
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
    QStringList m_roots;
    Tuning m_tuning;
};

// Sets a decoder option ("-topn", "16") in a list of them: the decoder refuses one given twice.
void setOption(QByteArrayList& options, const QByteArray& name, const QByteArray& value);

} // namespace platform::speech
