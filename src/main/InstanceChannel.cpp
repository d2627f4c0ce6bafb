#include "main/InstanceChannel.h"

#include "platform/posix/UnixSocket.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSocketNotifier>

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
    return posix::writeAll(fd, bytes.constData(), static_cast<size_t>(bytes.size()));
}

constexpr qsizetype maxMessage = 1 << 20;

// The path as bytes, when it fits a socket address.
std::optional<std::string> addressOf(const QString& path) {
    const QByteArray bytes = QFile::encodeName(path);
    if (static_cast<size_t>(bytes.size()) >= sizeof(sockaddr_un::sun_path)) return std::nullopt;
    return bytes.toStdString();
}

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
    const auto address = addressOf(socketPath());
    if (!address) return false;
    const int fd = posix::connectTo(*address);
    if (fd < 0) return false;
    timeval timeout{5, 0}; // an instance that hangs must not hang its callers
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    bool delivered = false;
    if (writeAll(fd, encode(arguments))) {
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

Server::~Server() {
    for (auto it = m_connections.begin(); it != m_connections.end(); ++it)
        ::close(it.key());
    if (m_listener >= 0) ::close(m_listener);
}

Result<bool> Server::listen() {
    const QString path = socketPath();
    const auto address = addressOf(path);
    if (!address) return Error{QStringLiteral("The socket path %1 is too long").arg(path)};
    // The caller holds the claim and forwarding failed, so a socket file here is stale.
    ::unlink(address->c_str());
    const auto listened = posix::listenAt(*address, 16, 0600); // the socket file: this user only
    if (const auto* failure = std::get_if<posix::ListenFailure>(&listened))
        return Error{QStringLiteral("Cannot listen on %1: %2")
                         .arg(path, QString::fromLocal8Bit(posix::errorText(failure->error).c_str()))};
    m_listener = std::get<int>(listened);
    auto* notifier = new QSocketNotifier(m_listener, QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &Server::accept);
    return true;
}

void Server::accept() {
    while (true) {
        const int fd = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (fd < 0) return;
        auto* notifier = new QSocketNotifier(fd, QSocketNotifier::Read, this);
        m_connections.insert(fd, {notifier, {}});
        connect(notifier, &QSocketNotifier::activated, this, [this, fd] { read(fd); });
    }
}

void Server::read(int fd) {
    Connection& connection = m_connections[fd];
    char chunk[4096];
    ssize_t n = 0;
    while ((n = ::read(fd, chunk, sizeof chunk)) > 0)
        connection.buffer.append(chunk, n);
    const bool ended = n == 0 || (n < 0 && errno != EAGAIN && errno != EINTR);
    const auto arguments = decode(connection.buffer);
    if (arguments) {
        writeAll(fd, "ok");
    } else if (!ended && connection.buffer.size() <= maxMessage) {
        return; // more to come
    }
    connection.notifier->setEnabled(false);
    connection.notifier->deleteLater();
    m_connections.remove(fd);
    ::close(fd);
    if (arguments) emit received(*arguments);
}

std::optional<QStringList> decode(const QByteArray& message) {
    QStringList arguments;
    qsizetype start = 0;
    while (true) {
        const qsizetype end = message.indexOf('\n', start);
        if (end < 0) return std::nullopt; // not complete yet
        if (end == start) return arguments;
        arguments << QString::fromUtf8(message.mid(start, end - start));
        start = end + 1;
    }
}

} // namespace InstanceChannel
