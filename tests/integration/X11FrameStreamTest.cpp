// Frame streams for recording, against Xvfb with openbox: the pace, the picture, a window
// followed as it moves, and the end of a window that closes.

#include "BackendConnection.h"
#include "PatternMatching.h"
#include "TestWindow.h"
#include "WaitUntil.h"
#include "XServer.h"

#include "platform/x11/X11FrameStream.h"

#include <gtest/gtest.h>

#include <QMutex>
#include <QThread>

#include <xcb/xcb.h>

#include <unistd.h>

namespace {

using namespace testsupport;

struct Received {
    QMutex mutex;
    QList<QImage> frames;
    QList<qint64> times;
    std::optional<Error> error;

    platform::FrameStream::FrameHandler onFrame() {
        return [this](const QImage& frame, qint64 time) {
            QMutexLocker lock(&mutex);
            frames.append(frame);
            times.append(time);
        };
    }
    platform::FrameStream::ErrorHandler onError() {
        return [this](const Error& e) {
            QMutexLocker lock(&mutex);
            error = e;
        };
    }
    qsizetype count() {
        QMutexLocker lock(&mutex);
        return frames.size();
    }
};

class X11FrameStreamTest : public ::testing::Test {
protected:
    void SetUp() override {
        server = XServer::start({.width = 800, .height = 600, .windowManager = true});
        backend = connectBackend(*server);
        auto created = platform::x11::X11FrameStreams().create();
        ASSERT_TRUE(created);
        stream = std::move(created.value());
    }

    std::unique_ptr<XServer> server;
    std::unique_ptr<platform::ScreenBackend> backend;
    std::unique_ptr<platform::FrameStream> stream;
    Received received;
};

TEST_F(X11FrameStreamTest, AnAreaComesAtTheFrameRateWithItsPicture) {
    const TestWindow window = openTestWindow(*server, {.size = {200, 150}, .position = QPoint(100, 100)});
    const QRect client = clientRect(*server, window.id);
    ASSERT_TRUE(stream->start({client, std::nullopt},
                              {.fps = 20, .showCursor = false, .windowsInPicture = {}}, received.onFrame(),
                              received.onError()));
    QThread::msleep(1000);
    stream->stop();
    const qsizetype count = received.count();
    stream->stop(); // a second stop is harmless, and nothing arrives after the first
    EXPECT_EQ(received.count(), count);

    EXPECT_GE(count + stream->missedFrames(), 17) << "about 20 a second, taken or counted as missed";
    EXPECT_LE(count, 22);
    for (int i = 1; i < received.times.size(); ++i)
        EXPECT_GT(received.times[i], received.times[i - 1]);
    for (const QImage& frame : received.frames) {
        ASSERT_EQ(frame.size(), client.size());
        EXPECT_EQ(patternMismatches(frame, frame.rect(), QString::fromStdString(window.pattern)), 0);
    }
}

TEST_F(X11FrameStreamTest, AWindowIsFollowedAsItMovesAndItsClosingEndsTheStream) {
    const TestWindow window = openTestWindow(*server, {.size = {160, 120}, .position = QPoint(50, 50)});
    const auto listed = findWindow(*backend, window.id);
    ASSERT_TRUE(listed);
    ASSERT_TRUE(stream->start({std::nullopt, listed->id},
                              {.fps = 15, .showCursor = true, .windowsInPicture = {}}, received.onFrame(),
                              received.onError()));
    ASSERT_TRUE(waitUntil([&] { return received.count() >= 3; }));
    ASSERT_TRUE(backend->arrangeWindow(listed->id, QPoint(400, 300), std::nullopt, true));
    ASSERT_TRUE(waitUntil([&] { return clientRect(*server, window.id).topLeft().x() >= 400; }));
    const qsizetype afterMove = received.count();
    ASSERT_TRUE(waitUntil([&] { return received.count() >= afterMove + 3; }));
    {
        QMutexLocker lock(&received.mutex);
        const QImage last = received.frames.last();
        const QRect client = clientRect(*server, window.id);
        const auto frame = findWindow(*backend, window.id);
        ASSERT_TRUE(frame);
        EXPECT_EQ(last.size(), frame->frame.size());
        EXPECT_EQ(
            patternMismatches(last, within(client, frame->frame), QString::fromStdString(window.pattern)), 0);
    }

    window.process->stop();
    ASSERT_TRUE(waitUntil([&] {
        QMutexLocker lock(&received.mutex);
        return received.error.has_value();
    }));
    EXPECT_EQ(received.error->message, "The window being recorded is gone");
    stream->stop();
}

// A window of this process, painted solid magenta by the server itself.
struct OwnWindow {
    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    xcb_window_t id = XCB_NONE;

