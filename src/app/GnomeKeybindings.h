#pragma once

#include "app/Hotkeys.h"
#include "common/Result.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

// GNOME's own custom shortcuts, where GNOME lets no program bind keys: the schema
// org.gnome.settings-daemon.plugins.media-keys lists them under "custom-keybindings" as
// dconf paths, each path holding a relocatable ...media-keys.custom-keybinding with a
// name, a command and a binding. Ours get paths of their own, and whatever the user had
// stays as it was.
namespace GnomeKeybindings {

inline constexpr char listSchema[] = "org.gnome.settings-daemon.plugins.media-keys";
inline constexpr char listKey[] = "custom-keybindings";
inline constexpr char entrySchema[] = "org.gnome.settings-daemon.plugins.media-keys.custom-keybinding";

struct Entry {
    QString flow;    // the hotkey's name: "area"
    QString name;    // what GNOME's settings show: "Pictavia: Capture an area"
    QString command; // "pictavia pictavia://capture-area"
    QString binding; // "<Shift>Print"
};

// The dconf path of one of our shortcuts: ".../custom-keybindings/pictavia-area/".
QString pathFor(const QString& flow);

// A string array as gsettings prints it ("@as []", "['/a/', '/b/']"); none when the text
// is not one.
std::optional<QStringList> parseList(const QString& printed);
// A string array as gsettings takes it.
QString formatList(const QStringList& items);

// The user's paths, in their order, then ours that are not among them.
QStringList merged(const QStringList& existing, const QList<Entry>& ours);

// The gsettings calls (their arguments) that set our entries and then the list, given the
// list as `gsettings get` printed it. None when that text is not a list: nothing is
// written over a list that could not be read.
std::optional<QList<QStringList>> gsettingsCalls(const QString& printedList, const QList<Entry>& ours);

// Our hotkeys that a URL starts and that have keys, as GNOME entries; `keysOf` gives a
// hotkey's keys by name.
QList<Entry> entriesFor(const QList<Hotkeys::Binding>& bindings,
                        const std::function<QString(const QString& name)>& keysOf);

// Adds `entries` to GNOME's custom shortcuts with the gsettings command. Blocks: run it off
// the GUI thread. Fails with one sentence when gsettings is missing or refuses.
Result<bool> apply(const QList<Entry>& entries);

} // namespace GnomeKeybindings
