#include "app/GnomeKeybindings.h"

#include <gtest/gtest.h>

namespace {
GnomeKeybindings::Entry area() {
    return {QStringLiteral("area"), QStringLiteral("Pictavia: Capture an area"),
            QStringLiteral("pictavia pictavia://capture-area"), QStringLiteral("Print")};
}

TEST(GnomeKeybindingsTest, TheUsersBindingsStayAndOursAreAddedOnce) {
    const QString custom0 =
        QStringLiteral("/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings/custom0/");
    const QString ours = GnomeKeybindings::pathFor(QStringLiteral("area"));
    EXPECT_EQ(GnomeKeybindings::parseList(QStringLiteral("@as []")), QStringList());
    EXPECT_EQ(GnomeKeybindings::parseList(QStringLiteral("['") + custom0 + QStringLiteral("', 'it\\'s']\n")),
              QStringList({custom0, QStringLiteral("it's")}));
    // Not lists: nothing is written over them.
    EXPECT_EQ(GnomeKeybindings::parseList(QStringLiteral("No such schema")), std::nullopt);
    EXPECT_EQ(GnomeKeybindings::parseList(QStringLiteral("['a' 'b']")), std::nullopt);
    EXPECT_EQ(GnomeKeybindings::parseList(QStringLiteral("['a")), std::nullopt);
    EXPECT_EQ(GnomeKeybindings::gsettingsCalls(QStringLiteral("No such schema"), {area()}), std::nullopt);

    const auto calls =
        GnomeKeybindings::gsettingsCalls(QStringLiteral("['") + custom0 + QStringLiteral("']"), {area()});
    ASSERT_TRUE(calls);
    ASSERT_EQ(calls->size(), 4);
    const QString entry =
        QStringLiteral("org.gnome.settings-daemon.plugins.media-keys.custom-keybinding:") + ours;
    EXPECT_EQ(calls->at(0), QStringList({"set", entry, "name", "'Pictavia: Capture an area'"}));
    EXPECT_EQ(calls->at(2), QStringList({"set", entry, "binding", "'Print'"}));
    // The list last, the user's binding first and kept.
    EXPECT_EQ(calls->at(3), QStringList({"set", "org.gnome.settings-daemon.plugins.media-keys",
                                         "custom-keybindings", "['" + custom0 + "', '" + ours + "']"}));
    // Adding again leaves one of ours.
    const QStringList again = GnomeKeybindings::merged({custom0, ours}, {area(), area()});
    EXPECT_EQ(again, QStringList({custom0, ours}));
    EXPECT_EQ(GnomeKeybindings::parseList(GnomeKeybindings::formatList(again)), again);
}

} // namespace
