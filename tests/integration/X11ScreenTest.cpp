// Displays, scale, pointer and the window list of a bare X server (no window manager).

#include "BackendConnection.h"
#include "TestWindow.h"
#include "WaitUntil.h"
#include "XServer.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace testsupport;
using platform::DisplayInfo;

class X11ScreenTest : public ::testing::Test {
protected:
    void SetUp() override {
        server = XServer::start({.width = 1600, .height = 600, .windowManager = false});
        backend = connectBackend(*server);
    }

    std::optional<DisplayInfo> display(const QString& name) {
        const QList<DisplayInfo> displays = backend->displays();
        const auto it = std::find_if(displays.begin(), displays.end(),
                                     [&name](const DisplayInfo& d) { return d.name == name; });
        return it == displays.end() ? std::nullopt : std::optional<DisplayInfo>(*it);
    }

    std::unique_ptr<XServer> server;
    std::unique_ptr<platform::ScreenBackend> backend;
};

TEST_F(X11ScreenTest, OneOutputIsOneDisplayCoveringTheScreen) {
    const QList<DisplayInfo> displays = backend->displays();
    ASSERT_EQ(displays.size(), 1);
    EXPECT_EQ(displays[0].geometry, QRect(0, 0, 1600, 600));
    EXPECT_NE(displays[0].id, 0u); // the RandR output
    EXPECT_FALSE(displays[0].name.isEmpty());
    EXPECT_EQ(displays[0].scale, 1.0);
    EXPECT_EQ(displays[0].topInset, 0);
}

TEST_F(X11ScreenTest, MonitorsSetWithXrandrAreDisplays) {
    const uint32_t outputId = backend->displays().at(0).id;
    ASSERT_EQ(server->run("xrandr", {"--setmonitor", "left", "800/211x600/158+0+0", "screen"}).exitCode, 0);
    ASSERT_EQ(server->run("xrandr", {"--setmonitor", "*right", "800/211x600/158+800+0", "none"}).exitCode, 0);
    ASSERT_TRUE(waitUntil([&] { return backend->displays().size() == 2; }));

    const std::optional<DisplayInfo> left = display(QStringLiteral("left"));
    const std::optional<DisplayInfo> right = display(QStringLiteral("right"));
    ASSERT_TRUE(left && right);
    EXPECT_EQ(left->geometry, QRect(0, 0, 800, 600));
    EXPECT_EQ(right->geometry, QRect(800, 0, 800, 600));
    EXPECT_EQ(left->id, outputId); // has the output
    EXPECT_NE(right->id, 0u);      // has only its name
    EXPECT_NE(right->id, left->id);
    EXPECT_TRUE(right->primary);
    EXPECT_FALSE(left->primary);
}

TEST_F(X11ScreenTest, XftDpiSetsTheScale) {
    for (const auto& [dpi, scale] : {std::pair{"192", 2.0}, std::pair{"144", 1.5}, std::pair{"72", 1.0}}) {
        const ProcessOutput merged = server->run(
            "xrdb", {"-merge"}, {.input = std::string("Xft.dpi: ") + dpi + "\nXft.antialias: 1\n"});
        ASSERT_EQ(merged.exitCode, 0) << merged.err;
        EXPECT_TRUE(waitUntil([&] { return backend->displays().at(0).scale == scale; })) << "Xft.dpi " << dpi;
    }
}

TEST_F(X11ScreenTest, PointerPositionFollowsThePointer) {
    ASSERT_EQ(server->run("xdotool", {"mousemove", "123", "45"}).exitCode, 0);
    EXPECT_TRUE(waitUntil([&] { return backend->pointerPosition() == QPoint(123, 45); }));
}

TEST_F(X11ScreenTest, WithoutWindowManagerTheMappedTopLevelsAreListed) {
    const TestWindow back = openTestWindow(*server, {.title = "Back", .position = QPoint(10, 10)});
    const TestWindow front =
        openTestWindow(*server, {.title = "Front", .pattern = "#808000", .position = QPoint(30, 30)});
    ASSERT_TRUE(waitUntil([&] { return findWindow(*backend, back.id) && findWindow(*backend, front.id); }));

    const std::optional<platform::WindowInfo> info = findWindow(*backend, front.id);
    EXPECT_EQ(info->title, QStringLiteral("Front"));
    EXPECT_EQ(info->pid, front.process->pid());
    EXPECT_EQ(info->frame, clientRect(*server, front.id)); // no decorations
    EXPECT_LT(stackingIndex(*backend, front.id), stackingIndex(*backend, back.id));
    EXPECT_EQ(backend->activeWindow(), std::nullopt);
    EXPECT_TRUE(backend->grabWindow(front.id).ok());
}

} // namespace
