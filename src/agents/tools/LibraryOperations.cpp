#include "agents/tools/LibraryOperations.h"

#include "editor/EditorTypes.h"
#include "editor/ProjectStore.h"
#include "history/HistoryFiles.h"
#include "history/HistoryIndex.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QRegularExpression>

#include <algorithm>
#include <cmath>

namespace LibraryOperations {

namespace {
HistoryIndex* chosenIndex = nullptr;
} // namespace

HistoryIndex& activeIndex() {
    return chosenIndex ? *chosenIndex : HistoryIndex::shared();
}

void useIndex(HistoryIndex* index) {
    chosenIndex = index;
}

std::optional<HistoryRecord::Kind> kindNamed(const QString& name) {
    const QString lower = name.trimmed().toLower();
    if (lower == u"image" || lower == u"images" || lower == u"screenshot" || lower == u"screenshots")
        return HistoryRecord::Kind::Image;
    if (lower == u"video" || lower == u"videos" || lower == u"recording" || lower == u"recordings")
        return HistoryRecord::Kind::Video;
    if (lower == u"gif" || lower == u"gifs") return HistoryRecord::Kind::Gif;
    return std::nullopt;
}

std::optional<QDateTime> parseDate(const QString& text, const QDateTime& now, bool endOfDay) {
    const QString lower = text.trimmed().toLower();
    if (lower.isEmpty()) return std::nullopt;
    const QDate today = now.date();
    auto dayBound = [&](const QDate& day) {
        return endOfDay ? QDateTime(day, QTime(23, 59, 59, 999)) : QDateTime(day, QTime(0, 0));
    };
    if (lower == u"today") return dayBound(today);
    if (lower == u"yesterday") return dayBound(today.addDays(-1));
    if (lower == u"now") return now;
    static const QRegularExpression age(QStringLiteral("^(\\d+)\\s*(m|min|h|d|w)$"));
    if (const auto match = age.match(lower); match.hasMatch()) {
        const qint64 amount = match.captured(1).toLongLong();
        const QString unit = match.captured(2);
        const qint64 seconds = unit == u"w" ? 7 * 86400 : unit == u"d" ? 86400 : unit == u"h" ? 3600 : 60;
        return now.addSecs(-amount * seconds);
    }
    if (const QDate day = QDate::fromString(text.trimmed(), Qt::ISODate); day.isValid()) return dayBound(day);
    if (QDateTime time = QDateTime::fromString(text.trimmed(), Qt::ISODateWithMs); time.isValid())
        return time;
    return std::nullopt;
}

QJsonObject describe(const HistoryRecord& record, const QString& path,
                     const std::optional<QString>& snippet) {
    QJsonObject item{{QStringLiteral("id"), record.name},
                     {QStringLiteral("path"), path},
                     {QStringLiteral("kind"), HistoryRecord::kindName(record.kind)},
                     {QStringLiteral("date"), record.date.toUTC().toString(Qt::ISODate)},
                     {QStringLiteral("kept"), record.keep}};
    if (record.width > 0) item.insert(QStringLiteral("width"), record.width);
    if (record.height > 0) item.insert(QStringLiteral("height"), record.height);
    if (record.app) item.insert(QStringLiteral("app"), *record.app);
    if (record.window) item.insert(QStringLiteral("window"), *record.window);
    if (record.duration) item.insert(QStringLiteral("duration_seconds"), *record.duration);
    if (const QFileInfo file(path); file.exists()) item.insert(QStringLiteral("bytes"), double(file.size()));
    if (snippet && !snippet->isEmpty()) item.insert(QStringLiteral("snippet"), *snippet);
    return item;
}

QJsonObject search(const HistoryIndex& index, const SearchRequest& request) {
    const bool searching = !HistoryIndex::queryWords(request.query).isEmpty();
    const QStringList names = searching ? index.search(request.query) : index.records().keys();
    QList<const HistoryRecord*> found;
    for (const QString& name : names) {
        const auto record = index.records().constFind(name);
        if (record == index.records().cend()) continue;
        if (request.kind && record->kind != *request.kind) continue;
        if (request.since && record->date < *request.since) continue;
        if (request.until && record->date > *request.until) continue;
        if (request.keptOnly && !index.isKept(name)) continue;
        found.append(&*record);
    }
    std::sort(found.begin(), found.end(), [](const HistoryRecord* a, const HistoryRecord* b) {
        if (a->date != b->date) return a->date > b->date;
        return a->name > b->name;
    });
    const int limit = std::clamp(request.limit, 1, 200);
    const int offset = std::max(0, request.offset);
    const QDir folder(index.historyDirectory());
    QJsonArray captures;
    for (qsizetype i = offset; i < found.size() && captures.size() < limit; ++i) {
        const HistoryRecord& record = *found[i];
        // Snippets cost a text scan each; only the returned results get one.
        const auto snippet = searching ? index.snippet(record.name, request.query) : std::nullopt;
        captures.append(describe(record, folder.filePath(record.name), snippet));
    }
    return {{QStringLiteral("total"), int(found.size())},
            {QStringLiteral("offset"), offset},
            {QStringLiteral("count"), int(captures.size())},
            {QStringLiteral("captures"), captures}};
}

QJsonObject details(const HistoryIndex& index, const QString& path, bool includeText,
                    bool includeAnnotations) {
    const QFileInfo file(path);
    const bool inHistory = QDir(index.historyDirectory()).absolutePath() == file.absolutePath();
    const auto record = inHistory ? index.record(file.fileName()) : std::nullopt;
    QJsonObject item;
    if (record) {
        item = describe(*record, file.absoluteFilePath());
    } else {
        HistoryRecord bare;
        bare.name = file.fileName();
        bare.kind = HistoryRecord::kindOf(bare.name);
        bare.date = file.lastModified();
        item = describe(bare, file.absoluteFilePath());
        if (!inHistory) item.remove(QStringLiteral("id"));
    }
    item.insert(QStringLiteral("file_name"), file.fileName());
    if (includeText) {
        const QString text = record ? record->textString() : QString();
        item.insert(QStringLiteral("text"), text);
        if (record && record->text.isEmpty() && index.pending() > 0)
            item.insert(QStringLiteral("text_pending"), true);
    }
    const bool editable = inHistory && ProjectStore::has(file.absoluteFilePath());
    item.insert(QStringLiteral("editable"), editable);
    if (includeAnnotations && editable) {
        QJsonArray annotations;
        if (const auto project = ProjectStore::load(file.absoluteFilePath())) {
            for (const Annotation& a : project->annotations) {
                const QRectF box = a.bounds();
                QJsonObject entry{{QStringLiteral("tool"), editorToolNames.raw(a.tool)},
                                  {QStringLiteral("rect"),
                                   QJsonObject{{QStringLiteral("x"), std::round(box.x())},
                                               {QStringLiteral("y"), std::round(box.y())},
                                               {QStringLiteral("width"), std::round(box.width())},
                                               {QStringLiteral("height"), std::round(box.height())}}},
                                  {QStringLiteral("color"), a.color.name()}};
                if (!a.text.isEmpty()) entry.insert(QStringLiteral("text"), a.text);
                if (a.tool == EditorTool::Counter || a.tool == EditorTool::Step)
                    entry.insert(QStringLiteral("number"), a.number);
                annotations.append(entry);
            }
            if (project->background != u"none")
                item.insert(QStringLiteral("background"), project->background);
        }
        item.insert(QStringLiteral("annotations"), annotations);
    }
    return item;
}

std::optional<Action> actionNamed(const QString& name) {
    const QString lower = name.trimmed().toLower();
    if (lower == u"keep") return Action::Keep;
    if (lower == u"unkeep") return Action::Unkeep;
    if (lower == u"rename") return Action::Rename;
    if (lower == u"delete") return Action::Delete;
    return std::nullopt;
}

Result<QJsonObject> manage(HistoryIndex& index, const QString& captureID, Action action,
                           const QString& newName) {
    const QString name = QFileInfo(captureID.trimmed()).fileName();
    const QDir folder(index.historyDirectory());
    if (name.isEmpty() || !QFileInfo(folder.filePath(name)).isFile())
        return HistoryFiles::notFound(captureID);
    QString current = name;
    switch (action) {
    case Action::Keep:
    case Action::Unkeep:
        if (!index.setKeep(name, action == Action::Keep)) return HistoryFiles::notFound(name);
        break;
    case Action::Rename: {
        if (newName.trimmed().isEmpty()) return Error{QStringLiteral("rename needs `new_name`.")};
        auto renamed = HistoryFiles::rename(index, name, newName.trimmed());
        if (!renamed) return renamed.error();
        current = *renamed;
        break;
    }
    case Action::Delete: {
        const auto removed = HistoryFiles::remove(index, name);
        if (!removed) return removed.error();
        return QJsonObject{{QStringLiteral("id"), name}, {QStringLiteral("deleted"), true}};
    }
    }
    const auto record = index.record(current);
    if (!record)
        return QJsonObject{{QStringLiteral("id"), current},
                           {QStringLiteral("path"), folder.filePath(current)}};
    QJsonObject described = describe(*record, folder.filePath(current));
    described.insert(QStringLiteral("kept"), index.isKept(current));
    if (current != name) described.insert(QStringLiteral("previous_id"), name);
    return described;
}

} // namespace LibraryOperations
