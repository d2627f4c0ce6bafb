#include "platform/posix/ProcessTable.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <climits>

namespace posix {

namespace {

std::optional<std::string> readFile(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return std::nullopt;
    std::string text;
    char chunk[4096];
    while (true) {
        const ssize_t n = ::read(fd, chunk, sizeof chunk);
        if (n > 0) {
            text.append(chunk, static_cast<std::size_t>(n));
        } else if (n == 0 || errno != EINTR) {
            break;
        }
    }
    ::close(fd);
    return text;
}

std::optional<std::string> readLink(const std::string& path) {
    char target[PATH_MAX];
    const ssize_t n = ::readlink(path.c_str(), target, sizeof target);
    if (n <= 0) return std::nullopt;
    return std::string(target, static_cast<std::size_t>(n));
}

} // namespace

std::optional<pid_t> parentOf(pid_t pid, const std::string& procRoot) {
    const auto stat = readFile(procRoot + '/' + std::to_string(pid) + "/stat");
    if (!stat) return std::nullopt;
    // "PID (COMM) STATE PPID ...": COMM may hold spaces and parentheses, so the fields
    // that follow are counted from its last closing parenthesis.
    const std::size_t close = stat->rfind(')');
    if (close == std::string::npos || close + 4 >= stat->size()) return std::nullopt;
    const std::size_t start = stat->find(' ', close + 2);
    if (start == std::string::npos) return std::nullopt;
    pid_t parent = 0;
    const char* first = stat->data() + start + 1;
    const char* last = stat->data() + stat->size();
    const auto [end, error] = std::from_chars(first, last, parent);
    if (error != std::errc() || end == first) return std::nullopt;
    return parent;
}

std::optional<std::string> executableOf(pid_t pid, const std::string& procRoot) {
    return readLink(procRoot + '/' + std::to_string(pid) + "/exe");
}

std::optional<std::string> environmentOf(pid_t pid, const std::string& procRoot) {
    return readFile(procRoot + '/' + std::to_string(pid) + "/environ");
}

std::string ownExecutable() {
    return readLink("/proc/self/exe").value_or(std::string());
}

} // namespace posix
