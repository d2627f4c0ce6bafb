// A recording cut off by SIGKILL, as a crash or the OOM killer would end it, is not lost:
// the next start of the app delivers the movie as far as it was written, or assembles the
// GIF from the frames taken, into the history.

#include "AppSession.h"
#include "WaitUntil.h"

#include "platform/media/FfmpegMediaReader.h"

#include <QDir>
#include <gtest/gtest.h>

#include <csignal>
#include <thread>

namespace {

using namespace testsupport;

class RecordingRecoveryTest : public ::testing::Test {
protected:
    void SetUp() override {
        server = XServer::start({.width = 800, .height = 600, .windowManager = true});
        app = std::make_unique<AppSession>(
            *server, "showQuickAccess = false\ncopyToClipboard = false\ncaptureSound = false\n"
                     "recFPS = 15\ngifFPS = 10\nrecSystemAudio = false\nrecMic = false\n");
        app->kill();
    }

    // `pictavia record ARGS` killed after `seconds`; then the app starts again.
    void recordAndKill(const std::vector<std::string>& args, double seconds) {
        ChildProcess& recording = app->start(PICTAVIA_BIN, args);
        std::this_thread::sleep_for(std::chrono::milliseconds(int(seconds * 1000)));
        ASSERT_TRUE(recording.isRunning()) << app->log();
        ASSERT_EQ(::kill(recording.pid(), SIGKILL), 0);
        recording.stop();
        ASSERT_TRUE(app->captures().isEmpty());
        app->restart();
    }

    QString inProgress() const { return app->home().path() + "/data/Pictavia/InProgress"; }

    std::unique_ptr<XServer> server;
    std::unique_ptr<AppSession> app;
    platform::media::FfmpegMediaReader reader;
};

TEST_F(RecordingRecoveryTest, AKilledMovieRecordingIsPlayableInTheHistoryAfterTheNextStart) {
    // Past the first fragment (5 seconds, ended by the next key frame, then through the
    // encoder), which is what a crash can leave at the least.
    recordAndKill({"record", "fullscreen"}, 9);
    ASSERT_TRUE(app->waitForCaptures(1, std::chrono::seconds(30))) << app->log();
    const QString movie = app->home().path() + "/data/Pictavia/History/" + app->captures().first();
    EXPECT_TRUE(movie.endsWith(".mov"));
    const auto info = reader.info(movie);
    ASSERT_TRUE(info) << info.error().message.toStdString();
    EXPECT_GE(info->duration, 4.0);
    EXPECT_EQ(info->size, QSize(800, 600));
    EXPECT_TRUE(reader.frameAt(movie, info->duration / 2));
    EXPECT_TRUE(waitUntil([&] { return QDir(inProgress()).isEmpty(); }));
}

TEST_F(RecordingRecoveryTest, AKilledGIFRecordingIsAssembledAtTheNextStart) {
    recordAndKill({"record", "fullscreen", "--gif"}, 3);
    ASSERT_TRUE(app->waitForCaptures(1, std::chrono::seconds(60))) << app->log();
    const QString gif = app->home().path() + "/data/Pictavia/History/" + app->captures().first();
    EXPECT_TRUE(gif.endsWith(".gif"));
    const auto info = reader.info(gif);
    ASSERT_TRUE(info) << info.error().message.toStdString();
    EXPECT_GE(info->duration, 1.0);
    EXPECT_TRUE(waitUntil([&] { return QDir(inProgress()).isEmpty(); }));
}

} // namespace
