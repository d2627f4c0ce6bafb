#include "capture/HistoryManager.h"

#include "app/AppPaths.h"
#include "capture/FileNamer.h"

#include <QDir>
#include <QFileInfo>
#include <QMutex>
#include <QSaveFile>

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

Result<QString> store(const QByteArray& bytes, const QString& fileName) {
    if (!QDir().mkpath(directory()))
        return Error{QStringLiteral("Cannot create the history folder %1").arg(directory())};
    const QString path = FileNamer::uniquePath(directory(), fileName);
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
        return Error{QStringLiteral("Cannot write %1: %2").arg(path, file.errorString())};
    return path;
}

QStringList prune(int limit) {
    if (limit <= 0) return {};
    QFileInfoList files = QDir(directory()).entryInfoList(QDir::Files | QDir::NoDotAndDotDot, QDir::Time);
    QStringList deleted;
    QSet<QString> remaining;
    int kept = 0;
    for (const QFileInfo& file : files) { // newest first
        if (file.fileName().startsWith(u'.') || file.suffix() == u"json") continue;
        if (kept < limit || isKept(file.fileName())) {
            ++kept;
            remaining.insert(file.fileName());
            continue;
        }
        if (QFile::remove(file.absoluteFilePath()))
            deleted.append(file.fileName());
        else
            remaining.insert(file.fileName());
    }
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
