#include "ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <thread>

extern char** environ;

namespace testsupport {

namespace {

using Clock = std::chrono::steady_clock;

std::string resolveProgram(const std::string& program) {
    if (program.find('/') != std::string::npos) return program;
    const char* path = std::getenv("PATH");
    std::string directories = path ? path : "/usr/bin:/bin";
    size_t start = 0;
    while (start <= directories.size()) {
        const size_t end = std::min(directories.find(':', start), directories.size());
        const std::string candidate = directories.substr(start, end - start) + "/" + program;
        if (access(candidate.c_str(), X_OK) == 0) return candidate;
        start = end + 1;
    }
    throw std::runtime_error("program not found in PATH: " + program);
}

std::vector<std::string> childEnvironment(const Environment& changes) {
    std::vector<std::string> result;
    for (char** entry = environ; *entry; ++entry) {
        const std::string variable = *entry;
        const std::string name = variable.substr(0, variable.find('='));
        bool replaced = false;
        for (const auto& change : changes)
            replaced = replaced || change.first == name;
        if (!replaced) result.push_back(variable);
    }
    for (const auto& [name, value] : changes)
        result.push_back(name + "=" + value);
    return result;
}

std::vector<char*> pointers(std::vector<std::string>& strings) {
    std::vector<char*> result;
    for (std::string& s : strings)
        result.push_back(s.data());
    result.push_back(nullptr);
    return result;
}

void closeFd(int& fd) {
    if (fd >= 0) close(fd);
    fd = -1;
}

struct Pipe {
    int read = -1;
    int write = -1;
    void open() {
        int fds[2];
        if (pipe2(fds, O_CLOEXEC) != 0)
            throw std::runtime_error(std::string("pipe2 failed: ") + std::strerror(errno));
        read = fds[0];
        write = fds[1];
    }
};

int remainingMs(Clock::time_point deadline) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return left > 0 ? int(left) : 0;
}

// Between fork and exec only async-signal-safe calls are allowed.
[[noreturn]] void execChild(const char* path, char** argv, char** envp, pid_t parent, int in, int out,
                            int err, int passedFd) {
    // Die with the test process, even when it crashes.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) _exit(127);
    if (in >= 0) dup2(in, STDIN_FILENO);
    if (out >= 0) dup2(out, STDOUT_FILENO);
    if (err >= 0) dup2(err, STDERR_FILENO);
    int firstToClose = 3;
    if (passedFd >= 0) {
        if (passedFd == 3)
            fcntl(3, F_SETFD, 0);
        else
            dup2(passedFd, 3);
        firstToClose = 4;
    }
    close_range(static_cast<unsigned>(firstToClose), ~0u, 0);
    execve(path, argv, envp);
    _exit(127);
}

} // namespace

std::unique_ptr<ChildProcess> ChildProcess::start(const std::string& program,
                                                  const std::vector<std::string>& args,
                                                  const Options& options) {
    std::unique_ptr<ChildProcess> child(new ChildProcess);
    child->m_program = program;
    std::string path = resolveProgram(program);
    std::vector<std::string> argStrings{program};
    argStrings.insert(argStrings.end(), args.begin(), args.end());
    std::vector<std::string> envStrings = childEnvironment(options.environment);
    std::vector<char*> argv = pointers(argStrings);
    std::vector<char*> envp = pointers(envStrings);

    const int devNull = open("/dev/null", O_RDWR | O_CLOEXEC);
    Pipe in, out, err;
    if (options.input) {
        in.open();
        // A child that exits without reading its input must not kill us with SIGPIPE.
        std::signal(SIGPIPE, SIG_IGN);
        fcntl(in.write, F_SETFL, O_NONBLOCK);
        child->m_input = *options.input;
    }
    if (options.out == Stream::Pipe) out.open();
    if (options.err == Stream::Pipe) err.open();
    auto target = [devNull](Stream stream, int pipeEnd) {
        return stream == Stream::Pipe ? pipeEnd : stream == Stream::Discard ? devNull : -1;
    };
    const int childIn = options.input ? in.read : devNull;
    const int childOut = target(options.out, out.write);
    const int childErr = target(options.err, err.write);

    const pid_t parent = getpid();
    const pid_t pid = fork();
    if (pid == 0)
        execChild(path.c_str(), argv.data(), envp.data(), parent, childIn, childOut, childErr,
                  options.passedFd);

    close(devNull);
    closeFd(in.read);
    closeFd(out.write);
    closeFd(err.write);
    child->m_inFd = in.write;
    child->m_outFd = out.read;
    child->m_errFd = err.read;
    if (pid < 0) {
        closeFd(child->m_inFd);
        closeFd(child->m_outFd);
        closeFd(child->m_errFd);
        throw std::runtime_error("cannot start " + program + ": " + std::strerror(errno));
    }
    child->m_pid = pid;
    return child;
}

