// Pictavia's own windows (quick-access cards, the main window) never show in a capture,
// whichever way it is taken, and the cards go away by themselves.

#include "AppSession.h"
#include "WaitUntil.h"

#include <QColor>
#include <QImage>
#include <gtest/gtest.h>

namespace {

using namespace testsupport;

const std::string quickAccess = "Pictavia Quick Access";
const QColor desktop("#3b5b7a"); // AppSession's desktop colour

// Pixels of `image` that are not the bare desktop.
int notDesktop(const QImage& image) {
    int count = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const QRgb p = image.pixel(x, y);
            if (std::abs(qRed(p) - desktop.red()) > 6 || std::abs(qGreen(p) - desktop.green()) > 6 ||
                std::abs(qBlue(p) - desktop.blue()) > 6)
                ++count;
        }
    return count;
}

// `pictavia capture fullscreen` handed to the running app; the image it wrote.
QImage captureFullscreen(AppSession& app) {
    const ProcessOutput out = app.send({"capture", "fullscreen"});
    EXPECT_EQ(out.exitCode, 0) << out.err;
    std::string path = out.out;
    while (!path.empty() && (path.back() == '\n' || path.back() == '\r'))
        path.pop_back();
    return QImage(QString::fromStdString(path));
}

TEST(OwnWindowsTest, CapturesRightAfterOthersHoldNoCardAndNoMainWindow) {
    auto server = XServer::start({.width = 1280, .height = 800, .windowManager = true});
    AppSession app(*server, "");
    app.xdotool({"mousemove", "40", "40"}); // the cards show near the bottom-right corner

    const QImage first = captureFullscreen(app);
    ASSERT_EQ(first.size(), QSize(1280, 800));
    EXPECT_EQ(notDesktop(first), 0);
    ASSERT_TRUE(app.waitForWindows(quickAccess, 1)) << app.log();
    app.screenshot("card-before-second-capture");

    const QImage second = captureFullscreen(app);
    ASSERT_EQ(second.size(), QSize(1280, 800));
    EXPECT_EQ(notDesktop(second), 0) << "the card of the first capture is in the second";
    EXPECT_TRUE(app.waitForWindows(quickAccess, 1)) << "the cards did not come back";

    // The frozen overlay shows the screen without the cards, and so does its capture.
    captureFullscreen(app);
    ASSERT_TRUE(app.waitForWindows(quickAccess, 1));
    const int before = static_cast<int>(app.captures().size());
    app.open("pictavia://capture-area");
    ASSERT_TRUE(app.waitForWindows("Pictavia Selection", 1)) << app.log();
    app.xdotool({"mousemove", "700", "380", "mousedown", "1"});
    app.xdotool({"mousemove", "1000", "600"});
    app.xdotool({"mousemove", "1279", "799", "mouseup", "1"});
    ASSERT_TRUE(app.waitForCaptures(before + 1)) << app.log();
    app.xdotool({"mousemove", "40", "40"});
    int areas = 0;
    for (int i = 0; i < app.captures().size(); ++i) {
        const QImage image = app.capture(i);
        if (image.size() == QSize(1280, 800)) continue;
        ++areas;
        EXPECT_EQ(notDesktop(image), 0) << "a card is in the area captured from the frozen overlay";
    }
    EXPECT_EQ(areas, 1);

    // The main window, open but not asked for in the picture, is not in it either, and is
    // back on the screen afterwards.
    app.send({});
    ASSERT_TRUE(app.waitForWindows("Pictavia", 1)) << app.log();
    const QImage withWindow = captureFullscreen(app);
    EXPECT_EQ(notDesktop(withWindow), 0) << "the main window is in the capture";
    EXPECT_TRUE(app.waitForWindows("Pictavia", 1)) << "the main window did not come back";

    // Left alone, the cards go by themselves.
    EXPECT_TRUE(app.waitForWindows(quickAccess, 0, std::chrono::seconds(30)))
        << "the cards stayed on the screen";
}

} // namespace
