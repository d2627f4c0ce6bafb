#include "app/GnomeKeybindings.h"

#include "platform/DesktopKeyBindings.h"

#include <QProcess>

namespace GnomeKeybindings {

namespace {

const QString listPath = QStringLiteral("/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings/");

// A quoted string at `at` (its quote), with GVariant's backslash escapes; moves `at` past it.
std::optional<QString> quoted(const QString& text, qsizetype& at) {
    const QChar quote = text[at++];
    QString value;
    while (at < text.size()) {
        const QChar c = text[at++];
        if (c == quote) return value;
        if (c == u'\\') {
            if (at >= text.size()) return std::nullopt;
            value += text[at++];
        } else {
            value += c;
        }
    }
    return std::nullopt;
}

QString quote(const QString& value) {
    QString escaped = value;
    escaped.replace(QStringLiteral("\\"), QStringLiteral("\\\\"))
        .replace(QStringLiteral("'"), QStringLiteral("\\'"));
    return QLatin1Char('\'') + escaped + QLatin1Char('\'');
}

} // namespace

QString pathFor(const QString& flow) {
    return listPath + QStringLiteral("pictavia-") + flow + QLatin1Char('/');
}

std::optional<QStringList> parseList(const QString& printed) {
    QString text = printed.trimmed();
    if (text.startsWith(QLatin1String("@as"))) text = text.mid(3).trimmed();
    if (!text.startsWith(u'[') || !text.endsWith(u']')) return std::nullopt;
    QStringList items;
    qsizetype at = 1;
    const qsizetype end = text.size() - 1;
    const auto skipSpace = [&] {
        while (at < end && text[at].isSpace())
            ++at;
    };
    skipSpace();
    while (at < end) {
        if (text[at] != u'\'' && text[at] != u'"') return std::nullopt;
        auto item = quoted(text, at);
        if (!item || at > end) return std::nullopt;
        items.append(*item);
        skipSpace();
        if (at == end) break;
        if (text[at] != u',') return std::nullopt;
        ++at;
        skipSpace();
    }
    return items;
}

QString formatList(const QStringList& items) {
    QStringList quotedItems;
    for (const QString& item : items)
        quotedItems.append(quote(item));
    return QLatin1Char('[') + quotedItems.join(QStringLiteral(", ")) + QLatin1Char(']');
}

QStringList merged(const QStringList& existing, const QList<Entry>& ours) {
    QStringList result = existing;
    for (const Entry& entry : ours) {
        const QString path = pathFor(entry.flow);
        if (!result.contains(path)) result.append(path);
    }
    return result;
}

std::optional<QList<QStringList>> gsettingsCalls(const QString& printedList, const QList<Entry>& ours) {
    const auto existing = parseList(printedList);
    if (!existing) return std::nullopt;
    QList<QStringList> calls;
    for (const Entry& entry : ours) {
        const QString schema = QLatin1String(entrySchema) + QLatin1Char(':') + pathFor(entry.flow);
        // Quoted: gsettings reads values as GVariant text.
        calls.append({QStringLiteral("set"), schema, QStringLiteral("name"), quote(entry.name)});
        calls.append({QStringLiteral("set"), schema, QStringLiteral("command"), quote(entry.command)});
        calls.append({QStringLiteral("set"), schema, QStringLiteral("binding"), quote(entry.binding)});
    }
    // The list last: GNOME picks up an entry only once all its keys are there.
    calls.append({QStringLiteral("set"), QLatin1String(listSchema), QLatin1String(listKey),
                  formatList(merged(*existing, ours))});
    return calls;
}

QList<Entry> entriesFor(const QList<Hotkeys::Binding>& bindings,
                        const std::function<QString(const QString& name)>& keysOf) {
    QList<Entry> entries;
    for (const Hotkeys::Binding& binding : bindings) {
        const auto url = DesktopKeyBindings::urlFor(binding.name);
        const QString accelerator = DesktopKeyBindings::gnomeAccelerator(keysOf(binding.name));
        if (!url || accelerator.isEmpty()) continue;
        entries.append({binding.name, QStringLiteral("Pictavia: ") + binding.title,
                        DesktopKeyBindings::command(*url), accelerator});
    }
    return entries;
}

Result<bool> apply(const QList<Entry>& entries) {
    const auto gsettings = [](const QStringList& arguments) -> Result<QString> {
        QProcess process;
        process.start(QStringLiteral("gsettings"), arguments);
        if (!process.waitForStarted())
            return Error{
                QStringLiteral("Could not add the shortcuts: the gsettings command is not installed.")};
        process.waitForFinished();
        if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
            return Error{QStringLiteral("Could not add the shortcuts: gsettings said \"%1\".")
                             .arg(QString::fromLocal8Bit(process.readAllStandardError()).trimmed())};
        return QString::fromLocal8Bit(process.readAllStandardOutput());
    };
    const auto list = gsettings({QStringLiteral("get"), QLatin1String(listSchema), QLatin1String(listKey)});
    if (!list) return list.error();
    const auto calls = gsettingsCalls(*list, entries);
    if (!calls)
        return Error{QStringLiteral(
            "Could not add the shortcuts: GNOME's list of custom shortcuts could not be read.")};
    for (const QStringList& call : *calls)
        if (const auto done = gsettings(call); !done) return done.error();
    return true;
}

} // namespace GnomeKeybindings
