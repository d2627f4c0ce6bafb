#include "app/DesktopSnapshot.h"

#include "support/FakePlatform.h"

#include <QPainter>

namespace {

class DesktopSnapshotTest : public testsupport::PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        DesktopSnapshot::forgetPlaces();
        // Every pixel different, so a copy from the wrong place shows.
        screen->desktop = QImage(screens.size(), QImage::Format_RGB32);
        for (int y = 0; y < screens.height(); ++y)
            for (int x = 0; x < screens.width(); ++x)
                screen->desktop.setPixel(x, y, qRgb(x, y, (x * y) % 256));
        desktop = screen->desktop;
    }

    // What the screen shows where one of the floating windows is or just was.
    void cover(const QRect& rect) {
        QPainter painter(&screen->desktop);
        painter.fillRect(rect, Qt::red);
    }

    bool holdsDesktop(const DesktopSnapshot& snapshot) const {
        return snapshot.image() == desktop.copy(snapshot.imageRect());
    }

    const QRect screens{0, 0, 300, 200};
    QImage desktop; // without any floating window
};

TEST_F(DesktopSnapshotTest, GrabsOnlyWhatTheWindowDoesNotCoverYet) {
    DesktopSnapshot pin;
    pin.track(QRect(10, 20, 100, 50), screens);
    EXPECT_EQ(screen->grabbedAreas, QList<QRect>{QRect(10, 20, 100, 50)});
    EXPECT_TRUE(holdsDesktop(pin));

    // The window now shows on the screen; moving it grabs only the strip it is about to cover.
    cover(pin.window());
    screen->grabbedAreas.clear();
    pin.track(QRect(15, 20, 100, 50), screens);
    EXPECT_EQ(screen->grabbedAreas, QList<QRect>{QRect(110, 20, 5, 50)});
    EXPECT_TRUE(holdsDesktop(pin));

    // Off the screen nothing is grabbed or kept.
    screen->grabbedAreas.clear();
    pin.track(QRect(250, 180, 100, 50), screens);
    EXPECT_EQ(pin.imageRect(), QRect(250, 180, 50, 20));
    EXPECT_EQ(pin.window(), QRect(250, 180, 100, 50));
    EXPECT_TRUE(holdsDesktop(pin));
}

TEST_F(DesktopSnapshotTest, NeverTakesAFloatingWindowForTheDesktop) {
    DesktopSnapshot lower;
    lower.track(QRect(0, 0, 100, 100), screens);
    cover(lower.window());

    // Over another floating window: that window's snapshot, not the screen.
    DesktopSnapshot upper;
    upper.track(QRect(50, 50, 100, 100), screens);
    EXPECT_TRUE(holdsDesktop(upper));
    cover(upper.window());

    // A window that has just gone may still show until the programs below repaint.
    lower.release();
    upper.release();
    DesktopSnapshot next;
    next.track(QRect(20, 20, 200, 150), screens);
    EXPECT_TRUE(holdsDesktop(next));
    EXPECT_FALSE(lower.active());
}

TEST_F(DesktopSnapshotTest, StacksInTheOrderShownAndRaised) {
    DesktopSnapshot a, b, c;
    a.track(QRect(0, 0, 10, 10), screens);
    b.track(QRect(0, 0, 10, 10), screens);
    c.track(QRect(0, 0, 10, 10), screens);
    EXPECT_EQ(DesktopSnapshot::stack(), (QList<DesktopSnapshot*>{&a, &b, &c}));
    a.raise();
    EXPECT_EQ(DesktopSnapshot::stack(), (QList<DesktopSnapshot*>{&b, &c, &a}));
    b.track(QRect(5, 5, 10, 10), screens); // moving keeps its place
    EXPECT_EQ(DesktopSnapshot::stack().first(), &b);
    b.release();
    b.track(QRect(5, 5, 10, 10), screens); // showing again puts it on top
    EXPECT_EQ(DesktopSnapshot::stack().last(), &b);
    {
        DesktopSnapshot gone;
        gone.track(QRect(0, 0, 10, 10), screens);
    }
    EXPECT_EQ(DesktopSnapshot::stack().size(), 3);
}

} // namespace
