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
    ASSERT_TRUE(stream->start({client, std::nullopt}, {.fps = 20, .showCursor = false}, received.onFrame(),
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
    ASSERT_TRUE(stream->start({std::nullopt, listed->id}, {.fps = 15, .showCursor = true}, received.onFrame(),
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

TEST_F(X11FrameStreamTest, NothingToRecordFailsTheStart) {
    EXPECT_FALSE(stream->start({}, {}, received.onFrame(), received.onError()));
    EXPECT_FALSE(stream->start({std::nullopt, 0x7ffffff0u}, {}, received.onFrame(), received.onError()));
    EXPECT_EQ(received.count(), 0);
}

} // namespace
