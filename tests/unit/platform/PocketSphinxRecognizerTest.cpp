// Speech recognised with PocketSphinx and Debian's US English model: speech made by festival
// (or flite) at test time comes back as words in order at their times; a missing model or an
// unknown language is a sentence saying what to do.

#include "platform/speech/PocketSphinxRecognizer.h"
#include "platform/Platform.h"
#include "platform/media/FfmpegMovieSound.h"
#include "platform/speech/SpeakerAdaptation.h"
#include "platform/speech/SpeechSegmenter.h"
#include "platform/speech/SphinxModels.h"
#include "video/Captions.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <cmath>
#include <random>

using platform::HeardWord;
using platform::speech::AdaptationUtterance;
using platform::speech::PocketSphinxRecognizer;
using platform::speech::SpeakerAdaptation;

namespace {

constexpr int rate = 16'000;

// `text` spoken by festival's HTS voice, or flite's where festival is missing, at 16 kHz.
std::vector<float> speak(const QString& text, const QTemporaryDir& dir) {
    const QString script = dir.filePath(QStringLiteral("line.txt")),
                  wav = dir.filePath(QStringLiteral("line.wav"));
    QFile file(script);
    if (!file.open(QIODevice::WriteOnly)) return {};
    file.write(text.toUtf8());
    file.close();
    QProcess voice;
    if (!QStandardPaths::findExecutable(QStringLiteral("text2wave")).isEmpty())
        voice.start(QStringLiteral("text2wave"),
                    {QStringLiteral("-eval"), QStringLiteral("(voice_cmu_us_slt_arctic_hts)"), script,
                     QStringLiteral("-o"), wav});
    else
        voice.start(QStringLiteral("flite"), {QStringLiteral("-voice"), QStringLiteral("slt"),
                                              QStringLiteral("-f"), script, QStringLiteral("-o"), wav});
    if (!voice.waitForFinished(60'000) || voice.exitCode() != 0) return {};
    std::vector<float> samples;
    platform::media::FfmpegMovieSound sound;
    const auto read = sound.readSound(wav, -1, rate, 1, [&](const float* chunk, qsizetype frames) {
        samples.insert(samples.end(), chunk, chunk + frames);
        return true;
    });
    return read ? samples : std::vector<float>{};
}

bool haveVoiceAndModel() {
    return (!QStandardPaths::findExecutable(QStringLiteral("text2wave")).isEmpty() ||
            !QStandardPaths::findExecutable(QStringLiteral("flite")).isEmpty()) &&
           PocketSphinxRecognizer().onDeviceLanguages().contains(QStringLiteral("en-US"));
}

// Where `heard` finds `wanted` in order, allowing words in between: the indexes, -1 for a
// word not found.
std::vector<qsizetype> inOrder(const QList<HeardWord>& heard, const QStringList& wanted) {
    std::vector<qsizetype> at;
    qsizetype from = 0;
    for (const QString& word : wanted) {
        qsizetype found = -1;
        for (qsizetype i = from; i < heard.size(); ++i)
            if (heard[i].text == word) {
                found = i;
                break;
            }
        at.push_back(found);
        if (found >= 0) from = found + 1;
    }
    return at;
}

void silence(std::vector<float>& samples, double seconds) {
    samples.insert(samples.end(), size_t(seconds * rate), 0.0f);
}

// The words heard in `samples`, every progress report kept in `done`, and the words as one text.
struct Heard {
    Result<QList<HeardWord>> words;
    std::vector<double> done;
    QString text;
};
Heard recognizeAll(const std::vector<float>& samples) {
    Heard heard{QList<HeardWord>(), {}, {}};
    heard.words = PocketSphinxRecognizer().recognize(samples, QStringLiteral("en-US"), [&](double d) {
        heard.done.push_back(d);
        return true;
    });
    if (heard.words) {
        QStringList texts;
        for (const HeardWord& word : *heard.words)
            texts << word.text;
        heard.text = texts.join(u' ');
    }
    return heard;
}

// Two sentences: a second of silence, "Open the settings and turn on dark mode.", two seconds
// of silence, "Then click the save button.", a second of silence. Empty when no voice speaks.
struct TwoSentences {
    std::vector<float> samples;
    size_t firstEnd = 0; // the first sentence is [rate, firstEnd)
    double secondStart = 0, secondEnd = 0;
};
TwoSentences twoSentences() {
    QTemporaryDir dir;
    const std::vector<float> first = speak(QStringLiteral("Open the settings and turn on dark mode."), dir);
    const std::vector<float> second = speak(QStringLiteral("Then click the save button."), dir);
    if (first.empty() || second.empty()) return {};
    TwoSentences spoken;
    std::vector<float>& samples = spoken.samples;
    silence(samples, 1.0);
    samples.insert(samples.end(), first.begin(), first.end());
    spoken.firstEnd = samples.size();
    silence(samples, 2.0);
    spoken.secondStart = double(samples.size()) / rate;
    samples.insert(samples.end(), second.begin(), second.end());
    spoken.secondEnd = double(samples.size()) / rate;
    silence(samples, 1.0);
    return spoken;
}

} // namespace

TEST(PocketSphinxRecognizerTest, SpokenSentencesComeBackInOrderAtTheirTimes) {
    if (!haveVoiceAndModel()) GTEST_SKIP() << "festival or flite, or pocketsphinx-en-us, is not installed";
    const TwoSentences spoken = twoSentences();
    ASSERT_FALSE(spoken.samples.empty());
    const std::vector<float>& samples = spoken.samples;
    const double secondStart = spoken.secondStart, secondEnd = spoken.secondEnd;

    const Heard heard = recognizeAll(samples);
    const auto& words = heard.words;
    const auto& done = heard.done;
    ASSERT_TRUE(words) << words.error().message.toStdString();
    const auto at =
        inOrder(*words, {QStringLiteral("open"), QStringLiteral("settings"), QStringLiteral("dark"),
                         QStringLiteral("mode"), QStringLiteral("save"), QStringLiteral("button")});
    EXPECT_GE(std::count_if(at.begin(), at.end(), [](qsizetype i) { return i >= 0; }), 5)
        << heard.text.toStdString();

    // No fillers or alternate pronunciations; times rise and lie where the speech was.
    double previous = -1;
    for (const HeardWord& word : *words) {
        EXPECT_FALSE(word.text.contains(QLatin1Char('<')) || word.text.contains(QLatin1Char('[')) ||
                     word.text.contains(QLatin1Char('(')))
            << word.text.toStdString();
        EXPECT_GE(word.start, previous);
        EXPECT_GT(word.duration, 0);
        EXPECT_LT(word.duration, 2.0);
        previous = word.start;
    }
    if (at[4] >= 0) {
        EXPECT_GT((*words)[at[4]].start, secondStart - 0.5);
        EXPECT_LT((*words)[at[4]].start, secondEnd);
    }
    if (at[0] >= 0) {
        EXPECT_NEAR((*words)[at[0]].start, 1.0, 0.5);
    }
    ASSERT_FALSE(done.empty());
    EXPECT_EQ(done.back(), 1.0);
}

// Speech over steady noise ten decibels below it, as a fan makes: the recogniser
// pushes the noise down first, so more of the words come back, still at their times.
TEST(PocketSphinxRecognizerTest, SpeechOverSteadyNoiseIsHeardAtItsTimes) {
    if (!haveVoiceAndModel()) GTEST_SKIP() << "festival or flite, or pocketsphinx-en-us, is not installed";
    TwoSentences spoken = twoSentences();
    ASSERT_FALSE(spoken.samples.empty());
    std::vector<float>& samples = spoken.samples;
    const double secondStart = spoken.secondStart;
    // A fan's rumble: white noise through a one-pole low-pass, scaled to 10 dB below the speech.
    std::mt19937 random(11);
    std::normal_distribution<double> white(0.0, 1.0);
    std::vector<double> rumble(samples.size());
    double low = 0, rumblePower = 0, speechPower = 0;
    for (double& r : rumble) {
        low = 0.95 * low + white(random);
        r = low;
        rumblePower += r * r;
    }
    for (size_t i = size_t(rate); i < spoken.firstEnd; ++i)
        speechPower += double(samples[i]) * samples[i];
    const double scale = std::sqrt(speechPower / double(spoken.firstEnd - size_t(rate)) / 10.0 /
                                   (rumblePower / double(rumble.size())));
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] += float(rumble[i] * scale);

    const QStringList wanted = {QStringLiteral("open"), QStringLiteral("settings"), QStringLiteral("dark"),
                                QStringLiteral("mode"), QStringLiteral("save"),     QStringLiteral("button")};
    const auto found = [&](const QList<HeardWord>& words) {
        const auto at = inOrder(words, wanted);
        return std::count_if(at.begin(), at.end(), [](qsizetype i) { return i >= 0; });
    };
    const Heard heard = recognizeAll(samples);
    ASSERT_TRUE(heard.words) << heard.words.error().message.toStdString();
    PocketSphinxRecognizer::Tuning unsuppressed = PocketSphinxRecognizer::defaultTuning();
    unsuppressed.suppressNoiseBelowDb = 0;
    const auto plain =
        PocketSphinxRecognizer({}, unsuppressed).recognize(samples, QStringLiteral("en-US"), [](double) {
            return true;
        });
    ASSERT_TRUE(plain);
    EXPECT_GE(found(*heard.words), 2) << heard.text.toStdString();
    EXPECT_GT(found(*heard.words), found(*plain));
    const auto at = inOrder(*heard.words, wanted);
    if (at[4] >= 0) {
        EXPECT_NEAR((*heard.words)[at[4]].start, secondStart + 0.5, 0.6);
    }
    if (at[0] >= 0) {
        EXPECT_NEAR((*heard.words)[at[0]].start, 1.0, 0.5);
    }
}

// Enough sentences for the model to be adapted to their speaker.
const QStringList adaptationSentences = {QStringLiteral("Open the settings and turn on dark mode."),
                                         QStringLiteral("Click the save button in the top right corner."),
                                         QStringLiteral("Now drag the file into the folder on the left."),
                                         QStringLiteral("Scroll down until you see the privacy section.")};

TEST(PocketSphinxRecognizerTest, LongerSpeechIsDecodedAgainAdaptedToTheSpeaker) {
    if (!haveVoiceAndModel() || !SpeakerAdaptation::available())
        GTEST_SKIP() << "a voice, pocketsphinx-en-us, sphinxtrain or sphinxbase-utils is not installed";
    QTemporaryDir dir;
    std::vector<float> samples;
    silence(samples, 0.5);
    for (const QString& sentence : adaptationSentences) {
        const std::vector<float> spoken = speak(sentence, dir);
        ASSERT_FALSE(spoken.empty());
        samples.insert(samples.end(), spoken.begin(), spoken.end());
        silence(samples, 1.0);
    }
    const Heard heard = recognizeAll(samples);
    const auto& words = heard.words;
    const auto& done = heard.done;
    ASSERT_TRUE(words) << words.error().message.toStdString();
    const auto at =
        inOrder(*words, {QStringLiteral("settings"), QStringLiteral("dark"), QStringLiteral("save"),
                         QStringLiteral("button"), QStringLiteral("file"), QStringLiteral("folder"),
                         QStringLiteral("privacy"), QStringLiteral("section")});
    EXPECT_GE(std::count_if(at.begin(), at.end(), [](qsizetype i) { return i >= 0; }), 7)
        << heard.text.toStdString();
    // Progress rises through both decodings to the end.
    ASSERT_FALSE(done.empty());
    EXPECT_TRUE(std::is_sorted(done.begin(), done.end()));
    EXPECT_TRUE(std::any_of(done.begin(), done.end(), [](double d) { return d > 0.55 && d < 1.0; }));
    EXPECT_EQ(done.back(), 1.0);

    // Cancelling between the two decodings stops the whole of it.
    const auto cancelled = PocketSphinxRecognizer().recognize(samples, QStringLiteral("en-US"),
                                                              [](double d) { return d < 0.45 || d >= 0.46; });
    ASSERT_FALSE(cancelled);
    EXPECT_EQ(cancelled.error().code, platform::SpeechRecognizer::Cancelled);
}

TEST(SpeakerAdaptationTest, OneTransformIsSolvedFromSpeechAndItsWords) {
    if (!haveVoiceAndModel() || !SpeakerAdaptation::available())
        GTEST_SKIP() << "a voice, pocketsphinx-en-us, sphinxtrain or sphinxbase-utils is not installed";
    const auto model =
        platform::speech::findModel(platform::speech::defaultModelRoots(), QStringLiteral("en-US"));
    ASSERT_TRUE(model);
    QTemporaryDir dir;
    std::vector<AdaptationUtterance> utterances;
    for (const QString& sentence : adaptationSentences) {
        AdaptationUtterance utterance;
        for (const float sample : speak(sentence, dir))
            utterance.pcm.push_back(int16_t(std::lrint(std::clamp(sample, -1.0f, 1.0f) * 32767)));
        ASSERT_FALSE(utterance.pcm.empty());
        utterance.words = sentence.toLower().remove(QLatin1Char('.')).toUtf8().split(' ');
        utterances.push_back(utterance);
    }
    QTemporaryDir work;
    const auto transform = SpeakerAdaptation::estimate(*model, utterances, work.path(), {});
    ASSERT_TRUE(transform) << transform.error().message.toStdString();
    // One regression class; for each of the model's three feature streams a 13 x 13 matrix
    // and a shift, near the identity for a voice the model knows.
    QFile file(*transform);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QStringList numbers = QString::fromUtf8(file.readAll()).simplified().split(QLatin1Char(' '));
    ASSERT_GE(numbers.size(), 3);
    EXPECT_EQ(numbers.mid(0, 3),
              (QStringList{QStringLiteral("1"), QStringLiteral("3"), QStringLiteral("13")}));
    EXPECT_NEAR(numbers[3].toDouble(), 1.0, 0.5);

    // Too few words, or a stop asked for, fail with a sentence and leave the first decoding be.
    const std::vector<AdaptationUtterance> one = {utterances.front()};
    const auto few = SpeakerAdaptation::estimate(*model, one, work.path(), {});
    ASSERT_FALSE(few);
    EXPECT_EQ(few.error().message, QStringLiteral("Too few words were heard to adapt to the speaker."));
    const auto stopped = SpeakerAdaptation::estimate(*model, utterances, work.path(), [] { return false; });
    ASSERT_FALSE(stopped);
    EXPECT_EQ(stopped.error().message, QStringLiteral("Speaker adaptation was cancelled."));
}

TEST(PocketSphinxRecognizerTest, CancellingStopsIt) {
    if (!haveVoiceAndModel()) GTEST_SKIP() << "pocketsphinx-en-us is not installed";
    std::vector<float> samples;
    for (int burst = 0; burst < 3; ++burst) {
        for (int i = 0; i < rate; ++i)
            samples.push_back(float(0.3 * std::sin(2 * M_PI * 300 * i / rate) * std::sin(M_PI * i / rate)));
        silence(samples, 1.0);
    }
    const auto words =
        PocketSphinxRecognizer().recognize(samples, QStringLiteral("en-US"), [](double) { return false; });
    ASSERT_FALSE(words);
    EXPECT_EQ(words.error().code, platform::SpeechRecognizer::Cancelled);
}

TEST(PocketSphinxRecognizerTest, LanguagesFollowTheModelsInstalled) {
    QTemporaryDir empty;
    PocketSphinxRecognizer none({empty.path()});
    EXPECT_TRUE(none.onDeviceLanguages().isEmpty());
    EXPECT_TRUE(none.knownLanguages().contains(QStringLiteral("en-US")));
    EXPECT_EQ(none.howToAdd(QStringLiteral("en-US")),
              QStringLiteral("Install the Debian package pocketsphinx-en-us."));
    EXPECT_EQ(
        none.howToAdd(QStringLiteral("fr-FR")),
        QStringLiteral("Put a PocketSphinx model for fr-FR (its acoustic model folder, language model and "
                       "dictionary) in the folder ") +
            empty.path() + QStringLiteral("/fr-fr."));
    const auto missing = none.recognize(std::vector<float>(rate, 0.0f), QStringLiteral("en-US"), {});
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().message,
              QStringLiteral("There is no speech model for en-US on this computer. Install "
                             "the Debian package pocketsphinx-en-us."));
    const auto unknown = none.recognize({}, QStringLiteral("xx-YY"), {});
    ASSERT_FALSE(unknown);
    EXPECT_EQ(unknown.error().message, QStringLiteral("Speech recognition does not support xx-YY"));

