// The preview player on real movies made by the ffmpeg tool: seeking shows the picture at
// that time, playing moves on in time and stops at the end of its range, and the sound goes
// to the default output of a private PulseAudio server (or, with none, the pictures play alone).

#include "ChildProcess.h"
#include "SoundServer.h"
#include "WaitUntil.h"

#include "platform/media/FfmpegMoviePlayer.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <cmath>
#include <mutex>
#include <optional>

namespace {

using namespace testsupport;

// Four seconds at 10 frames a second, each frame a grey whose level counts the frames
// (luma 16 + 5·n), key frames every 1.5 s; a 440 Hz tone with it.
constexpr int framesPerSecond = 10;
constexpr int frameCount = 40;

int frameNumberOf(const QImage& picture) {
    const int grey = qGreen(picture.pixel(picture.width() / 2, picture.height() / 2));
    return int(std::lround(grey * 219.0 / 255.0 / 5.0));
}

// What the player handed over, collected across its thread.
struct Seen {
    std::mutex mutex;
    QList<std::pair<int, double>> frames; // frame number, time
    std::optional<QString> ended;

    std::optional<std::pair<int, double>> last() {
        const std::lock_guard lock(mutex);
        if (frames.isEmpty()) return std::nullopt;
        return frames.last();
    }
};

class MoviePlayerTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        folder = std::make_unique<QTemporaryDir>();
        movie = folder->path() + "/counting.mov";
        const std::string filter = "color=c=black:s=64x48:r=" + std::to_string(framesPerSecond) +
                                   ":d=4,format=yuv420p,geq=lum='16+N*5':cb=128:cr=128";
        auto ffmpeg = ChildProcess::start("ffmpeg",
                                          {"-nostdin",
                                           "-v",
                                           "error",
                                           "-y",
                                           "-f",
                                           "lavfi",
                                           "-i",
                                           filter,
                                           "-f",
                                           "lavfi",
                                           "-i",
                                           "sine=frequency=440:duration=4",
                                           "-c:v",
                                           "libx264",
                                           "-qp",
                                           "4",
                                           "-pix_fmt",
                                           "yuv420p",
                                           "-g",
                                           "15",
                                           "-sc_threshold",
                                           "0",
                                           "-c:a",
                                           "aac",
                                           "-shortest",
                                           movie.toStdString()},
                                          {.err = ChildProcess::Stream::Pipe});
        const ProcessOutput made = ffmpeg->finish(std::chrono::seconds(60));
        if (made.exitCode != 0) problem = made.err;
    }
    static void TearDownTestSuite() { folder.reset(); }

    void SetUp() override {
        ASSERT_TRUE(problem.empty()) << problem;
        // No sound unless a test starts a server of its own.
        qputenv("PULSE_SERVER", "unix:/nonexistent/pictavia-test");
    }
    void TearDown() override { qunsetenv("PULSE_SERVER"); }

    std::unique_ptr<platform::MoviePlayer> open() {
        auto opened = players.open(movie);
        EXPECT_TRUE(opened) << opened.error().message.toStdString();
        if (!opened) return nullptr;
        auto player = std::move(opened).value();
        player->setFrameHandler([this](const QImage& picture, double time) {
            const std::lock_guard lock(seen.mutex);
            seen.frames.append({frameNumberOf(picture), time});
        });
        player->setEndHandler([this](const QString& error) {
            const std::lock_guard lock(seen.mutex);
            seen.ended = error;
        });
        return player;
    }

    bool waitForFrame(int number) {
        return waitUntil([&] {
            const auto last = seen.last();
            return last && last->first == number;
        });
    }
    bool waitForEnd() {
        return waitUntil(
            [&] {
                const std::lock_guard lock(seen.mutex);
                return seen.ended.has_value();
            },
            std::chrono::seconds(30));
    }

    static inline std::unique_ptr<QTemporaryDir> folder;
    static inline QString movie;
    static inline std::string problem;
    platform::media::FfmpegMoviePlayers players;
    Seen seen;
};

TEST_F(MoviePlayerTest, OpensPausedOnTheFirstPictureAndSeeksToThePictureAtATime) {
    auto player = open();
    ASSERT_TRUE(player);
    ASSERT_TRUE(waitForFrame(0)) << "the first picture was not shown";
    EXPECT_FALSE(player->isPlaying());

    // Between key frames, after one, and back before the first of them.
    for (const auto& [time, number] : {std::pair{2.34, 23}, std::pair{1.5, 15}, std::pair{3.95, 39},
                                       std::pair{0.72, 7}, std::pair{0.0, 0}}) {
        player->seek(time);
        ASSERT_TRUE(waitForFrame(number)) << "seeking to " << time << " showed frame " << seen.last()->first;
        EXPECT_NEAR(player->position(), number / double(framesPerSecond), 1e-3);
    }
    EXPECT_FALSE(player->isPlaying());
}

