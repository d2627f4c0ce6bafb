// Captions of a real recording: sentences spoken by festival's HTS voice are played into the
// microphone of a private PulseAudio server while `pictavia record` records the screen of a
// private X server; the movie is captioned and its SubRip file written, and the words come
// back in order, each sentence's at the time it sounds in the movie.

#include "SoundServer.h"
#include "XServer.h"

#include "platform/Platform.h"
#include "platform/media/FfmpegMovieSound.h"
#include "platform/speech/PocketSphinxRecognizer.h"
#include "video/Captions.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>
#include <gtest/gtest.h>

#include <cmath>

namespace {

using namespace testsupport;

constexpr int rate = 48'000;

struct Sentence {
    QString text;
    QStringList keys; // words it must mostly come back with, in order
};

const std::vector<Sentence> sentences = {
    {QStringLiteral("Click the save button in the top right corner."),
     {QStringLiteral("click"), QStringLiteral("save"), QStringLiteral("button"), QStringLiteral("corner")}},
    {QStringLiteral("Let me show you how to share your screen with the team."),
     {QStringLiteral("show"), QStringLiteral("share"), QStringLiteral("screen"), QStringLiteral("team")}},
    {QStringLiteral("We can change the font size in the preferences."),
     {QStringLiteral("change"), QStringLiteral("font"), QStringLiteral("size"),
      QStringLiteral("preferences")}},
};

// `text` spoken by festival's HTS voice, mono at 48 kHz; empty when festival cannot.
std::vector<float> speak(const QString& text, const QTemporaryDir& dir) {
    const std::string script = dir.filePath(QStringLiteral("line.txt")).toStdString();
    const std::string wav = dir.filePath(QStringLiteral("line.wav")).toStdString();
    QFile file(QString::fromStdString(script));
    if (!file.open(QIODevice::WriteOnly)) return {};
    file.write(text.toUtf8());
    file.close();
    const ProcessOutput out =
        ChildProcess::start("text2wave", {"-eval", "(voice_cmu_us_slt_arctic_hts)", script, "-o", wav},
                            {.err = ChildProcess::Stream::Discard})
            ->finish(std::chrono::seconds(60));
    if (out.exitCode != 0) return {};
    std::vector<float> samples;
    platform::media::FfmpegMovieSound sound;
    const auto read =
        sound.readSound(QString::fromStdString(wav), -1, rate, 1, [&](const float* chunk, qsizetype n) {
            samples.insert(samples.end(), chunk, chunk + n);
            return true;
        });
    return read ? samples : std::vector<float>{};
}

// Writes mono float samples at 48 kHz as a 16-bit WAV file.
bool writeWav(const QString& path, const std::vector<float>& samples) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly)) return false;
    const auto u32 = [&](quint32 v) { file.write(reinterpret_cast<const char*>(&v), 4); };
    const auto u16 = [&](quint16 v) { file.write(reinterpret_cast<const char*>(&v), 2); };
    const quint32 bytes = quint32(samples.size() * 2);
    file.write("RIFF");
    u32(36 + bytes);
    file.write("WAVEfmt ");
    u32(16);
    u16(1);
    u16(1);
    u32(rate);
    u32(rate * 2);
    u16(2);
    u16(16);
    file.write("data");
    u32(bytes);
    for (const float s : samples)
        u16(quint16(qint16(std::lround(std::clamp(s, -1.0f, 1.0f) * 32767.0f))));
    return true;
}

// Where sound is in `samples` (48 kHz): runs of 10 ms frames within 30 dB of the loudest,
// joined across gaps shorter than a second, as [start, end) seconds.
std::vector<std::pair<double, double>> soundingRuns(const std::vector<float>& samples) {
    const size_t frame = rate / 100;
    std::vector<double> energy;
    for (size_t at = 0; at + frame <= samples.size(); at += frame) {
        double sum = 0;
        for (size_t i = at; i < at + frame; ++i)
            sum += double(samples[i]) * samples[i];
        energy.push_back(sum / double(frame));
    }
    const double loudest = energy.empty() ? 0 : *std::max_element(energy.begin(), energy.end());
    std::vector<std::pair<double, double>> runs;
    for (size_t f = 0; f < energy.size(); ++f) {
        if (loudest <= 0 || energy[f] < loudest * 1e-3) continue;
        const double start = double(f) / 100, end = double(f + 1) / 100;
        if (!runs.empty() && start - runs.back().second < 1.0)
            runs.back().second = end;
        else
            runs.push_back({start, end});
    }
    return runs;
}

