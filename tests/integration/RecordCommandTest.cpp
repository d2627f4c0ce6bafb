// `pictavia record` against a real X server: a movie of the right size and length with the
// picture in it, a recording stopped by SIGTERM kept, and clear failures.

#include "MovieFrames.h"
#include "PatternMatching.h"
#include "TestWindow.h"
#include "XServer.h"

#include "platform/media/FfmpegMediaReader.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <csignal>
#include <optional>

namespace {

using namespace testsupport;

class RecordCommandTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(home.isValid());
        server = XServer::start({.width = 800, .height = 600, .windowManager = true});
        QDir().mkpath(home.path() + "/config/pictavia");
        QFile file(home.path() + "/config/pictavia/pictavia.conf");
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("copyToClipboard = false\ncaptureSound = false\nrecFPS = 15\n");
    }
    Environment environment() const {
        const std::string dir = home.path().toStdString();
        return {{"XDG_CONFIG_HOME", dir + "/config"},
                {"XDG_DATA_HOME", dir + "/data"},
                {"XDG_RUNTIME_DIR", dir},
                {"HOME", dir}};
    }
    ProcessOutput pictavia(const std::vector<std::string>& args) {
        return server->run(PICTAVIA_BIN, args,
                           {.environment = environment(), .timeout = std::chrono::seconds(60)});
    }
    QString history() const { return home.path() + "/data/Pictavia/History"; }

    QTemporaryDir home;
    std::unique_ptr<XServer> server;
    platform::media::FfmpegMediaReader reader;
};

TEST_F(RecordCommandTest, AnAreaForADurationIsAMovieOfItInTheHistory) {
    const TestWindow window = openTestWindow(*server, {.size = {200, 160}, .position = QPoint(40, 40)});
    const QRect client = clientRect(*server, window.id);
    const ProcessOutput out = pictavia({"record", "area", "--rect", "0,0,320,240", "--duration", "2"});
    ASSERT_EQ(out.exitCode, 0) << out.err;
    const QString file = QString::fromStdString(out.out).trimmed();
    EXPECT_EQ(QFileInfo(file).absolutePath(), history());
    EXPECT_TRUE(file.endsWith(".mov"));
    const auto info = reader.info(file);
    ASSERT_TRUE(info) << info.error().message.toStdString();
    EXPECT_EQ(info->size, QSize(320, 240));
    EXPECT_NEAR(info->duration, 2.0, 0.5);
    EXPECT_NEAR(info->frameRate, 15, 1);
    const auto frame = reader.frameAt(file, 1.0);
    ASSERT_TRUE(frame);
    // Compressed: the pattern's areas within a tolerance.
    EXPECT_LT(
        patternMismatches(*frame, client.adjusted(4, 4, -4, -4), QString::fromStdString(window.pattern), 40),
        client.width() * client.height() / 20);
}

TEST_F(RecordCommandTest, AWindowChangingEveryFrameIsRecordedFrameByFrameInOrder) {
    {
        QFile file(home.path() + "/config/pictavia/pictavia.conf");
        ASSERT_TRUE(file.open(QIODevice::Append));
        file.write("recFPS = 30\nrecShowCursor = false\n");
    }
    const TestWindow window =
        openTestWindow(*server, {.size = {256, 64}, .position = QPoint(40, 40), .counter = true});
    const QRect client = clientRect(*server, window.id);
    const std::string rect = std::to_string(client.x()) + "," + std::to_string(client.y()) + "," +
                             std::to_string(client.width()) + "," + std::to_string(client.height());
    const ProcessOutput out = pictavia({"record", "area", "--rect", rect, "--duration", "4"});
    ASSERT_EQ(out.exitCode, 0) << out.err;
    const QString movie = QString::fromStdString(out.out).trimmed();
    const auto info = reader.info(movie);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->size, client.size());
    EXPECT_NEAR(info->frameRate, 30, 1);
    EXPECT_NEAR(info->duration, 4, 0.5);

    // The window's numbers, each one frame on: a frame may repeat or be skipped when the
    // window and the grabs drift apart, but they never go back and hardly ever stall.
    int distinct = 0;
    int backwards = 0;
    std::optional<int> previous;
    for (const QImage& frame : movieFrames(movie, info->size)) {
        const auto number = frameNumber(frame, frame.rect());
        if (!number) continue;
        if (previous && *number != *previous) {
            ++distinct;
            const int step = (*number - *previous + 256) % 256;
            if (step > 128) ++backwards;
        }
        previous = number;
    }
    EXPECT_GE(distinct, int(info->duration * 30 * 0.8));
    EXPECT_EQ(backwards, 0);
}

TEST_F(RecordCommandTest, SIGTERMEndsTheRecordingAndKeepsIt) {
    ChildProcess& recording =
        server->startProcess(PICTAVIA_BIN, {"record", "fullscreen", "--gif"}, environment());
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    ASSERT_EQ(::kill(recording.pid(), SIGTERM), 0);
    const auto line = recording.readLine(std::chrono::seconds(60));
    ASSERT_TRUE(line);
    EXPECT_TRUE(QString::fromStdString(*line).endsWith(".gif")) << *line;
    EXPECT_EQ(recording.stop(), 0);
    const auto info = reader.info(QString::fromStdString(*line));
    ASSERT_TRUE(info);
    EXPECT_GT(info->duration, 0.5);
    EXPECT_TRUE(QDir(home.path() + "/data/Pictavia/InProgress").isEmpty()) << "nothing left behind";
}

TEST_F(RecordCommandTest, FailuresSayWhy) {
    const ProcessOutput gone = pictavia({"record", "window", "--id", "12345"});
    EXPECT_EQ(gone.exitCode, 1);
    EXPECT_EQ(gone.err, "pictavia: Window not found\n");
    const ProcessOutput outside = pictavia({"record", "area", "--rect", "700,500,300,300"});
    EXPECT_EQ(outside.exitCode, 1);
    EXPECT_NE(outside.err.find("reaches past the edge"), std::string::npos) << outside.err;
    const ProcessOutput badDuration = pictavia({"record", "fullscreen", "--duration", "soon"});
    EXPECT_EQ(badDuration.exitCode, 2);
    EXPECT_FALSE(QFileInfo::exists(history()) && !QDir(history()).isEmpty());
}

} // namespace
