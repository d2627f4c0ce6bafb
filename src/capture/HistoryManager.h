#pragma once

#include "capture/CaptureContext.h"
#include "common/Result.h"

#include <QByteArray>
#include <QString>

#include <functional>

// The history folder: every finished capture is a file here, newest kept up to the
// "historyLimit" preference.
namespace HistoryManager {

// $XDG_DATA_HOME/Pictavia/History
QString directory();

// Writes a capture under `fileName` (another name when it is taken) and returns its path.
Result<QString> store(const QByteArray& bytes, const QString& fileName);

// Deletes the oldest captures beyond `limit`, never one the index keeps.
// Returns the names deleted.
QStringList prune(int limit);

// The searchable history index registers itself here: it is told of every stored
// capture, and says which files the user chose to keep. Until one registers, captures
// are stored without an index and nothing counts as kept.
struct Index {
    std::function<void(const QString& path, const CaptureContext& context)> add;
    std::function<bool(const QString& fileName)> isKept;
};
void setIndex(Index index);

// Tells the registered index about a stored capture.
void addToIndex(const QString& path, const CaptureContext& context);

} // namespace HistoryManager
