// pictavia-mcp: the bridge an AI client starts. It relays the client's JSON-RPC lines
// from stdin to the running Pictavia's agent socket and the replies back to stdout, and
// ends with its input. Without a running Pictavia it starts one from its own folder;
// when that cannot work it answers every request with an error instead of hanging.

#include "bridge/Bridge.h"
#include "platform/posix/AgentSocketPath.h"
#include "platform/posix/ProcessTable.h"
#include "platform/posix/UnixSocket.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr auto startTimeout = 10s;
constexpr auto drainTimeout = 5s; // replies still on their way after the input ended

std::string ownFolder() {
    const std::string self = posix::ownExecutable();
    return self.substr(0, self.rfind('/'));
}

// A connection to Pictavia's socket, made only when Pictavia (this user's process)
// listens there.
int connectToPictavia(const std::string& path, std::string& problem) {
    const int fd = posix::connectTo(path);
    if (fd < 0) return -1;
    const auto peer = posix::peerCredentials(fd);
    if (!peer || peer->uid != ::getuid()) {
        ::close(fd);
        problem = "The agent socket " + path + " belongs to another user; Pictavia was not asked.";
        return -1;
    }
    return fd;
}

// Starts `pictavia --background`, detached from this process and its pipes.
bool launch(const std::string& program, const std::vector<std::string>& environment) {
    std::vector<char*> env;
    env.reserve(environment.size() + 1);
    for (const std::string& entry : environment)
        env.push_back(const_cast<char*>(entry.c_str()));
    env.push_back(nullptr);
    const pid_t child = ::fork();
    if (child < 0) return false;
    if (child == 0) {
        ::setsid();
        if (::fork() == 0) {
            // Nothing of the client's: no pipes, no working folder to keep busy.
            [[maybe_unused]] const int root = ::chdir("/");
            const int null = ::open("/dev/null", O_RDWR);
            for (int fd = 0; fd < 3; ++fd)
                ::dup2(null, fd);
            char* argv[] = {const_cast<char*>("pictavia"), const_cast<char*>("--background"), nullptr};
            ::execve(program.c_str(), argv, env.data());
        }
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return true;
}

int startAndConnect(const std::string& path, std::string& problem) {
    const std::string program = ownFolder() + "/pictavia";
    if (::access(program.c_str(), X_OK) != 0) {
        problem = "Pictavia is not running, and there is no " + program + " to start.";
        return -1;
    }
    std::vector<std::string> own;
    for (char** entry = environ; *entry; ++entry)
        own.emplace_back(*entry);
    const std::vector<std::string> environment = bridge::launchEnvironment(own, ::getppid());
    if (environment.empty()) {
        problem = "Pictavia is not running, and there is no display to start it on. "
                  "Start Pictavia in your desktop session, then try again.";
        return -1;
    }
    if (!launch(program, environment)) {
        problem = "Pictavia is not running and could not be started (" + posix::errorText(errno) + ").";
        return -1;
    }
    const auto deadline = Clock::now() + startTimeout;
    while (Clock::now() < deadline) {
        std::this_thread::sleep_for(25ms);
        if (const int fd = connectToPictavia(path, problem); fd >= 0) return fd;
        if (!problem.empty()) return -1;
    }
    problem = "Pictavia was started but did not open its agent socket " + path + " within 10 seconds.";
    return -1;
}

// Answers every request with `problem` until the input ends.
int answerUnavailable(const std::string& problem) {
    std::fprintf(stderr, "pictavia-mcp: %s\n", problem.c_str());
    std::string buffer;
    char chunk[65536];
    while (true) {
        const ssize_t n = ::read(STDIN_FILENO, chunk, sizeof chunk);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return 1;
        buffer.append(chunk, static_cast<std::size_t>(n));
        std::size_t start = 0;
        for (std::size_t end; (end = buffer.find('\n', start)) != std::string::npos; start = end + 1) {
            const std::string_view line(buffer.data() + start, end - start);
            if (line.find_first_not_of(" \t\r") == std::string_view::npos) continue;
            for (const std::string& id : bridge::requestIds(line)) {
                const std::string reply = bridge::errorReply(id, problem) + '\n';
                if (!posix::writeAll(STDOUT_FILENO, reply.data(), reply.size())) return 1;
            }
        }
        buffer.erase(0, start);
    }
}

int relay(int socket) {
    char chunk[65536];
    pollfd fds[2] = {{STDIN_FILENO, POLLIN, 0}, {socket, POLLIN, 0}};
    std::optional<Clock::time_point> inputEnded;
    while (true) {
        int timeout = -1;
        if (inputEnded) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                *inputEnded + drainTimeout - Clock::now());
            if (left.count() <= 0) return 0;
            timeout = static_cast<int>(left.count());
        }
        if (::poll(fds, 2, timeout) < 0) {
            if (errno == EINTR) continue;
            return 1;
        }
        if (fds[1].revents) {
            const ssize_t n = ::read(socket, chunk, sizeof chunk);
            if (n < 0 && (errno == EINTR || errno == EAGAIN)) continue;
            if (n <= 0) {
                if (inputEnded) return 0;
                std::fputs("pictavia-mcp: Pictavia closed the connection.\n", stderr);
                return 1;
            }
            if (!posix::writeAll(STDOUT_FILENO, chunk, static_cast<std::size_t>(n))) return 0;
        }
        if (fds[0].revents) {
            const ssize_t n = ::read(STDIN_FILENO, chunk, sizeof chunk);
            if (n < 0 && (errno == EINTR || errno == EAGAIN)) continue;
            if (n <= 0) {
                // The client is done: Pictavia answers what it has and then closes.
                ::shutdown(socket, SHUT_WR);
                fds[0].fd = -1;
                inputEnded = Clock::now();
                continue;
            }
            if (!posix::writeAll(socket, chunk, static_cast<std::size_t>(n))) {
                std::fputs("pictavia-mcp: Pictavia closed the connection.\n", stderr);
                return 1;
            }
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc > 1 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0)) {
        std::puts("Usage: pictavia-mcp\n\nThe Model Context Protocol server of Pictavia, for AI clients: it "
                  "relays\n"
                  "JSON-RPC lines between stdin/stdout and the running Pictavia, and starts\n"
                  "Pictavia when it is not running.");
        return 0;
    }
    std::signal(SIGPIPE, SIG_IGN);
    const std::string path = posix::agentSocketPath();
    std::string problem;
    int socket = connectToPictavia(path, problem);
    if (socket < 0 && problem.empty()) socket = startAndConnect(path, problem);
    if (socket < 0) return answerUnavailable(problem);
    return relay(socket);
}
