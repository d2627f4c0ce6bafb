#include "recording/CursorPath.h"
#include "recording/CursorRecorder.h"
#include "recording/RecordingCompanions.h"
#include "support/EventLoop.h"
#include "support/FakeInputMonitor.h"
#include "support/FakePlatform.h"

#include <QCoreApplication>

namespace {

class CursorTrackTest : public testsupport::PlatformTest {
protected:
    RecordingRegion region{QRect(100, 100, 400, 200), std::nullopt};
    double clock = 0;
    bool running = true;

    void TearDown() override { platform::services().inputMonitors.reset(); }

    CursorRecorder recorder(bool shapes = false) {
        return CursorRecorder(
            region, [this] { return clock; }, [this] { return running; }, shapes, *screen);
    }
    // `seconds` of ticks at 60 a second, the clock moving with them.
    static void tick(CursorRecorder& r, double& clock, double seconds) {
        for (int i = 0; i < int(seconds * 60); ++i) {
            clock += 1.0 / 60;
            r.sample();
        }
    }
};

TEST_F(CursorTrackTest, ARestingPointerIsSampledTwiceASecondAMovingOneEveryTick) {
    screen->pointer = QPoint(300, 200);
    CursorRecorder r = recorder();
    r.sample();
    tick(r, clock, 2.0);
    // One at the start, then one each half second: not one per tick.
    EXPECT_GE(r.samples().size(), 4);
    EXPECT_LE(r.samples().size(), 5);
    const auto before = r.samples().size();
    for (int i = 0; i < 30; ++i) {
        screen->pointer += QPoint(2, 1);
        clock += 1.0 / 60;
        r.sample();
    }
    EXPECT_EQ(r.samples().size(), before + 30);
    EXPECT_DOUBLE_EQ(r.samples().front().x, 0.5);
    EXPECT_DOUBLE_EQ(r.samples().front().y, 0.5);
    // Paused: nothing taken.
    running = false;
    screen->pointer += QPoint(50, 0);
    r.sample();
    EXPECT_EQ(r.samples().size(), before + 30);
}

TEST_F(CursorTrackTest, PointerImagesAreStoredOnceWithTheirHotSpots) {
    QImage arrow(16, 16, QImage::Format_ARGB32_Premultiplied);
    arrow.fill(Qt::white);
    QImage beam = arrow;
    beam.fill(Qt::black);
    screen->pointerImage = platform::ScreenBackend::Cursor{arrow, {}, QPoint(1, 2), 7};
    CursorRecorder r = recorder(true);
    r.sample();
    tick(r, clock, 0.2);
    screen->pointerImage = platform::ScreenBackend::Cursor{beam, {}, QPoint(8, 8), 8};
    tick(r, clock, 0.2);
    // The arrow again under a new serial is the same shape.
    screen->pointerImage = platform::ScreenBackend::Cursor{arrow, {}, QPoint(1, 2), 9};
    tick(r, clock, 0.2);
    const CursorRecorder::Track track = r.stop();
    ASSERT_EQ(track.shapes.size(), 2);
    EXPECT_EQ(track.shapes[1].hotX, 8);
    EXPECT_EQ(QImage::fromData(track.shapes[0].png).pixelColor(3, 3), QColor(Qt::white));
    QList<int> seen;
    for (const CursorSample& s : track.samples)
        if (seen.isEmpty() || seen.last() != s.shape) seen.append(s.shape);
    EXPECT_EQ(seen, (QList<int>{0, 1, 0}));
}

TEST_F(CursorTrackTest, ResamplingSmoothingAndLookups) {
    EXPECT_TRUE(CursorPath({}, 5).xs().empty());
    EXPECT_FALSE(CursorPath({}, 5).position(1));
    EXPECT_EQ(CursorPath({}, 5).shape(1), 0);

    const CursorPath line({{0, 0, 0, 0}, {1, 1, 0.5, 3}}, 2);
    EXPECT_EQ(line.xs().size(), 2u * 60 + 2);
    EXPECT_NEAR(line.position(0.5)->x(), 0.5, 1e-9);
    EXPECT_NEAR(line.position(0.5)->y(), 0.25, 1e-9);
    EXPECT_NEAR(line.position(1.7)->x(), 1.0, 1e-9);
    EXPECT_EQ(line.shape(0.99), 0);
    EXPECT_EQ(line.shape(1.0), 3);
    EXPECT_EQ(line.shape(100), 3); // past the end: the last entry's
    EXPECT_NEAR(line.position(-1)->x(), 0, 1e-9);

    // A late first sample: the entries before it wait where it is.
    const CursorPath late({{0.5, 0.2, 0.2, 0}}, 1);
    EXPECT_NEAR(late.position(0)->x(), 0.2, 1e-9);

    EXPECT_EQ(line.smoothed(0.01).xs(), line.xs());
    // A step smoothed with 0.25 s (σ = 6 entries, reach 18): spread over 18 entries each side.
    const CursorPath step({{0, 0, 0, 0}, {0.999, 0, 0, 0}, {1.0, 1, 1, 0}}, 2);
    const CursorPath soft = step.smoothed(0.25);
    EXPECT_NEAR(soft.xs()[60], 0.5, 0.05);
    EXPECT_DOUBLE_EQ(soft.xs()[60 - 19], 0.0);
    EXPECT_GT(soft.xs()[60 - 18], 0.0);
    EXPECT_LT(soft.xs()[60 + 17], 1.0);
    EXPECT_DOUBLE_EQ(soft.xs().back(), 1.0);
}

TEST_F(CursorTrackTest, ClicksInsideTheRegionBecomeMarksAtTheirTimeAndPlace) {
    auto monitors = std::make_unique<testsupport::FakeInputMonitors>();
    testsupport::FakeInputMonitors* fake = monitors.get();
    platform::Services services;
    services.inputMonitors = std::move(monitors);
    platform::install(std::move(services));
    RecordingOptions options;
    options.showClicks = true;
    RecordingCompanions companions(
        region, QRect(0, 0, 800, 600), options, false, [this] { return clock; }, [this] { return running; });
    companions.start(nullptr);
    ASSERT_TRUE(fake->last);
    clock = 2.0;
    const qint64 now = platform::AudioSource::now();
    fake->last->press(platform::ButtonPress{Qt::LeftButton, QPoint(200, 150), now});
    fake->last->press(platform::ButtonPress{Qt::RightButton, QPoint(20, 20), now}); // outside
    fake->last->press(platform::ButtonPress{Qt::MiddleButton, QPoint(300, 150), now});
    QCoreApplication::processEvents();
    running = false;
    fake->last->press(platform::ButtonPress{Qt::LeftButton, QPoint(300, 150), now}); // paused
    QCoreApplication::processEvents();
    const RecordingCompanions::Tracked tracked = companions.stop();
    EXPECT_TRUE(tracked.clicksTracked);
    ASSERT_EQ(tracked.clicks.size(), 1);
    EXPECT_NEAR(tracked.clicks[0].time, 2.0, 0.2);
    EXPECT_DOUBLE_EQ(tracked.clicks[0].x, 0.25);
    EXPECT_DOUBLE_EQ(tracked.clicks[0].y, 0.25);
    EXPECT_EQ(fake->stops, 1);
}

TEST_F(CursorTrackTest, WithoutInputMonitoringTheRecordingGoesOnAndSaysClicksWereNotTracked) {
    auto monitors = std::make_unique<testsupport::FakeInputMonitors>();
    monitors->failure = Error{QStringLiteral("No XInput")};
    platform::Services services;
    services.inputMonitors = std::move(monitors);
    platform::install(std::move(services));
    RecordingOptions options;
    options.studio = true;
    RecordingCompanions companions(
        region, QRect(0, 0, 800, 600), options, false, [this] { return clock; }, [this] { return running; });
    companions.start(nullptr);
    const QString sentence = QStringLiteral(
        "No XInput: recordings go on without click highlights, keystrokes or zooms toward the clicks.");
    EXPECT_EQ(toasts->shown, QStringList{sentence});
    const RecordingCompanions::Tracked tracked = companions.stop();
    EXPECT_FALSE(tracked.clicksTracked);
    EXPECT_FALSE(tracked.cursor.samples.isEmpty()); // the studio pointer track still ran

    // Said once: the next recording goes on without repeating it.
    RecordingCompanions next(
        region, QRect(0, 0, 800, 600), options, false, [this] { return clock; }, [this] { return running; });
    next.start(nullptr);
    next.stop();
    EXPECT_EQ(toasts->shown, QStringList{sentence});
}

} // namespace