    // A model of the user's own, laid out as Debian's, counts as installed; half a model does not.
    QTemporaryDir own;
    const QDir debian(QStringLiteral("/usr/share/pocketsphinx/model/en-us"));
    if (!debian.exists()) GTEST_SKIP() << "pocketsphinx-en-us is not installed";
    QDir(own.path()).mkpath(QStringLiteral("de-de/de-de"));
    QFile::link(debian.filePath(QStringLiteral("en-us.lm.bin")),
                own.filePath(QStringLiteral("de-de/de.lm.bin")));
    PocketSphinxRecognizer half({own.path()});
    EXPECT_TRUE(half.onDeviceLanguages().isEmpty());
    QFile::link(debian.filePath(QStringLiteral("en-us/mdef")),
                own.filePath(QStringLiteral("de-de/de-de/mdef")));
    QFile::link(debian.filePath(QStringLiteral("cmudict-en-us.dict")),
                own.filePath(QStringLiteral("de-de/de.dict")));
    EXPECT_EQ(half.onDeviceLanguages(), QStringList{QStringLiteral("de-DE")});
}

TEST(PocketSphinxRecognizerTest, CaptionsSayWhatToInstall) {
    QTemporaryDir empty;
    platform::Services services;
    services.speech = std::make_unique<PocketSphinxRecognizer>(QStringList{empty.path()});
    services.movieSound = std::make_unique<platform::media::FfmpegMovieSound>();
    platform::install(std::move(services));
    EXPECT_TRUE(Captions::onDeviceLanguages().isEmpty());
    const auto missing = Captions::transcribe(empty.filePath(QStringLiteral("movie.mov")));
    ASSERT_FALSE(missing);
    EXPECT_EQ(
        missing.error().message,
        QStringLiteral("There is no on device speech model for en-US on this computer. Pictavia never sends "
                       "audio to a server, so pick another language or add this one. Install the Debian "
                       "package pocketsphinx-en-us."));
    const auto unknown =
        Captions::transcribe(empty.filePath(QStringLiteral("movie.mov")), QStringLiteral("xx-YY"));
    ASSERT_FALSE(unknown);
    EXPECT_EQ(unknown.error().message, QStringLiteral("Speech recognition does not support xx-YY"));
    platform::Services none;
    none.speech = std::make_unique<PocketSphinxRecognizer>();
    platform::install(std::move(none));
}

