#pragma once

// Unix-domain stream sockets in plain POSIX, shared by the resident application and the
// pictavia-mcp bridge (which has no Qt, so that it starts in a millisecond or two).

#include <sys/types.h>
#include <sys/un.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace posix {

// AF_UNIX with the path's first bytes, as many as sun_path holds before its final zero.
sockaddr_un address(std::string_view path);

// A blocking, close-on-exec stream socket connected to `path`; -1 (errno set) when
// nothing listens there.
int connectTo(std::string_view path);

// Whether something accepts connections at `path` right now.
bool isServed(std::string_view path);

enum class ListenStep { Socket, Bind, Listen };
struct ListenFailure {
    ListenStep step;
    int error; // errno
};

// A non-blocking, close-on-exec listening socket bound to `path`, the socket file given
// `mode`. The file is created with this user's permissions only, so no other user can
// connect in the moment between bind and chmod. A failed listen removes the file again.
std::variant<int, ListenFailure> listenAt(std::string_view path, int backlog, mode_t mode);

// The next pending connection as a blocking, close-on-exec descriptor; nullopt when none
// is waiting.
std::optional<int> acceptPending(int listener);

struct PeerCredentials {
    pid_t pid = 0;
    uid_t uid = 0;
};
std::optional<PeerCredentials> peerCredentials(int fd);

// recv without waiting: bytes read, 0 at the peer's end, -1 with errno.
long receiveSome(int fd, char* buffer, std::size_t capacity);
// send without waiting and without SIGPIPE: bytes written or -1 with errno.
long sendSome(int fd, const char* data, std::size_t size);

// Writes everything, through EINTR and (waiting for room) EAGAIN. Works on sockets and
// pipes; a socket whose peer has gone gives false, never SIGPIPE.
bool writeAll(int fd, const char* data, std::size_t size);

// The system's sentence for an errno value.
std::string errorText(int error);

} // namespace posix
