#pragma once

#include "common/Result.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <vector>

namespace platform {

// One word heard, timed from the start of the sound it was heard in.
struct HeardWord {
    QString text;
    double start = 0;    // seconds
    double duration = 0; // seconds; may be 0
};

// Speech recognition that runs entirely on this machine. Each engine (PocketSphinx first)
// is one implementation; the captions code sees only this.
class SpeechRecognizer {
public:
    // How far the work is, 0...1; returning false cancels it.
    using Progress = std::function<bool(double done)>;

    virtual ~SpeechRecognizer() = default;

    // Locale identifiers ("en-US") the engine could recognise with the right model, whether
    // or not that model is installed.
    virtual QStringList knownLanguages() = 0;
    // The known languages whose models are installed: the ones recognition can run in now.
    virtual QStringList onDeviceLanguages() = 0;
    // What the user installs to add `language`, as a sentence ("Install the Debian package
    // pocketsphinx-en-us."); empty when the engine has no way to add it.
    virtual QString howToAdd(const QString& language) = 0;

    // The sample rate, in Hz, recognize() wants its mono sound at.
    virtual int sampleRate() = 0;
    // The words spoken in `samples` (mono, 32-bit float in -1...1, at sampleRate()), in time
    // order. Fails with a sentence; cancelling fails with the code `Cancelled`. Blocks: call
    // it off the GUI thread.
    virtual Result<QList<HeardWord>> recognize(const std::vector<float>& samples, const QString& language,
                                               const Progress& progress) = 0;

    static constexpr int Cancelled = 3;
};

} // namespace platform
