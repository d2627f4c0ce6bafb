#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>

// The global keyboard shortcuts of the capture flows. They live in the preferences file
// under [Hotkeys] ("area=Print"), where people edit them; an empty value turns one off.
namespace Hotkeys {

struct Binding {
    QString name;        // the key under [Hotkeys]
    QString defaultKeys; // in QKeySequence's portable text; empty for none
    std::function<void()> action;
};

// The capture flows' bindings with their defaults.
QList<Binding> captureBindings(const std::function<void(const QString& flow)>& run);

// The keys a binding has now: the file's value, else the default.
QString keysOf(const Binding& binding);

// Writes the bindings that are missing from the file, so people can find and edit them,
// then grabs every binding. Returns one sentence per binding that could not be grabbed.
QStringList bindAll(const QList<Binding>& bindings);

// One message for the user about the bindings that failed: what went wrong and where to
// change the keys.
QString failureMessage(const QStringList& failures);

} // namespace Hotkeys
