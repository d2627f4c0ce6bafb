#pragma once

#include "common/Result.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>

// How the history index file reaches the disk: never written in place, so a crash or a
// full disk leaves the last complete file; the one before it is kept as a last good copy,
// and a file that cannot be read is moved aside, never deleted.
namespace HistoryIndexFile {

QString previousPath(const QString& indexFile); // indexFile + ".previous"

// Writes bytes to a temporary file in the same folder, flushes it to the disk and renames it
// over indexFile. With keepPrevious, the file it replaces stays as previousPath() (a hard
// link, so no copy is made).
Result<bool> write(const QString& indexFile, const QByteArray& bytes, bool keepPrevious);

// Renames indexFile to "<indexFile>.damaged-YYYYMMDD-HHMMSS" (with "-2", "-3"... when that
// exists) and returns the new path; the error says why it stayed.
Result<QString> setAside(const QString& indexFile, const QDateTime& now);

// Deletes the temporary files of writes that a crash cut short.
void removeUnfinishedWrites(const QString& indexFile);

} // namespace HistoryIndexFile
