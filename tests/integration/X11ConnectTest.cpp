// Connecting the X11 backend when there is no usable display.

#include "platform/x11/X11ScreenBackend.h"

#include <gtest/gtest.h>

namespace {

TEST(X11ConnectTest, ExplainsAMissingOrUnreachableDisplay) {
    const QByteArray saved = qgetenv("DISPLAY");

    qunsetenv("DISPLAY");
    const auto unset = platform::x11::connect();
    ASSERT_FALSE(unset.ok());
    EXPECT_EQ(unset.error().message, QStringLiteral("No X display to capture: DISPLAY is not set"));

    qputenv("DISPLAY", ":9999");
    const auto unreachable = platform::x11::connect();
    ASSERT_FALSE(unreachable.ok());
    EXPECT_EQ(unreachable.error().message, QStringLiteral("Cannot connect to the X display :9999"));

    qputenv("DISPLAY", saved);
}

} // namespace
