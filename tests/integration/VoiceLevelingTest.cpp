// Levelling and cleaning real movies made at test time (flite's voice, sox, ffmpeg), measured
// with ffmpeg's own decoder: quiet speech comes out at the target loudness without clipping,
// the pictures are the same packets, and what fails leaves the movie as it was.

#include "ChildProcess.h"
#include "SoundServer.h"

#include "platform/Platform.h"
#include "platform/media/DenoisingVoiceIsolator.h"
#include "platform/media/FfmpegMovieSound.h"
#include "video/VoiceLeveler.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

using namespace testsupport;

bool run(const std::string& program, const std::vector<std::string>& args) {
    auto child = ChildProcess::start(program, args, {});
    const ProcessOutput out = child->finish(std::chrono::seconds(60));
    EXPECT_EQ(out.exitCode, 0) << program << ": " << out.err;
    return out.exitCode == 0;
}

// The first channel of the first sound track, mono at 48 kHz: ffmpeg's own mix-down of two
// channels would add them at 3 dB less each, making both measures √2 larger.
std::vector<float> firstChannel(const std::string& movie) {
    auto ffmpeg = ChildProcess::start("ffmpeg",
                                      {"-v", "error", "-i", movie, "-map", "0:a:0", "-af", "pan=mono|c0=c0",
                                       "-ar", "48000", "-f", "f32le", "-"},
                                      {});
    const ProcessOutput out = ffmpeg->finish(std::chrono::seconds(60));
    std::vector<float> samples(out.out.size() / sizeof(float));
    if (!samples.empty()) std::memcpy(samples.data(), out.out.data(), samples.size() * sizeof(float));
    return samples;
}

// The 90th percentile of the speech blocks' RMS and the peak, as the leveller measures them.
struct Loudness {
    float speech = 0;
    float peak = 0;
};

Loudness loudness(const std::vector<float>& samples) {
    VoiceLeveler::BlockLevels blocks;
    blocks.add(samples.data(), qsizetype(samples.size()));
    std::vector<float> speech;
    for (const float level : blocks.levels())
        if (level > VoiceLeveler::speechThreshold) speech.push_back(level);
    std::sort(speech.begin(), speech.end());
    Loudness result;
    if (!speech.empty()) result.speech = speech[size_t(std::floor(double(speech.size() - 1) * 0.9))];
    for (const float sample : samples)
        result.peak = std::max(result.peak, std::fabs(sample));
    return result;
}

