#include "main/InstanceChannel.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocalSocket>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace InstanceChannel {

namespace {

// Arguments travel as lines; a blank line ends the list, and the instance answers "ok".
QByteArray encode(const QStringList& arguments) {
    QByteArray message;
    for (const QString& argument : arguments) {
        QString line = argument;
        message += line.replace(QLatin1Char('\n'), QLatin1Char(' ')).toUtf8() + '\n';
    }
    return message + '\n';
}

bool writeAll(int fd, const QByteArray& bytes) {
    qsizetype written = 0;
    while (written < bytes.size()) {
        const ssize_t n =
            ::write(fd, bytes.constData() + written, static_cast<size_t>(bytes.size() - written));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        written += n;
    }
    return true;
}

constexpr qint64 maxMessage = 1 << 20;

} // namespace

QString socketPath() {
    QString base = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (base.isEmpty() || !QDir(base).exists())
        base = QStringLiteral("/tmp/pictavia-%1").arg(::getuid());
    else
        base += QStringLiteral("/pictavia");
    return base + QStringLiteral("/instance");
}

bool forward(const QStringList& arguments) {
    const QByteArray path = QFile::encodeName(socketPath());
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (static_cast<size_t>(path.size()) >= sizeof(address.sun_path)) return false;
    std::memcpy(address.sun_path, path.constData(), static_cast<size_t>(path.size()));

    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return false;
    timeval timeout{5, 0}; // an instance that hangs must not hang its callers
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    bool delivered = false;
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        writeAll(fd, encode(arguments))) {
        char reply[3] = {};
        delivered = ::read(fd, reply, 2) == 2 && std::memcmp(reply, "ok", 2) == 0;
    }
    ::close(fd);
    return delivered;
}

std::unique_ptr<QLockFile> claim() {
    const QString folder = QFileInfo(socketPath()).absolutePath();
    QDir().mkpath(folder);
    ::chmod(QFile::encodeName(folder).constData(), 0700);
    auto lock = std::make_unique<QLockFile>(socketPath() + QStringLiteral(".lock"));
    lock->setStaleLockTime(0); // a lock of a process that is gone is taken over at once
    if (!lock->tryLock(10000)) return nullptr;
    return lock;
}

Result<bool> Server::listen() {
    const QString path = socketPath();
    // The caller holds the claim and forwarding failed, so a socket file here is stale.
    QLocalServer::removeServer(path);
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server.listen(path))
        return Error{QStringLiteral("Cannot listen on %1: %2").arg(path, m_server.errorString())};
    connect(&m_server, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* socket = m_server.nextPendingConnection()) {
            connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
                QStringList arguments;
                if (socket->bytesAvailable() > maxMessage) return socket->abort();
                if (!socket->canReadLine()) return;
                QByteArray all = socket->peek(socket->bytesAvailable());
                if (!all.contains("\n\n") && !all.startsWith('\n')) return; // not complete yet
                while (socket->canReadLine()) {
                    const QByteArray line = socket->readLine().chopped(1);
                    if (line.isEmpty()) break;
                    arguments << QString::fromUtf8(line);
                }
                socket->write("ok");
                socket->flush();
                socket->disconnectFromServer();
                emit received(arguments);
            });
        }
    });
    return true;
}

} // namespace InstanceChannel
