// Capturing areas of the screen, through MIT-SHM and through plain GetImage.

#include "BackendConnection.h"
#include "PatternMatching.h"
#include "TestWindow.h"
#include "WaitUntil.h"
#include "XServer.h"

#include <gtest/gtest.h>

#include <QLoggingCategory>
#include <QStringList>

#include <numeric>
#include <thread>
#include <vector>

namespace {

using namespace testsupport;

// Collects the backend's debug messages while it lives.
class BackendLog {
public:
    BackendLog() {
        s_messages.clear();
        QLoggingCategory::setFilterRules(QStringLiteral("pictavia.x11.debug=true"));
        m_previous = qInstallMessageHandler(&BackendLog::collect);
    }
    ~BackendLog() {
        qInstallMessageHandler(m_previous);
        QLoggingCategory::setFilterRules(QString());
    }
    QString text() const { return s_messages.join('\n'); }

private:
    static void collect(QtMsgType, const QMessageLogContext& context, const QString& message) {
        if (context.category && QByteArray(context.category) == "pictavia.x11") s_messages.append(message);
    }
    static inline QStringList s_messages;
    QtMessageHandler m_previous = nullptr;
};

class X11AreaCaptureTest : public ::testing::Test {
protected:
    void SetUp() override {
        // Tall enough that a full-screen GetImage needs more than one strip.
        server = XServer::start({.width = 1600, .height = 1200, .windowManager = true});
        backend = connectBackend(*server);
        window =
            openTestWindow(*server, {.title = "Area", .size = QSize(400, 300), .position = QPoint(120, 90)});
        // Wait for the window manager to settle the window where it will stay.
        ASSERT_TRUE(waitUntil([&] {
            const std::optional<platform::WindowInfo> info = findWindow(*backend, window.id);
            client = clientRect(*server, window.id);
            return info && info->frame.contains(client);
        }));
    }

