#include "history/HistoryIndexFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace HistoryIndexFile {

namespace {

// "index.json.saving-Ab12Cd": never taken for a capture, and found again after a crash.
QString unfinishedPrefix(const QString& indexFile) {
    return QFileInfo(indexFile).fileName() + QStringLiteral(".saving-");
}

QString systemError(const QString& what, const QString& path) {
    return QStringLiteral("%1 %2: %3").arg(what, path, QString::fromLocal8Bit(std::strerror(errno)));
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

// The rename itself reaches the disk only with its folder.
void syncFolder(const QString& folder) {
    const int fd = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return;
    ::fsync(fd);
    ::close(fd);
}

} // namespace

QString previousPath(const QString& indexFile) {
    return indexFile + QStringLiteral(".previous");
}

Result<bool> write(const QString& indexFile, const QByteArray& bytes, bool keepPrevious) {
    const QString folder = QFileInfo(indexFile).absolutePath();
    if (!QDir().mkpath(folder)) return Error{QStringLiteral("Cannot create the folder %1").arg(folder)};
    QByteArray temporary = QFile::encodeName(folder + u'/' + unfinishedPrefix(indexFile)) + "XXXXXX";
    const int fd = ::mkostemp(temporary.data(), O_CLOEXEC);
    if (fd < 0) return Error{systemError(QStringLiteral("Cannot write in"), folder)};
    const bool written = writeAll(fd, bytes) && ::fsync(fd) == 0;
    const int writeError = errno;
    ::close(fd);
    if (!written) {
        ::unlink(temporary.constData());
        errno = writeError;
        return Error{systemError(QStringLiteral("Cannot write"), indexFile)};
    }
    const QByteArray target = QFile::encodeName(indexFile);
    // Without a link (a file system that has none) the older copy stays: still a good one.
    if (keepPrevious && ::access(target.constData(), F_OK) == 0) {
        const QByteArray previous = QFile::encodeName(previousPath(indexFile));
        if (::unlink(previous.constData()) == 0 || errno == ENOENT)
            ::link(target.constData(), previous.constData());
    }
    if (::rename(temporary.constData(), target.constData()) != 0) {
        const int renameError = errno;
        ::unlink(temporary.constData());
        errno = renameError;
        return Error{systemError(QStringLiteral("Cannot replace"), indexFile)};
    }
    syncFolder(folder);
    return true;
}

Result<QString> setAside(const QString& indexFile, const QDateTime& now) {
    const QString base =
        indexFile + QStringLiteral(".damaged-") + now.toString(QStringLiteral("yyyyMMdd-HHmmss"));
    for (int attempt = 1; attempt < 1000; ++attempt) {
        const QString target = attempt == 1 ? base : base + u'-' + QString::number(attempt);
        if (QFileInfo::exists(target)) continue;
        QFile file(indexFile);
        // Never over another file: QFile::rename refuses to replace one.
        if (!file.rename(target))
            return Error{QStringLiteral("Cannot move %1 aside: %2").arg(indexFile, file.errorString())};
        syncFolder(QFileInfo(indexFile).absolutePath());
        return target;
    }
    return Error{QStringLiteral("Cannot move %1 aside: too many damaged copies").arg(indexFile)};
}

void removeUnfinishedWrites(const QString& indexFile) {
    const QFileInfo file(indexFile);
    QDir folder = file.absoluteDir();
    for (const QString& name :
         folder.entryList({unfinishedPrefix(indexFile) + u'*'}, QDir::Files | QDir::Hidden | QDir::System))
        folder.remove(name);
}

} // namespace HistoryIndexFile
