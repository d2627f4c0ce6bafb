// Sound in recordings, from a private PulseAudio server: system audio and the microphone
// each become a track of the movie that carries what was played, at its time; without a
// sound server the recording goes on silent and says why.

#include "SoundServer.h"
#include "XServer.h"

#include "platform/media/FfmpegMediaReader.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace {

using namespace testsupport;

class RecordingSoundTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(home.isValid());
        server = XServer::start({.width = 640, .height = 480, .windowManager = false});
        QDir().mkpath(home.path() + "/config/pictavia");
    }
    void configure(const char* preferences) {
        QFile file(home.path() + "/config/pictavia/pictavia.conf");
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("copyToClipboard = false\ncaptureSound = false\nrecFPS = 15\n");
        file.write(preferences);
    }
    ProcessOutput record(const Environment& sound, const std::vector<std::string>& args) {
        const std::string dir = home.path().toStdString();
        Environment environment{{"XDG_CONFIG_HOME", dir + "/config"},
                                {"XDG_DATA_HOME", dir + "/data"},
                                {"XDG_RUNTIME_DIR", dir},
                                {"HOME", dir}};
        environment.insert(environment.end(), sound.begin(), sound.end());
        return server->run(PICTAVIA_BIN, args,
                           {.environment = environment, .timeout = std::chrono::seconds(60)});
    }
    int audioTracks(const std::string& movie) {
        auto probe = ChildProcess::start(
            "ffprobe",
            {"-v", "error", "-select_streams", "a", "-show_entries", "stream=index", "-of", "csv=p=0", movie},
            {});
        const std::string out = probe->finish(std::chrono::seconds(30)).out;
        return int(std::count(out.begin(), out.end(), '\n'));
    }

    QTemporaryDir home;
    std::unique_ptr<XServer> server;
    platform::media::FfmpegMediaReader reader;
};

TEST_F(RecordingSoundTest, SystemAudioAndTheMicrophoneAreTracksWithWhatWasPlayed) {
    const auto sound = SoundServer::start();
    if (!sound) GTEST_SKIP() << "pulseaudio is not installed";
    configure("recSystemAudio = true\nrecMic = true\nrecCleanVoice = false\n");
    sound->playTone("speakers", 440, 8);
    sound->playTone("micfeed", 1000, 8);
    const ProcessOutput out = record(sound->environment(), {"record", "fullscreen", "--duration", "3"});
    ASSERT_EQ(out.exitCode, 0) << out.err;
    const std::string movie = QString::fromStdString(out.out).trimmed().toStdString();
    ASSERT_EQ(audioTracks(movie), 2);
    const auto info = reader.info(QString::fromStdString(movie));
    ASSERT_TRUE(info);

    const std::vector<float> system = audioTrack(movie, 0);
    const std::vector<float> microphone = audioTrack(movie, 1);
    // The sound runs as long as the picture: nothing cut at either end.
    EXPECT_NEAR(double(system.size()) / 48'000, info->duration, 0.3);
    EXPECT_NEAR(double(microphone.size()) / 48'000, info->duration, 0.3);
    EXPECT_NEAR(dominantFrequency(system), 440, 5);
    EXPECT_NEAR(dominantFrequency(microphone), 1000, 5);
}

TEST_F(RecordingSoundTest, WithoutASoundServerOrWithNoAudioTheMovieIsSilent) {
    configure("recSystemAudio = true\nrecMic = false\n");
    const ProcessOutput noServer =
        record({{"PULSE_SERVER", "unix:/nonexistent/pulse"}}, {"record", "fullscreen", "--duration", "1"});
    ASSERT_EQ(noServer.exitCode, 0) << noServer.err;
    EXPECT_NE(noServer.err.find("Cannot record system audio"), std::string::npos) << noServer.err;
    EXPECT_EQ(audioTracks(QString::fromStdString(noServer.out).trimmed().toStdString()), 0);

    const auto sound = SoundServer::start();
    if (!sound) GTEST_SKIP() << "pulseaudio is not installed";
    const ProcessOutput noAudio =
        record(sound->environment(), {"record", "fullscreen", "--duration", "1", "--no-audio"});
    ASSERT_EQ(noAudio.exitCode, 0) << noAudio.err;
    EXPECT_EQ(audioTracks(QString::fromStdString(noAudio.out).trimmed().toStdString()), 0);
}

TEST_F(RecordingSoundTest, WithTheVoiceCleanedTheSoundIsOneTrackWithQuietSpeechBroughtUp) {
    const auto sound = SoundServer::start();
    if (!sound) GTEST_SKIP() << "pulseaudio is not installed";
    if (QStandardPaths::findExecutable(QStringLiteral("flite")).isEmpty())
        GTEST_SKIP() << "flite makes the speech";
    // A quiet voice (peaks at -30 dBFS) into the microphone, nothing on the speakers.
    const std::string said = home.filePath(QStringLiteral("said.wav")).toStdString();
    const std::string speech = home.filePath(QStringLiteral("speech.wav")).toStdString();
    ChildProcess::start("flite",
                        {"-voice", "slt", "-t", "open the settings window and save the file", "-o", said}, {})
        ->finish(std::chrono::seconds(30));
    ChildProcess::start("sox",
                        {said, "-r", "48000", "-c", "1", speech, "pad", "0.5", "0", "gain", "-n", "-30"}, {})
        ->finish(std::chrono::seconds(30));
    configure("recSystemAudio = true\nrecMic = true\nrecMonoAudio = true\nrecCleanVoice = true\n");
    sound->playFile("micfeed", speech);
    const ProcessOutput out = record(sound->environment(), {"record", "fullscreen", "--duration", "4"});
    ASSERT_EQ(out.exitCode, 0) << out.err;
    EXPECT_EQ(out.err.find("voice levelling skipped"), std::string::npos) << out.err;
    const std::string movie = QString::fromStdString(out.out).trimmed().toStdString();
    ASSERT_EQ(audioTracks(movie), 1); // system audio and the microphone mixed
    const std::vector<float> mixed = audioTrack(movie, 0);
    std::vector<float> levels;
    float peak = 0;
    for (size_t at = 0; at + 2400 <= mixed.size(); at += 2400) {
        double sum = 0;
        for (size_t i = at; i < at + 2400; ++i) {
            sum += double(mixed[i]) * mixed[i];
            peak = std::max(peak, std::fabs(mixed[i]));
        }
        if (std::sqrt(sum / 2400) > 0.0018) levels.push_back(float(std::sqrt(sum / 2400)));
    }
    ASSERT_GT(levels.size(), 10u) << "the speech was not recorded";
    std::sort(levels.begin(), levels.end());
    // At the target loudness; the sound server's resampling and AAC coded twice move it a little.
    EXPECT_NEAR(levels[size_t(double(levels.size() - 1) * 0.9)], 0.125, 0.03);
    EXPECT_LE(peak, 0.99f);
}

} // namespace
