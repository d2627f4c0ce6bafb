// Recording in the running application, driven the way scripts and people drive it:
// pictavia:// URLs to start, pause, resume and stop, and the keyboard in the overlay. The
// movie ends up in the history; the recording controls stay out of what is recorded.

#include "AppSession.h"
#include "MovieFrames.h"
#include "TestWindow.h"
#include "WaitUntil.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QRect>
#include <QRegularExpression>
#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

namespace {

using namespace testsupport;

const std::string controls = "Pictavia Recording";
const std::string selection = "Pictavia Selection";

// Quick to encode, nothing to wait for between the command and the recording.
const std::string recordingPrefs = "showQuickAccess = false\ncopyToClipboard = false\nrecCountdown = 0\n"
                                   "recFPS = 10\nrecSystemAudio = false\nrecMic = false\n";

class RecordingTest : public ::testing::Test {
protected:
    void SetUp() override { server = XServer::start({.width = 1024, .height = 768, .windowManager = true}); }

    // The display's number, which is how preferences name it.
    std::string displayNumber() {
        const ProcessOutput out = server->run(PICTAVIA_BIN, {"displays"});
        return out.out.substr(0, out.out.find(' '));
    }

    static QRect geometryOf(AppSession& app, const std::string& title) {
        const ProcessOutput out = app.run("xdotool", {"search", "--onlyvisible", "--name", "^" + title + "$",
                                                      "getwindowgeometry", "--shell"});
        const QString text = QString::fromStdString(out.out);
        const auto field = [&](const char* name) {
            const auto match = QRegularExpression(QStringLiteral("^%1=(\\d+)$").arg(QLatin1String(name)),
                                                  QRegularExpression::MultilineOption)
                                   .match(text);
            return match.hasMatch() ? match.captured(1).toInt() : -1;
        };
        return {field("X"), field("Y"), field("WIDTH"), field("HEIGHT")};
    }

    // Width and height of the movie's picture.
    static std::string movieSize(AppSession& app, const QString& name) {
        const std::string path =
            app.home().path().toStdString() + "/data/Pictavia/History/" + name.toStdString();
        return app
            .run("ffprobe", {"-v", "error", "-select_streams", "v:0", "-show_entries", "stream=width,height",
                             "-of", "csv=p=0:s=x", path})
            .out;
    }

    // The movie's last picture.
    static QImage lastFrame(AppSession& app, const QString& name) {
        const QString folder = app.home().path() + "/data/Pictavia/History/";
        QDir().mkpath(ARTIFACT_DIR);
        const QString png = QStringLiteral(ARTIFACT_DIR "/recording-last-frame.png");
        app.run("ffmpeg", {"-v", "error", "-y", "-sseof", "-0.3", "-i", (folder + name).toStdString(),
                           "-frames:v", "1", png.toStdString()});
        return QImage(png);
    }

    static bool indexed(AppSession& app, const QString& name) {
        QFile index(app.home().path() + "/data/Pictavia/index.json");
        return index.open(QIODevice::ReadOnly) && index.readAll().contains(name.toUtf8());
    }

