// Window listing, stacking and capture by id, against Xvfb with openbox.

#include "BackendConnection.h"
#include "PatternMatching.h"
#include "TestWindow.h"
#include "WaitUntil.h"
#include "XServer.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace testsupport;
using platform::WindowInfo;

class X11WindowsTest : public ::testing::Test {
protected:
    void SetUp() override {
        server = XServer::start({.width = 1024, .height = 768, .windowManager = true});
        backend = connectBackend(*server);
    }

    // Waits until the window is listed where the server has put its client area.
    WindowInfo waitForListing(const TestWindow& window) {
        std::optional<WindowInfo> info;
        const bool listed = waitUntil([&] {
            info = findWindow(*backend, window.id);
            return info && info->frame.contains(clientRect(*server, window.id));
        });
        if (!listed) throw std::runtime_error("window " + std::to_string(window.id) + " was not listed");
        return *info;
    }

    // Polls grabWindow until the client area shows the window's pattern; `problem` says
    // what was last wrong.
    bool waitForCaptureOfPattern(const TestWindow& window, std::string& problem) {
        return waitUntil([&] {
            const std::optional<WindowInfo> info = findWindow(*backend, window.id);
            if (!info) {
                problem = "not listed";
                return false;
            }
            const Result<QImage> image = backend->grabWindow(window.id);
            if (!image) {
                problem = image.error().message.toStdString();
                return false;
            }
            if (image->size() != info->frame.size()) {
                problem = "image size differs from the frame";
                return false;
            }
            const int mismatches =
                patternMismatches(*image, within(clientRect(*server, window.id), info->frame),
                                  QString::fromStdString(window.pattern));
            problem = std::to_string(mismatches) + " pixels differ from the pattern";
            return mismatches == 0;
        });
    }

    std::unique_ptr<XServer> server;
    std::unique_ptr<platform::ScreenBackend> backend;
};

TEST_F(X11WindowsTest, ListsTestWindowWithTitleOwnerPidFrameAndLayer) {
    const TestWindow window = openTestWindow(
        *server, {.title = "Pictavia probe ✓", .position = QPoint(50, 60), .windowClass = "PictaviaProbe"});
    const WindowInfo info = waitForListing(window);

    EXPECT_EQ(info.title, QStringLiteral("Pictavia probe ✓"));
    EXPECT_EQ(info.ownerName, QStringLiteral("PictaviaProbe"));
    EXPECT_EQ(info.pid, window.process->pid());
    EXPECT_EQ(info.layer, 0);
    // openbox's decorations: the frame is larger than the client and has a title bar.
    const QRect client = clientRect(*server, window.id);
    EXPECT_GT(info.frame.height(), client.height());
    EXPECT_GT(client.top(), info.frame.top());

    const TestWindow onTop =
        openTestWindow(*server, {.title = "On top", .pattern = "#3366cc", .above = true});
    EXPECT_EQ(waitForListing(onTop).layer, 3);
    const TestWindow atBottom =
        openTestWindow(*server, {.title = "At bottom", .pattern = "#cc6633", .below = true});
    EXPECT_EQ(waitForListing(atBottom).layer, -1);
}

TEST_F(X11WindowsTest, MinimizedWindowIsNotListed) {
    const TestWindow window = openTestWindow(*server, {.title = "Minimized"});
    waitForListing(window);

    server->run("xdotool", {"windowminimize", std::to_string(window.id)});
    EXPECT_TRUE(waitUntil([&] { return !findWindow(*backend, window.id); }));

    server->run("xdotool", {"windowactivate", std::to_string(window.id)});
    EXPECT_TRUE(waitUntil([&] { return findWindow(*backend, window.id).has_value(); }));
}

