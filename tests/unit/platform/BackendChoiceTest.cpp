#include "platform/BackendChoice.h"

#include <gtest/gtest.h>

namespace {

using BackendChoice::Backend;
using BackendChoice::Session;

Backend chosen(const std::optional<QString>& requested, const Session& session) {
    const auto backend = BackendChoice::choose(requested, session);
    EXPECT_TRUE(backend.ok());
    return backend ? *backend : Backend::x11;
}

TEST(BackendChoiceTest, TheSessionDecidesUnlessTheOptionSays) {
    EXPECT_EQ(chosen(std::nullopt, {"wayland-0", "wayland", ":0"}), Backend::wayland);
    // sway started from a text console: the session type is the console's.
    EXPECT_EQ(chosen(std::nullopt, {"wayland-1", "tty", ""}), Backend::wayland);
    EXPECT_EQ(chosen(std::nullopt, {"", "wayland", ""}), Backend::wayland);
    // An X session with a nested compositor's variable left over stays X11.
    EXPECT_EQ(chosen(std::nullopt, {"wayland-0", "x11", ":0"}), Backend::x11);
    EXPECT_EQ(chosen(std::nullopt, {"", "", ":0"}), Backend::x11);
    EXPECT_EQ(chosen(std::nullopt, {"", "", ""}), Backend::x11);

    EXPECT_EQ(chosen(QStringLiteral("x11"), {"wayland-0", "wayland", ":0"}), Backend::x11);
    EXPECT_EQ(chosen(QStringLiteral("wayland"), {"", "x11", ":0"}), Backend::wayland);
    const auto unknown = BackendChoice::choose(QStringLiteral("mir"), {});
    ASSERT_FALSE(unknown.ok());
    EXPECT_EQ(unknown.error().message, "--backend is x11 or wayland, not \"mir\"");
}

TEST(BackendChoiceTest, TheOptionIsTakenOutWhereverItStands) {
    QStringList arguments{"capture", "fullscreen", "--backend", "wayland", "--display", "2"};
    EXPECT_EQ(BackendChoice::takeOption(arguments), QStringLiteral("wayland"));
    EXPECT_EQ(arguments, QStringList({"capture", "fullscreen", "--display", "2"}));

    arguments = {"--backend=x11", "displays"};
    EXPECT_EQ(BackendChoice::takeOption(arguments), QStringLiteral("x11"));
    EXPECT_EQ(arguments, QStringList({"displays"}));

    arguments = {"capture", "--backend"};
    EXPECT_EQ(BackendChoice::takeOption(arguments), QString());
    EXPECT_EQ(arguments, QStringList({"capture"}));

    arguments = {"pictavia://capture-area", "--background"};
    EXPECT_EQ(BackendChoice::takeOption(arguments), std::nullopt);
    EXPECT_EQ(arguments.size(), 2);
}

TEST(BackendChoiceTest, QtRunsOnTheChosenServer) {
    EXPECT_EQ(BackendChoice::qtPlatformFor(Backend::wayland, ""), "wayland");
    EXPECT_EQ(BackendChoice::qtPlatformFor(Backend::wayland, "xcb"), "wayland");
    EXPECT_EQ(BackendChoice::qtPlatformFor(Backend::wayland, "offscreen"), "wayland");
    EXPECT_EQ(BackendChoice::qtPlatformFor(Backend::wayland, "wayland-egl"), "wayland-egl");
    EXPECT_EQ(BackendChoice::qtPlatformFor(Backend::x11, ""), "xcb");
    EXPECT_EQ(BackendChoice::qtPlatformFor(Backend::x11, "wayland;xcb"), "xcb");
    EXPECT_EQ(BackendChoice::qtPlatformFor(Backend::x11, "offscreen"), "offscreen");
}

} // namespace
