#include "XServer.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <functional>
#include <stdexcept>
#include <thread>

namespace testsupport {

namespace {

using Clock = std::chrono::steady_clock;

// Generous: a loaded two-core machine can take seconds to start Xvfb or openbox.
constexpr auto kStartTimeout = 30s;

// The display number Xvfb writes to -displayfd once it accepts connections.
std::string readDisplayNumber(int fd, ChildProcess& xvfb) {
    const Clock::time_point deadline = Clock::now() + kStartTimeout;
    std::string text;
    while (text.find('\n') == std::string::npos) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left <= 0ms) throw std::runtime_error("Xvfb did not report a display number within 30 s");
        pollfd pfd{fd, POLLIN, 0};
        const int ready = poll(&pfd, 1, int(left.count()));
        if (ready < 0 && errno == EINTR) continue;
        if (ready <= 0) continue;
        char chunk[32];
        const ssize_t n = read(fd, chunk, sizeof chunk);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            const int status = xvfb.stop();
            throw std::runtime_error("Xvfb exited (status " + std::to_string(status) +
                                     ") before opening a display; is xvfb installed?");
        }
        text.append(chunk, size_t(n));
    }
    const std::string number = text.substr(0, text.find('\n'));
    if (number.empty() || !std::all_of(number.begin(), number.end(), ::isdigit))
        throw std::runtime_error("Xvfb reported an unexpected display: " + number);
    return ":" + number;
}

} // namespace

std::unique_ptr<XServer> XServer::start(const Options& options) {
    std::unique_ptr<XServer> server(new XServer(options));
    server->startXvfb();
    if (options.windowManager) server->startWindowManager();
    return server;
}

XServer::~XServer() {
    // Clients first, so that none sees its server vanish; newest first.
    while (!m_clients.empty())
        m_clients.pop_back();
    m_windowManager.reset();
    m_xvfb.reset();
}

Environment XServer::environmentFor(const Environment& extra) const {
    // XDG_SESSION_TYPE=x11: a test run from a Wayland desktop must not send Pictavia there.
    Environment environment{{"DISPLAY", m_display}, {"QT_QPA_PLATFORM", "xcb"}, {"XDG_SESSION_TYPE", "x11"}};
    for (const auto& [name, value] : extra) {
        auto same = [&name](const auto& entry) { return entry.first == name; };
        environment.erase(std::remove_if(environment.begin(), environment.end(), same), environment.end());
        environment.emplace_back(name, value);
    }
    return environment;
}

void XServer::startXvfb() {
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) throw std::runtime_error("pipe2 failed");
    const std::string screen =
        std::to_string(m_options.width) + "x" + std::to_string(m_options.height) + "x24";
    ChildProcess::Options options;
    options.out = ChildProcess::Stream::Discard;
    options.err = ChildProcess::Stream::Discard;
    options.passedFd = fds[1];
    std::vector<std::string> command{"Xvfb", "-displayfd", "3",   "-screen", "0",
                                     screen, "-nolisten",  "tcp", "-noreset"};
    command.insert(command.end(), m_options.xvfbArguments.begin(), m_options.xvfbArguments.end());
    if (m_options.isolateSharedMemory) command.insert(command.begin(), {"unshare", "--ipc"});
    try {
        m_xvfb = ChildProcess::start(command.front(), {command.begin() + 1, command.end()}, options);
    } catch (...) {
        close(fds[0]);
        close(fds[1]);
        throw;
    }
    close(fds[1]); // so that reading sees the end if Xvfb dies
    try {
        m_display = readDisplayNumber(fds[0], *m_xvfb);
    } catch (...) {
        close(fds[0]);
        throw;
    }
    close(fds[0]);
}

void XServer::startWindowManager() {
    ChildProcess::Options options;
    options.environment = environmentFor({});
    options.out = ChildProcess::Stream::Discard;
    options.err = ChildProcess::Stream::Discard;
    m_windowManager = ChildProcess::start("openbox", {"--sm-disable"}, options);

    // openbox publishes its EWMH check window before it reaches its event loop.
    const Clock::time_point deadline = Clock::now() + kStartTimeout;
    const auto waitFor = [&](const std::function<bool()>& ready, const char* what) {
        while (Clock::now() < deadline) {
            if (ready()) return;
            if (!m_windowManager->isRunning())
                throw std::runtime_error("openbox exited while starting; is openbox installed?");
            std::this_thread::sleep_for(50ms);
        }
        throw std::runtime_error(std::string("openbox did not ") + what + " within 30 s");
    };
    waitFor(
        [&] {
            return run("xprop", {"-root", "_NET_SUPPORTING_WM_CHECK"}).out.find("window id #") !=
                   std::string::npos;
        },
        "manage the screen");

    // A window mapped while openbox starts can have its request read into openbox's queue
    // and left there until some later event wakes it: the window stays unmapped for good. A
    // probe window that openbox manages shows it is past that point; the root property
    // changed meanwhile is the event that wakes it if the probe's own request was caught so.
    std::unique_ptr<ChildProcess> probe = ChildProcess::start(
        "xmessage", {"-title", "window-manager-probe", "-geometry", "+0+0", "probe"}, options);
    waitFor(
        [&] {
            run("xprop", {"-root", "-f", "_TEST_WAKE_UP", "8s", "-set", "_TEST_WAKE_UP", "1"});
            return run("xprop", {"-name", "window-manager-probe", "WM_STATE"}).out.find("window state") !=
                   std::string::npos;
        },
        "manage a window");
    run("xprop", {"-root", "-remove", "_TEST_WAKE_UP"});
    probe.reset();
    waitFor(
        [&] {
            return run("xprop", {"-root", "_NET_CLIENT_LIST"}).out.find("0x") == std::string::npos;
        },
        "let its probe window go");
}

ProcessOutput XServer::run(const std::string& program, const std::vector<std::string>& args,
                           const RunOptions& runOptions) {
    ChildProcess::Options options;
    options.environment = environmentFor(runOptions.environment);
    options.err = ChildProcess::Stream::Pipe;
    options.input = runOptions.input;
    std::unique_ptr<ChildProcess> process = ChildProcess::start(program, args, options);
    return process->finish(runOptions.timeout);
}

ChildProcess& XServer::startProcess(const std::string& program, const std::vector<std::string>& args,
                                    const Environment& environment) {
    ChildProcess::Options options;
    options.environment = environmentFor(environment);
    m_clients.push_back(ChildProcess::start(program, args, options));
    return *m_clients.back();
}

} // namespace testsupport
