// A server without RandR, Composite and MIT-SHM: the backend falls back to the root window.

#include "BackendConnection.h"
#include "PatternMatching.h"
#include "TestWindow.h"
#include "WaitUntil.h"
#include "XServer.h"

#include <gtest/gtest.h>

namespace {

using namespace testsupport;

TEST(X11MinimalServerTest, WorksWithoutRandrCompositeAndSharedMemory) {
    const std::unique_ptr<XServer> server = XServer::start(
        {.width = 800,
         .height = 600,
         .windowManager = false,
         .xvfbArguments = {"-extension", "RANDR", "-extension", "Composite", "-extension", "MIT-SHM"}});
    const std::unique_ptr<platform::ScreenBackend> backend = connectBackend(*server);

    const QList<platform::DisplayInfo> displays = backend->displays();
    ASSERT_EQ(displays.size(), 1);
    EXPECT_EQ(displays[0].id, 0u);
    EXPECT_EQ(displays[0].geometry, QRect(0, 0, 800, 600));
    EXPECT_TRUE(displays[0].primary);

    const TestWindow window = openTestWindow(*server, {.title = "Plain", .position = QPoint(50, 40)});
    const QRect client = clientRect(*server, window.id);
    EXPECT_TRUE(waitUntil([&] {
        const Result<QImage> area = backend->grabArea(client);
        const Result<QImage> whole = backend->grabWindow(window.id);
        return area && whole && whole->size() == client.size() &&
               patternMismatches(*area, QRect(QPoint(), client.size()), "quadrants") == 0 &&
               patternMismatches(*whole, QRect(QPoint(), client.size()), "quadrants") == 0;
    }));
}

} // namespace
