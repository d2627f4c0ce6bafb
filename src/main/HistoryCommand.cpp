#include "main/HistoryCommand.h"

#include "capture/HistoryManager.h"
#include "history/HistoryFiles.h"
#include "history/HistoryIndex.h"
#include "main/CommandLine.h"
#include "main/CommandOutput.h"
#include "main/PlatformSetup.h"

#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>

#include <algorithm>

namespace {

const char* const historyUsage = R"(Usage: pictavia history ACTION [options]

The history of captures, searchable by the words inside them.

Actions:
  search QUERY [--kind image|video|gif] [--json]   captures whose text, name,
                                                   application or window hold
                                                   every word, newest first
  keep NAME                                        spare a capture from cleanup
  unkeep NAME                                      let cleanup remove it again
  delete NAME                                      delete a capture, its record
                                                   and its project
  export --pdf|--zip|--styled DEST NAMES...        one PDF, one ZIP or styled
                                                   copies in a folder

Run "pictavia history ACTION --help" for the options of one action.
)";

struct Found {
    QString name;
    QString path;
    QDateTime date;
    HistoryRecord record;
    bool hasRecord = false;
};

// The capture files of the history folder with their records, newest first.
QList<Found> capturesMatching(const HistoryIndex& index, const QString& query,
                              std::optional<HistoryRecord::Kind> kind) {
    const QDir directory(index.historyDirectory());
    const QList<QByteArray> words = HistoryIndex::queryWords(query);
    QList<Found> found;
    for (const QFileInfo& file : directory.entryInfoList(QDir::Files | QDir::NoDotAndDotDot)) {
        const QString name = file.fileName();
        if (name.startsWith(u'.') || file.suffix() == u"json" || !index.matchesWords(name, words)) continue;
        Found item{name, file.absoluteFilePath(), file.lastModified(), {}, false};
        if (const auto record = index.record(name)) {
            item.record = *record;
            item.hasRecord = true;
            if (record->date.isValid()) item.date = record->date;
        } else {
            item.record.name = name;
            item.record.kind = HistoryRecord::kindOf(name);
        }
        if (kind && item.record.kind != *kind) continue;
        found.append(item);
    }
    std::sort(found.begin(), found.end(), [](const Found& a, const Found& b) { return a.date > b.date; });
    return found;
}

QJsonObject json(const Found& item, const std::optional<QString>& snippet) {
    const HistoryRecord& r = item.record;
    auto optional = [](const std::optional<QString>& text) {
        return text ? QJsonValue(*text) : QJsonValue();
    };
    return {{QStringLiteral("name"), item.name},
            {QStringLiteral("path"), item.path},
            {QStringLiteral("date"), item.date.toUTC().toString(Qt::ISODate)},
            {QStringLiteral("kind"), HistoryRecord::kindName(r.kind)},
            {QStringLiteral("width"), r.width},
            {QStringLiteral("height"), r.height},
            {QStringLiteral("duration"), r.duration ? QJsonValue(*r.duration) : QJsonValue()},
            {QStringLiteral("keep"), r.keep},
            {QStringLiteral("app"), optional(r.app)},
            {QStringLiteral("window"), optional(r.window)},
            {QStringLiteral("snippet"), optional(snippet)}};
}

