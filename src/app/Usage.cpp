#include "app/Usage.h"

#include "app/AppPaths.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLockFile>
#include <QMutex>
#include <QPointer>
#include <QSaveFile>
#include <QTimer>

#include <algorithm>
#include <cstdio>

namespace Usage {

namespace {

using Counts = QMap<QString, qint64>;

QString filePath() {
    return AppPaths::dataDirectory() + QStringLiteral("/usage.json");
}

// Counts not written yet, by the file they belong to: the data folder is read when an
// event is counted, not when it is written.
struct Unwritten {
    QMutex mutex;
    QHash<QString, Counts> byFile;
    QElapsedTimer since; // the oldest of them
};

Unwritten& unwritten() {
    static Unwritten u;
    return u;
}

// The file's counts. A file that is there but unreadable is moved aside to
// usage.json.bak, with a word on stderr, rather than overwritten.
QJsonObject readCounts(const QString& path, bool moveAsideIfUnreadable) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return {};
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
    file.close();
    const QJsonValue counts = document.object().value(QStringLiteral("counts"));
    if (counts.isObject()) return counts.toObject();
    if (moveAsideIfUnreadable) {
        const QString aside = path + QStringLiteral(".bak");
        QFile::remove(aside);
        if (QFile::rename(path, aside))
            std::fprintf(stderr,
                         "pictavia: %s could not be read; it is kept as %s and counting starts again\n",
                         qPrintable(path), qPrintable(aside));
    }
    return {};
}

// Adds `added` to the file's counts; false when the lock or the write failed.
bool addToFile(const QString& path, const Counts& added) {
    if (QFileInfo::exists(path) && !QFileInfo(path).isReadable()) return false; // never written over unread
    QDir().mkpath(QFileInfo(path).absolutePath());
    QLockFile lock(path + QStringLiteral(".lock"));
    if (!lock.tryLock(500)) return false;
    QJsonObject counts = readCounts(path, true);
    for (auto it = added.cbegin(); it != added.cend(); ++it)
        counts.insert(it.key(), counts.value(it.key()).toInteger() + it.value());
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) &&
           file.write(QJsonDocument(QJsonObject{{QStringLiteral("counts"), counts}}).toJson()) >= 0 &&
           file.commit();
}

// On the application's thread: (re)starts the one write timer. Whatever is left when the
// event loop ends is written then.
void startTimer(int delayMs) {
    static QPointer<QTimer> timer;
    if (!timer) {
        QCoreApplication* app = QCoreApplication::instance();
        timer = new QTimer(app);
        timer->setSingleShot(true);
        QObject::connect(timer, &QTimer::timeout, [] { flush(); });
        QObject::connect(app, &QCoreApplication::aboutToQuit, timer, [] { flush(); });
    }
    timer->start(delayMs);
}

void schedule(int delayMs) {
    // Without an application there is no event loop: flush() at the end writes them.
    if (QCoreApplication* app = QCoreApplication::instance())
        QMetaObject::invokeMethod(app, [delayMs] { startTimer(delayMs); });
}

} // namespace

void count(const QString& event) {
    Unwritten& u = unwritten();
    qint64 waited = 0;
    {
        const QMutexLocker lock(&u.mutex);
        u.byFile[filePath()][event] += 1;
        if (!u.since.isValid()) u.since.start();
        waited = u.since.elapsed();
    }
    schedule(static_cast<int>(std::clamp<qint64>(longestDelayMs - waited, 0, writeDelayMs)));
}

void flush() {
    Unwritten& u = unwritten();
    QHash<QString, Counts> pending;
    {
        const QMutexLocker lock(&u.mutex);
        pending = std::exchange(u.byFile, {});
        u.since.invalidate();
    }
    bool retry = false;
    for (auto file = pending.cbegin(); file != pending.cend(); ++file) {
        if (addToFile(file.key(), file.value())) continue;
        // Another process holds the file: these counts go with the next write.
        const QMutexLocker lock(&u.mutex);
        Counts& kept = u.byFile[file.key()];
        for (auto it = file.value().cbegin(); it != file.value().cend(); ++it)
            kept[it.key()] += it.value();
        if (!u.since.isValid()) u.since.start();
        retry = true;
    }
    if (retry) schedule(writeDelayMs);
}

QMap<QString, qint64> counts() {
    const QString path = filePath();
    Counts out;
    const QJsonObject stored = readCounts(path, false);
    for (auto it = stored.begin(); it != stored.end(); ++it)
        out.insert(it.key(), it.value().toInteger());
    Unwritten& u = unwritten();
    const QMutexLocker lock(&u.mutex);
    const Counts pending = u.byFile.value(path);
    for (auto it = pending.cbegin(); it != pending.cend(); ++it)
        out[it.key()] += it.value();
    return out;
}

} // namespace Usage
