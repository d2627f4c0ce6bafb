#include "platform/wayland/SwayIpc.h"

#include <QDeadlineTimer>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace platform::wayland {

namespace {

// Every message of the i3 IPC is "i3-ipc", a payload length and a type (both 32-bit, in the
// machine's byte order), then the payload.
constexpr char magic[] = {'i', '3', '-', 'i', 'p', 'c'};
constexpr uint32_t getTree = 4;
constexpr qsizetype headerSize = sizeof(magic) + 2 * sizeof(uint32_t);
// A tree of thousands of windows stays far below this; a larger length is not a reply.
constexpr uint32_t maxReply = 64u << 20;

class Socket {
public:
    Socket() : m_fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}
    ~Socket() {
        if (m_fd >= 0) close(m_fd);
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    int fd() const { return m_fd; }

private:
    int m_fd;
};

bool waitFor(int fd, short events, const QDeadlineTimer& deadline) {
    pollfd entry{fd, events, 0};
    for (;;) {
        const int result = poll(&entry, 1, int(std::max<qint64>(0, deadline.remainingTime())));
        if (result > 0) return true;
        if (result == 0 || errno != EINTR) return false;
    }
}

bool sendAll(int fd, const QByteArray& bytes, const QDeadlineTimer& deadline) {
    qsizetype sent = 0;
    while (sent < bytes.size()) {
        if (!waitFor(fd, POLLOUT, deadline)) return false;
        const ssize_t n = send(fd, bytes.constData() + sent, size_t(bytes.size() - sent), MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        sent += n;
    }
    return true;
}

bool receiveAll(int fd, char* into, qsizetype size, const QDeadlineTimer& deadline) {
    qsizetype received = 0;
    while (received < size) {
        if (!waitFor(fd, POLLIN, deadline)) return false;
        const ssize_t n = recv(fd, into + received, size_t(size - received), 0);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        received += n;
    }
    return true;
}

} // namespace

QString swaySocketPath() {
    const QString sway = qEnvironmentVariable("SWAYSOCK");
    return sway.isEmpty() ? qEnvironmentVariable("I3SOCK") : sway;
}

Result<QByteArray> requestSwayTree(const QString& socketPath, std::chrono::milliseconds timeout) {
    const QDeadlineTimer deadline(timeout);
    const QByteArray path = socketPath.toLocal8Bit();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const Socket socket;
    if (socket.fd() < 0 || path.isEmpty() || size_t(path.size()) >= sizeof(address.sun_path))
        return Error{QStringLiteral("Cannot reach the compositor's IPC socket at %1.").arg(socketPath)};
    std::memcpy(address.sun_path, path.constData(), size_t(path.size()));
    if (::connect(socket.fd(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0)
        return Error{QStringLiteral("Cannot reach the compositor's IPC socket at %1.").arg(socketPath)};

    QByteArray request(magic, sizeof(magic));
    const uint32_t header[2] = {0, getTree};
    request.append(reinterpret_cast<const char*>(header), sizeof(header));
    char reply[headerSize];
    if (!sendAll(socket.fd(), request, deadline) || !receiveAll(socket.fd(), reply, headerSize, deadline))
        return Error{QStringLiteral("The compositor did not answer on its IPC socket.")};
    uint32_t length = 0, type = 0;
    std::memcpy(&length, reply + sizeof(magic), sizeof(length));
    std::memcpy(&type, reply + sizeof(magic) + sizeof(length), sizeof(type));
    if (std::memcmp(reply, magic, sizeof(magic)) != 0 || type != getTree || length > maxReply)
        return Error{QStringLiteral("The compositor's IPC reply is not a window tree.")};
    QByteArray payload(qsizetype(length), Qt::Uninitialized);
    if (!receiveAll(socket.fd(), payload.data(), payload.size(), deadline))
        return Error{QStringLiteral("The compositor's window tree ended early.")};
    return payload;
}

} // namespace platform::wayland
