// A recording's click ripples and keystroke panel on a desktop without a compositing
// manager: they show in grabs of the screen where the click and the keys were, and a click
// on a ripple still reaches the window under it.

#include "BackendConnection.h"
#include "TestWindow.h"
#include "WaitUntil.h"
#include "XServer.h"

#include <gtest/gtest.h>

#include <QColor>
#include <QImage>

#include <cmath>
#include <sstream>

namespace {

using namespace testsupport;

const QColor kWindowColor(0x20, 0x40, 0xc0);

bool near(QRgb pixel, const QColor& color, int tolerance = 12) {
    return std::abs(qRed(pixel) - color.red()) <= tolerance &&
           std::abs(qGreen(pixel) - color.green()) <= tolerance &&
           std::abs(qBlue(pixel) - color.blue()) <= tolerance;
}

// How many pixels of `image` within `radius` of `center` are near `color`, and how many were looked at.
std::pair<int, int> countWithin(const QImage& image, QPoint center, double radius, const QColor& color) {
    int matching = 0;
    int total = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (std::hypot(x - center.x(), y - center.y()) > radius) continue;
            ++total;
            if (near(image.pixel(x, y), color)) ++matching;
        }
    }
    return {matching, total};
}

class RecordingOverlayWindowsTest : public ::testing::Test {
protected:
    void SetUp() override {
        server = XServer::start({.width = 800, .height = 600, .windowManager = true});
        backend = connectBackend(*server);
        window = openTestWindow(*server, {.title = "Under the ripples",
                                          .pattern = "#2040c0",
                                          .size = QSize(600, 440),
                                          .position = QPoint(100, 100),
                                          .reportPresses = true});
        ASSERT_TRUE(waitUntil([&] {
            client = clientRect(*server, window.id);
            return client.contains(QRect(150, 150, 500, 380));
        })) << "the test window did not settle";
        overlays = &server->startProcess(RECORDING_OVERLAYS_BIN, {"--still"});
        const std::optional<std::string> ready = overlays->readLine(std::chrono::seconds(30));
        ASSERT_TRUE(ready && ready->rfind("ripples ", 0) == 0) << "recording_overlays did not come up";
    }

    void xdotool(const std::vector<std::string>& args) {
        const ProcessOutput result = server->run("xdotool", args);
        ASSERT_EQ(result.exitCode, 0) << result.err;
    }

    bool pressReported(QPoint root) {
        const QPoint local = root - client.topLeft();
        const std::string expected = "press " + std::to_string(local.x()) + "," + std::to_string(local.y());
        while (const std::optional<std::string> line = window.process->readLine(std::chrono::seconds(10))) {
            if (*line == expected) return true;
        }
        return false;
    }

    std::unique_ptr<XServer> server;
    std::unique_ptr<platform::ScreenBackend> backend;
    TestWindow window;
    QRect client;
    ChildProcess* overlays = nullptr;
};

TEST_F(RecordingOverlayWindowsTest, ARippleShowsAtTheClickAndLetsTheNextClickThrough) {
    const QPoint click(300, 250);
    xdotool({"mousemove", "300", "250", "click", "1"});
    ASSERT_TRUE(pressReported(click));

    // The ripple: yellow over about half of its disc, the window showing between, and
    // nothing of it beyond its edge.
    const QRect around(click - QPoint(50, 50), QSize(101, 101));
    QImage grab;
    const bool seen = waitUntil([&] {
        const Result<QImage> area = backend->grabArea(around);
        if (!area) return false;
        grab = area->convertToFormat(QImage::Format_RGB32);
        return countWithin(grab, QPoint(50, 50), 20, QColor(255, 204, 0)).first > 200;
    });
    ASSERT_TRUE(seen) << "no ripple at the click";
    const auto [yellow, disc] = countWithin(grab, QPoint(50, 50), 20, QColor(255, 204, 0));
    const auto [blue, discAgain] = countWithin(grab, QPoint(50, 50), 20, kWindowColor);
    EXPECT_GT(yellow, disc / 4);
    EXPECT_GT(blue, disc / 4) << "the ripple hides what is under it";
    EXPECT_EQ(yellow + blue, disc);
    EXPECT_TRUE(near(grab.pixel(50 + 21, 50), QColor(255, 204, 0))) << "no border";
    int yellowOutside = 0;
    for (int y = 0; y < grab.height(); ++y) {
        for (int x = 0; x < grab.width(); ++x) {
            if (std::hypot(x - 50, y - 50) > 24 && !near(grab.pixel(x, y), kWindowColor)) ++yellowOutside;
        }
    }
    EXPECT_EQ(yellowOutside, 0);

    // A second click right on the ripple's border, where every pixel is the ripple's, still
    // reaches the window.
    xdotool({"mousemove", "321", "250", "click", "1"});
    EXPECT_TRUE(pressReported(click + QPoint(21, 0))) << "the ripple took the click";
}

TEST_F(RecordingOverlayWindowsTest, KeysShowInAPanelAboveTheBottomOfTheScreen) {
    // The panel, 48 high with its bottom 80 above the screen's, centred: 800 x 600 puts its
    // middle row at y = 496. It hides 1.5 s after the last key, so each try presses again.
    QImage grab;
    const bool seen = waitUntil([&] {
        xdotool({"key", "ctrl+k"});
        const Result<QImage> area = backend->grabArea(QRect(0, 472, 800, 48));
        if (!area) return false;
        grab = area->convertToFormat(QImage::Format_RGB32);
        return near(grab.pixel(400, 2), QColor(0x2b, 0x2b, 0x2b));
    });
    ASSERT_TRUE(seen) << "no keystroke panel";
    int white = 0;
    int panelLeft = -1;
    int panelRight = -1;
    for (int x = 0; x < grab.width(); ++x) {
        if (!near(grab.pixel(x, 2), kWindowColor)) {
            if (panelLeft < 0) panelLeft = x;
            panelRight = x;
        }
        for (int y = 0; y < grab.height(); ++y) {
            if (near(grab.pixel(x, y), Qt::white, 60)) ++white;
        }
    }
    EXPECT_GT(white, 20) << "no text on the panel";
    EXPECT_GE(panelRight - panelLeft + 1, 110);
    EXPECT_NEAR((panelLeft + panelRight) / 2.0, 400, 8); // rounded corners aside
}

} // namespace
