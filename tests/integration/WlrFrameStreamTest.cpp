// The screencopy frame stream in this process against a headless sway: frames of whole
// outputs and of areas at scales 1 and 2 and of turned outputs, compared pixel for pixel
// with grim's copies; times that keep rising; the end of the display reported once; windows
// handed to the portal's streams, and every stream handed there where screencopy is off.

#include "FrameCollector.h"
#include "WaitUntil.h"
#include "WaylandSessionTest.h"

#include "platform/wayland/WlrFrameStream.h"

#include <QImage>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <mutex>
#include <thread>

namespace {

using namespace testsupport;
using platform::DisplayInfo;
using platform::FrameSource;
using platform::FrameStream;
using platform::FrameStreams;
using platform::FrameStreamSettings;

// Stands in for the portal's streams: counts what reaches it.
class PortalStreams final : public FrameStreams {
public:
    class Stream final : public FrameStream {
    public:
        explicit Stream(PortalStreams& owner) : m_owner(owner) {}
        Result<bool> start(const FrameSource& source, const FrameStreamSettings&, FrameHandler,
                           ErrorHandler) override {
            m_owner.windowsStarted += source.windowId.has_value();
            ++m_owner.started;
            return Error{QStringLiteral("portal")};
        }
        void stop() override {}
        int missedFrames() const override { return 0; }

    private:
        PortalStreams& m_owner;
    };

    Result<std::unique_ptr<FrameStream>> create() override {
        ++created;
        return std::unique_ptr<FrameStream>(std::make_unique<Stream>(*this));
    }

    int created = 0;
    int started = 0;
    int windowsStarted = 0;
};

class WlrFrameStreamTest : public WaylandSessionTest {
protected:
    void startSession(const WaylandSession::Options& options) {
        std::string whyNot;
        session = WaylandSession::start(options, &whyNot);
        if (!session) GTEST_SKIP() << "no headless Wayland session: " << whyNot;
        // This process is the session's client.
        for (const char* name : {"WAYLAND_DISPLAY", "XDG_RUNTIME_DIR", "PICTAVIA_NO_SCREENCOPY"}) {
            saved.emplace_back(name, qgetenv(name));
            qunsetenv(name);
        }
        for (const auto& [name, value] : session->environment())
            if (name == "WAYLAND_DISPLAY" || name == "XDG_RUNTIME_DIR")
                qputenv(name.c_str(), QByteArray::fromStdString(value));
    }

    void TearDown() override {
        for (const auto& [name, value] : saved)
            if (value.isNull())
                qunsetenv(name.c_str());
            else
                qputenv(name.c_str(), value);
    }

    // Streams of outputs laid out left to right, tops aligned, in their own pixels.
    std::unique_ptr<platform::wayland::WlrFrameStreams> streams(const std::vector<QSize>& sizes) {
        QList<DisplayInfo> displays;
        int left = 0;
        for (std::size_t i = 0; i < sizes.size(); ++i) {
            DisplayInfo display;
            display.id = uint32_t(i + 1);
            display.name = QString::fromStdString(session->outputNames()[i]);
            display.geometry = QRect(QPoint(left, 0), sizes[i]);
            displays.append(display);
            left += sizes[i].width();
        }
        auto portal = std::make_unique<PortalStreams>();
        portalStreams = portal.get();
        return std::make_unique<platform::wayland::WlrFrameStreams>([displays] { return displays; },
                                                                    std::move(portal));
    }

    Result<bool> start(FrameStream& stream, const FrameSource& source, int fps = 30) {
        FrameStreamSettings settings;
        settings.fps = fps;
        settings.showCursor = false;
        received.clear();
        return stream.start(source, settings, received.onFrame(), received.onError());
    }

    // The last of `count` frames of `rect` (root pixels).
    QImage recorded(FrameStreams& from, const QRect& rect, int count = 5) {
        auto stream = from.create();
        EXPECT_TRUE(stream);
        if (!stream) return {};
        const auto started = start(**stream, FrameSource{rect, std::nullopt});
        EXPECT_TRUE(started) << started.error().message.toStdString();
        if (!started) return {};
        received.waitForFrames(count);
        (*stream)->stop();
        const std::lock_guard lock(received.mutex);
        EXPECT_GE(received.frames.size(), count);
        EXPECT_EQ(received.errors, 0) << received.error.toStdString();
        // Each with a time of its own on the steady clock, later than the one before.
        EXPECT_EQ(
            std::adjacent_find(received.times.begin(), received.times.end(), std::greater_equal<qint64>()),
            received.times.end());
        return received.frames.isEmpty() ? QImage() : received.frames.back();
    }

    // A background of four colours on `output`, so that a misplaced cut shows.
    void showQuadrants(const std::string& output, const QSize& pixels) {
        QImage quadrants(pixels, QImage::Format_RGB32);
        const int w = pixels.width() / 2, h = pixels.height() / 2;
        quadrants.fill(Qt::black);
        for (int y = 0; y < pixels.height(); ++y)
            for (int x = 0; x < pixels.width(); ++x)
                quadrants.setPixel(x, y,
                                   x < w ? (y < h ? qRgb(0xcc, 0x33, 0x33) : qRgb(0x33, 0x33, 0xcc))
                                         : (y < h ? qRgb(0x33, 0xcc, 0x33) : qRgb(0xee, 0xee, 0x22)));
        const QString file = QString::fromStdString(session->directory() + "/" + output + ".png");
        ASSERT_TRUE(quadrants.save(file));
        QFile::setPermissions(file,
                              QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadOther);
        session->startProcess("swaybg", {"-o", output, "-i", file.toStdString(), "-m", "stretch"});
        ASSERT_TRUE(waitUntil([&] {
            const QImage shown = grim(output);
            return shown.size() == pixels &&
                   shown.pixel(pixels.width() * 3 / 4, h / 2) == qRgb(0x33, 0xcc, 0x33);
        }));
    }

