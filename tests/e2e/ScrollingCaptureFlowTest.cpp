// The scrolling capture as people start it: the pictavia://scrolling-capture URL, the
// overlay, a drag over a long page, the panel beside it while it scrolls, and one long image
// in the history.

#include "AppSession.h"
#include "TestWindow.h"
#include "WaitUntil.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

using namespace testsupport;

TEST(ScrollingCaptureFlowTest, TheURLsOverlayScrollsTheDraggedAreaIntoOneLongCapture) {
    auto server = XServer::start({.width = 1280, .height = 800, .windowManager = true});
    ChildProcess& page = server->startProcess(SCROLL_PAGE_BIN, {"--lines", "100", "--pos", "100,100"});
    const auto id = page.readLine(20s);
    ASSERT_TRUE(id) << "the page did not come up";
    QRect client;
    ASSERT_TRUE(waitUntil([&] {
        const QRect now = clientRect(*server, uint32_t(std::stoul(*id)));
        const bool settled = !now.isEmpty() && now == client;
        client = now;
        return settled;
    }));
    AppSession app(*server, "showQuickAccess = false\n");

    app.open("pictavia://scrolling-capture");
    ASSERT_TRUE(app.waitForWindows("Pictavia Selection", 1)) << app.log();
    const QPoint from = client.topLeft(), to = client.bottomRight() + QPoint(1, 1);
    app.xdotool({"mousemove", std::to_string(from.x()), std::to_string(from.y()), "mousedown", "1"});
    app.xdotool({"mousemove", std::to_string(client.center().x()), std::to_string(client.center().y())});
    app.xdotool({"mousemove", std::to_string(to.x()), std::to_string(to.y()), "mouseup", "1"});
    EXPECT_TRUE(app.waitForWindows("Pictavia Scrolling Capture", 1)) << app.log();
    ASSERT_TRUE(app.waitForCaptures(1, std::chrono::seconds(60))) << app.log();
    EXPECT_TRUE(app.waitForWindows("Pictavia Scrolling Capture", 0));
    // The header, the whole page of 100 lines and the footer.
    const QImage image = app.capture(0);
    EXPECT_EQ(image.width(), client.width());
    EXPECT_EQ(image.height(), 36 + 100 * 22 + 16 + 36);
}

} // namespace
