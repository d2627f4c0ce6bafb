#pragma once

#include "common/Result.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QDateTime>
#include <QString>

// How the history index file reaches the disk: never written in place, so a crash or a
// full disk leaves the last complete file; the one before it is kept as a last good copy,
// and a file that cannot be read is moved aside, never deleted.
namespace HistoryIndexFile {

QString previousPath(const QString& indexFile); // indexFile + ".previous"

// A new version of the index file, written piece by piece to a temporary file in the same
// folder; each piece starts on its way to the disk at once, so the flush at the end waits
// for little. Discarded unless committed.
class Writer {
public:
    explicit Writer(QString indexFile);
    ~Writer();
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    bool append(QByteArrayView bytes);
    // Flushes the file to the disk and renames it over the index. With keepPrevious, the
    // file it replaces stays as previousPath() (a hard link, so no copy is made).
    Result<bool> commit(bool keepPrevious);

private:
    QString m_indexFile;
    QByteArray m_temporary;
    int m_fd = -1;
    qint64 m_written = 0;
    int m_error = 0;
};

// The whole file at once, as Writer does.
Result<bool> write(const QString& indexFile, const QByteArray& bytes, bool keepPrevious);

// Renames indexFile to "<indexFile>.damaged-YYYYMMDD-HHMMSS" (with "-2", "-3"... when that
// exists) and returns the new path; the error says why it stayed.
Result<QString> setAside(const QString& indexFile, const QDateTime& now);

// Deletes the temporary files of writes that a crash cut short.
void removeUnfinishedWrites(const QString& indexFile);

} // namespace HistoryIndexFile