    explicit OwnWindow(const QRect& rect) {
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
        id = xcb_generate_id(connection);
        const uint32_t values[] = {0xff00ff, 1};
        xcb_create_window(connection, XCB_COPY_FROM_PARENT, id, screen->root, int16_t(rect.x()),
                          int16_t(rect.y()), uint16_t(rect.width()), uint16_t(rect.height()), 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                          XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
        const char name[] = "_NET_WM_PID";
        xcb_intern_atom_reply_t* atom =
            xcb_intern_atom_reply(connection, xcb_intern_atom(connection, 0, sizeof name - 1, name), nullptr);
        const uint32_t pid = uint32_t(::getpid());
        xcb_change_property(connection, XCB_PROP_MODE_REPLACE, id, atom->atom, XCB_ATOM_CARDINAL, 32, 1,
                            &pid);
        free(atom);
        xcb_map_window(connection, id);
        free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr)); // a round trip
    }
    ~OwnWindow() { xcb_disconnect(connection); }

    // A wallpaper of one colour, named on the root the way wallpaper setters name theirs.
    void setWallpaper(uint32_t pixel) {
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
        const xcb_pixmap_t pixmap = xcb_generate_id(connection);
        xcb_create_pixmap(connection, screen->root_depth, pixmap, screen->root, screen->width_in_pixels,
                          screen->height_in_pixels);
        const xcb_gcontext_t gc = xcb_generate_id(connection);
        xcb_create_gc(connection, gc, pixmap, XCB_GC_FOREGROUND, &pixel);
        const xcb_rectangle_t all{0, 0, screen->width_in_pixels, screen->height_in_pixels};
        xcb_poly_fill_rectangle(connection, pixmap, gc, 1, &all);
        const char name[] = "_XROOTPMAP_ID";
        xcb_intern_atom_reply_t* atom =
            xcb_intern_atom_reply(connection, xcb_intern_atom(connection, 0, sizeof name - 1, name), nullptr);
        xcb_change_property(connection, XCB_PROP_MODE_REPLACE, screen->root, atom->atom, XCB_ATOM_PIXMAP, 32,
                            1, &pixmap);
        free(atom);
        free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr)); // a round trip
    }
};

TEST_F(X11FrameStreamTest, OurOwnWindowsAreKeptOutOfThePicture) {
    const TestWindow window = openTestWindow(*server, {.size = {240, 180}, .position = QPoint(60, 60)});
    const QRect client = clientRect(*server, window.id);
    // Over the middle of the other program's window, and over the desktop beside it.
    OwnWindow ours(QRect(client.center() - QPoint(40, 30), QSize(client.width(), 60)));
    ours.setWallpaper(0x336699);
    const QRect area = client.adjusted(-20, -20, 160, 20);
    ASSERT_TRUE(stream->start({area, std::nullopt}, {.fps = 10, .showCursor = false, .windowsInPicture = {}},
                              received.onFrame(), received.onError()));
    ASSERT_TRUE(waitUntil([&] { return received.count() >= 4; }));
    stream->stop();
    QMutexLocker lock(&received.mutex);
    const QImage last = received.frames.last().convertToFormat(QImage::Format_RGB32);
    int magenta = 0;
    for (int y = 0; y < last.height(); ++y)
        for (int x = 0; x < last.width(); ++x)
            magenta += last.pixel(x, y) == qRgb(255, 0, 255);
    EXPECT_EQ(magenta, 0);
    // Beside the other window the desktop shows through: the wallpaper.
    const QPoint desktop = QPoint(client.right() + 20, client.center().y()) - area.topLeft();
    EXPECT_EQ(last.pixel(desktop), qRgb(0x33, 0x66, 0x99));
    EXPECT_EQ(
        patternMismatches(last, client.translated(-area.topLeft()), QString::fromStdString(window.pattern)),
        0);
}

TEST_F(X11FrameStreamTest, NothingToRecordFailsTheStart) {
    EXPECT_FALSE(stream->start({}, {}, received.onFrame(), received.onError()));
    EXPECT_FALSE(stream->start({std::nullopt, 0x7ffffff0u}, {}, received.onFrame(), received.onError()));
    EXPECT_EQ(received.count(), 0);
}

} // namespace
