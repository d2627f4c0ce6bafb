// The desktop cover hides a desktop window (a file manager's icons) and nothing else.

#include "BackendConnection.h"
#include "PatternMatching.h"
#include "TestWindow.h"
#include "WaitUntil.h"
#include "XServer.h"

#include "platform/x11/X11DesktopCover.h"

#include <gtest/gtest.h>

#include <utility>

#include <xcb/xcb.h>

#include <array>
#include <cstring>
#include <stdexcept>

namespace {

using namespace testsupport;

constexpr QRect kScreen(0, 0, 800, 600);

// A wallpaper set the way wallpaper setters do: a pixmap named by _XROOTPMAP_ID, here
// `top` above y = 300 and `bottom` below. Lives as long as this connection.
class Wallpaper {
public:
    Wallpaper(const std::string& display, uint32_t top, uint32_t bottom)
        : m_connection(xcb_connect(display.c_str(), nullptr)) {
        if (xcb_connection_has_error(m_connection)) throw std::runtime_error("cannot connect to " + display);
        xcb_connection_t* c = m_connection;
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
        const xcb_pixmap_t pixmap = xcb_generate_id(c);
        xcb_create_pixmap(c, screen->root_depth, pixmap, screen->root, uint16_t(kScreen.width()),
                          uint16_t(kScreen.height()));
        const xcb_gcontext_t gc = xcb_generate_id(c);
        xcb_create_gc(c, gc, pixmap, 0, nullptr);
        for (auto [color, y] : {std::pair{top, 0}, std::pair{bottom, 300}}) {
            xcb_change_gc(c, gc, XCB_GC_FOREGROUND, &color);
            const xcb_rectangle_t rect{0, int16_t(y), uint16_t(kScreen.width()), 300};
            xcb_poly_fill_rectangle(c, pixmap, gc, 1, &rect);
        }
        const char* name = "_XROOTPMAP_ID";
        xcb_intern_atom_reply_t* atom =
            xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, uint16_t(std::strlen(name)), name), nullptr);
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, screen->root, atom->atom, XCB_ATOM_PIXMAP, 32, 1,
                            &pixmap);
        std::free(atom);
        std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
    }
    ~Wallpaper() { xcb_disconnect(m_connection); }

private:
    xcb_connection_t* m_connection;
};

class X11DesktopCoverTest : public ::testing::Test {
protected:
    void SetUp() override {
        server =
            XServer::start({.width = kScreen.width(), .height = kScreen.height(), .windowManager = true});
        backend = connectBackend(*server); // also points DISPLAY at the server for the cover
        cover = platform::x11::makeDesktopCover();
    }

    // A desktop window with the quadrants, started directly: openTestWindow has no --type.
    uint32_t openDesktopWindow(const QRect& rect) {
        ChildProcess& process = server->startProcess(
            TEST_WINDOW_BIN, {"--title", "Desktop", "--type", "desktop", "--pattern", "quadrants", "--size",
                              std::to_string(rect.width()) + "x" + std::to_string(rect.height()), "--pos",
                              std::to_string(rect.x()) + "," + std::to_string(rect.y())});
        const std::optional<std::string> line = process.readLine(30s);
        if (!line) throw std::runtime_error("test_window did not show its desktop window within 30 s");
        return static_cast<uint32_t>(std::stoul(*line));
    }

    QImage screen() {
        Result<QImage> image = backend->grabArea(kScreen);
        if (!image) throw std::runtime_error(image.error().message.toStdString());
        return *image;
    }

    // Waits until the screen shows the pattern in `rect`.
    bool shows(const QRect& rect, const QString& pattern) {
        return waitUntil([&] { return patternMismatches(screen(), rect, pattern) == 0; });
    }

    std::unique_ptr<XServer> server;
    std::unique_ptr<platform::ScreenBackend> backend;
    std::unique_ptr<platform::DesktopCover> cover;
};

TEST_F(X11DesktopCoverTest, CoversTheDesktopWindowButNotTheWindowsAboveIt) {
    const uint32_t desktopId = openDesktopWindow(QRect(100, 80, 600, 440));
    const TestWindow front = openTestWindow(
        *server,
        {.title = "Front", .pattern = "#ff00ff", .size = QSize(200, 150), .position = QPoint(450, 330)});
    QRect desktop;
    QRect frontRect;
    ASSERT_TRUE(waitUntil([&] {
        desktop = clientRect(*server, desktopId);
        frontRect = clientRect(*server, front.id);
        return desktop.size() == QSize(600, 440) && frontRect.size() == QSize(200, 150);
    }));
    ASSERT_TRUE(shows(frontRect, "#ff00ff"));
    // The desktop's top-left quarter, red, where the front window is not.
    const QRect quarter(desktop.topLeft(), desktop.size() / 2);
    ASSERT_FALSE(quarter.intersects(frontRect)) << "the window manager placed the front window oddly";
    ASSERT_TRUE(shows(quarter, "#ff0000"));

    // Painted by the time cover() returns, so no waiting here; a second cover() changes nothing.
    cover->cover();
    cover->cover();
    const QImage covered = screen();
    EXPECT_EQ(patternMismatches(covered, frontRect, "#ff00ff"), 0);
    EXPECT_EQ(patternMismatches(covered, quarter, "#303030"), 0) << "no wallpaper: dark grey";

    cover->uncover();
    EXPECT_TRUE(shows(quarter, "#ff0000"));
    EXPECT_TRUE(shows(frontRect, "#ff00ff"));

    // With a wallpaper, the cover shows the part of it that lies under the desktop window.
    const Wallpaper wallpaper(server->display(), 0x20c020, 0x2020c0);
    cover->cover();
    const QImage withWallpaper = screen();
    EXPECT_EQ(patternMismatches(withWallpaper, QRect(desktop.left(), desktop.top(), 100, 300 - desktop.top()),
                                "#20c020"),
              0);
    EXPECT_EQ(
        patternMismatches(withWallpaper, QRect(desktop.left(), 300, 100, desktop.bottom() - 299), "#2020c0"),
        0);
    EXPECT_EQ(patternMismatches(withWallpaper, frontRect, "#ff00ff"), 0);
    cover.reset(); // uncovers
    EXPECT_TRUE(shows(quarter, "#ff0000"));
}

TEST_F(X11DesktopCoverTest, WithoutDesktopWindowNothingChanges) {
    const TestWindow window = openTestWindow(*server, {.title = "Only", .pattern = "quadrants"});
    QRect rect;
    ASSERT_TRUE(waitUntil([&] {
        rect = clientRect(*server, window.id);
        return patternMismatches(screen(), rect, "quadrants") == 0;
    }));
    // The window manager may still be repainting the frame (focus): wait for a still screen.
    QImage before = screen();
    ASSERT_TRUE(waitUntil([&] {
        const QImage previous = std::exchange(before, screen());
        return previous == before;
    }));
    cover->cover();
    EXPECT_EQ(screen(), before);
    cover->uncover();
}

} // namespace
