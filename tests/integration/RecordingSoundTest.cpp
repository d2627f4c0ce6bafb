// Sound in recordings, from a private PulseAudio server: system audio and the microphone
// each become a track of the movie that carries what was played, at its time; without a
// sound server the recording goes on silent and says why.

#include "SoundServer.h"
#include "XServer.h"

#include "platform/media/FfmpegMediaReader.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

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
    configure("recSystemAudio = true\nrecMic = true\n");
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

} // namespace
