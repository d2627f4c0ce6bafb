#include "platform/wayland/LayerRole.h"

#include <gtest/gtest.h>

namespace {
TEST(LayerRoleTest, OverlaysCoverTheirOutputAndFloatingWindowsKeepTheirPlaceInsideIt) {
    using platform::wayland::LayerRole;
    using platform::wayland::layerRoleFor;
    const QRect output(640, 0, 640, 360);
    const LayerRole overlay = layerRoleFor(Qt::Window | Qt::BypassWindowManagerHint, output, output);
    EXPECT_TRUE(overlay.coversOutput);
    EXPECT_EQ(overlay.keyboard, LayerRole::Keyboard::exclusive);
    // Click-through recording overlays never take the keyboard.
    EXPECT_EQ(layerRoleFor(Qt::WindowTransparentForInput, output, output).keyboard,
              LayerRole::Keyboard::none);

    const LayerRole toast =
        layerRoleFor(Qt::ToolTip | Qt::WindowDoesNotAcceptFocus, QRect(700, 50, 200, 40), output);
    EXPECT_FALSE(toast.coversOutput);
    EXPECT_EQ(toast.margins, QMargins(60, 50, 0, 0));
    EXPECT_EQ(toast.size, QSize(200, 40));
    EXPECT_EQ(toast.keyboard, LayerRole::Keyboard::none);
    // A pin reaching past the output's right edge stays inside it, and takes keys when clicked.
    const LayerRole pin = layerRoleFor(Qt::Tool, QRect(1200, 300, 200, 100), output);
    EXPECT_EQ(pin.margins, QMargins(440, 260, 0, 0));
    EXPECT_EQ(pin.keyboard, LayerRole::Keyboard::onDemand);
}

} // namespace
