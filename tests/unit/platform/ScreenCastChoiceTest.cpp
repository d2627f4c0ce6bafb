#include "platform/wayland/ScreenCastChoice.h"
#include "platform/wayland/WaylandLayout.h"

#include <gtest/gtest.h>

namespace {

using namespace platform::wayland;

// A laptop panel at scale 2 left of a monitor at scale 1, as the screen backend numbers them:
// display 1 is the monitor (pixels from x 2560), display 2 the panel.
QList<platform::DisplayInfo> mixedScales() {
    return WaylandLayout({{QStringLiteral("HDMI-A-1"), QRect(1280, 0, 1920, 1080), 1.0},
                          {QStringLiteral("eDP-1"), QRect(0, 0, 1280, 800), 2.0}})
        .displays();
}

ScreenCastStream stream(uint32_t node, QPoint position, QSize size) {
    return {node, position, size, ScreenCastOffer::monitor};
}

TEST(ScreenCastChoiceTest, TheStreamOfTheDisplayIsFoundByItsPlaceAtAnyScale) {
    const auto displays = mixedScales();
    const QList<ScreenCastStream> both = {stream(41, {0, 0}, {1280, 800}),
                                          stream(42, {1280, 0}, {1920, 1080})};

    const auto monitor = castTargetFor(both, displays, displays[0], displays[0].geometry);
    ASSERT_TRUE(monitor);
    EXPECT_EQ(monitor->node, 42u);
    EXPECT_EQ(monitor->outputPixels, QSize(1920, 1080));
    EXPECT_FALSE(monitor->crop); // all of it

    // An area of the panel, in its own pixels (twice its logical units).
    const auto panel = castTargetFor(both, displays, displays[1], QRect(100, 200, 640, 480));
    ASSERT_TRUE(panel);
    EXPECT_EQ(panel->node, 41u);
    EXPECT_EQ(panel->outputPixels, QSize(2560, 1600));
    EXPECT_EQ(panel->crop, QRect(100, 200, 640, 480));

    // An area of the monitor is cut relative to the monitor's own corner.
    const auto right = castTargetFor(both, displays, displays[0], QRect(2560 + 10, 20, 300, 200));
    ASSERT_TRUE(right);
    EXPECT_EQ(right->crop, QRect(10, 20, 300, 200));
}

TEST(ScreenCastChoiceTest, AnotherDisplaySharedIsNoTarget) {
    const auto displays = mixedScales();
    // The desktop shared only the panel; the monitor is not in it.
    EXPECT_FALSE(
        castTargetFor({stream(41, {0, 0}, {1280, 800})}, displays, displays[0], displays[0].geometry));
    // One stream that does not say where it lies is taken as it is.
    const ScreenCastStream unplaced{43, std::nullopt, std::nullopt, ScreenCastOffer::monitor};
    const auto taken = castTargetFor({unplaced}, displays, displays[0], displays[0].geometry);
    ASSERT_TRUE(taken);
    EXPECT_EQ(taken->node, 43u);
    // Two of them cannot be told apart.
    EXPECT_FALSE(castTargetFor({unplaced, unplaced}, displays, displays[0], displays[0].geometry));
}

TEST(ScreenCastChoiceTest, ThePointerIsAskedForAsTheDesktopCanSendIt) {
    const ScreenCastOffer all{ScreenCastOffer::monitor, 7, 4};
    EXPECT_EQ(cursorModeFor(all, true), ScreenCastOffer::metadata);
    EXPECT_EQ(cursorModeFor(all, false), ScreenCastOffer::hidden);
    const ScreenCastOffer wlroots{ScreenCastOffer::monitor,
                                  ScreenCastOffer::hidden | ScreenCastOffer::embedded, 4};
    EXPECT_EQ(cursorModeFor(wlroots, true), ScreenCastOffer::embedded);
    // A desktop that cannot hide it draws it in anyway: asking for hidden would be refused.
    const ScreenCastOffer alwaysDrawn{ScreenCastOffer::monitor, ScreenCastOffer::embedded, 4};
    EXPECT_EQ(cursorModeFor(alwaysDrawn, false), ScreenCastOffer::embedded);
}

} // namespace