TEST(SpokenCaptionsTest, ARecordingsSpeechComesBackAsTimedCaptions) {
    if (QStandardPaths::findExecutable(QStringLiteral("text2wave")).isEmpty())
        GTEST_SKIP() << "festival is not installed";
    if (platform::speech::PocketSphinxRecognizer().onDeviceLanguages().isEmpty())
        GTEST_SKIP() << "pocketsphinx-en-us is not installed";
    const auto sound = SoundServer::start();
    if (!sound) GTEST_SKIP() << "pulseaudio is not installed";
    QTemporaryDir home;
    ASSERT_TRUE(home.isValid());

    // The speech: a second of quiet, then each sentence followed by two seconds of quiet.
    std::vector<float> speech(size_t(rate), 0.0f);
    for (const Sentence& sentence : sentences) {
        const std::vector<float> spoken = speak(sentence.text, home);
        ASSERT_FALSE(spoken.empty()) << "festival did not speak";
        speech.insert(speech.end(), spoken.begin(), spoken.end());
        speech.insert(speech.end(), size_t(2 * rate), 0.0f);
    }
    const QString wav = home.filePath(QStringLiteral("speech.wav"));
    ASSERT_TRUE(writeWav(wav, speech));
    const int seconds = int(std::ceil(double(speech.size()) / rate)) + 4;

    // Recorded while it plays into the microphone (system audio on too, silent), with the
    // preferences' defaults: the two tracks are levelled and the voice cleaned into one.
    const std::string dir = home.path().toStdString();
    QDir().mkpath(home.path() + QStringLiteral("/config/pictavia"));
    QFile preferences(home.path() + QStringLiteral("/config/pictavia/pictavia.conf"));
    ASSERT_TRUE(preferences.open(QIODevice::WriteOnly));
    preferences.write("copyToClipboard = false\ncaptureSound = false\nrecFPS = 10\nrecSystemAudio = true\n"
                      "recMic = true\n");
    preferences.close();
    const auto server = XServer::start({.width = 320, .height = 240, .windowManager = false});
    Environment environment{{"XDG_CONFIG_HOME", dir + "/config"},
                            {"XDG_DATA_HOME", dir + "/data"},
                            {"XDG_RUNTIME_DIR", dir},
                            {"HOME", dir}};
    const Environment pulse = sound->environment();
    environment.insert(environment.end(), pulse.begin(), pulse.end());
    ChildProcess& recorder =
        server->startProcess(PICTAVIA_BIN, {"record", "fullscreen", "--duration", std::to_string(seconds)},
                             {.environment = environment});
    QThread::sleep(2); // the recording is under way by then; when exactly is measured below
    sound->playFile("micfeed", wav.toStdString());
    const ProcessOutput recorded = recorder.finish(std::chrono::seconds(seconds + 60));
    ASSERT_EQ(recorded.exitCode, 0) << recorded.err;
    const QString movie = QString::fromStdString(recorded.out).trimmed();
    ASSERT_TRUE(QFile::exists(movie)) << recorded.out;

    // When each sentence sounds in the movie, from its sound as ffmpeg decodes it.
    const auto runs = soundingRuns(audioTrack(movie.toStdString(), 0));
    ASSERT_EQ(runs.size(), sentences.size()) << "the microphone track does not hold the three sentences";

    platform::Services services;
    services.movieSound = std::make_unique<platform::media::FfmpegMovieSound>();
    services.speech = std::make_unique<platform::speech::PocketSphinxRecognizer>();
    platform::install(std::move(services));
    const auto captions = Captions::transcribe(movie);
    ASSERT_TRUE(captions) << captions.error().message.toStdString();
    const QString srtPath = home.filePath(QStringLiteral("captions.srt"));
    QFile srtFile(srtPath);
    ASSERT_TRUE(srtFile.open(QIODevice::WriteOnly));
    srtFile.write(Captions::srt(captions->lines, 0, seconds).toUtf8());
    srtFile.close();

    // The words, read back from the SubRip file with the time of the cue they are in.
    ASSERT_TRUE(srtFile.open(QIODevice::ReadOnly));
    const QString srt = QString::fromUtf8(srtFile.readAll());
    struct Cue {
        double start, end;
        QStringList words;
    };
    std::vector<Cue> cues;
    const QRegularExpression cuePattern(
        QStringLiteral(R"((\d\d):(\d\d):(\d\d),(\d\d\d) --> (\d\d):(\d\d):(\d\d),(\d\d\d)\n([^\n]+)\n)"));
    for (auto match = cuePattern.globalMatch(srt); match.hasNext();) {
        const auto m = match.next();
        const auto at = [&](int first) {
            return m.captured(first).toInt() * 3600 + m.captured(first + 1).toInt() * 60 +
                   m.captured(first + 2).toInt() + m.captured(first + 3).toInt() / 1000.0;
        };
        cues.push_back({at(1), at(5), m.captured(9).split(QLatin1Char(' '), Qt::SkipEmptyParts)});
    }
    ASSERT_FALSE(cues.empty()) << srt.toStdString();

    // Most key words come back, in order, and each sentence's words are timed within half a
    // second of when the sentence sounds in the movie.
    size_t cue = 0, word = 0;
    int found = 0, wanted = 0;
    for (size_t s = 0; s < sentences.size(); ++s) {
        for (const QString& key : sentences[s].keys) {
            ++wanted;
            size_t c = cue, w = word;
            bool hit = false;
            while (c < cues.size() && !hit) {
                for (; w < size_t(cues[c].words.size()); ++w)
                    if (cues[c].words[qsizetype(w)] == key) {
                        hit = true;
                        break;
                    }
                if (!hit) {
                    ++c;
                    w = 0;
                }
            }
            if (!hit) continue;
            ++found;
            cue = c;
            word = w + 1;
            EXPECT_GE(cues[c].start, runs[s].first - 0.5) << key.toStdString() << "\n" << srt.toStdString();
            EXPECT_LE(cues[c].start, runs[s].second + 0.5) << key.toStdString() << "\n" << srt.toStdString();
        }
    }
    EXPECT_GE(found, wanted - 3) << srt.toStdString();

    // Each sentence opens a caption line at its start: the pauses between them are long.
    for (size_t s = 0; s < sentences.size(); ++s) {
        const bool opened = std::any_of(
            cues.begin(), cues.end(), [&](const Cue& c) { return std::abs(c.start - runs[s].first) <= 0.5; });
        EXPECT_TRUE(opened) << "no line starts at " << runs[s].first << " s\n" << srt.toStdString();
    }
}

} // namespace
