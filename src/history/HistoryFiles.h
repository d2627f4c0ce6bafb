#pragma once

#include "common/Result.h"

#include <QString>

class HistoryIndex;

// Changes to a history capture that touch its file, its record and its project together.
namespace HistoryFiles {

// "There is no capture named NAME in the history.", the one wording of that error.
Error notFound(const QString& name);

// Deletes the file, its project and its record. An error when there is no such capture or
// the file cannot be deleted; the record and project stay then.
Result<bool> remove(HistoryIndex& index, const QString& name);

// Gives the capture a new name, keeping its extension when the new one has none; the
// project and record follow. Returns the file name used.
Result<QString> rename(HistoryIndex& index, const QString& name, const QString& newName);

} // namespace HistoryFiles
