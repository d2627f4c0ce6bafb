// Runs Pictavia's speech recogniser on sound files, for bench/captions.sh:
//   caption_bench [--clean] [--suppress-below DB] [--no-adapt] [--adapt-posterior P] [--segments
//   NAME=VALUE]...
//                 [-OPTION VALUE]... [--first -OPTION VALUE]... [--second -OPTION VALUE]... FILE...
// --clean first takes the noise out with the voice cleaner; --suppress-below DB sets how
// close (in dB) the pauses' noise must be to the speech for the recogniser to push it down; --no-adapt keeps
// the first decoding (no adaptation to the speaker); --adapt-posterior adapts only to the words heard with at
// least that posterior probability; --segments changes how the sound is split into utterances (pause,
// padding, rise, share, shortest, longest); -OPTION VALUE pairs go to PocketSphinx after Pictavia's own,
// --first ones to the first decoding only when a second follows, --second ones to the decoding with the
// adapted model only. Prints one line per file: the file, the seconds
// of sound, the seconds recognition took on the clock (reading and cleaning included) and the words heard,
// separated by tabs. "cleaning not available" replaces the words when the voice cleaner fails.
#include "platform/Platform.h"
#include "platform/media/DenoisingVoiceIsolator.h"
#include "platform/media/FfmpegMovieSound.h"
#include "platform/speech/PocketSphinxRecognizer.h"
#include "video/VoiceCleaner.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>

#include <cstdio>

namespace {

using platform::speech::PocketSphinxRecognizer;
using platform::speech::setOption;

bool setSegments(platform::speech::SegmenterSettings& settings, const QString& assignment) {
    const QString name = assignment.section(QLatin1Char('='), 0, 0);
    bool number = false;
    const double value = assignment.section(QLatin1Char('='), 1).toDouble(&number);
    if (!number) return false;
    if (name == QLatin1String("pause"))
        settings.pause = value;
    else if (name == QLatin1String("padding"))
        settings.padding = value;
    else if (name == QLatin1String("rise"))
        settings.minRiseDb = value;
    else if (name == QLatin1String("share"))
        settings.riseShare = value;
    else if (name == QLatin1String("shortest"))
        settings.shortest = value;
    else if (name == QLatin1String("longest"))
        settings.longest = value;
    else
        return false;
    return true;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments().mid(1);
    PocketSphinxRecognizer::Tuning tuning = PocketSphinxRecognizer::defaultTuning();
    QStringList files;
    bool clean = false;
    for (qsizetype i = 0; i < args.size(); ++i) {
        if (args[i] == QLatin1String("--clean")) {
            clean = true;
        } else if (args[i] == QLatin1String("--suppress-below") && i + 1 < args.size()) {
            tuning.suppressNoiseBelowDb = args[++i].toDouble();
        } else if (args[i] == QLatin1String("--no-adapt")) {
            tuning.adaptToSpeaker = false;
        } else if (args[i] == QLatin1String("--adapt-posterior") && i + 1 < args.size()) {
            tuning.adaptationPosterior = args[++i].toFloat();
        } else if (args[i] == QLatin1String("--segments") && i + 1 < args.size()) {
            if (!setSegments(tuning.segments, args[++i])) {
                std::fprintf(stderr, "caption_bench: unknown segment setting %s\n", qPrintable(args[i]));
                return 2;
            }
        } else if (args[i] == QLatin1String("--first") && i + 2 < args.size()) {
            const QByteArray name = args[++i].toUtf8();
            setOption(tuning.firstPassOptions, name, args[++i].toUtf8());
        } else if (args[i] == QLatin1String("--second") && i + 2 < args.size()) {
            const QByteArray name = args[++i].toUtf8();
            setOption(tuning.secondPassOptions, name, args[++i].toUtf8());
        } else if (args[i].startsWith(QLatin1Char('-')) && i + 1 < args.size()) {
            const QByteArray name = args[i].toUtf8();
            setOption(tuning.options, name, args[++i].toUtf8());
        } else {
            files << args[i];
        }
    }
    if (files.isEmpty()) {
        std::fprintf(stderr,
                     "usage: caption_bench [--clean] [--suppress-below DB] [--no-adapt] [--adapt-posterior "
                     "P] [--segments NAME=VALUE]... "
                     "[-OPTION VALUE]... [--first -OPTION VALUE]... [--second -OPTION VALUE]... FILE...\n");
        return 2;
    }
    platform::Services services;
    services.movieSound = std::make_unique<platform::media::FfmpegMovieSound>();
    services.voiceIsolator = std::make_unique<platform::media::DenoisingVoiceIsolator>();
    platform::install(std::move(services));
    PocketSphinxRecognizer recognizer({}, tuning);
    const QString language = QStringLiteral("en-US");

    for (const QString& file : files) {
        QElapsedTimer timer;
        timer.start();
        QString source = file;
        if (clean) {
            const auto cleaned = VoiceCleaner::isolate(file);
            if (!cleaned) {
                std::printf("%s\t0\t0\tcleaning not available\n", qPrintable(file));
                std::fflush(stdout);
                continue;
            }
            source = *cleaned;
        }
        std::vector<float> samples;
        const auto read = platform::services().movieSound->readSound(
            source, -1, recognizer.sampleRate(), 1, [&](const float* chunk, qsizetype frames) {
                samples.insert(samples.end(), chunk, chunk + frames);
                return true;
            });
        if (clean) QFile::remove(source);
        if (!read) {
            std::fprintf(stderr, "caption_bench: %s\n", qPrintable(read.error().message));
            return 1;
        }
        const auto words = recognizer.recognize(samples, language, {});
        if (!words) {
            std::fprintf(stderr, "caption_bench: %s\n", qPrintable(words.error().message));
            return 1;
        }
        QStringList heard;
        for (const platform::HeardWord& word : *words)
            heard << word.text;
        std::printf("%s\t%.3f\t%.3f\t%s\n", qPrintable(file),
                    double(samples.size()) / recognizer.sampleRate(), double(timer.nsecsElapsed()) / 1e9,
                    qPrintable(heard.join(QLatin1Char(' '))));
        std::fflush(stdout);
    }
    return 0;
}