    std::unique_ptr<XServer> server;
};

TEST_F(RecordingTest, URLsStartPauseResumeAndStopARecordingThatReachesTheHistory) {
    AppSession app(*server, recordingPrefs);
    // Nothing runs yet: the caller hears so.
    const ProcessOutput early = app.open("pictavia://stop-recording");
    EXPECT_EQ(early.exitCode, 1);
    EXPECT_EQ(early.err, "pictavia: No recording is running\n");

    const ProcessOutput started = app.open("pictavia://record?mode=fullscreen");
    EXPECT_EQ(started.exitCode, 0) << started.err;
    ASSERT_TRUE(app.waitForWindows(controls, 1)) << app.log();
    QRect panel;
    ASSERT_TRUE(waitUntil([&] {
        panel = geometryOf(app, controls);
        return panel.width() > 0 && QRect(0, 0, 1024, 768).contains(panel);
    }));
    app.screenshot("recording-fullscreen");
    std::this_thread::sleep_for(std::chrono::milliseconds(800));
    EXPECT_EQ(app.open("pictavia://pause-recording").exitCode, 0);
    EXPECT_EQ(app.open("pictavia://resume").exitCode, 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(800));
    EXPECT_EQ(app.open("pictavia://stop").exitCode, 0);

    ASSERT_TRUE(app.waitForCaptures(1, std::chrono::seconds(30))) << app.log();
    const QString movie = app.captures().first();
    EXPECT_TRUE(movie.endsWith(".mov")) << movie.toStdString();
    EXPECT_EQ(movieSize(app, movie), "1024x768\n");
    // The controls were on the screen, not in the movie: where they stood the movie shows one
    // even colour, not their text and buttons.
    const QImage last = lastFrame(app, movie);
    ASSERT_FALSE(last.isNull());
    const QColor under = last.pixelColor(panel.center());
    int unlike = 0;
    const QRect inside = panel.adjusted(2, 2, -2, -2); // the movie's colours blur its edge
    for (int y = inside.top(); y <= inside.bottom(); y += 2)
        for (int x = inside.left(); x <= inside.right(); x += 2)
            if (std::abs(last.pixelColor(x, y).value() - under.value()) > 24) ++unlike;
    EXPECT_EQ(unlike, 0) << "the controls show in the recording";
    EXPECT_TRUE(waitUntil([&] { return indexed(app, movie); }, std::chrono::seconds(10))) << app.log();
    EXPECT_TRUE(app.waitForWindows(controls, 0)) << "the controls go with the recording";
    EXPECT_EQ(app.open("pictavia://stop").exitCode, 1) << "and nothing runs any more";

    // A GIF the same way.
    EXPECT_EQ(app.open("pictavia://record?mode=screen&gif=yes").exitCode, 0);
    ASSERT_TRUE(app.waitForWindows(controls, 1)) << app.log();
    std::this_thread::sleep_for(std::chrono::milliseconds(600));
    EXPECT_EQ(app.open("pictavia://stop-recording").exitCode, 0);
    ASSERT_TRUE(app.waitForCaptures(2, std::chrono::seconds(30))) << app.log();
    const QStringList files = app.captures();
    EXPECT_TRUE(files.filter(".gif").size() == 1) << files.join(' ').toStdString();
}

TEST_F(RecordingTest, ThePreviousAreaIsRecordedWithTheControlsBesideIt) {
    const QRect area(300, 200, 400, 300);
    AppSession app(*server, recordingPrefs + "lastRecAreaRect = \"300,200,400,300\"\nlastRecAreaDisplay = " +
                                displayNumber() + "\n");
    // The record hotkey brings the overlay with the previous area; Return records it.
    app.xdotool({"key", "ctrl+shift+Print"});
    ASSERT_TRUE(app.waitForWindows(selection, 1)) << app.log();
    std::this_thread::sleep_for(std::chrono::milliseconds(300)); // the overlay takes the keyboard
    app.screenshot("recording-area-overlay");
    app.xdotool({"key", "Return"});
    ASSERT_TRUE(app.waitForWindows(controls, 1)) << app.log();
    QRect panel;
    const bool beside = waitUntil([&] {
        panel = geometryOf(app, controls);
        return QRect(0, 0, 1024, 768).contains(panel) && !panel.intersects(area);
    });
    app.screenshot("recording-area-controls");
    EXPECT_TRUE(beside) << panel.x() << "," << panel.y() << " " << panel.width() << "x" << panel.height();
    std::this_thread::sleep_for(std::chrono::milliseconds(500));

    // A second record command is the toggle: it stops.
    EXPECT_EQ(app.open("pictavia://record").exitCode, 0);
    ASSERT_TRUE(app.waitForCaptures(1, std::chrono::seconds(30))) << app.log();
    EXPECT_EQ(movieSize(app, app.captures().first()), "400x300\n");
}

TEST_F(RecordingTest, APausedStretchLeavesNoGapAndNoFrozenPicture) {
    AppSession app(*server, recordingPrefs + "recFPS = 30\nrecShowCursor = false\n");
    const TestWindow window =
        openTestWindow(*server, {.size = {256, 64}, .position = QPoint(600, 500), .counter = true});
    const QRect client = clientRect(*server, window.id);
    ASSERT_EQ(app.open("pictavia://record?mode=fullscreen").exitCode, 0);
    const auto started = std::chrono::steady_clock::now();
    ASSERT_TRUE(app.waitForWindows(controls, 1)) << app.log();
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    ASSERT_EQ(app.open("pictavia://pause-recording").exitCode, 0);
    std::this_thread::sleep_for(std::chrono::seconds(3));
    ASSERT_EQ(app.open("pictavia://resume-recording").exitCode, 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    ASSERT_EQ(app.open("pictavia://stop-recording").exitCode, 0);
    const double span = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    ASSERT_TRUE(app.waitForCaptures(1, std::chrono::seconds(30))) << app.log();

    const QString movie = app.home().path() + "/data/Pictavia/History/" + app.captures().first();
    const QList<QImage> frames = movieFrames(movie, QSize(1024, 768));
    // The paused stretch is cut out: the movie is about three seconds shorter than the time
    // from start to stop (how much longer that is than six seconds depends on the machine).
    EXPECT_LT(frames.size() / 30.0, span - 2.4);
    // The counter runs on from frame to frame; across the pause it jumps by about 90 (three
    // seconds of it) at once, and nowhere does the picture stand still.
    int longestStill = 0;
    int still = 0;
    int biggestJump = 0;
    std::optional<int> previous;
    for (const QImage& frame : frames) {
        const auto number = frameNumber(frame, client);
        if (!number) continue;
        if (previous) {
            const int step = (*number - *previous + 256) % 256;
            still = step == 0 ? still + 1 : 0;
            longestStill = std::max(longestStill, still);
            biggestJump = std::max(biggestJump, step);
        }
        previous = number;
    }
    EXPECT_LE(longestStill, 3);
    EXPECT_NEAR(biggestJump, 90, 20);
}

// Uses the test-pattern camera (red left, blue right): this machine has no camera device.
TEST_F(RecordingTest, ClicksRippleKeysShowAndTheCameraBubbleIsDrawnWhereItStood) {
    AppSession app(*server,
                   recordingPrefs + "recShowClicks = true\nrecShowKeystrokes = true\nrecShowCursor = false\n"
                                    "recWebcam = true\n"
                                    "recMirrorCamera = false\n",
                   {{"PICTAVIA_TEST_CAMERA", "1"}});
    app.xdotool({"mousemove", "40", "40"});
    EXPECT_EQ(app.open("pictavia://record?mode=fullscreen").exitCode, 0);
    ASSERT_TRUE(app.waitForWindows(controls, 1)) << app.log();
    std::this_thread::sleep_for(std::chrono::milliseconds(1200));
    app.xdotool({"mousemove", "300", "300", "click", "1"});
    std::this_thread::sleep_for(std::chrono::milliseconds(700));
    app.xdotool({"key", "ctrl+k"});
    std::this_thread::sleep_for(std::chrono::milliseconds(1000));
    EXPECT_EQ(app.open("pictavia://stop").exitCode, 0);
    ASSERT_TRUE(app.waitForCaptures(1, std::chrono::seconds(60))) << app.log();
    const QString movie = app.home().path() + "/data/Pictavia/History/" + app.captures().first();

    const auto yellowNear = [](const QImage& frame, QPoint at) {
        int yellow = 0;
        for (int y = at.y() - 30; y <= at.y() + 30; ++y)
            for (int x = at.x() - 30; x <= at.x() + 30; ++x) {
                const QColor c = frame.pixelColor(x, y);
                // The ripple's yellow, blended with the desktop by its dither and the encoder.
                if (c.red() > 120 && c.green() > 110 && c.blue() < 100) ++yellow;
            }
        return yellow;
    };
    // The keystroke panel: dark, with light letters, centred above the bottom of the screen.
    const auto keysShown = [](const QImage& frame) {
        int dark = 0, light = 0;
        for (int y = 768 - 80 - 44; y < 768 - 84; ++y)
            for (int x = 512 - 55; x < 512 + 55; ++x) {
                const int value = frame.pixelColor(x, y).value();
                if (value < 70) ++dark;
                if (value > 180) ++light;
            }
        return dark > 2000 && light > 50;
    };
    int ripples = 0;
    int keys = 0;
    QImage last;
    for (const QImage& frame : movieFrames(movie, QSize(1024, 768))) {
        if (yellowNear(frame, QPoint(300, 300)) > 100) ++ripples;
        if (keysShown(frame)) ++keys;
        last = frame;
    }
    EXPECT_GE(keys, 3) << "the keys pressed show in the movie";
    EXPECT_GE(ripples, 1) << "the ripple shows in the movie";
    ASSERT_FALSE(last.isNull());
    EXPECT_EQ(yellowNear(last, QPoint(300, 300)), 0);

    // The bubble starts in the bottom-right corner: the camera's left half red, its right blue.
    const QRect bubble(1024 - 24 - 200, 768 - 24 - 200, 200, 200);
    // Three heights each, as the pattern's white bar passes over one of them.
    int red = 0, blue = 0;
    for (const int dy : {-40, 0, 40}) {
        const QColor left = last.pixelColor(bubble.center() + QPoint(-45, dy));
        const QColor right = last.pixelColor(bubble.center() + QPoint(45, dy));
        if (left.red() > 150 && left.blue() < 100) ++red;
        if (right.blue() > 150 && right.red() < 100) ++blue;
    }
    EXPECT_GE(red, 2) << app.log();
    EXPECT_GE(blue, 2);
    // Round: the corners of its square are not the camera's.
    const QColor corner = last.pixelColor(bubble.topLeft() + QPoint(5, 5));
    EXPECT_LT(corner.red(), 100);
    EXPECT_LT(corner.blue(), 150);
}

} // namespace