ChildProcess::~ChildProcess() {
    stop();
    closeFd(m_inFd);
    closeFd(m_outFd);
    closeFd(m_errFd);
}

std::optional<std::string> ChildProcess::readLine(std::chrono::milliseconds timeout) {
    const Clock::time_point deadline = Clock::now() + timeout;
    while (true) {
        const size_t newline = m_outBuffer.find('\n');
        if (newline != std::string::npos) {
            std::string line = m_outBuffer.substr(0, newline);
            m_outBuffer.erase(0, newline + 1);
            return line;
        }
        if (m_outFd < 0) return std::nullopt;
        pollfd fd{m_outFd, POLLIN, 0};
        const int ready = poll(&fd, 1, remainingMs(deadline));
        if (ready < 0 && errno == EINTR) continue;
        if (ready <= 0) return std::nullopt;
        char chunk[4096];
        const ssize_t n = read(m_outFd, chunk, sizeof chunk);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            closeFd(m_outFd);
            return std::nullopt;
        }
        m_outBuffer.append(chunk, size_t(n));
    }
}

ProcessOutput ChildProcess::finish(std::chrono::milliseconds timeout) {
    const Clock::time_point deadline = Clock::now() + timeout;
    ProcessOutput result;
    result.out = std::move(m_outBuffer);
    m_outBuffer.clear();
    size_t written = 0;
    if (m_inFd >= 0 && m_input.empty()) closeFd(m_inFd);

    while (m_inFd >= 0 || m_outFd >= 0 || m_errFd >= 0) {
        pollfd fds[3] = {{m_inFd, POLLOUT, 0}, {m_outFd, POLLIN, 0}, {m_errFd, POLLIN, 0}};
        const int ready = poll(fds, 3, remainingMs(deadline));
        if (ready < 0 && errno == EINTR) continue;
        if (ready <= 0) {
            result.timedOut = true;
            break;
        }
        if (fds[0].revents != 0) {
            const ssize_t n = write(m_inFd, m_input.data() + written, m_input.size() - written);
            if (n > 0) written += size_t(n);
            if (n < 0 && errno != EAGAIN && errno != EINTR) closeFd(m_inFd); // the child closed its stdin
            if (written == m_input.size()) closeFd(m_inFd);
        }
        for (auto [index, target] : {std::pair{1, &result.out}, std::pair{2, &result.err}}) {
            if (fds[index].revents == 0) continue;
            int& fd = index == 1 ? m_outFd : m_errFd;
            char chunk[16384];
            const ssize_t n = read(fd, chunk, sizeof chunk);
            if (n > 0)
                target->append(chunk, size_t(n));
            else if (n == 0 || errno != EINTR)
                closeFd(fd);
        }
    }
    closeFd(m_inFd);
    closeFd(m_outFd);
    closeFd(m_errFd);

    // Output closed; the exit itself follows, but a program may also keep running.
    while (!result.timedOut && isRunning()) {
        if (Clock::now() >= deadline)
            result.timedOut = true;
        else
            std::this_thread::sleep_for(5ms);
    }
    result.exitCode = stop();
    if (result.timedOut) result.exitCode = -1;
    return result;
}

bool ChildProcess::reap(bool block) {
    if (m_exitCode) return true;
    int status = 0;
    pid_t done;
    do {
        done = waitpid(m_pid, &status, block ? 0 : WNOHANG);
    } while (done < 0 && errno == EINTR);
    if (done == 0) return false;
    if (done < 0) // not our child any more: nothing left to wait for
        m_exitCode = -1;
    else
        m_exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return true;
}

bool ChildProcess::isRunning() {
    return m_pid > 0 && !reap(false);
}

int ChildProcess::stop(std::chrono::milliseconds grace) {
    if (m_pid <= 0) return -1;
    if (reap(false)) return *m_exitCode;
    kill(m_pid, SIGTERM);
    const Clock::time_point deadline = Clock::now() + grace;
    while (Clock::now() < deadline) {
        if (reap(false)) return *m_exitCode;
        std::this_thread::sleep_for(5ms);
    }
    kill(m_pid, SIGKILL);
    reap(true);
    return *m_exitCode;
}

} // namespace testsupport
