// The resident application under a real X server with a window manager, driven the way
// people and scripts drive it: pictavia:// URLs, hotkeys, the mouse and the keyboard.

#include "AppSession.h"
#include "PatternMatching.h"
#include "TestWindow.h"
#include "WaitUntil.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>

#include <thread>

namespace {

using namespace testsupport;

const std::string selection = "Pictavia Selection";
const std::string picker = "Pictavia Window Picker";
const std::string countdown = "Pictavia Countdown";
const std::string quickAccess = "Pictavia Quick Access";

class InteractiveCaptureTest : public ::testing::Test {
protected:
    void SetUp() override { server = XServer::start({.width = 1280, .height = 800, .windowManager = true}); }

    std::unique_ptr<AppSession> startApp(const std::string& preferences = "showQuickAccess = false\n") {
        return std::make_unique<AppSession>(*server, preferences);
    }

    void drag(AppSession& app, QPoint from, QPoint to) {
        app.xdotool({"mousemove", std::to_string(from.x()), std::to_string(from.y()), "mousedown", "1"});
        app.xdotool(
            {"mousemove", std::to_string((from.x() + to.x()) / 2), std::to_string((from.y() + to.y()) / 2)});
        app.xdotool({"mousemove", std::to_string(to.x()), std::to_string(to.y()), "mouseup", "1"});
    }

