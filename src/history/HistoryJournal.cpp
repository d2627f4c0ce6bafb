#include "history/HistoryJournal.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace HistoryJournal {

namespace {

struct OpName {
    Entry::Op op;
    const char* name;
};
constexpr OpName opNames[] = {{Entry::Op::Add, "add"},
                              {Entry::Op::Keep, "keep"},
                              {Entry::Op::Unkeep, "unkeep"},
                              {Entry::Op::Remove, "remove"},
                              {Entry::Op::Rename, "rename"}};

// A record's key is a plain file name of the history folder, never a path.
bool isPlainName(const QString& name) {
    return !name.isEmpty() && !name.contains(u'/') && !name.contains(QChar(0)) && name != u"." &&
           name != u"..";
}

QString systemError(const QString& what, const QString& path) {
    return QStringLiteral("%1 %2: %3").arg(what, path, QString::fromLocal8Bit(std::strerror(errno)));
}

// Closes the descriptor, and with it the lock, on every way out.
class Descriptor {
public:
    explicit Descriptor(int fd) : m_fd(fd) {}
    ~Descriptor() {
        if (m_fd >= 0) ::close(m_fd);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return m_fd; }
    bool valid() const { return m_fd >= 0; }

private:
    int m_fd;
};

int openFile(const QString& path, int flags) {
    int fd = -1;
    do
        fd = ::open(QFile::encodeName(path).constData(), flags | O_CLOEXEC, 0600);
    while (fd < 0 && errno == EINTR);
    return fd;
}

bool lock(int fd, int how) {
    int result = -1;
    do
        result = ::flock(fd, how);
    while (result < 0 && errno == EINTR);
    return result == 0;
}

bool writeAll(int fd, const QByteArray& bytes) {
    const char* at = bytes.constData();
    qsizetype left = bytes.size();
    while (left > 0) {
        const ssize_t written = ::write(fd, at, static_cast<size_t>(left));
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        at += written;
        left -= written;
    }
    return true;
}

QByteArray readAll(int fd) {
    QByteArray bytes;
    char buffer[65536];
    for (;;) {
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        bytes.append(buffer, got);
    }
    return bytes;
}

QList<Entry> parse(const QByteArray& bytes) {
    QList<Entry> entries;
    for (const QByteArray& line : bytes.split('\n'))
        if (auto entry = fromLine(line)) entries.append(std::move(*entry));
    return entries;
}

} // namespace

QString pathFor(const QString& indexFile) {
    return indexFile + QStringLiteral(".journal");
}

QByteArray toLine(const Entry& entry) {
    QJsonObject object;
    for (const OpName& named : opNames)
        if (named.op == entry.op) object.insert(QStringLiteral("op"), QLatin1StringView(named.name));
    if (entry.op == Entry::Op::Add) {
        object.insert(QStringLiteral("record"), entry.record.toJson());
    } else {
        object.insert(QStringLiteral("name"), entry.name);
        if (entry.op == Entry::Op::Rename) object.insert(QStringLiteral("newName"), entry.newName);
    }
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

std::optional<Entry> fromLine(QByteArrayView line) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(line.toByteArray(), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) return std::nullopt;
    const QJsonObject object = document.object();
    const QString op = object.value(QStringLiteral("op")).toString();
    Entry entry;
    bool known = false;
    for (const OpName& named : opNames)
        if (op == QLatin1StringView(named.name)) {
            entry.op = named.op;
            known = true;
        }
    if (!known) return std::nullopt;
    if (entry.op == Entry::Op::Add) {
        const auto record = HistoryRecord::fromJson(object.value(QStringLiteral("record")).toObject());
        if (!record || !isPlainName(record->name)) return std::nullopt;
        entry.record = *record;
        return entry;
    }
    entry.name = object.value(QStringLiteral("name")).toString();
    if (!isPlainName(entry.name)) return std::nullopt;
    if (entry.op == Entry::Op::Rename) {
        entry.newName = object.value(QStringLiteral("newName")).toString();
        if (!isPlainName(entry.newName)) return std::nullopt;
    }
    return entry;
}

Result<bool> append(const QString& indexFile, const Entry& entry) {
    const QString path = pathFor(indexFile);
    QDir().mkpath(QFileInfo(path).absolutePath());
    // Readable too, to look at the last byte.
    const Descriptor file(openFile(path, O_RDWR | O_APPEND | O_CREAT));
    if (!file.valid()) return Error{systemError(QStringLiteral("Cannot open"), path)};
    if (!lock(file.get(), LOCK_EX)) return Error{systemError(QStringLiteral("Cannot lock"), path)};
    QByteArray line = toLine(entry) + '\n';
    // A writer killed mid-line left no line feed: this entry starts a line of its own, so
    // only the torn one is lost.
    struct stat status {};
    char last = '\n';
    if (::fstat(file.get(), &status) == 0 && status.st_size > 0 &&
        ::pread(file.get(), &last, 1, status.st_size - 1) == 1 && last != '\n')
        line.prepend('\n');
    if (!writeAll(file.get(), line) || ::fsync(file.get()) != 0)
        return Error{systemError(QStringLiteral("Cannot write"), path)};
    return true;
}

QList<Entry> read(const QString& indexFile) {
    const Descriptor file(openFile(pathFor(indexFile), O_RDONLY));
    if (!file.valid()) return {};
    lock(file.get(), LOCK_SH); // unlocked, a line being appended reads as torn and is skipped
    return parse(readAll(file.get()));
}

Result<bool> fold(const QString& indexFile, const std::function<bool(const QList<Entry>&)>& apply) {
    const QString path = pathFor(indexFile);
    const Descriptor file(openFile(path, O_RDWR));
    if (!file.valid()) {
        const int error = errno;
        apply({});
        if (error == ENOENT) return true;
        errno = error;
        return Error{systemError(QStringLiteral("Cannot open"), path)};
    }
    if (!lock(file.get(), LOCK_EX)) {
        apply({});
        return Error{systemError(QStringLiteral("Cannot lock"), path)};
    }
    const QByteArray bytes = readAll(file.get());
    if (!apply(parse(bytes)) || bytes.isEmpty()) return true;
    if (::ftruncate(file.get(), 0) != 0 || ::fsync(file.get()) != 0)
        return Error{systemError(QStringLiteral("Cannot empty"), path)};
    return true;
}

} // namespace HistoryJournal