int search(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Lists the captures whose recognised text, file name, application or window hold\n"
                       "every word of QUERY, newest first: date, kind, size, name and a snippet."));
    parser.addPositionalArgument(QStringLiteral("QUERY"), QStringLiteral("Words to find; none lists all."));
    parser.addOption({QStringLiteral("kind"),
                      QStringLiteral("Only captures of this kind: image, video or gif."),
                      QStringLiteral("KIND")});
    parser.addOption({QStringLiteral("json"), QStringLiteral("Print JSON instead of a table.")});
    if (const auto code = CommandLine::parse(parser, arguments, QStringLiteral("history search"), 1000))
        return *code;
    std::optional<HistoryRecord::Kind> kind;
    if (parser.isSet(QStringLiteral("kind"))) {
        kind = HistoryRecord::kindNamed(parser.value(QStringLiteral("kind")));
        if (!kind) return CommandLine::usageError(QStringLiteral("--kind needs image, video or gif"));
    }
    const QString query = parser.positionalArguments().join(u' ');
    const HistoryIndex& index = HistoryIndex::shared();
    if (const auto problem = index.loadProblem(); problem && !CommandLine::hosted())
        CommandOutput::error(*problem);
    const QList<Found> found = capturesMatching(index, query, kind);
    if (parser.isSet(QStringLiteral("json"))) {
        QJsonArray array;
        for (const Found& item : found)
            array.append(json(item, index.snippet(item.name, query)));
        CommandLine::printJson(array);
        return CommandLine::ok;
    }
    for (const Found& item : found) {
        const HistoryRecord& r = item.record;
        const QString size =
            r.width > 0 ? QStringLiteral("%1x%2").arg(r.width).arg(r.height) : QStringLiteral("-");
        CommandOutput::out(QStringList{item.date.toString(QStringLiteral("yyyy-MM-dd HH:mm")),
                                       HistoryRecord::kindName(r.kind), size, item.name}
                               .join(u'\t') +
                           u'\n');
        if (const auto snippet = index.snippet(item.name, query))
            CommandOutput::out(u'\t' + *snippet + u'\n');
    }
    return CommandLine::ok;
}

// Parses an action on one capture; returns an exit code when it should stop here.
std::optional<int> parseName(const QStringList& arguments, const QString& action, const QString& description,
                             QString* name) {
    QCommandLineParser parser;
    parser.setApplicationDescription(description);
    parser.addPositionalArgument(QStringLiteral("NAME"), QStringLiteral("The capture's file name."));
    if (const auto code = CommandLine::parse(parser, arguments, QStringLiteral("history ") + action, 1))
        return code;
    if (parser.positionalArguments().size() != 1)
        return CommandLine::usageError(QStringLiteral("name one capture (see \"pictavia history search\")"));
    *name = QFileInfo(parser.positionalArguments().first()).fileName();
    return std::nullopt;
}

int unknown(const QString& name) {
    CommandOutput::error(HistoryFiles::notFound(name).message);
    return CommandLine::failed;
}

// Written before the command answers: the process may end right after it.
int saved(HistoryIndex& index) {
    if (!index.saveNow()) {
        CommandOutput::error(QStringLiteral("cannot record the change beside %1").arg(index.indexFile()));
        return CommandLine::failed;
    }
    return CommandLine::ok;
}

int keep(const QStringList& arguments, bool kept) {
    const QString action = kept ? QStringLiteral("keep") : QStringLiteral("unkeep");
    QString name;
    if (const auto code =
            parseName(arguments, action,
                      kept ? QStringLiteral("Spares a capture from the history's cleanup.")
                           : QStringLiteral("Lets the history's cleanup remove a capture again."),
                      &name))
        return *code;
    HistoryIndex& index = HistoryIndex::shared();
    if (!index.setKeep(name, kept)) return unknown(name);
    return saved(index);
}

int remove(const QStringList& arguments) {
    QString name;
    if (const auto code =
            parseName(arguments, QStringLiteral("delete"),
                      QStringLiteral("Deletes a capture from the history, with its record and its "
                                     "project."),
                      &name))
        return *code;
    HistoryIndex& index = HistoryIndex::shared();
    if (const auto removed = HistoryFiles::remove(index, name); !removed) {
        CommandOutput::error(removed.error().message);
        return CommandLine::failed;
    }
    return saved(index);
}

} // namespace

int runHistoryCommand(const QStringList& arguments) {
    const QString action = arguments.value(0);
    const QStringList rest = arguments.mid(1);
    if (action == u"search") return search(rest);
    if (action == u"keep") return keep(rest, true);
    if (action == u"unkeep") return keep(rest, false);
    if (action == u"delete") return remove(rest);
    if (action.isEmpty() || action == u"--help" || action == u"-h" || action == u"help") {
        if (action.isEmpty()) {
            CommandOutput::err(QString::fromUtf8(historyUsage));
            return CommandLine::usage;
        }
        CommandOutput::out(QString::fromUtf8(historyUsage));
        return CommandLine::ok;
    }
    return CommandLine::usageError(
        QStringLiteral("unknown history action \"%1\"; use search, keep, unkeep or delete").arg(action));
}
