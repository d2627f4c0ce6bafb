#include "platform/posix/UnixSocket.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace posix {

sockaddr_un address(std::string_view path) {
    sockaddr_un result{};
    result.sun_family = AF_UNIX;
    const std::size_t length = std::min(path.size(), sizeof result.sun_path - 1);
    std::memcpy(result.sun_path, path.data(), length);
    return result;
}

int connectTo(std::string_view path) {
    const sockaddr_un target = address(path);
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    int result = 0;
    do {
        result = ::connect(fd, reinterpret_cast<const sockaddr*>(&target), sizeof target);
    } while (result != 0 && errno == EINTR);
    if (result != 0) {
        const int error = errno;
        ::close(fd);
        errno = error;
        return -1;
    }
    return fd;
}

bool isServed(std::string_view path) {
    const int fd = connectTo(path);
    if (fd < 0) return false;
    ::close(fd);
    return true;
}

std::variant<int, ListenFailure> listenAt(std::string_view path, int backlog, mode_t mode) {
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return ListenFailure{ListenStep::Socket, errno};
    const sockaddr_un target = address(path);
    const mode_t previous = ::umask(0077);
    const int bound = ::bind(fd, reinterpret_cast<const sockaddr*>(&target), sizeof target);
    const int bindError = errno;
    ::umask(previous);
    if (bound != 0) {
        ::close(fd);
        return ListenFailure{ListenStep::Bind, bindError};
    }
    ::chmod(target.sun_path, mode);
    if (::listen(fd, backlog) != 0) {
        const int error = errno;
        ::close(fd);
        ::unlink(target.sun_path);
        return ListenFailure{ListenStep::Listen, error};
    }
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
    return fd;
}

std::optional<int> acceptPending(int listener) {
    while (true) {
        // accept4 without SOCK_NONBLOCK: the new descriptor is blocking whatever the listener is.
        const int fd = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd >= 0) return fd;
        if (errno == EINTR || errno == ECONNABORTED) continue;
        return std::nullopt;
    }
}

std::optional<PeerCredentials> peerCredentials(int fd) {
    ucred credentials{};
    socklen_t length = sizeof credentials;
    if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0 || length != sizeof credentials)
        return std::nullopt;
    return PeerCredentials{credentials.pid, credentials.uid};
}

long receiveSome(int fd, char* buffer, std::size_t capacity) {
    return ::recv(fd, buffer, capacity, MSG_DONTWAIT);
}

long sendSome(int fd, const char* data, std::size_t size) {
    return ::send(fd, data, size, MSG_DONTWAIT | MSG_NOSIGNAL);
}

bool writeAll(int fd, const char* data, std::size_t size) {
    bool socket = true;
    std::size_t written = 0;
    while (written < size) {
        ssize_t n = socket ? ::send(fd, data + written, size - written, MSG_NOSIGNAL) : -1;
        if (n < 0 && socket && errno == ENOTSOCK) {
            socket = false;
            continue;
        }
        if (!socket) n = ::write(fd, data + written, size - written);
        if (n > 0) {
            written += static_cast<std::size_t>(n);
        } else if (n < 0 && errno == EAGAIN) {
            pollfd room{fd, POLLOUT, 0};
            ::poll(&room, 1, -1);
        } else if (n == 0 || errno != EINTR) {
            return false;
        }
    }
    return true;
}

std::string errorText(int error) {
    return std::strerror(error);
}

} // namespace posix
