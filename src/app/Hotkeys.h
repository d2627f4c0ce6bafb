#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>

// The global keyboard shortcuts of the capture flows and of recording. They live in the preferences file
// under [Hotkeys] ("area=Print"), where the settings page writes them; an empty value turns
// one off.
namespace Hotkeys {

struct Binding {
    QString name;        // the key under [Hotkeys]
    QString title;       // what the settings page calls it
    QString defaultKeys; // in QKeySequence's portable text; empty for none
    std::function<void()> action;
};

// The capture flows' bindings with their defaults, in the settings page's order.
QList<Binding> captureBindings(const std::function<void(const QString& flow)>& run);

// The preference that holds a binding's keys: "Hotkeys/area".
QString prefKey(const QString& name);

// The keys a binding has now: the file's value, else the default.
QString keysOf(const Binding& binding);

// The keys for people to read ("Shift+Print"); "" for none.
QString readable(const QString& portableKeys);

// Whether the text names exactly one key with optional modifiers.
bool isCombination(const QString& portableKeys);

// One message for the user about the bindings that failed: what went wrong and where to
// change the keys.
QString failureMessage(const QStringList& failures);

} // namespace Hotkeys