// The magnitude of one frequency in `samples` (48 kHz), over the middle two seconds.
double toneStrength(const std::vector<float>& samples, double hertz) {
    double re = 0;
    double im = 0;
    const size_t from = samples.size() / 2 - 48'000;
    for (size_t i = from; i < from + 96'000 && i < samples.size(); ++i) {
        re += samples[i] * std::cos(2 * M_PI * hertz * double(i) / 48'000);
        im += samples[i] * std::sin(2 * M_PI * hertz * double(i) / 48'000);
    }
    return std::hypot(re, im) / 96'000;
}

QByteArray fileHash(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return {};
    QCryptographicHash hash(QCryptographicHash::Sha256);
    hash.addData(&file);
    return hash.result();
}

class VoiceLevelingTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (QStandardPaths::findExecutable(QStringLiteral("flite")).isEmpty() ||
            QStandardPaths::findExecutable(QStringLiteral("sox")).isEmpty())
            GTEST_SKIP() << "flite and sox make the speech";
        ASSERT_TRUE(dir.isValid());
        qputenv("TMPDIR", dir.path().toUtf8());
        platform::Services services;
        services.movieSound = std::make_unique<platform::media::FfmpegMovieSound>();
        services.voiceIsolator = std::make_unique<platform::media::DenoisingVoiceIsolator>();
        platform::install(std::move(services));
    }
    void TearDown() override {
        platform::services().movieSound.reset();
        platform::services().voiceIsolator.reset();
        qunsetenv("TMPDIR");
    }
    std::string path(const char* name) const { return dir.filePath(QString::fromLatin1(name)).toStdString(); }

    // A screen-like movie whose sound is a quiet sentence (peaks at -30 dBFS) followed by a
    // short tone 14 dB louder, which the gain for the speech would push past full scale.
    std::string quietSpeechMovie() {
        const std::string speech = path("speech.wav");
        const std::string tone = path("tone.wav");
        const std::string sound = path("sound.wav");
        const std::string movie = path("quiet.mov");
        run("flite",
            {"-voice", "slt", "-t", "please open the settings window and save the file before you go home",
             "-o", path("said.wav")});
        run("sox",
            {path("said.wav"), "-r", "48000", "-c", "1", speech, "pad", "0.5", "0.5", "gain", "-n", "-30"});
        run("sox", {"-n", "-r", "48000", "-c", "1", tone, "synth", "0.15", "sine", "440", "vol", "0.16"});
        run("sox", {speech, tone, sound, "pad", "0", "0.5"});
        run("ffmpeg",
            {"-v", "error", "-y", "-f", "lavfi", "-i", "testsrc=size=320x240:rate=15", "-i", sound,
             "-shortest", "-c:v", "libx264", "-preset", "ultrafast", "-c:a", "aac", "-b:a", "192k", movie});
        return movie;
    }

    // Every video packet's checksum, in order, with its times.
    std::string pictures(const std::string& movie) {
        auto ffmpeg = ChildProcess::start(
            "ffmpeg", {"-v", "error", "-i", movie, "-map", "0:v", "-c", "copy", "-f", "framemd5", "-"}, {});
        const ProcessOutput out = ffmpeg->finish(std::chrono::seconds(60));
        std::string packets;
        for (size_t at = 0; at < out.out.size();) {
            const size_t end = std::min(out.out.find('\n', at), out.out.size());
            if (out.out[at] != '#') packets += out.out.substr(at, end - at) + '\n';
            at = end + 1;
        }
        return packets;
    }

    QTemporaryDir dir;
};

TEST_F(VoiceLevelingTest, QuietSpeechComesOutAtTheTargetLoudnessWithoutClippingAndTheSamePictures) {
    const std::string movie = quietSpeechMovie();
    const Loudness before = loudness(firstChannel(movie));
    const auto gain = VoiceLeveler::speechGain(QString::fromStdString(movie));
    ASSERT_TRUE(gain) << gain.error().message.toStdString();
    ASSERT_GT(*gain, 4.0f);
    ASSERT_GT(before.peak * *gain, 1.0f); // the tone would clip without the limiter
    const std::string packets = pictures(movie);
    ASSERT_FALSE(packets.empty());

    for (const bool clean : {false, true}) {
        SCOPED_TRACE(clean ? "cleaned" : "levelled");
        const std::string copy = path(clean ? "cleaned.mov" : "levelled.mov");
        ASSERT_TRUE(QFile::copy(QString::fromStdString(movie), QString::fromStdString(copy)));
        const auto levelled = VoiceLeveler::process(QString::fromStdString(copy), false, clean);
        ASSERT_TRUE(levelled) << levelled.error().message.toStdString();
        EXPECT_EQ(levelled->has_value(), clean);
        const Loudness after = loudness(firstChannel(copy));
        // Once louder, blocks of breath and fading syllables cross the threshold and join the
        // count, which pulls the percentile down a little; AAC coding moves it a little more.
        // The cleaning takes the quiet blocks away again.
        EXPECT_NEAR(after.speech, VoiceLeveler::targetLevel, 0.15 * VoiceLeveler::targetLevel);
        // The limiter writes nothing above 0.99; AAC's ringing at the tone's edges lifts the
        // decoded peak a little past that (up to 1.0006 in 16 runs of the cleaned voice, whose
        // input sox dithers anew each time), but nowhere near the unlimited gain's 1.2.
        EXPECT_LT(after.peak, 1.02f);
        EXPECT_GT(after.peak, 0.8f); // the tone limited, not cut down
        EXPECT_EQ(pictures(copy), packets);
        if (clean) {
            EXPECT_TRUE(QFileInfo(**levelled).fileName().startsWith(QStringLiteral("pictavia-clean-")));
            EXPECT_TRUE(QFile::remove(**levelled));
        }
    }
    // Nothing left behind in the temporary folder.
    EXPECT_EQ(QDir(dir.path()).entryList({QStringLiteral("pictavia-*")}, QDir::Files), QStringList{});
}