TEST_F(X11WindowsTest, CapturesWindowWithFrameEvenWhereAnotherWindowCoversIt) {
    const TestWindow window = openTestWindow(
        *server,
        {.title = "Covered", .pattern = "quadrants", .size = QSize(320, 240), .position = QPoint(100, 100)});
    waitForListing(window);
    std::string problem;
    EXPECT_TRUE(waitForCaptureOfPattern(window, problem)) << "uncovered window: " << problem;

    // A window on top of the bottom-right quarter.
    const TestWindow cover = openTestWindow(
        *server,
        {.title = "Cover", .pattern = "#ff8000", .size = QSize(200, 150), .position = QPoint(300, 250)});
    const QRect covered = clientRect(*server, window.id);
    ASSERT_TRUE(waitUntil([&] {
        const int coverIndex = stackingIndex(*backend, cover.id);
        return coverIndex >= 0 && coverIndex < stackingIndex(*backend, window.id) &&
               clientRect(*server, cover.id).intersects(covered);
    })) << "the cover window did not end up over the window";
    // The screen really shows the cover there...
    const QRect overlap = clientRect(*server, cover.id) & covered;
    ASSERT_TRUE(waitUntil([&] {
        const Result<QImage> area = backend->grabArea(overlap);
        return area &&
               patternMismatches(*area, QRect(QPoint(), overlap.size()), QStringLiteral("#ff8000")) == 0;
    }));
    // ...while the capture by id shows the window itself.
    EXPECT_TRUE(waitForCaptureOfPattern(window, problem)) << "covered window: " << problem;
}

TEST_F(X11WindowsTest, CapturesThePartOfAWindowBeyondTheScreenEdge) {
    const TestWindow window = openTestWindow(*server, {.title = "Half out",
                                                       .pattern = "quadrants",
                                                       .size = QSize(300, 200),
                                                       .position = QPoint(-120, 200)});
    ASSERT_TRUE(waitUntil([&] {
        const std::optional<WindowInfo> info = findWindow(*backend, window.id);
        return info && info->frame.left() < 0 && info->frame.contains(clientRect(*server, window.id));
    })) << "the window manager did not leave the window partly off screen";
    std::string problem;
    EXPECT_TRUE(waitForCaptureOfPattern(window, problem)) << problem;
}

TEST_F(X11WindowsTest, ClosedWindowIsNotFound) {
    const TestWindow window = openTestWindow(*server, {.title = "Short-lived"});
    waitForListing(window);
    ASSERT_TRUE(backend->grabWindow(window.id).ok());

    window.process->stop();
    Result<QImage> capture = QImage();
    ASSERT_TRUE(waitUntil([&] {
        capture = backend->grabWindow(window.id);
        return !capture.ok();
    }));
    EXPECT_EQ(capture.error().message, QStringLiteral("Window not found"));
    EXPECT_EQ(capture.error().code, 2);
    EXPECT_EQ(capture.error().domain, QStringLiteral("com.corvanta.pictavia"));
    EXPECT_TRUE(waitUntil([&] { return !findWindow(*backend, window.id); }));

    const Result<QImage> neverExisted = backend->grabWindow(0x7ffffff);
    ASSERT_FALSE(neverExisted.ok());
    EXPECT_EQ(neverExisted.error().code, 2);
}

TEST_F(X11WindowsTest, ActivatingAWindowMakesItActiveAndFrontmost) {
    const TestWindow first = openTestWindow(*server, {.title = "First", .position = QPoint(40, 40)});
    const TestWindow second =
        openTestWindow(*server, {.title = "Second", .pattern = "#20a040", .position = QPoint(200, 120)});
    waitForListing(first);
    waitForListing(second);

    for (const TestWindow* window : {&first, &second, &first}) {
        const TestWindow* other = window == &first ? &second : &first;
        server->run("xdotool", {"windowactivate", std::to_string(window->id)});
        EXPECT_TRUE(waitUntil([&] {
            const int index = stackingIndex(*backend, window->id);
            return backend->activeWindow() == window->id && index >= 0 &&
                   index < stackingIndex(*backend, other->id);
        })) << "window "
            << window->id << " did not come to the front";
    }
}

} // namespace
