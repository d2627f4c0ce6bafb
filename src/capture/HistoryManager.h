#pragma once

#include "capture/CaptureContext.h"
#include "common/Result.h"

#include <QByteArray>
#include <QSet>
#include <QString>

#include <functional>

// The history folder: every finished capture is a file here, newest kept up to the
// "historyLimit" preference.
namespace HistoryManager {

// $XDG_DATA_HOME/Pictavia/History
QString directory();

// The capture id (file name) of `path` when it lies in the history folder, by its real
// location (symbolic links and ".." resolved); empty otherwise.
QString captureIdOf(const QString& path);

// Writes a capture under `fileName` (another name when it is taken) and returns its path.
Result<QString> store(const QByteArray& bytes, const QString& fileName);

// Moves a finished file (a recording) into the history under `fileName` (another name when
// it is taken) and returns its new path. A file on another file system is copied, then
// removed.
Result<QString> storeFile(const QString& source, const QString& fileName);

// Deletes the oldest captures beyond `limit`, never one the index keeps, then tells the
// index which files are left. Returns the names deleted.
QStringList prune(int limit);

// The searchable history index registers itself here: it is told of every stored
// capture, says which files the user chose to keep, and hears which files are left after
// pruning deleted some. Until one registers, captures are stored without an index and
// nothing counts as kept.
struct Index {
    std::function<void(const QString& path, const CaptureContext& context)> add;
    std::function<bool(const QString& fileName)> isKept;
    std::function<void(const QSet<QString>& remainingNames)> pruned;
};
void setIndex(Index index);

// Tells the registered index about a stored capture.
void addToIndex(const QString& path, const CaptureContext& context);

} // namespace HistoryManager
