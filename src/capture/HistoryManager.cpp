#include "capture/HistoryManager.h"

#include "app/AppPaths.h"
#include "capture/FileNamer.h"
#include "capture/HistoryFolderCount.h"
#include "common/FolderNames.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QSaveFile>

#include <algorithm>
#include <functional>
#include <optional>

namespace HistoryManager {

namespace {

struct Registered {
    QMutex mutex;
    Index index;
};

Registered& registered() {
    static Registered r;
    return r;
}

// A copy, so the index's functions run without holding the lock.
Index currentIndex() {
    Registered& r = registered();
    QMutexLocker lock(&r.mutex);
    return r.index;
}

HistoryFolderCount folderCount() {
    return {directory(), AppPaths::dataDirectory() + QStringLiteral("/history-count")};
}

bool isKept(const QString& fileName) {
    const Index index = currentIndex();
    return index.isKept && index.isKept(fileName);
}

} // namespace

QString directory() {
    return AppPaths::dataDirectory() + QStringLiteral("/History");
}

QString captureIdOf(const QString& path) {
    if (path.isEmpty()) return {};
    const QFileInfo file(path);
    const QString folder = QFileInfo(directory()).canonicalFilePath();
    const QString parent = QFileInfo(file.absolutePath()).canonicalFilePath();
    if (folder.isEmpty() || parent != folder) return {};
    return file.fileName();
}

namespace {

// A new file in the history folder under `fileName` or a free variant of it, written by
// `write` (an error sentence when it fails), with the folder's count kept.
Result<QString> add(const QString& fileName,
                    const std::function<std::optional<QString>(const QString&)>& write) {
    if (!QDir().mkpath(directory()))
        return Error{QStringLiteral("Cannot create the history folder %1").arg(directory())};
    const QString path = FileNamer::uniquePath(directory(), fileName);
    HistoryFolderCount count = folderCount();
    count.beforeAdd();
    if (const auto failure = write(path)) return Error{*failure};
    count.afterAdd();
    return path;
}

} // namespace

Result<QString> store(const QByteArray& bytes, const QString& fileName) {
    return add(fileName, [&bytes](const QString& path) -> std::optional<QString> {
        QSaveFile file(path);
        if (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit())
            return std::nullopt;
        return QStringLiteral("Cannot write %1: %2").arg(path, file.errorString());
    });
}

Result<QString> storeFile(const QString& source, const QString& fileName) {
    return add(fileName, [&source](const QString& path) -> std::optional<QString> {
        if (QFile::rename(source, path)) return std::nullopt;
        if (!QFile::copy(source, path)) return QStringLiteral("Cannot move %1 into the history").arg(source);
        QFile::remove(source);
        return std::nullopt;
    });
}

QStringList prune(int limit) {
    if (limit <= 0) return {};
    HistoryFolderCount count = folderCount();
    if (const auto known = count.known(); known && *known <= limit) return {};
    // A listing of names costs little; the dates are read only when there is something to
    // prune, once per file (QDir's sort by time reads them again at every comparison).
    const QDir folder(directory());
    QStringList names = folderFileNames(folder.path());
    names.removeIf([](const QString& name) { return name.endsWith(u".json"); });
    if (names.size() <= limit) {
        count.reset(names.size());
        return {};
    }
    QList<std::pair<QDateTime, QString>> files;
    files.reserve(names.size());
    for (const QString& name : std::as_const(names))
        files.append({QFileInfo(folder.filePath(name)).lastModified(), name});
    std::sort(files.begin(), files.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
    QStringList deleted;
    QSet<QString> remaining;
    int kept = 0;
    for (const auto& [modified, name] : std::as_const(files)) { // newest first
        if (kept < limit || isKept(name)) {
            ++kept;
            remaining.insert(name);
            continue;
        }
        if (QFile::remove(folder.filePath(name)))
            deleted.append(name);
        else
            remaining.insert(name);
    }
    count.reset(remaining.size());
    if (const Index index = currentIndex(); !deleted.isEmpty() && index.pruned) index.pruned(remaining);
    return deleted;
}

void addToIndex(const QString& path, const CaptureContext& context) {
    if (const Index index = currentIndex(); index.add) index.add(path, context);
}

void setIndex(Index index) {
    Registered& r = registered();
    QMutexLocker lock(&r.mutex);
    r.index = std::move(index);
}

} // namespace HistoryManager
