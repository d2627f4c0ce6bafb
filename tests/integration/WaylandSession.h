#pragma once

#include "ChildProcess.h"

#include <QTemporaryDir>

#include <chrono>
#include <list>
#include <memory>
#include <string>
#include <vector>

namespace testsupport {

// A private headless Wayland session for one test: its own D-Bus session bus, sway on
// wlroots' headless backend, PipeWire with WirePlumber, and xdg-desktop-portal with the
// wlroots backend set to answer without asking (no chooser, the first output). Asked for,
// GNOME (gnome-shell on a virtual monitor, with xdg-desktop-portal-gnome) or KDE (kwin_wayland
// on virtual outputs, with xdg-desktop-portal-kde) instead: their portals ask the user, as
// they do on a real desktop, and the tests answer them.
//
//     std::string whyNot;
//     auto session = WaylandSession::start({.outputs = {{1280, 720, 1.0}}}, &whyNot);
//     if (!session) GTEST_SKIP() << whyNot;
//     session->startProcess("swaybg", {"-c", "#3366cc"});
//     ProcessOutput out = session->run(PICTAVIA_BIN, {"capture", "fullscreen"});
//
// sway refuses to run as root, and CI runs as root: then the session and every program
// started through it run as an unprivileged user, "pictavia-test", created once (setpriv
// changes the user, so each program keeps the pid the session stops it by). Run by anyone
// else, they run as that user. Everything lives in a private folder that is the session's
// XDG_RUNTIME_DIR, HOME and configuration home. Destroying the session stops every process
// by pid, clients first, then the portals, PipeWire, sway and the bus.
class WaylandSession {
public:
    struct Output {
        int width = 1280; // pixels
        int height = 720;
        double scale = 1.0;
    };

    enum class Desktop { sway, gnome, kde };

    struct Options {
        std::vector<Output> outputs = {Output{}}; // laid out left to right, tops aligned
        // GNOME takes one output at scale 1; KDE outputs of one size and scale.
        Desktop desktop = Desktop::sway;
    };

    struct RunOptions {
        Environment environment = {};
        std::chrono::milliseconds timeout = 60s;
    };

    // Null, with `whyNot` saying exactly what is missing, where this machine cannot run the
    // session (a program not installed, no way to run as an unprivileged user). Throws
    // std::runtime_error, with the failing program's last words, when a part that is there
    // does not come up.
    static std::unique_ptr<WaylandSession> start(const Options& options, std::string* whyNot);
    ~WaylandSession();

    WaylandSession(const WaylandSession&) = delete;
    WaylandSession& operator=(const WaylandSession&) = delete;

    // The variables a client of this session needs (the runtime folder, the compositor, the
    // bus, the desktop's name, the homes), also given to everything run here.
    const Environment& environment() const { return m_environment; }
    // The session's folder: XDG_RUNTIME_DIR, with HOME and the XDG homes under it.
    std::string directory() const { return m_dir.path().toStdString(); }
    // "HEADLESS-1", ... (sway), "Meta-0" (GNOME), "Virtual-0", ... (KDE): the outputs in the
    // order of Options::outputs.
    const std::vector<std::string>& outputNames() const { return m_outputNames; }

    // Runs a program to its end as the session's user: a helper such as swaymsg, or the
    // program under test. Never throws for a non-zero exit.
    ProcessOutput run(const std::string& program, const std::vector<std::string>& args,
                      const RunOptions& options);
    ProcessOutput run(const std::string& program, const std::vector<std::string>& args) {
        return run(program, args, RunOptions{});
    }

    // Writes Pictavia's preferences file ("key = value" lines) in the session's configuration
    // home, as the session's user.
    ProcessOutput writePreferences(const std::string& lines) {
        return run("sh", {"-c",
                          "mkdir -p \"$XDG_CONFIG_HOME/pictavia\" && "
                          "printf '%s' \"$0\" > \"$XDG_CONFIG_HOME/pictavia/pictavia.conf\"",
                          lines});
    }

    // Starts a program that keeps running (a window, a background), stopped with the session.
    ChildProcess& startProcess(const std::string& program, const std::vector<std::string>& args,
                               const Environment& environment = {});

    // Starts a program whose stdout the test reads line by line (readLine), such as
    // dbus-monitor watching for a dialog's call; stopped when the returned process goes.
    std::unique_ptr<ChildProcess> startReading(const std::string& program,
                                               const std::vector<std::string>& args);

    // Whether the session's user can execute `path`: a build tree under a private home is
    // out of its reach.
    bool canExecute(const std::string& path);

    // `program` where the session's user can run it: itself, or else a link to it (a copy
    // across file systems) in the session's folder, with the modules (*.so) beside it that
    // it loads from its own folder. Empty when neither works.
    std::string reachable(const std::string& program);

    // The last part of what one of the session's programs logged ("portal", "gnome-shell", ...).
    std::string logTail(const std::string& name) const;

private:
    WaylandSession() = default;
    std::vector<std::string> asUser(const std::string& program, const std::vector<std::string>& args,
                                    const std::string& log) const;
    std::unique_ptr<ChildProcess> startDaemon(const std::string& name, const std::string& program,
                                              const std::vector<std::string>& args,
                                              const Environment& extra = {});
    bool busNameOwned(const std::string& name);
    void startBus();
    void startSystemBus();
    void startCompositor(const Options& options);
    void startGnomeShell(const Options& options);
    void startKWin(const Options& options);
    void startMedia();
    void startPortals();
    void choosePortals();
    void startDesktopPortals(const std::string& name, const std::string& program, const std::string& busName,
                             const Environment& extra);
    std::unique_ptr<ChildProcess> startBusDaemon(const std::string& name, const std::string& type,
                                                 const std::string& socket);

    QTemporaryDir m_dir;
    int m_uid = -1; // the session's user, when the test runs as root
    int m_gid = -1;
    Environment m_environment;
    std::vector<std::string> m_outputNames;
    Desktop m_desktop = Desktop::sway;
    std::unique_ptr<ChildProcess> m_bus;
    std::unique_ptr<ChildProcess> m_systemBus; // GNOME and KDE: a system bus of the session's own
    std::unique_ptr<ChildProcess> m_compositor;
    std::vector<std::unique_ptr<ChildProcess>> m_services; // PipeWire and the portals, in start order
    std::list<std::unique_ptr<ChildProcess>> m_clients;
};

} // namespace testsupport