TEST_F(VoiceLevelingTest, TwoTracksBecomeOneWithBothSoundsInStep) {
    const std::string movie = path("two.mov");
    run("ffmpeg", {"-v",
                   "error",
                   "-y",
                   "-f",
                   "lavfi",
                   "-i",
                   "testsrc=size=320x240:rate=15:duration=3",
                   "-f",
                   "lavfi",
                   "-i",
                   "sine=frequency=440:duration=3",
                   "-f",
                   "lavfi",
                   "-i",
                   "sine=frequency=1000:duration=3",
                   "-map",
                   "0",
                   "-map",
                   "1",
                   "-map",
                   "2",
                   "-c:v",
                   "libx264",
                   "-preset",
                   "ultrafast",
                   "-c:a",
                   "aac",
                   "-ac",
                   "1",
                   movie});
    const auto levelled = VoiceLeveler::process(QString::fromStdString(movie), true, false);
    ASSERT_TRUE(levelled) << levelled.error().message.toStdString();
    auto probe = ChildProcess::start("ffprobe",
                                     {"-v", "error", "-select_streams", "a", "-show_entries",
                                      "stream=codec_name,channels,sample_rate", "-of", "csv=p=0", movie},
                                     {});
    EXPECT_EQ(probe->finish(std::chrono::seconds(30)).out, "aac,48000,1\n");
    const std::vector<float> mixed = audioTrack(movie, 0);
    EXPECT_NEAR(double(mixed.size()) / 48'000, 3.0, 0.1);
    // Both tones are there at their own level (ffmpeg's sine is 1/8 of full scale, half of
    // that in one bin of the transform), at the same weight.
    EXPECT_NEAR(toneStrength(mixed, 440), 0.0625, 0.01);
    EXPECT_NEAR(toneStrength(mixed, 1000), 0.0625, 0.01);
}

TEST_F(VoiceLevelingTest, FailuresLeaveTheMovieAsItWasAndNothingBehind) {
    const std::string movie = quietSpeechMovie();
    const QString source = QString::fromStdString(movie);
    const QByteArray original = fileHash(source);

    // A rewrite cancelled half way.
    platform::media::FfmpegMovieSound sound;
    const QString destination = dir.filePath(QStringLiteral("out.mov"));
    const auto cancelled = sound.replaceSound(
        source, source, destination, 2, [](float*, qsizetype) {}, [](double done) { return done < 0.5; });
    ASSERT_FALSE(cancelled);
    EXPECT_EQ(cancelled.error().code, platform::MovieSound::Cancelled);
    EXPECT_FALSE(QFile::exists(destination));

    // Sound from a file that has none.
    const auto soundless =
        sound.replaceSound(source, QString::fromStdString(path("missing.wav")), destination, 2, {}, {});
    EXPECT_FALSE(soundless);
    EXPECT_FALSE(QFile::exists(destination));

    // A damaged movie.
    const QString damaged = dir.filePath(QStringLiteral("damaged.mov"));
    {
        QFile file(damaged);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(4096, 'x'));
    }
    const QByteArray damagedHash = fileHash(damaged);
    const auto failed = VoiceLeveler::process(damaged, false, true);
    ASSERT_FALSE(failed);
    EXPECT_FALSE(failed.error().message.isEmpty());
    EXPECT_EQ(fileHash(damaged), damagedHash);

    EXPECT_EQ(fileHash(source), original);
    EXPECT_EQ(
        QDir(dir.path())
            .entryList({QStringLiteral("pictavia-*"), QStringLiteral(".*.part")}, QDir::Files | QDir::Hidden),
        QStringList{});
}

} // namespace