    std::unique_ptr<XServer> server;
    std::unique_ptr<platform::ScreenBackend> backend;
    TestWindow window;
    QRect client;
};

TEST_F(X11AreaCaptureTest, AreaOfAWindowShowsItsPixels) {
    // Part of the window, reaching across all four quarters.
    const QRect area = client.adjusted(40, 30, -60, -50);
    Result<QImage> image = QImage();
    ASSERT_TRUE(waitUntil([&] {
        image = backend->grabArea(client);
        return image && patternMismatches(*image, QRect(QPoint(), client.size()), "quadrants") == 0;
    })) << "the window's area does not show its pattern";

    const Result<QImage> part = backend->grabArea(area);
    ASSERT_TRUE(part.ok()) << part.error().message.toStdString();
    EXPECT_EQ(part->size(), area.size());
    EXPECT_EQ(part->format(), QImage::Format_RGB32);
    EXPECT_EQ(*part, image->copy(within(area, client)));
}

TEST_F(X11AreaCaptureTest, ImagesKeepTheirPixelsThroughLaterGrabsAndTheBackendsEnd) {
    Result<QImage> first = QImage();
    ASSERT_TRUE(waitUntil([&] {
        first = backend->grabArea(client);
        return first && patternMismatches(*first, QRect(QPoint(), client.size()), "quadrants") == 0;
    }));
    const QImage kept = *first;
    first = QImage();

    // Grabs of other sizes and places, some kept a while, some freed at once.
    std::vector<QImage> others;
    for (const QRect& area : {QRect(0, 0, 1600, 1200), QRect(0, 0, 64, 64), QRect(900, 700, 300, 200),
                              QRect(0, 0, 1600, 1200), client.adjusted(10, 10, -10, -10)}) {
        const Result<QImage> other = backend->grabArea(area);
        ASSERT_TRUE(other.ok());
        EXPECT_EQ(other->size(), area.size());
        if (others.size() < 2) others.push_back(*other);
    }
    EXPECT_EQ(patternMismatches(kept, QRect(QPoint(), client.size()), "quadrants"), 0);

    // A smaller grab after the large ones were freed.
    others.clear();
    const Result<QImage> part = backend->grabArea(client.adjusted(0, 0, 0, -client.height() / 2));
    ASSERT_TRUE(part.ok());
    EXPECT_EQ(*part, kept.copy(0, 0, client.width(), client.height() - client.height() / 2));

    // Images outlive the backend that made them.
    const Result<QImage> last = backend->grabArea(client);
    ASSERT_TRUE(last.ok());
    backend.reset();
    EXPECT_EQ(*last, kept);
}

TEST_F(X11AreaCaptureTest, AreaOffScreenIsRefused) {
    const QRect screen(0, 0, 1600, 1200);
    EXPECT_TRUE(backend->grabArea(screen).ok());
    for (const QRect& outside :
         {QRect(-1, 0, 100, 100), QRect(1550, 10, 51, 10), QRect(0, 1199, 10, 2), QRect(2000, 2000, 5, 5)}) {
        const Result<QImage> image = backend->grabArea(outside);
        ASSERT_FALSE(image.ok());
        EXPECT_EQ(image.error().message, QStringLiteral("That area is off screen"));
    }
}

TEST_F(X11AreaCaptureTest, GrabsFromManyThreadsAtOnceGetTheRightPixels) {
    Result<QImage> reference = QImage();
    ASSERT_TRUE(waitUntil([&] {
        reference = backend->grabArea(client);
        return reference && patternMismatches(*reference, QRect(QPoint(), client.size()), "quadrants") == 0;
    }));

    constexpr int kThreads = 4;
    constexpr int kGrabs = 10;
    std::vector<int> wrong(kThreads, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kGrabs; ++i) {
                const Result<QImage> area = backend->grabArea(client);
                const Result<QImage> whole = backend->grabWindow(window.id);
                if (!area || *area != *reference || !whole || whole->isNull()) ++wrong[size_t(t)];
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(std::accumulate(wrong.begin(), wrong.end(), 0), 0);
}

TEST_F(X11AreaCaptureTest, GetImageGivesTheSamePixelsAsSharedMemory) {
    std::unique_ptr<platform::ScreenBackend> plain;
    {
        const BackendLog log;
        plain = connectBackend(*server, PixelTransfer::GetImage);
        EXPECT_TRUE(log.text().contains("with GetImage")) << log.text().toStdString();
    }
    {
        const BackendLog log;
        connectBackend(*server);
        EXPECT_TRUE(log.text().contains("through MIT-SHM")) << log.text().toStdString();
    }
    ASSERT_TRUE(waitUntil([&] { return plain->grabArea(client).ok(); }));

    for (const QRect& area : {QRect(0, 0, 1600, 1200), QRect(13, 7, 501, 403), client}) {
        // The screen may still change between two grabs (a late repaint): compare until stable.
        Result<QImage> shared = QImage();
        Result<QImage> fallback = QImage();
        EXPECT_TRUE(waitUntil([&] {
            shared = backend->grabArea(area);
            fallback = plain->grabArea(area);
            return shared && fallback && *shared == *fallback;
        })) << "area "
            << area.x() << "," << area.y() << " " << area.width() << "x" << area.height();
        ASSERT_TRUE(fallback.ok());
        EXPECT_EQ(fallback->format(), QImage::Format_RGB32);
        if (area.contains(client)) {
            EXPECT_EQ(patternMismatches(*fallback, within(client, area), "quadrants"), 0);
        }
    }

    // A window capture through the window's own pixmap, read without shared memory.
    const TestWindow cover = openTestWindow(
        *server,
        {.title = "Cover", .pattern = "#ff8000", .size = QSize(200, 200), .position = QPoint(400, 250)});
    ASSERT_TRUE(waitUntil([&] {
        const int coverIndex = stackingIndex(*plain, cover.id);
        return coverIndex >= 0 && coverIndex < stackingIndex(*plain, window.id) &&
               clientRect(*server, cover.id).intersects(client);
    }));
    EXPECT_TRUE(waitUntil([&] {
        const std::optional<platform::WindowInfo> info = findWindow(*plain, window.id);
        const Result<QImage> image = plain->grabWindow(window.id);
        return info && image && image->size() == info->frame.size() &&
               patternMismatches(*image, within(client, info->frame), "quadrants") == 0;
    })) << "the covered window's capture without shared memory does not show its pattern";
}

TEST(X11SharedMemoryTest, ServerThatCannotAttachOurMemoryStillGivesPixels) {
    std::unique_ptr<XServer> server;
    try {
        server = XServer::start(
            {.width = 800, .height = 600, .windowManager = false, .isolateSharedMemory = true});
    } catch (const std::runtime_error& e) {
        GTEST_SKIP() << "cannot run Xvfb in its own IPC namespace here: " << e.what();
    }
    const TestWindow window = openTestWindow(*server, {.title = "Remote-like", .position = QPoint(20, 30)});
    const std::unique_ptr<platform::ScreenBackend> shared = connectBackend(*server);
    const std::unique_ptr<platform::ScreenBackend> plain = connectBackend(*server, PixelTransfer::GetImage);
    const QRect client = clientRect(*server, window.id);

    const BackendLog log;
    Result<QImage> viaShared = QImage();
    Result<QImage> viaGetImage = QImage();
    EXPECT_TRUE(waitUntil([&] {
        viaShared = shared->grabArea(client);
        viaGetImage = plain->grabArea(client);
        return viaShared && viaGetImage && *viaShared == *viaGetImage &&
               patternMismatches(*viaShared, QRect(QPoint(), client.size()), "quadrants") == 0;
    }));
    EXPECT_TRUE(log.text().contains("cannot attach")) << log.text().toStdString();
}

} // namespace