    std::unique_ptr<XServer> server;
};

TEST_F(InteractiveCaptureTest, URLWithACompleteRectangleSavesExactlyThosePixels) {
    const TestWindow window = openTestWindow(*server, {.pattern = "quadrants", .position = QPoint(200, 150)});
    const QRect client = clientRect(*server, window.id);
    auto app = startApp();

    const ProcessOutput sent = app->open(
        "pictavia://capture-area?x=" + std::to_string(client.x()) + "&y=" + std::to_string(client.y()) +
        "&width=" + std::to_string(client.width()) + "&height=" + std::to_string(client.height()));
    EXPECT_EQ(sent.exitCode, 0) << sent.err;
    ASSERT_TRUE(app->waitForCaptures(1)) << app->log();
    const QImage image = app->capture(0);
    ASSERT_EQ(image.size(), client.size());
    EXPECT_EQ(patternMismatches(image, image.rect(), "quadrants"), 0);

    EXPECT_EQ(app->open("pictavia://UNKNOWN").exitCode, 1); // told, and shown the toast
    EXPECT_TRUE(app->waitForLog("Unknown pictavia:// command \"unknown\"")) << app->log();
    // A bare second start reaches the running instance too, and ends.
    EXPECT_EQ(app->send({}).exitCode, 0);
    EXPECT_TRUE(app->waitForWindows("Pictavia", 1)) << app->log(); // with the main window
}

TEST_F(InteractiveCaptureTest, OverlayDragSelectsEscapeCancelsAndPreviousRepeats) {
    openTestWindow(*server, {.pattern = "quadrants", .position = QPoint(300, 200)});
    // openbox's own configuration takes Print for itself.
    auto app = startApp("showQuickAccess = false\n[Hotkeys]\narea = F8\n");

    app->open("pictavia://previous");
    EXPECT_TRUE(app->waitForLog("No previous area yet. Capture an area first")) << app->log();

    app->open("pictavia://capture-area?x=0&y=0&width=100"); // no height: the overlay
    ASSERT_TRUE(app->waitForWindows(selection, 1)) << app->log();
    app->open("pictavia://capture-area"); // ignored while the overlay is up
    app->open("pictavia://all-in-one");
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(app->windowCount(selection), 1);

    drag(*app, QPoint(350, 250), QPoint(550, 400));
    ASSERT_TRUE(app->waitForCaptures(1)) << app->log();
    EXPECT_TRUE(app->waitForWindows(selection, 0));
    const QSize first = app->capture(0).size();
    EXPECT_NEAR(first.width(), 200, 1);
    EXPECT_NEAR(first.height(), 150, 1);

    // The area hotkey opens the overlay; Escape closes it with nothing saved.
    app->xdotool({"key", "F8"});
    ASSERT_TRUE(app->waitForWindows(selection, 1)) << app->log();
    app->xdotool({"key", "Escape"});
    EXPECT_TRUE(app->waitForWindows(selection, 0));

    app->open("pictavia://capture-previous");
    ASSERT_TRUE(app->waitForCaptures(2)) << app->log();
    EXPECT_EQ(app->capture(1).size(), first);
    EXPECT_EQ(app->captures().size(), 2);
}

TEST(InteractiveCaptureLayoutTest, TwoMonitorsAtTwiceTheScale) {
    auto server = XServer::start({.width = 2560, .height = 800, .windowManager = true});
    ASSERT_EQ(server->run("xrandr", {"--setmonitor", "left", "1280/338x800/212+0+0", "screen"}).exitCode, 0);
    ASSERT_EQ(server->run("xrandr", {"--setmonitor", "right", "1280/338x800/212+1280+0", "none"}).exitCode,
              0);
    ASSERT_EQ(server->run("xrdb", {"-merge"}, {.input = "Xft.dpi: 192\n"}).exitCode, 0);
    openTestWindow(*server, {.pattern = "quadrants", .position = QPoint(1500, 200)});
    AppSession app(*server, "showQuickAccess = false\n");

    app.open("pictavia://capture-area");
    ASSERT_TRUE(app.waitForWindows(selection, 2)) << app.log(); // one overlay per display
    app.xdotool({"mousemove", "1400", "150", "mousedown", "1"});
    app.xdotool({"mousemove", "1500", "250"});
    app.xdotool({"mousemove", "1600", "350"});
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    app.screenshot("overlay-two-monitors-2x");
    app.xdotool({"mouseup", "1"});
    ASSERT_TRUE(app.waitForCaptures(1)) << app.log();
    // Pixels as dragged, though the overlay works in points of a 2x display.
    const QImage image = app.capture(0);
    EXPECT_NEAR(image.width(), 200, 2);
    EXPECT_NEAR(image.height(), 200, 2);

    // Then the area again, on the same display, by its number.
    app.open("pictavia://previous");
    ASSERT_TRUE(app.waitForCaptures(2)) << app.log();
    EXPECT_EQ(app.capture(1).size(), image.size());
}

TEST_F(InteractiveCaptureTest, LiveOverlayLeavesTheScreenBeforeTheGrab) {
    const TestWindow window = openTestWindow(*server, {.pattern = "quadrants", .position = QPoint(300, 200)});
    const QRect client = clientRect(*server, window.id);
    auto app = startApp("showQuickAccess = false\nfreezeScreen = false\n");
    app->open("pictavia://capture-area");
    ASSERT_TRUE(app->waitForWindows(selection, 1)) << app->log();
    drag(*app, client.topLeft(), client.bottomRight() + QPoint(1, 1));
    ASSERT_TRUE(app->waitForCaptures(1)) << app->log();
    const QImage image = app->capture(0);
    ASSERT_EQ(image.size(), client.size());
    EXPECT_EQ(patternMismatches(image, image.rect(), "quadrants"), 0); // no dimming, no selection frame
}

TEST_F(InteractiveCaptureTest, AllInOneOverlayWithLoupeAndActionBar) {
    openTestWindow(*server, {.title = "Report", .pattern = "quadrants", .position = QPoint(300, 200)});
    auto app = startApp();
    app->open("pictavia://all-in-one");
    ASSERT_TRUE(app->waitForWindows(selection, 1)) << app->log();

    app->xdotool({"mousemove", "340", "240", "mousedown", "1"});
    app->xdotool({"mousemove", "460", "330"});
    app->xdotool({"mousemove", "520", "380"});
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    app->screenshot("overlay-selecting-with-loupe");
    app->xdotool({"mouseup", "1"});
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    app->screenshot("overlay-action-bar");

    // Enter takes the default action: a normal capture.
    app->xdotool({"key", "Return"});
    ASSERT_TRUE(app->waitForCaptures(1)) << app->log();
    EXPECT_NEAR(app->capture(0).width(), 180, 1);
}

TEST_F(InteractiveCaptureTest, WindowPickerCapturesTheWindowClicked) {
    const TestWindow window = openTestWindow(*server, {.title = "Quarterly report",
                                                       .pattern = "quadrants",
                                                       .position = QPoint(400, 250),
                                                       .windowClass = "Ledger"});
    const QRect client = clientRect(*server, window.id);
    auto app = startApp("showQuickAccess = false\nwindowShadow = false\n");

    app->open("pictavia://capture-window");
    ASSERT_TRUE(app->waitForWindows(picker, 1)) << app->log();
    app->xdotool({"mousemove", std::to_string(client.center().x()), std::to_string(client.center().y())});
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    app->screenshot("window-picker");
    app->xdotool({"click", "1"});
    ASSERT_TRUE(app->waitForCaptures(1)) << app->log();
    const QImage image = app->capture(0);
    // The frame with its decorations; the client area inside it shows the pattern.
    QRect frame;
    const ProcessOutput listing = app->send({"windows", "--json"});
    for (const auto& w : QJsonDocument::fromJson(QByteArray::fromStdString(listing.out)).array())
        if (w.toObject()["id"].toInteger() == window.id) {
            const QJsonObject f = w.toObject()["frame"].toObject();
            frame = QRect(f["x"].toInt(), f["y"].toInt(), f["width"].toInt(), f["height"].toInt());
        }
    ASSERT_EQ(image.size(), frame.size()) << listing.out;
    EXPECT_EQ(patternMismatches(image, within(client, frame), "quadrants"), 0);
}

TEST_F(InteractiveCaptureTest, EscapeDuringACountdownCapturesNothing) {
    auto app = startApp("showQuickAccess = false\n[Hotkeys]\ntimedFullscreen = F9\n");
    app->xdotool({"key", "F9"});
    ASSERT_TRUE(app->waitForWindows(countdown, 1)) << app->log();
    app->screenshot("countdown");
    app->xdotool({"key", "Escape"});
    EXPECT_TRUE(app->waitForWindows(countdown, 0, std::chrono::seconds(2)));
    std::this_thread::sleep_for(std::chrono::seconds(1));
    EXPECT_TRUE(app->captures().isEmpty());
}

TEST_F(InteractiveCaptureTest, QuickAccessShowsTheCapture) {
    openTestWindow(*server, {.pattern = "quadrants", .position = QPoint(300, 200)});
    auto app = startApp("showQuickAccess = true\n");
    app->open("pictavia://capture-fullscreen");
    ASSERT_TRUE(app->waitForCaptures(1)) << app->log();
    ASSERT_TRUE(app->waitForWindows(quickAccess, 1)) << app->log();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    app->screenshot("quick-access");
}

TEST_F(InteractiveCaptureTest, TextCaptureCopiesTheWordsInTheArea) {
    const TestWindow window = openTestWindow(*server, {.pattern = "#ffffff",
                                                       .size = QSize(420, 120),
                                                       .position = QPoint(300, 200),
                                                       .text = "Quarterly report"});
    const QRect client = clientRect(*server, window.id);
    auto app = startApp();
    app->open("pictavia://capture-text");
    ASSERT_TRUE(app->waitForWindows(selection, 1)) << app->log();
    drag(*app, client.topLeft() + QPoint(5, 5), client.bottomRight() - QPoint(5, 5));
    EXPECT_TRUE(app->waitForLog("Copied 16 characters of text", std::chrono::seconds(20))) << app->log();
    EXPECT_TRUE(app->waitForWindows("Pictavia Text", 1))
        << app->run("xdotool", {"search", "--onlyvisible", "--name", "Pictavia", "getwindowname", "%@"}).out;
    app->screenshot("text-result");
}

TEST_F(InteractiveCaptureTest, InstalledDesktopEntryHandlesPictaviaURLs) {
    auto app = startApp();
    const std::string prefix = app->home().path().toStdString() + "/prefix";
    const ProcessOutput installed = app->run(CMAKE_COMMAND, {"--install", BUILD_DIR, "--prefix", prefix});
    ASSERT_EQ(installed.exitCode, 0) << installed.err;
    const ProcessOutput opened =
        app->run("xdg-open", {"pictavia://capture-fullscreen"},
                 {{"XDG_DATA_DIRS", prefix + "/share"}, {"PATH", prefix + "/bin:/usr/bin:/bin"}});
    EXPECT_EQ(opened.exitCode, 0) << opened.err;
    ASSERT_TRUE(app->waitForCaptures(1)) << app->log();
    EXPECT_EQ(app->capture(0).size(), QSize(1280, 800));
}

TEST_F(InteractiveCaptureTest, HotkeyAlreadyTakenIsReported) {
    const std::string keys = "[Hotkeys]\nfullscreen = Ctrl+F8\n";
    auto first = startApp(keys);
    // A second session in another runtime folder competes for the same keys.
    AppSession second(*server, keys);
    EXPECT_TRUE(second.waitForLog("Ctrl+F8 is already used by another program.")) << second.log();
    EXPECT_TRUE(second.waitForLog("Choose other keys in Settings, under Keyboard Shortcuts")) << second.log();
}

} // namespace
