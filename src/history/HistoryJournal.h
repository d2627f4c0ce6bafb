#pragma once

#include "common/Result.h"
#include "history/HistoryRecord.h"

#include <QList>
#include <QString>

#include <functional>

// Changes to the history made by processes other than the resident app, one JSON line each
// in "index.json.journal" beside the index. Writers append without reading the index; the
// app applies the lines and empties the file (fold). Appends and folds take the file's lock,
// so a line appended while the app folds waits for the fold and is never lost.
namespace HistoryJournal {

struct Entry {
    enum class Op { Add, Keep, Unkeep, Remove, Rename };
    Op op = Op::Add;
    HistoryRecord record; // Add: the new record (text may be empty)
    QString name;         // Keep, Unkeep, Remove, Rename: the record's name
    QString newName;      // Rename

    bool operator==(const Entry&) const = default;
};

QString pathFor(const QString& indexFile); // indexFile + ".journal"

// One JSON line, appended under the lock and flushed to the disk before it returns. Starts
// a new line when a writer that was killed left the last one unfinished.
Result<bool> append(const QString& indexFile, const Entry& entry);

// Every entry in file order; a torn or garbage line is skipped. A missing journal has none.
QList<Entry> read(const QString& indexFile);

// Reads the journal under its exclusive lock and hands the entries to apply while still
// holding it; when apply returns true (the index holding them is saved) the journal is
// emptied before the lock goes. apply runs exactly once, with no entries when there is no
// journal or it cannot be opened (then the error says why).
Result<bool> fold(const QString& indexFile, const std::function<bool(const QList<Entry>&)>& apply);

// One entry as its journal line, without the line feed, and back; none for a line that is
// not an entry.
QByteArray toLine(const Entry& entry);
std::optional<Entry> fromLine(QByteArrayView line);

} // namespace HistoryJournal