    std::vector<std::pair<std::string, QByteArray>> saved;
    FrameCollector received;
    PortalStreams* portalStreams = nullptr;
};

TEST_F(WlrFrameStreamTest, OutputsAndAreasAtScalesOneAndTwoAreRecordedPixelForPixel) {
    startSession({.outputs = {{640, 480, 1.0}, {800, 600, 2.0}}});
    showQuadrants("HEADLESS-1", QSize(640, 480));
    showQuadrants("HEADLESS-2", QSize(800, 600));
    const QImage left = grim("HEADLESS-1");
    const QImage right = grim("HEADLESS-2");
    auto all = streams({QSize(640, 480), QSize(800, 600)});

    EXPECT_EQ(differingPixels(recorded(*all, QRect(0, 0, 640, 480)), left), 0);
    EXPECT_EQ(differingPixels(recorded(*all, QRect(640, 0, 800, 600)), right), 0);
    // Areas across the quadrants' borders: on the scale-1 output; on the scale-2 one on
    // whole logical units (copied alone) and off them (cut from the whole output).
    const QRect odd(301, 7, 97, 301);
    EXPECT_EQ(differingPixels(recorded(*all, odd), left.copy(odd)), 0);
    const QRect even(300, 200, 200, 180);
    EXPECT_EQ(differingPixels(recorded(*all, even.translated(640, 0)), right.copy(even)), 0);
    EXPECT_EQ(differingPixels(recorded(*all, odd.translated(640, 0)), right.copy(odd)), 0);

    // An area that is not inside one output is refused with a sentence.
    const auto across = all->create();
    ASSERT_TRUE(across);
    const auto refused = start(**across, FrameSource{QRect(600, 0, 100, 100), std::nullopt});
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().message, "That area is off screen");
    EXPECT_EQ(portalStreams->created, 0);
}

TEST_F(WlrFrameStreamTest, TurnedOutputsAreRecordedAsTheyAreSeen) {
    startSession({.outputs = {{640, 480, 1.0}}});
    showQuadrants("HEADLESS-1", QSize(640, 480));
    for (const char* transform : {"90", "flipped-180"}) {
        ASSERT_EQ(session->run("swaymsg", {"output", "HEADLESS-1", "transform", transform}).exitCode, 0);
        const QSize seen = transform == std::string("90") ? QSize(480, 640) : QSize(640, 480);
        QImage shown;
        ASSERT_TRUE(waitUntil([&] {
            shown = grim("HEADLESS-1");
            return shown.size() == seen;
        }));
        auto turned = streams({seen});
        EXPECT_EQ(differingPixels(recorded(*turned, QRect(QPoint(), seen)), shown), 0) << transform;
        const QRect area(30, 40, 200, 100);
        EXPECT_EQ(differingPixels(recorded(*turned, area), shown.copy(area)), 0) << transform;
    }
}

// sway 1.7 keeps headless outputs enabled whatever it is told, so it is the whole display
// that goes away here: the compositor quits.
TEST_F(WlrFrameStreamTest, TheDisplayGoingAwayEndsTheStreamOnce) {
    startSession({.outputs = {{320, 240, 1.0}, {320, 240, 1.0}}});
    auto all = streams({QSize(320, 240), QSize(320, 240)});
    auto stream = all->create();
    ASSERT_TRUE(stream);
    ASSERT_TRUE(start(**stream, FrameSource{QRect(320, 0, 320, 240), std::nullopt}));
    received.waitForFrames(5);
    session->run("swaymsg", {"exit"});
    received.waitForError(std::chrono::seconds(30));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    (*stream)->stop();
    const std::lock_guard lock(received.mutex);
    EXPECT_EQ(received.errors, 1);
    EXPECT_EQ(received.error, "The connection to the Wayland compositor was lost.");
    EXPECT_EQ(received.frames.size(), received.framesAtError) << "frames after the end";
}

TEST_F(WlrFrameStreamTest, WindowsAndEverythingWithScreencopyOffGoToThePortal) {
    startSession({.outputs = {{320, 240, 1.0}}});
    auto all = streams({QSize(320, 240)});
    auto window = all->create();
    ASSERT_TRUE(window);
    EXPECT_FALSE(start(**window, FrameSource{std::nullopt, 7}));
    EXPECT_EQ(portalStreams->windowsStarted, 1);

    qputenv("PICTAVIA_NO_SCREENCOPY", "1");
    auto off = streams({QSize(320, 240)});
    auto area = off->create();
    ASSERT_TRUE(area);
    EXPECT_FALSE(start(**area, FrameSource{QRect(0, 0, 100, 100), std::nullopt}));
    EXPECT_EQ(portalStreams->started, 1);
}

} // namespace
