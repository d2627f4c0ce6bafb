#include "platform/speech/PocketSphinxRecognizer.h"

#include "platform/media/SpeexDenoiser.h"

#include "platform/speech/SpeakerAdaptation.h"
#include "platform/speech/SphinxModels.h"

#include <pocketsphinx.h>
#include <sphinxbase/err.h>
#include <sphinxbase/logmath.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <memory>
#include <thread>

namespace platform::speech {

namespace {

// Languages CMU Sphinx has published models for; only those installed can be used.
const QStringList publishedLanguages = {
    QStringLiteral("en-US"), QStringLiteral("de-DE"), QStringLiteral("es-ES"),
    QStringLiteral("fr-FR"), QStringLiteral("it-IT"), QStringLiteral("nl-NL"),
    QStringLiteral("pt-BR"), QStringLiteral("ru-RU"), QStringLiteral("zh-CN")};
// The one Debian packages.
const QString packagedLanguage = QStringLiteral("en-US");

constexpr double frameRate = 100; // PocketSphinx's frames per second
// Decoders at work at once, at most: each holds its own copy of the models.
constexpr size_t maxWorkers = 2;

struct FreeConfig {
    void operator()(cmd_ln_t* config) const { cmd_ln_free_r(config); }
};
struct FreeDecoder {
    void operator()(ps_decoder_t* decoder) const { ps_free(decoder); }
};

Error failure(const QString& message, int code = 1) {
    return Error{message, QStringLiteral("com.corvanta.pictavia.speech"), code};
}

// "<s>", "<sil>", "[NOISE]", "++BREATH++": what the decoder hears that is no word.
bool isFiller(const char* word) {
    return word[0] == '<' || word[0] == '[' || word[0] == '+' || word[0] == '\0';
}

// "read(2)" is the second pronunciation of "read".
QString spelling(const char* word) {
    QString text = QString::fromUtf8(word);
    if (text.endsWith(QLatin1Char(')'))) {
        const qsizetype open = text.lastIndexOf(QLatin1Char('('));
        if (open > 0) text.truncate(open);
    }
    return text;
}

// The C view of arguments: PocketSphinx parses them like a command line.
std::vector<char*> argvOf(QByteArrayList& args) {
    std::vector<char*> argv;
    for (QByteArray& arg : args)
        argv.push_back(arg.data());
    return argv;
}

// Steady background noise (a fan, a busy room) keeps the decoder's search wide and leads it
// astray: pushed down first, fewer words come out wrong and the search costs less (noisy half
// of the benchmark corpus). Clean speech is left alone: there the suppressor only took detail
// from the voice.
std::vector<float> withoutNoise(const std::vector<float>& samples, int rate) {
    media::SpeexDenoiser denoiser(media::SpeexDenoiser::defaultSuppression, rate);
    std::vector<float> cleaned;
    cleaned.reserve(samples.size() + size_t(rate / 100));
    denoiser.add(samples.data(), qsizetype(samples.size()), cleaned);
    denoiser.finish(cleaned);
    return cleaned;
}

// Quiet sound is raised before it becomes 16-bit samples, so its detail is not rounded away.
float loudnessGain(const std::vector<float>& samples) {
    float peak = 0;
    for (const float s : samples)
        peak = std::max(peak, std::abs(s));
    return peak > 0 ? std::clamp(0.9f / peak, 0.0f, 30.0f) : 1.0f;
}

} // namespace

PocketSphinxRecognizer::PocketSphinxRecognizer(QStringList modelRoots, Tuning tuning)
    : m_roots(modelRoots.isEmpty() ? defaultModelRoots() : std::move(modelRoots)),
      m_tuning(std::move(tuning)) {}

PocketSphinxRecognizer::Tuning PocketSphinxRecognizer::defaultTuning() {
    Tuning tuning;
    // Measured on the tuning half of the benchmark corpus: wider beams and more Gaussians per
    // frame than the command's defaults find more of the words (16 Gaussians: 7.8 % of the
    // words wrong against 8.6 % with 8, 8.1 % with 12, 8.5 % with 32; 1.5 times the time of 8), a
    // lighter language model weight trusts the sound more; the cap on active models per frame
    // keeps noisy sound from slowing the search down without bound.
    tuning.options = {"-beam", "1e-60", "-pbeam", "1e-60", "-wbeam",    "1e-40",
                      "-topn", "16",    "-lw",    "5.5",   "-maxhmmpf", "10000"};
    // With a second decoding both searches can be far narrower: the first one's words only
    // guide the adaptation, and the adapted model needs less search. On the tuning half, in
    // words wrong and seconds on the clock per second of sound: clean speech 7.8 % at 0.29 (the
    // wide options in both decodings: 7.5 % at 0.65), noisy speech 28.5 % at 0.46 (one wide
    // decoding without adaptation: 31.9 % at 0.77).
    tuning.firstPassOptions = {"-maxhmmpf", "1500", "-beam", "1e-50", "-pbeam", "1e-50", "-topn", "4"};
    tuning.secondPassOptions = {"-maxhmmpf", "2000", "-beam", "1e-50", "-pbeam", "1e-50", "-topn", "8"};
    return tuning;
}

QStringList PocketSphinxRecognizer::knownLanguages() {
    QStringList languages = publishedLanguages;
    for (const QString& language : installedLanguages(m_roots))
        if (!languages.contains(language)) languages << language;
    return languages;
}

QStringList PocketSphinxRecognizer::onDeviceLanguages() {
    return installedLanguages(m_roots);
}

QString PocketSphinxRecognizer::howToAdd(const QString& language) {
    if (language == packagedLanguage) return QStringLiteral("Install the Debian package pocketsphinx-en-us.");
    return QStringLiteral("Put a PocketSphinx model for %1 (its acoustic model folder, language model and "
                          "dictionary) in the folder %2.")
        .arg(language, m_roots.first() + QLatin1Char('/') + folderOf(language));
}

Result<QList<HeardWord>> PocketSphinxRecognizer::recognize(const std::vector<float>& sound,
                                                           const QString& language,
                                                           const Progress& progress) {
    if (!knownLanguages().contains(language))
        return failure(QStringLiteral("Speech recognition does not support ") + language);
    const auto model = findModel(m_roots, language);
    if (!model) {
        const QString add = howToAdd(language);
        return failure(QStringLiteral("There is no speech model for %1 on this computer.").arg(language) +
                       (add.isEmpty() ? QString() : QLatin1Char(' ') + add));
    }

    // PocketSphinx reports every step on stderr unless told not to log at all.
    err_set_logfp(nullptr);
    QByteArrayList args = {"-hmm", QFile::encodeName(model->acoustic), "-lm",
                           QFile::encodeName(model->languageModel), "-dict",
                           QFile::encodeName(model->dictionary), "-samprate", "16000",
                           // The utterances are cut already: every frame of one is decoded.
                           "-remove_silence", "no"};
    args += m_tuning.options;
    const Error unloadable{QStringLiteral("The speech model for %1 in %2 cannot be loaded.")
                               .arg(language, QFileInfo(model->acoustic).path()),
                           QStringLiteral("com.corvanta.pictavia.speech"), 1};

    const int rate = sampleRate();
    const bool noisy = loudnessSpread(sound, rate) < m_tuning.suppressNoiseBelowDb;
    const std::vector<float> cleaned = noisy ? withoutNoise(sound, rate) : std::vector<float>{};
    const std::vector<float>& samples = noisy ? cleaned : sound;
    const std::vector<Stretch> stretches = findSpeech(samples, rate, m_tuning.segments);
    const float gain = loudnessGain(samples);
    const auto pcmOf = [&](const Stretch& stretch) {
        std::vector<int16> pcm(size_t(stretch.end - stretch.begin));
        for (size_t i = 0; i < pcm.size(); ++i)
            pcm[i] = int16(
                std::lrint(std::clamp(samples[size_t(stretch.begin) + i] * gain, -1.0f, 1.0f) * 32767.0f));
        return pcm;
    };
    const Error cancelled = failure(QStringLiteral("Speech recognition was cancelled."), Cancelled);
    if (progress && !progress(0)) return cancelled;

    // With adaptation the work is a first decoding, the adaptation to the speaker and a second
    // decoding with the adapted model; progress gives them roughly their shares of the time.
    const bool adapting = m_tuning.adaptToSpeaker && SpeakerAdaptation::available();
    const auto part = [&](double from, double to) -> Progress {
        if (!progress) return {};
        return [&progress, from, to](double done) { return progress(from + (to - from) * done); };
    };
    const auto withOptions = [](QByteArrayList options, const QByteArrayList& changes) {
        for (qsizetype at = 0; at + 1 < changes.size(); at += 2)
            setOption(options, changes[at], changes[at + 1]);
        return options;
    };
    Decoding first = decode(adapting ? withOptions(args, m_tuning.firstPassOptions) : args, stretches, pcmOf,
                            rate, part(0, adapting ? 0.45 : 1.0));
    if (first.outcome == Decoding::Unloadable) return unloadable;
    if (first.outcome == Decoding::Broken) return failure(QStringLiteral("Speech recognition failed."));
    if (first.outcome == Decoding::Cancelled) return cancelled;

    // Adaptation that fails for any reason but cancelling leaves the first decoding's words.
    const Decoding* result = &first;
    Decoding second;
    if (adapting) {
        bool stopped = false;
        const auto keepGoing = [&] {
            if (progress && !progress(0.45)) stopped = true;
            return !stopped;
        };
        QTemporaryDir work(QDir::tempPath() + QStringLiteral("/pictavia-speaker-XXXXXX"));
        std::vector<AdaptationUtterance> utterances(stretches.size());
        for (size_t index = 0; index < stretches.size(); ++index) {
            utterances[index].words = first.said[index];
            if (!first.said[index].isEmpty()) utterances[index].pcm = pcmOf(stretches[index]);
        }
        const auto transform = work.isValid()
                                   ? SpeakerAdaptation::estimate(*model, utterances, work.path(), keepGoing)
                                   : Result<QString>(failure(QStringLiteral("No temporary folder.")));
        if (stopped) return cancelled;
        if (transform) {
            if (progress && !progress(0.55)) return cancelled;
            QByteArrayList adapted = withOptions(args, m_tuning.secondPassOptions);
            setOption(adapted, "-mllr", QFile::encodeName(*transform));
            second = decode(adapted, stretches, pcmOf, rate, part(0.55, 1.0));
            if (second.outcome == Decoding::Cancelled) return cancelled;
            if (second.outcome == Decoding::Done) result = &second;
        }
    }

    QList<HeardWord> words;
    for (const QList<HeardWord>& stretchWords : result->heard)
        words += stretchWords;
    if (progress) progress(1.0);
    return words;
}

PocketSphinxRecognizer::Decoding PocketSphinxRecognizer::decode(const QByteArrayList& args,
                                                                const std::vector<Stretch>& stretches,
                                                                const PcmOf& pcmOf, int rate,
                                                                const Progress& progress) const {
    long long total = 0;
    for (const Stretch& stretch : stretches)
        total += stretch.end - stretch.begin;

    // The utterances are shared out among up to `workers` decoders, one per processor, each
    // taking a run of neighbouring ones of about the same length of sound, in order: a decoder
    // carries its cepstral mean from one utterance to the next, so handing them out as threads
    // come free would make the words depend on timing. This thread is one of the decoders and
    // the only one that reports progress.
    Decoding decoding;
    decoding.heard.resize(stretches.size());
    decoding.said.resize(stretches.size());
    std::atomic<long long> done = 0;
    std::atomic<bool> stop = false, failed = false, broken = false;
    const float trusted = m_tuning.adaptationPosterior;
    const auto work = [&](size_t from, size_t to, bool reporting) {
        QByteArrayList own = args; // parsing may write into them
        std::unique_ptr<cmd_ln_t, FreeConfig> config(
            cmd_ln_parse_r(nullptr, ps_args(), int32(own.size()), argvOf(own).data(), TRUE));
        std::unique_ptr<ps_decoder_t, FreeDecoder> decoder(config ? ps_init(config.get()) : nullptr);
        if (!decoder) {
            failed = true;
            stop = true;
            return;
        }
        for (size_t index = from; index < to && !stop; ++index) {
            const Stretch& stretch = stretches[index];
            const std::vector<int16> pcm = pcmOf(stretch);
            if (ps_start_utt(decoder.get()) < 0 ||
                ps_process_raw(decoder.get(), pcm.data(), pcm.size(), FALSE, TRUE) < 0 ||
                ps_end_utt(decoder.get()) < 0) {
                broken = true;
                stop = true;
                return;
            }
            const double offset = double(stretch.begin) / rate;
            for (ps_seg_t* seg = ps_seg_iter(decoder.get()); seg != nullptr; seg = ps_seg_next(seg)) {
                const char* word = ps_seg_word(seg);
                if (isFiller(word)) continue;
                int first = 0, last = 0;
                ps_seg_frames(seg, &first, &last);
                decoding.heard[index].append(
                    {spelling(word), offset + first / frameRate, std::max(0, last - first + 1) / frameRate});
                int32 acoustic = 0, language = 0, backoff = 0;
                const int32 posterior = ps_seg_prob(seg, &acoustic, &language, &backoff);
                if (trusted <= 0 || logmath_exp(ps_get_logmath(decoder.get()), posterior) >= trusted)
                    decoding.said[index].append(QByteArray(word));
            }
            done += stretch.end - stretch.begin;
            if (reporting && progress && !progress(total > 0 ? double(done) / double(total) : 1.0))
                stop = true;
        }
    };
    const size_t workers = std::min({size_t(std::max(1u, std::thread::hardware_concurrency())), maxWorkers,
                                     std::max<size_t>(stretches.size(), 1)});
    // runStart[w] is the first utterance of decoder w: where its share of the sound begins.
    std::vector<size_t> runStart(workers + 1, stretches.size());
    runStart[0] = 0;
    long long before = 0;
    for (size_t index = 0, w = 1; index < stretches.size() && w < workers; ++index) {
        if (before >= total * (long long)w / (long long)workers) runStart[w++] = index;
        before += stretches[index].end - stretches[index].begin;
    }
    std::vector<std::thread> helpers;
    for (size_t w = 1; w < workers; ++w)
        helpers.emplace_back(work, runStart[w], runStart[w + 1], false);
    work(runStart[0], runStart[1], true);
    for (std::thread& helper : helpers)
        helper.join();

    decoding.outcome = failed   ? Decoding::Unloadable
                       : broken ? Decoding::Broken
                       : stop   ? Decoding::Cancelled
                                : Decoding::Done;
    return decoding;
}

void setOption(QByteArrayList& options, const QByteArray& name, const QByteArray& value) {
    const qsizetype at = options.indexOf(name);
    if (at >= 0 && at + 1 < options.size())
        options[at + 1] = value;
    else
        options << name << value;
}

} // namespace platform::speech
