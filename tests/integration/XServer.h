#pragma once

#include "ChildProcess.h"

#include <chrono>
#include <list>
#include <memory>
#include <string>
#include <vector>

namespace testsupport {

// A private X server (Xvfb) for one test, optionally with a window manager (openbox).
//
//     auto server = XServer::start({.width = 1280, .height = 800, .windowManager = true});
//     server->run("xrandr", {"--setmonitor", "left", "640/169x800/212+0+0", "none"});
//     ChildProcess& app = server->startProcess(PICTAVIA_BIN, {"--help"});
//
// Xvfb picks a free display number itself (-displayfd), listens on a Unix socket only and
// does not reset when its last client leaves, so state set with xrandr or xrdb stays.
// Every program started here gets DISPLAY set to this server, QT_QPA_PLATFORM=xcb and
// XDG_SESSION_TYPE=x11 (the test process itself runs Qt offscreen). Destroying the server stops every process
// it started - clients first, then the window manager, then Xvfb - by pid, SIGTERM then
// SIGKILL; they also get SIGTERM should the test process die. Not thread-safe: use it
// from the test's thread.
class XServer {
public:
    struct Options {
        int width = 1280;
        int height = 800;
        bool windowManager = true; // waits until openbox has taken over the screen
        // Runs Xvfb in its own IPC namespace (unshare --ipc; needs the right to create one),
        // so that it cannot attach our shared memory, like a remote server.
        bool isolateSharedMemory = false;
        // Appended to Xvfb's command line, e.g. {"-extension", "Composite"} to go without it.
        std::vector<std::string> xvfbArguments = {};
    };

    struct RunOptions {
        Environment environment = {}; // on top of DISPLAY and QT_QPA_PLATFORM
        std::string input = {};       // fed to stdin
        std::chrono::milliseconds timeout = 30s;
    };

    // Throws std::runtime_error, saying what failed, when the server or the window
    // manager does not come up.
    static std::unique_ptr<XServer> start(const Options& options);
    ~XServer();

    XServer(const XServer&) = delete;
    XServer& operator=(const XServer&) = delete;

    // ":7": the value of DISPLAY for this server.
    const std::string& display() const { return m_display; }
    const Options& options() const { return m_options; }

    // Runs a program to its end against this server: a helper such as xrandr, xrdb or
    // xdotool, or the program under test. Never throws for a non-zero exit.
    ProcessOutput run(const std::string& program, const std::vector<std::string>& args,
                      const RunOptions& options);
    ProcessOutput run(const std::string& program, const std::vector<std::string>& args) {
        return run(program, args, RunOptions{});
    }

    // Starts a program that keeps running, stdout readable line by line (stderr goes to the
    // test's). The server owns it and stops it at the latest when destroyed; the reference
    // stays valid until then, so a test may stop() it earlier.
    ChildProcess& startProcess(const std::string& program, const std::vector<std::string>& args,
                               const Environment& environment = {});

private:
    explicit XServer(const Options& options) : m_options(options) {}
    void startXvfb();
    void startWindowManager();
    Environment environmentFor(const Environment& extra) const;

    Options m_options;
    std::string m_display;
    std::unique_ptr<ChildProcess> m_xvfb;
    std::unique_ptr<ChildProcess> m_windowManager;
    std::list<std::unique_ptr<ChildProcess>> m_clients;
};

} // namespace testsupport
