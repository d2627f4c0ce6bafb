#pragma once

#include "common/Result.h"
#include "history/HistoryRecord.h"

#include <QDateTime>
#include <QJsonObject>
#include <QString>

#include <optional>

class HistoryIndex;

// What the library tools do with the history: search it, describe one capture, keep,
// rename and delete. Main thread.
namespace LibraryOperations {

// The index the library tools work on: HistoryIndex::shared() unless another is set (tests
// give each case its own folder). Null goes back to the shared one.
HistoryIndex& activeIndex();
void useIndex(HistoryIndex* index);

struct SearchRequest {
    QString query;
    std::optional<HistoryRecord::Kind> kind;
    std::optional<QDateTime> since;
    std::optional<QDateTime> until;
    bool keptOnly = false;
    int limit = 20; // 1 to 200
    int offset = 0;
};

// "image", "screenshot", "video", "recording", "gif"; none for anything else.
std::optional<HistoryRecord::Kind> kindNamed(const QString& name);

// ISO 8601 dates and times, "today", "yesterday", or an age like "7d", "12h", "2w" before
// `now`; none when the text is none of these. A bare date means its start (`until`: its end).
std::optional<QDateTime> parseDate(const QString& text, const QDateTime& now, bool endOfDay = false);

// {"total", "offset", "count", "captures": [{id, path, kind, date, width, height,
// app, window, kept, duration, snippet}]}, newest first.
QJsonObject search(const HistoryIndex& index, const SearchRequest& request);

// One record as the tools list it; the snippet only when searching found one.
QJsonObject describe(const HistoryRecord& record, const QString& path,
                     const std::optional<QString>& snippet = {});

// get_capture: the record (or, for a file outside the history, what the file says), the
// text read from it, and its editable annotations as {"tool", "rect", "text", "number"}.
QJsonObject details(const HistoryIndex& index, const QString& path, bool includeText,
                    bool includeAnnotations);

enum class Action { Keep, Unkeep, Rename, Delete };
std::optional<Action> actionNamed(const QString& name);

// Keep, unkeep and rename; delete removes the file, its project and its record. The
// result describes the capture afterwards ({"id", "deleted": true} for delete).
Result<QJsonObject> manage(HistoryIndex& index, const QString& captureID, Action action,
                           const QString& newName = {});

} // namespace LibraryOperations