TEST(SpeechSegmenterTest, SpeechIsSplitAtPausesAndSilenceIsLeftOut) {
    using platform::speech::findSpeech;
    // Bursts of a tone over faint noise: 1 s, a 0.15 s gap, 0.5 s, a 1 s pause, 0.8 s.
    std::vector<float> samples;
    unsigned noise = 1;
    const auto add = [&](double seconds, bool loud) {
        for (int i = 0; i < int(seconds * rate); ++i) {
            noise = noise * 1103515245u + 12345u;
            const float hiss = 0.002f * (float((noise >> 16) & 0x7fff) / 16384.0f - 1.0f);
            samples.push_back(hiss + (loud ? float(0.4 * std::sin(2 * M_PI * 220 * i / rate)) : 0.0f));
        }
    };
    add(1.0, false);
    add(1.0, true);
    add(0.15, false);
    add(0.5, true);
    add(1.0, false);
    add(0.8, true);
    add(1.0, false);
    const auto stretches = findSpeech(samples, rate);
    ASSERT_EQ(stretches.size(), 2u);
    // Each begins and ends a padding's length around its speech.
    EXPECT_NEAR(double(stretches[0].begin) / rate, 1.0 - 0.25, 0.03);
    EXPECT_NEAR(double(stretches[0].end) / rate, 2.65 + 0.25, 0.03);
    EXPECT_NEAR(double(stretches[1].begin) / rate, 3.65 - 0.25, 0.03);
    EXPECT_NEAR(double(stretches[1].end) / rate, 4.45 + 0.25, 0.03);

    EXPECT_TRUE(findSpeech(std::vector<float>(size_t(3 * rate), 0.0f), rate).empty());

    // Talk with no pause longer than the longest utterance is cut, and nothing is lost.
    platform::speech::SegmenterSettings settings;
    settings.longest = 2.0;
    samples.clear();
    add(0.5, false);
    add(5.0, true);
    add(0.5, false);
    const auto cut = findSpeech(samples, rate, settings);
    ASSERT_GE(cut.size(), 3u);
    for (size_t i = 0; i < cut.size(); ++i) {
        EXPECT_LE(double(cut[i].end - cut[i].begin) / rate, 2.0 + 1e-9);
        if (i > 0) {
            EXPECT_EQ(cut[i].begin, cut[i - 1].end);
        }
    }
}
