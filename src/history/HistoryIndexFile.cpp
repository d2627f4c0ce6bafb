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

Writer::Writer(QString indexFile) : m_indexFile(std::move(indexFile)) {
    const QString folder = QFileInfo(m_indexFile).absolutePath();
    QDir().mkpath(folder);
    m_temporary = QFile::encodeName(folder + u'/' + unfinishedPrefix(m_indexFile)) + "XXXXXX";
    m_fd = ::mkostemp(m_temporary.data(), O_CLOEXEC);
    if (m_fd < 0) m_error = errno;
}

Writer::~Writer() {
    if (m_fd < 0) return;
    ::close(m_fd);
    ::unlink(m_temporary.constData());
}

bool Writer::append(QByteArrayView bytes) {
    if (m_fd < 0 || m_error != 0) return false;
    const char* at = bytes.data();
    qsizetype left = bytes.size();
    while (left > 0) {
        const ssize_t written = ::write(m_fd, at, static_cast<size_t>(left));
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) {
            m_error = written < 0 ? errno : ENOSPC;
            return false;
        }
        at += written;
        left -= written;
    }
    // Starts the disk write of this piece without waiting for it.
    ::sync_file_range(m_fd, m_written, bytes.size(), SYNC_FILE_RANGE_WRITE);
    m_written += bytes.size();
    return true;
}

Result<bool> Writer::commit(bool keepPrevious) {
    if (m_fd < 0) {
        errno = m_error;
        return Error{systemError(QStringLiteral("Cannot write next to"), m_indexFile)};
    }
    if (m_error == 0 && ::fdatasync(m_fd) != 0) m_error = errno;
    ::close(m_fd);
    m_fd = -1;
    if (m_error != 0) {
        ::unlink(m_temporary.constData());
        errno = m_error;
        return Error{systemError(QStringLiteral("Cannot write"), m_indexFile)};
    }
    const QByteArray target = QFile::encodeName(m_indexFile);
    // Without a link (a file system that has none) the older copy stays: still a good one.
    if (keepPrevious && ::access(target.constData(), F_OK) == 0) {
        const QByteArray previous = QFile::encodeName(previousPath(m_indexFile));
        if (::unlink(previous.constData()) == 0 || errno == ENOENT)
            ::link(target.constData(), previous.constData());
    }
    if (::rename(m_temporary.constData(), target.constData()) != 0) {
        const int renameError = errno;
        ::unlink(m_temporary.constData());
        errno = renameError;
        return Error{systemError(QStringLiteral("Cannot replace"), m_indexFile)};
    }
    syncFolder(QFileInfo(m_indexFile).absolutePath());
    return true;
}

Result<bool> write(const QString& indexFile, const QByteArray& bytes, bool keepPrevious) {
    Writer writer(indexFile);
    writer.append(bytes);
    return writer.commit(keepPrevious);
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
