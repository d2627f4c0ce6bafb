// `pictavia record` against a real X server: a movie of the right size and length with the
// picture in it, a recording stopped by SIGTERM kept, and clear failures.

#include "MovieFrames.h"
#include "PatternMatching.h"
#include "TestWindow.h"
#include "XServer.h"

#include "platform/media/FfmpegMediaReader.h"
#include "video/RecordingTimeline.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <algorithm>
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

TEST_F(RecordCommandTest, AStudioRecordingKeepsItsClicksAndPointerTrackBesideTheMovie) {
    {
        QFile file(home.path() + "/config/pictavia/pictavia.conf");
        ASSERT_TRUE(file.open(QIODevice::Append));
        file.write("recStudio = true\nrecShowClicks = true\nrecShowCursor = true\nrecSystemAudio = false\n");
    }
    const QRect area(100, 100, 400, 300);
    const auto xdotool = [&](const std::vector<std::string>& args) {
        ASSERT_EQ(server->run("xdotool", args).exitCode, 0);
    };
    xdotool({"mousemove", "50", "50"});
    ChildProcess& recording = server->startProcess(
        PICTAVIA_BIN, {"record", "area", "--rect", "100,100,400,300", "--duration", "4"}, environment());
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    xdotool({"mousemove", "200", "130", "click", "1"});
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    xdotool({"mousemove", "450", "370", "click", "3"});
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    xdotool({"mousemove", "20", "20", "click", "1"}); // outside: no mark
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    xdotool({"mousemove", "300", "250"});
    const auto line = recording.readLine(std::chrono::seconds(60));
    ASSERT_TRUE(line);
    EXPECT_EQ(recording.stop(), 0);
    const QString movie = QString::fromStdString(*line);
    const auto timeline = TimelineStore::load(movie);
    ASSERT_TRUE(timeline && timeline->has_value()) << "a timeline beside " << *line;
    const RecordingTimeline& t = **timeline;
    EXPECT_TRUE(t.studio);
    EXPECT_TRUE(t.clicksTracked);
    EXPECT_EQ(t.areaWidth, 400);
    EXPECT_EQ(t.areaHeight, 300);
    ASSERT_EQ(t.clicks.size(), 2);
    EXPECT_NEAR(t.clicks[0].x * area.width(), 100, 1);
    EXPECT_NEAR(t.clicks[0].y * area.height(), 30, 1);
    EXPECT_NEAR(t.clicks[1].x * area.width(), 350, 1);
    EXPECT_NEAR(t.clicks[1].y * area.height(), 270, 1);
    EXPECT_GT(t.clicks[0].time, 0.5);
    EXPECT_GT(t.clicks[1].time, t.clicks[0].time + 0.2);
    EXPECT_LT(t.clicks[1].time, 4);

    // The pointer's track passes through every place it was moved to, within a pixel.
    ASSERT_FALSE(t.cursor.isEmpty());
    ASSERT_FALSE(t.cursorShapes.isEmpty());
    for (const QPoint visited : {QPoint(50, 50), QPoint(200, 130), QPoint(450, 370), QPoint(300, 250)}) {
        const bool seen = std::any_of(t.cursor.begin(), t.cursor.end(), [&](const CursorSample& s) {
            return std::abs(area.x() + s.x * area.width() - visited.x()) <= 1 &&
                   std::abs(area.y() + s.y * area.height() - visited.y()) <= 1;
        });
        EXPECT_TRUE(seen) << "the track never passes " << visited.x() << "," << visited.y();
    }
    EXPECT_NEAR(t.cursor.last().x, 0.5, 1.0 / area.width());
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
