#pragma once

#include <sys/types.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace testsupport {

using namespace std::chrono_literals;

// Variables set (or replaced) in a child's environment, on top of this process's own.
using Environment = std::vector<std::pair<std::string, std::string>>;

// What a finished program printed and how it ended.
struct ProcessOutput {
    int exitCode = -1; // -1 when it was killed by a signal (including after a timeout)
    bool timedOut = false;
    std::string out;
    std::string err;
};

// A program started by a test. Destroying it stops it: SIGTERM, then SIGKILL when it has
// not exited after a grace period. The child also gets SIGTERM if the test process dies
// first, so a crashing test leaves nothing behind.
class ChildProcess {
public:
    enum class Stream {
        Pipe,    // readable through readLine() / finish()
        Inherit, // the test's own stdout / stderr
        Discard, // /dev/null
    };

    struct Options {
        Environment environment = {};
        Stream out = Stream::Pipe;
        Stream err = Stream::Inherit;
        std::optional<std::string> input = {}; // written to stdin by finish(); stdin is /dev/null without it
        int passedFd = -1;                     // this descriptor becomes the child's fd 3
    };

    // Starts `program` (looked up in PATH unless it contains a '/'). Throws
    // std::runtime_error when it cannot be started.
    static std::unique_ptr<ChildProcess> start(const std::string& program,
                                               const std::vector<std::string>& args, const Options& options);
    ~ChildProcess();

    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t pid() const { return m_pid; }
    const std::string& program() const { return m_program; }

    // The next line of stdout without its newline; nullopt on timeout or end of output.
    std::optional<std::string> readLine(std::chrono::milliseconds timeout);

    // Feeds the input, reads stdout and stderr to their end and waits for the exit. Past
    // the timeout the program is stopped and the result says timedOut.
    ProcessOutput finish(std::chrono::milliseconds timeout);

    bool isRunning();

    // Asks the program to exit (SIGTERM), kills it after `grace`; returns its exit code,
    // or -1 when a signal ended it. Does nothing more once it has exited.
    int stop(std::chrono::milliseconds grace = 5s);

private:
    ChildProcess() = default;
    bool reap(bool block);

    std::string m_program;
    pid_t m_pid = -1;
    std::optional<int> m_exitCode; // set once reaped
    int m_inFd = -1;
    int m_outFd = -1;
    int m_errFd = -1;
    std::string m_input;
    std::string m_outBuffer; // read but not yet returned by readLine()
};

} // namespace testsupport
