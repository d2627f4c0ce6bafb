#include "platform/qt/ClipboardServerLifetime.h"

#include <QDir>
#include <QFile>
#include <QFileSystemWatcher>
#include <QLockFile>
#include <QSocketNotifier>
#include <QTimer>

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>

namespace platform::qt {

namespace {

// Through syscall(): glibc 2.36's <sys/pidfd.h> cannot be included from C++.
int openPidfd(pid_t pid) {
    return static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
}

QByteArray executableOf(pid_t pid) {
    return QFile::encodeName(QFile::symLinkTarget(QStringLiteral("/proc/%1/exe").arg(pid)));
}

// A live process running this very program.
bool isPictavia(pid_t pid) {
    if (pid <= 0) return false;
    const QByteArray exe = executableOf(pid);
    return !exe.isEmpty() && exe == executableOf(::getpid());
}

bool isClipboardServer(pid_t pid) {
    if (pid == ::getpid() || !isPictavia(pid)) return false;
    QFile cmdline(QStringLiteral("/proc/%1/cmdline").arg(pid));
    return cmdline.open(QIODevice::ReadOnly) && cmdline.readAll().split('\0').value(1) == "--serve-clipboard";
}

// Asks the clipboard server `pid` to end. Through a pidfd, so a process that has since
// taken over the number is never hit.
void endClipboardServer(pid_t pid) {
    const int fd = openPidfd(pid);
    if (fd < 0) return;
    if (isClipboardServer(pid)) ::syscall(SYS_pidfd_send_signal, fd, SIGTERM, nullptr, 0);
    ::close(fd);
}

// Clipboards are per X display: so is the turn file.
QString turnFile() {
    QString display = qEnvironmentVariable("DISPLAY");
    for (QChar& c : display)
        if (!c.isLetterOrNumber()) c = u'_';
    return ClipboardServerLifetime::runtimeFolder() + QStringLiteral("/clipboard") + display;
}

} // namespace

QString ClipboardServerLifetime::runtimeFolder() {
    const QString base = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (base.isEmpty() || !QDir(base).exists()) return QStringLiteral("/tmp/pictavia-%1").arg(::getuid());
    return base + QStringLiteral("/pictavia");
}

ClipboardServerLifetime::ClipboardServerLifetime(qint64 stamp, QObject* parent)
    : QObject(parent), m_stamp(stamp) {}

ClipboardServerLifetime::~ClipboardServerLifetime() {
    delete m_residentNotifier;
    if (m_residentFD >= 0) ::close(m_residentFD);
}

bool ClipboardServerLifetime::claim(const std::function<void()>& takeClipboard) {
    const QString folder = runtimeFolder();
    QDir().mkpath(folder);
    ::chmod(QFile::encodeName(folder).constData(), 0700);
    // "STAMP PID" of the copy serving; the file's lock orders copies starting together.
    const int fd =
        ::open(QFile::encodeName(turnFile()).constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0 || ::flock(fd, LOCK_EX) != 0) {
        if (fd >= 0) ::close(fd);
        takeClipboard(); // without turns, still serve
        return true;
    }
    char text[64] = {};
    const ssize_t n = ::pread(fd, text, sizeof text - 1, 0);
    long long servingStamp = 0;
    int servingPid = 0;
    if (n <= 0 || std::sscanf(text, "%lld %d", &servingStamp, &servingPid) != 2) servingPid = 0;

    const bool newerServes = servingStamp > m_stamp && isClipboardServer(servingPid);
    if (!newerServes) {
        const QByteArray mine = QByteArray::number(m_stamp) + ' ' + QByteArray::number(::getpid()) + '\n';
        if (::ftruncate(fd, 0) == 0)
            (void)!::pwrite(fd, mine.constData(), static_cast<size_t>(mine.size()), 0);
        takeClipboard();
        // After taking it, so that the clipboard never goes without an owner.
        endClipboardServer(servingPid);
    }
    ::close(fd); // and with it the lock
    return !newerServes;
}

void ClipboardServerLifetime::watch(std::function<void()> end) {
    m_end = std::move(end);
    QTimer::singleShot(maxLife, this, [this] { m_end(); });
    // A resident that starts later shows up as its instance lock in this folder.
    m_folderWatcher = new QFileSystemWatcher({runtimeFolder()}, this);
    connect(m_folderWatcher, &QFileSystemWatcher::directoryChanged, this, [this] { watchResident(); });
    watchResident();
}

void ClipboardServerLifetime::watchResident() {
    if (m_residentFD >= 0) return;
    qint64 pid = 0;
    QString host, application;
    if (!QLockFile(runtimeFolder() + QStringLiteral("/instance.lock")).getLockInfo(&pid, &host, &application))
        return;
    const int fd = pid > 0 ? openPidfd(static_cast<pid_t>(pid)) : -1;
    if (fd < 0) return;
    // Checked once the pidfd holds the process, so the number cannot pass to another meanwhile.
    if (!isPictavia(static_cast<pid_t>(pid))) { // a lock left by one that is gone
        ::close(fd);
        return;
    }
    m_residentFD = fd;
    m_folderWatcher->deleteLater();
    m_folderWatcher = nullptr;
    // A pidfd reads as ready once its process has ended.
    m_residentNotifier = new QSocketNotifier(m_residentFD, QSocketNotifier::Read);
    connect(m_residentNotifier, &QSocketNotifier::activated, this, [this] {
        m_residentNotifier->setEnabled(false);
        m_end();
    });
}

} // namespace platform::qt
