#include "platform/wayland/WaylandLayout.h"

#include <gtest/gtest.h>

namespace {

using platform::wayland::Output;
using platform::wayland::WaylandLayout;

// A laptop panel at scale 2 left of a monitor at scale 1, listed out of order.
WaylandLayout mixedScales() {
    return WaylandLayout({{QStringLiteral("HDMI-A-1"), QRect(1280, 0, 1920, 1080), 1.0},
                          {QStringLiteral("eDP-1"), QRect(0, 0, 1280, 800), 2.0}});
}

TEST(WaylandLayoutTest, DisplaysHaveTheirOwnPixelsWithoutOverlapping) {
    const WaylandLayout layout = mixedScales();
    const auto& displays = layout.displays();
    ASSERT_EQ(displays.size(), 2);
    EXPECT_EQ(displays[0].name, "HDMI-A-1");
    EXPECT_EQ(displays[0].id, 1u);
    EXPECT_EQ(displays[0].geometry, QRect(2560, 0, 1920, 1080));
    EXPECT_FALSE(displays[0].primary);
    EXPECT_EQ(displays[1].name, "eDP-1");
    EXPECT_EQ(displays[1].id, 2u);
    EXPECT_EQ(displays[1].geometry, QRect(0, 0, 2560, 1600));
    EXPECT_EQ(displays[1].scale, 2.0);
    EXPECT_TRUE(displays[1].primary);
    EXPECT_FALSE(displays[0].geometry.intersects(displays[1].geometry));

    EXPECT_EQ(layout.outputHolding(QRect(2600, 10, 100, 100)), 0);
    EXPECT_EQ(layout.outputHolding(QRect(0, 0, 2560, 1600)), 1);
    EXPECT_EQ(layout.outputHolding(QRect(2500, 0, 100, 100)), std::nullopt); // across both
    EXPECT_EQ(layout.outputHolding(QRect(0, 1600, 10, 10)), std::nullopt);   // below the panel
}

TEST(WaylandLayoutTest, AreasAreFoundInAPictureOfTheWholeLayout) {
    const WaylandLayout layout = mixedScales();
    // The desktop drew everything at scale 2: 6400 pixels for 3200 logical units.
    const double scale = layout.pictureScale(6400);
    EXPECT_EQ(scale, 2.0);
    // The panel's pixels are the picture's.
    EXPECT_EQ(layout.pictureSource(1, QRect(10, 20, 300, 200), scale), QRectF(10, 20, 300, 200));
    // The monitor's pixels were doubled.
    EXPECT_EQ(layout.pictureSource(0, QRect(2560 + 100, 50, 640, 480), scale),
              QRectF(2560 + 200, 100, 1280, 960));
    // At scale 1 the panel's pixels were halved.
    EXPECT_EQ(layout.pictureSource(1, QRect(0, 0, 2560, 1600), layout.pictureScale(3200)),
              QRectF(0, 0, 1280, 800));
}

TEST(WaylandLayoutTest, ALayoutAwayFromTheOriginStartsAtThePicturesCorner) {
    const WaylandLayout layout({{QStringLiteral("DP-1"), QRect(-1920, 200, 1920, 1080), 1.0}});
    ASSERT_EQ(layout.displays().size(), 1);
    EXPECT_EQ(layout.displays()[0].geometry, QRect(-1920, 200, 1920, 1080));
    EXPECT_TRUE(layout.displays()[0].primary); // the only one
    EXPECT_EQ(layout.pictureSource(0, QRect(-1920, 200, 10, 10), layout.pictureScale(1920)),
              QRectF(0, 0, 10, 10));
}

} // namespace

namespace {

TEST(WaylandLayoutTest, WindowRectanglesLandInTheirOutputsPixels) {
    const WaylandLayout layout = mixedScales();
    // On the scale-2 panel every layout unit is two pixels.
    EXPECT_EQ(layout.pixelsOf(QStringLiteral("eDP-1"), QRect(100, 50, 200, 100)), QRect(200, 100, 400, 200));
    // On the monitor beside it, the pixels start where its display starts.
    EXPECT_EQ(layout.pixelsOf(QStringLiteral("HDMI-A-1"), QRect(1380, 10, 300, 200)),
              QRect(2660, 10, 300, 200));
    // A window reaching past its output is cut to it; one on no output has no pixels.
    EXPECT_EQ(layout.pixelsOf(QStringLiteral("eDP-1"), QRect(1200, 0, 200, 100)), QRect(2400, 0, 160, 200));
    EXPECT_EQ(layout.pixelsOf(QStringLiteral("HEADLESS-9"), QRect(0, 0, 10, 10)), std::nullopt);
    EXPECT_EQ(layout.pixelsOf(QStringLiteral("eDP-1"), QRect(1500, 0, 10, 10)), std::nullopt);
}

// A window whose compositor does not name its output belongs to the one showing most of it.
TEST(WaylandLayoutTest, AWindowAcrossOutputsBelongsToTheOneShowingMostOfIt) {
    const WaylandLayout layout = mixedScales();
    EXPECT_EQ(layout.outputShowingMostOf(QRect(1200, 0, 200, 100)), QStringLiteral("HDMI-A-1"));
    EXPECT_EQ(layout.outputShowingMostOf(QRect(1100, 0, 200, 100)), QStringLiteral("eDP-1"));
    // Below the panel, beside the monitor: on no output.
    EXPECT_EQ(layout.outputShowingMostOf(QRect(0, 900, 100, 100)), std::nullopt);
}

} // namespace

namespace {

// Where the pointer is sent for a point of a display: the compositor's layout, in units.
TEST(WaylandLayoutTest, PixelsLeadBackToTheLayoutsUnits) {
    const WaylandLayout layout = mixedScales();
    EXPECT_EQ(layout.logicalBounds(), QRect(0, 0, 3200, 1080));
    EXPECT_EQ(layout.logicalPoint(QPoint(2560 + 100, 50)), QPointF(1380, 50));
    // A pixel of the scale-2 panel is half a unit.
    EXPECT_EQ(layout.logicalPoint(QPoint(201, 101)), QPointF(100.5, 50.5));
    // Between the displays' pixels (right of the panel, below it) there is no output.
    EXPECT_EQ(layout.logicalPoint(QPoint(2559, 0)), QPointF(1279.5, 0));
    EXPECT_EQ(layout.logicalPoint(QPoint(100, 1600)), std::nullopt);
}

} // namespace
