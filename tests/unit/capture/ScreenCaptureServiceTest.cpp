#include "capture/ScreenCaptureService.h"
#include "capture/CaptureContext.h"
#include "capture/StillCapture.h"

#include "support/FakePlatform.h"

#include <QPainter>

namespace {

// Two monitors side by side: a 1x one at the left and a 2x one at the right.
class ScreenCaptureServiceTest : public testsupport::PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        screen->displayList = {{11, "left", QRect(0, 0, 800, 600), 1.0, true, 0},
                               {22, "right", QRect(800, 0, 1600, 1200), 2.0, false, 0}};
        screen->desktop = QImage(2400, 1200, QImage::Format_RGB32);
        screen->desktop.fill(Qt::darkGray);
        QPainter(&screen->desktop).fillRect(QRect(800 + 200, 100, 40, 20), Qt::yellow);
        screen->windowList = {
            {7, 100, "Notifier", "", 25, QRect(0, 0, 10, 10)},
            {5, 200, "Terminal", "~/src", 0, QRect(900, 50, 400, 300)},
            {4, 300, "Browser", "News", 0, QRect(10, 10, 500, 400)},
            {3, 300, "Browser", "Mail", 0, QRect(20, 20, 500, 400)},
        };
        screen->windowPixels[5] = QImage(400, 300, QImage::Format_RGB32);
    }
    ScreenCaptureService& service = ScreenCaptureService::shared();
};

TEST_F(ScreenCaptureServiceTest, AreaInPointsOfAHiDpiDisplay) {
    const auto right = *service.display(22);
    const auto image = service.captureArea(QRectF(100, 50, 20, 10), right);
    ASSERT_TRUE(image);
    EXPECT_EQ(screen->grabbedAreas.last(), QRect(800 + 200, 100, 40, 20));
    EXPECT_EQ(image->pixelColor(0, 0), QColor(Qt::yellow));
    EXPECT_EQ(image->pixelColor(39, 19), QColor(Qt::yellow));

    // Partly off the display: clipped to it. Wholly off: an error.
    ASSERT_TRUE(service.captureArea(QRectF(700, 500, 200, 200), *service.display(11)));
    EXPECT_EQ(screen->grabbedAreas.last(), QRect(700, 500, 100, 100));
    const auto off = service.captureArea(QRectF(900, 0, 10, 10), *service.display(11));
    ASSERT_FALSE(off);
    EXPECT_EQ(off.error().message, "That area is off screen");
}

TEST_F(ScreenCaptureServiceTest, LookupsAndErrors) {
    EXPECT_EQ(service.displayScale(*service.display(22)), 2.0);
    platform::DisplayInfo unplugged{99, "gone", QRect(), 3.0, false, 0};
    EXPECT_EQ(service.displayScale(unplugged), 1.0); // the main display's

    screen->pointer = QPoint(1000, 1000);
    EXPECT_EQ(service.displayUnderPointer()->id, 22u);
    screen->pointer = QPoint(-5, -5);
    EXPECT_EQ(service.displayUnderPointer()->id, 11u);

    const auto missing = service.captureDisplay(99);
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().message, "Display not found");
    EXPECT_EQ(missing.error().domain, "com.corvanta.pictavia");

    const auto closed = service.captureWindowWithBackdrop(1234);
    ASSERT_FALSE(closed);
    EXPECT_EQ(closed.error().message, "Window not found");
    EXPECT_EQ(closed.error().code, 2);

    const auto window = service.captureWindowWithBackdrop(5, true);
    ASSERT_TRUE(window);
    EXPECT_EQ(window->scale, 2.0); // it sits on the right display
    ASSERT_TRUE(window->backdrop);
    EXPECT_EQ(window->backdrop->size(), QSize(400 + 2 * 96, 300 + 50 + 96)); // clipped at the top
}

TEST_F(ScreenCaptureServiceTest, ContextNamesTheFocusedApplicationAndItsFrontWindow) {
    screen->active = 3; // a browser window has the focus, another one of its windows is in front
    const CaptureContext front = CaptureContext::frontmost();
    EXPECT_EQ(front.appName, "Browser");
    EXPECT_EQ(front.windowTitle, "News");
    EXPECT_FALSE(front.explicitName);

    screen->active.reset(); // no window manager says: the topmost normal window
    EXPECT_EQ(CaptureContext::frontmost().appName, "Terminal");

    const CaptureContext picked = CaptureContext::forWindow(3);
    EXPECT_EQ(picked.appName, "Browser");
    EXPECT_EQ(picked.windowTitle, "Mail");
    EXPECT_FALSE(CaptureContext::forWindow(42).appName);
}

TEST_F(ScreenCaptureServiceTest, StillCapturesDeliverAndRemember) {
    Prefs::setValue("windowShadow", false);
    const auto area = StillCapture::rect(QRectF(100, 50, 20, 10), 22, false);
    ASSERT_TRUE(area) << area.error().message.toStdString();
    EXPECT_EQ(QImage(area->historyFile).size(), QSize(40, 20));
    EXPECT_EQ(Prefs::lastArea(), (Prefs::Area{QRectF(100, 50, 20, 10), 22}));

    EXPECT_EQ(StillCapture::rect(QRectF(0, 0, 5, 5), 99, false).error().message, "Display not found");
    EXPECT_EQ(StillCapture::windowOfApp("browser"), 4u);
    EXPECT_FALSE(StillCapture::windowOfApp("Notifier")); // not a normal window

    const auto window = StillCapture::window(5);
    ASSERT_TRUE(window);
    EXPECT_TRUE(window->historyFile.contains("Pictavia "));
    Prefs::setValue("windowShadow", true);
    EXPECT_EQ(QImage(StillCapture::window(5)->historyFile).size(), QSize(400 + 192, 300 + 192));
}

} // namespace
