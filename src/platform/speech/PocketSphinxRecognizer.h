#pragma once

#include "platform/SpeechRecognizer.h"

namespace platform::speech {

// Speech recognition with PocketSphinx and the acoustic and language models Debian installs
// under /usr/share/pocketsphinx/model.
class PocketSphinxRecognizer : public SpeechRecognizer {
public:
    QStringList knownLanguages() override;
    QStringList onDeviceLanguages() override;
    QString howToAdd(const QString& language) override;
    int sampleRate() override { return 16000; }
    Result<QList<HeardWord>> recognize(const std::vector<float>& samples, const QString& language,
                                       const Progress& progress) override;
};

} // namespace platform::speech
