#include "platform/DesktopKeyBindings.h"
#include "platform/wayland/PortalGlobalShortcuts.h"

#include <gtest/gtest.h>

namespace {
using namespace DesktopKeyBindings;

TEST(DesktopKeyBindingsTest, KeysInEachDesktopsNotation) {
    EXPECT_EQ(swayLine(QStringLiteral("Shift+Print"), QStringLiteral("pictavia://capture-fullscreen")),
              QStringLiteral("bindsym Shift+Print exec pictavia pictavia://capture-fullscreen"));
    EXPECT_EQ(swayKeys(QStringLiteral("Ctrl+Alt+Meta+A")), QStringLiteral("Ctrl+Mod1+Mod4+a"));
    EXPECT_EQ(gnomeAccelerator(QStringLiteral("Ctrl+Shift+Print")), QStringLiteral("<Control><Shift>Print"));
    EXPECT_EQ(gnomeAccelerator(QStringLiteral("Meta+PgUp")), QStringLiteral("<Super>Prior"));
    EXPECT_EQ(portalTrigger(QStringLiteral("Ctrl+Shift+4")), QStringLiteral("CTRL+SHIFT+4"));
    EXPECT_EQ(portalTrigger(QStringLiteral("F8")), QStringLiteral("F8"));
    // Nothing to bind for no keys, or for a sequence of several.
    EXPECT_EQ(swayLine(QString(), QStringLiteral("pictavia://record")), QString());
    EXPECT_EQ(gnomeAccelerator(QStringLiteral("Ctrl+K, Ctrl+C")), QString());

    EXPECT_EQ(urlFor(QStringLiteral("area")), QStringLiteral("pictavia://capture-area"));
    EXPECT_EQ(urlFor(QStringLiteral("allInOne")), QStringLiteral("pictavia://all-in-one"));
    EXPECT_EQ(urlFor(QStringLiteral("timedFullscreen")), std::nullopt);
    EXPECT_EQ(command(QStringLiteral("pictavia://capture-area")),
              QStringLiteral("pictavia pictavia://capture-area"));
}

TEST(DesktopKeyBindingsTest, TheHintSaysWhatToBindOnThisDesktop) {
    EXPECT_EQ(desktopNamed(QStringLiteral("ubuntu:GNOME")), Desktop::gnome);
    EXPECT_EQ(desktopNamed(QStringLiteral("KDE")), Desktop::kde);
    EXPECT_EQ(desktopNamed(QStringLiteral("sway")), Desktop::sway);
    EXPECT_EQ(desktopNamed(QString()), Desktop::other);
    EXPECT_EQ(bindingHint(QStringLiteral("area"), QStringLiteral("Print"), Desktop::sway),
              QStringLiteral("For sway's config: bindsym Print exec pictavia pictavia://capture-area"));
    EXPECT_EQ(bindingHint(QStringLiteral("area"), QStringLiteral("Print"), Desktop::gnome),
              QStringLiteral("Bind in the desktop's keyboard settings: pictavia pictavia://capture-area"));
    // Without keys sway gets the command alone; a flow without a URL gets nothing.
    EXPECT_EQ(bindingHint(QStringLiteral("text"), QString(), Desktop::sway),
              QStringLiteral("Bind in the desktop's keyboard settings: pictavia pictavia://capture-text"));
    EXPECT_EQ(bindingHint(QStringLiteral("timedFullscreen"), QStringLiteral("F9"), Desktop::sway), QString());
}

TEST(PortalGlobalShortcutsTest, RequestsNameTheShortcutByItsKeys) {
    const auto shortcut = platform::wayland::portalShortcut(QKeySequence(QStringLiteral("Ctrl+Shift+Print")));
    EXPECT_EQ(shortcut.id, QStringLiteral("Ctrl+Shift+Print"));
    EXPECT_EQ(shortcut.preferredTrigger, QStringLiteral("CTRL+SHIFT+Print"));
    EXPECT_TRUE(shortcut.description.startsWith(QStringLiteral("Pictavia: ")));
    const QVariantMap options = platform::wayland::sessionOptions(QStringLiteral("t1"));
    EXPECT_EQ(options.value(QStringLiteral("handle_token")).toString(), QStringLiteral("t1"));
    EXPECT_EQ(options.value(QStringLiteral("session_handle_token")).toString(), QStringLiteral("t1"));
}

} // namespace
