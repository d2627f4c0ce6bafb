#include "agents/PeerIdentity.h"

#include "platform/posix/ProcessTable.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSet>

#include <vector>

namespace {

struct DesktopEntry {
    QString id;      // file name without .desktop, subfolders joined with '-'
    QString name;    // Name of [Desktop Entry]
    QString program; // from Exec
};

// The [Desktop Entry] group of one file; nullopt for hidden entries and anything that
// is not an application.
std::optional<DesktopEntry> readEntry(const QString& file, const QString& id) {
    QFile f(file);
    if (!f.open(QIODevice::ReadOnly)) return std::nullopt;
    DesktopEntry entry{id, {}, {}};
    bool inMain = false;
    bool application = false;
    while (!f.atEnd()) {
        const QString line = QString::fromUtf8(f.readLine()).trimmed();
        if (line.startsWith(u'[')) {
            if (inMain) break;
            inMain = line == u"[Desktop Entry]";
            continue;
        }
        if (!inMain) continue;
        const qsizetype equals = line.indexOf(u'=');
        if (equals <= 0) continue;
        const QString key = line.left(equals).trimmed();
        const QString value = line.mid(equals + 1).trimmed();
        if (key == u"Name")
            entry.name = value;
        else if (key == u"Exec")
            entry.program = desktopEntryProgram(value);
        else if (key == u"Type")
            application = value == u"Application";
        else if (key == u"Hidden" && value == u"true")
            return std::nullopt;
    }
    if (!application || entry.program.isEmpty()) return std::nullopt;
    return entry;
}

// Every application entry, an id found in an earlier folder hiding later ones.
std::vector<DesktopEntry> installedEntries(const QStringList& dirs) {
    std::vector<DesktopEntry> entries;
    QSet<QString> seen;
    for (const QString& dir : dirs) {
        const QString root = QDir(dir).absolutePath() + u'/';
        QDirIterator it(dir, {QStringLiteral("*.desktop")}, QDir::Files, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString file = it.next();
            QString id = file.mid(root.size());
            id.chop(8);
            id.replace(u'/', u'-');
            if (seen.contains(id)) continue;
            seen.insert(id);
            if (auto entry = readEntry(file, id)) entries.push_back(std::move(*entry));
        }
    }
    return entries;
}

// An entry naming the executable: a bare program by file name, a path by the file it
// leads to.
const DesktopEntry* entryFor(const QString& executable, const std::vector<DesktopEntry>& entries) {
    const QString name = QFileInfo(executable).fileName();
    for (const DesktopEntry& entry : entries) {
        if (!entry.program.contains(u'/')) {
            if (entry.program == name) return &entry;
        } else if (entry.program == executable ||
                   QFileInfo(entry.program).canonicalFilePath() == executable ||
                   QFileInfo(entry.program).fileName() == name) {
            return &entry;
        }
    }
    return nullptr;
}

std::optional<QString> executableOf(qint32 pid, const std::string& procRoot) {
    const auto path = posix::executableOf(pid, procRoot);
    if (!path) return std::nullopt;
    return QFile::decodeName(QByteArray::fromStdString(*path));
}

} // namespace

QString desktopEntryProgram(const QString& exec) {
    // Words, with double quotes grouping and backslash escaping inside them.
    QStringList words;
    QString word;
    bool quoted = false;
    bool inWord = false;
    for (qsizetype i = 0; i < exec.size(); ++i) {
        const QChar c = exec[i];
        if (quoted) {
            if (c == u'\\' && i + 1 < exec.size()) {
                word += exec[++i];
            } else if (c == u'"') {
                quoted = false;
            } else {
                word += c;
            }
        } else if (c == u'"') {
            quoted = inWord = true;
        } else if (c == u' ' || c == u'\t') {
            if (inWord) words << word;
            word.clear();
            inWord = false;
        } else {
            word += c;
            inWord = true;
        }
    }
    if (inWord) words << word;
    qsizetype first = 0;
    if (!words.isEmpty() && QFileInfo(words.first()).fileName() == u"env") {
        first = 1;
        while (first < words.size() && (words[first].startsWith(u'-') || words[first].contains(u'='))) {
            const bool takesValue = words[first] == u"-u" || words[first] == u"-C"; // -u NAME, -C DIR
            first += takesValue ? 2 : 1;
        }
    }
    return first < words.size() ? words[first] : QString();
}

PeerIdentity::Sources PeerIdentity::Sources::system() {
    Sources sources;
    QString dataHome = qEnvironmentVariable("XDG_DATA_HOME");
    if (dataHome.isEmpty()) dataHome = QDir::homePath() + QStringLiteral("/.local/share");
    QString dataDirs = qEnvironmentVariable("XDG_DATA_DIRS");
    if (dataDirs.isEmpty()) dataDirs = QStringLiteral("/usr/local/share:/usr/share");
    sources.applicationDirs << dataHome + QStringLiteral("/applications");
    for (const QString& dir : dataDirs.split(u':', Qt::SkipEmptyParts))
        sources.applicationDirs << dir + QStringLiteral("/applications");
    return sources;
}

PeerIdentity PeerIdentity::resolve(qint32 helperPID) {
    return resolve(helperPID, Sources::system());
}

PeerIdentity PeerIdentity::resolve(qint32 helperPID, const Sources& sources) {
    PeerIdentity identity;
    identity.helperPID = helperPID;
    const std::string procRoot = QFile::encodeName(sources.procRoot).toStdString();
    const auto parent = posix::parentOf(helperPID, procRoot);
    if (!parent || *parent < 2) return identity;

    std::optional<std::vector<DesktopEntry>> entries; // read when first needed
    qint32 pid = *parent;
    for (int depth = 0; depth < maxDepth; ++depth) {
        const auto executable = executableOf(pid, procRoot);
        if (executable) {
            if (depth == 0) identity.launcherName = QFileInfo(*executable).fileName();
            if (!entries) entries = installedEntries(sources.applicationDirs);
            if (const DesktopEntry* entry = entryFor(*executable, *entries)) {
                identity.hostAppPath = *executable;
                identity.hostBundleID = entry->id;
                identity.hostAppName =
                    entry->name.isEmpty() ? QFileInfo(*executable).fileName() : entry->name;
                return identity;
            }
        }
        const auto next = posix::parentOf(pid, procRoot);
        if (!next || *next <= 1) break;
        pid = *next;
    }
    return identity;
}
