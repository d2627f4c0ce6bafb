#pragma once

#include <QString>

#include <optional>

// Our hotkeys as a desktop's own keyboard settings take them, for desktops that let no
// program bind keys itself: the command a key should run and the keys in the desktop's
// own notation.
namespace DesktopKeyBindings {

enum class Desktop { gnome, kde, sway, other };

// The desktop named by XDG_CURRENT_DESKTOP ("ubuntu:GNOME", "KDE", "sway").
Desktop desktopNamed(const QString& currentDesktop);
Desktop currentDesktop();

// The pictavia:// URL that runs a hotkey's flow ("area" -> "pictavia://capture-area");
// none for a flow no URL starts.
std::optional<QString> urlFor(const QString& flow);

// The command to bind: "pictavia pictavia://capture-area".
QString command(const QString& url);

// Keys in QKeySequence's portable text ("Ctrl+Shift+Print") as sway writes them
// ("Ctrl+Shift+Print", "Mod4+a", "Mod1+F8"); empty when the text is no single combination.
QString swayKeys(const QString& portableKeys);
// The line for sway's configuration: "bindsym Shift+Print exec pictavia pictavia://...".
QString swayLine(const QString& portableKeys, const QString& url);

// As GNOME's keybinding settings write them: "<Control><Shift>Print"; empty as above.
QString gnomeAccelerator(const QString& portableKeys);

// As the GlobalShortcuts portal's preferred triggers write them: "CTRL+SHIFT+Print",
// "LOGO+a"; empty as above.
QString portalTrigger(const QString& portableKeys);

// What the settings page says under a hotkey where the desktop binds the keys itself: the
// command, on sway the whole line for its configuration; empty for a flow no URL starts.
QString bindingHint(const QString& flow, const QString& portableKeys, Desktop desktop);

} // namespace DesktopKeyBindings