TEST_F(MoviePlayerTest, PlaysOnInTimeAndStopsAtTheEndOfItsRange) {
    auto player = open();
    ASSERT_TRUE(player);
    ASSERT_TRUE(waitForFrame(0));
    player->setRange(1.0, 2.0);
    player->seek(1.0);
    ASSERT_TRUE(waitForFrame(10));
    player->play();
    EXPECT_TRUE(player->isPlaying());
    ASSERT_TRUE(waitForEnd()) << "the end of the range was not reported";
    EXPECT_EQ(*seen.ended, QString());
    EXPECT_FALSE(player->isPlaying());

    {
        const std::lock_guard lock(seen.mutex);
        int previous = -1;
        for (const auto& [number, time] : seen.frames.mid(seen.frames.indexOf(std::pair{10, 1.0}))) {
            EXPECT_GT(number, previous) << "pictures went back in time";
            EXPECT_LT(time, 2.0) << "a picture after the range was shown";
            EXPECT_EQ(number, int(std::lround(time * framesPerSecond)))
                << "a picture came with another's time";
            previous = number;
        }
        EXPECT_GE(previous, 18) << "playing stopped before the end of the range";
        // Played to its end, it starts over from the range's start.
        seen.ended.reset();
        seen.frames.clear();
    }
    player->play();
    ASSERT_TRUE(waitUntil([&] {
        const std::lock_guard again(seen.mutex);
        return seen.ended.has_value() || (!seen.frames.isEmpty() && seen.frames.first().first == 10);
    }));
}

TEST_F(MoviePlayerTest, PlaysItsSoundToTheDefaultOutputAtItsVolume) {
    const auto sound = SoundServer::start();
    if (!sound) GTEST_SKIP() << "pulseaudio is not installed";
    const Environment reach = sound->environment();
    qputenv("PULSE_SERVER", QByteArray::fromStdString(reach.front().second));

    QTemporaryDir heard;
    const std::string loud = heard.path().toStdString() + "/loud.wav";
    const std::string muted = heard.path().toStdString() + "/muted.wav";
    const auto listen = [&](const std::string& file, bool mute) {
        auto player = open();
        if (!player) return;
        player->setMuted(mute);
        auto recorder = ChildProcess::start("parecord",
                                            {"--device=speakers.monitor", "--format=float32le",
                                             "--rate=48000", "--channels=1", "--file-format=wav", file},
                                            {.environment = reach, .out = ChildProcess::Stream::Discard});
        seen.ended.reset();
        player->setRange(0.5, 2.5);
        player->play();
        EXPECT_TRUE(waitForEnd());
        recorder.reset(); // SIGTERM: parecord finishes its file
    };
    listen(loud, false);
    ASSERT_TRUE(waitForFrame(24) || seen.last()->first >= 20) << "pictures did not play along with the sound";
    listen(muted, true);

    const std::vector<float> loudSamples = audioTrack(loud, 0);
    ASSERT_GT(loudSamples.size(), 48'000u / 2) << "nothing was heard";
    EXPECT_NEAR(dominantFrequency(loudSamples), 440, 10);
    double peak = 0;
    for (float sample : audioTrack(muted, 0))
        peak = std::max(peak, double(std::abs(sample)));
    EXPECT_LT(peak, 0.01) << "a muted movie was heard";
}

TEST_F(MoviePlayerTest, WithoutASoundServerThePicturesPlayAlone) {
    auto player = open();
    ASSERT_TRUE(player);
    player->setRange(3.0, 10.0);
    player->play();
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(*seen.ended, QString());
    EXPECT_EQ(seen.last()->first, frameCount - 1) << "the movie did not play to its last picture";
}

TEST_F(MoviePlayerTest, AFileThatIsNoMovieIsASentence) {
    QTemporaryDir dir;
    const QString text = dir.path() + "/notes.mov";
    QFile file(text);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("not a movie at all");
    file.close();
    const auto opened = players.open(text);
    ASSERT_FALSE(opened);
    EXPECT_EQ(opened.error().message, QStringLiteral("“notes.mov” is not a video Pictavia can read."));
}

} // namespace
