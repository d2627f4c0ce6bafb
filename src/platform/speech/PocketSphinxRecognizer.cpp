#include "platform/speech/PocketSphinxRecognizer.h"

namespace platform::speech {

QStringList PocketSphinxRecognizer::knownLanguages() {
    return {QStringLiteral("en-US")};
}

QStringList PocketSphinxRecognizer::onDeviceLanguages() {
    return {};
}

QString PocketSphinxRecognizer::howToAdd(const QString&) {
    return QStringLiteral("Install the Debian package pocketsphinx-en-us.");
}

Result<QList<HeardWord>> PocketSphinxRecognizer::recognize(const std::vector<float>&, const QString&,
                                                           const Progress&) {
    return Error{QStringLiteral("Speech recognition is not written yet")};
}

} // namespace platform::speech
