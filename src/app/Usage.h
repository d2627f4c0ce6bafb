#pragma once

#include <QMap>
#include <QString>

// Anonymous local usage counts under dotted names ("capture.area"), kept in the data
// folder's "usage.json". Nothing leaves the machine.
//
// Counts gather in memory and are written once, half a second after the last one (at
// the latest a few seconds after the first), added to the file's own counts under a lock
// file, so that several Pictavia processes (the app, command-line runs) still add up.
namespace Usage {

constexpr int writeDelayMs = 500;
constexpr int longestDelayMs = 5000; // a steady stream of events still reaches the file

void count(const QString& event);
// Writes what was counted and not written yet; called before the process ends.
void flush();
// The file's counts with those not written yet.
QMap<QString, qint64> counts();

} // namespace Usage
