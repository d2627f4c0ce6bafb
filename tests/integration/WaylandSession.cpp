#include "WaylandSession.h"

#include "WaitUntil.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <stdexcept>

namespace testsupport {

namespace {

const char* const userName = "pictavia-test";
const char* const libexec = "/usr/libexec/";
// Debian installs KDE's portal under the multiarch folder, and it is a Qt 5 program.
const char* const kdePortal = "/usr/lib/x86_64-linux-gnu/libexec/xdg-desktop-portal-kde";
const char* const kdeQtWayland = "/usr/lib/x86_64-linux-gnu/qt5/plugins/platforms/libqwayland-generic.so";

const char* desktopName(WaylandSession::Desktop desktop) {
    switch (desktop) {
    case WaylandSession::Desktop::gnome:
        return "GNOME";
    case WaylandSession::Desktop::kde:
        return "KDE";
    case WaylandSession::Desktop::sway:
        break;
    }
    return "sway";
}

bool executable(const std::string& program) {
    if (program.find('/') != std::string::npos) return access(program.c_str(), X_OK) == 0;
    return !QStandardPaths::findExecutable(QString::fromStdString(program)).isEmpty();
}

// The first file in `dir` whose name starts with `prefix` and does not end in `unless`.
std::string findEntry(const std::string& dir, const QString& prefix, const QString& unless = {}) {
    for (const QString& name : QDir(QString::fromStdString(dir)).entryList(QDir::System | QDir::Files))
        if (name.startsWith(prefix) && (unless.isEmpty() || !name.endsWith(unless)))
            return name.toStdString();
    return {};
}

// Kills the processes whose parent is `parent`, found through /proc.
void killChildrenOf(pid_t parent) {
    for (const QString& entry : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
        bool numeric = false;
        const pid_t pid = entry.toInt(&numeric);
        if (!numeric) continue;
        QFile stat(QStringLiteral("/proc/%1/stat").arg(entry));
        if (!stat.open(QIODevice::ReadOnly)) continue;
        // "PID (COMMAND) STATE PPID ...": the command may hold spaces and parentheses.
        const QByteArray line = stat.readAll();
        const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
        if (fields.size() > 1 && fields[1].toInt() == parent) kill(pid, SIGKILL);
    }
}

// The unprivileged user the session runs as under root, made the first time it is needed.
bool ensureUser(int* uid, int* gid, std::string* whyNot) {
    if (!getpwnam(userName)) {
        if (!executable("useradd") || !executable("setpriv")) {
            *whyNot = "running as root, and useradd or setpriv (util-linux) is missing to run sway as "
                      "an unprivileged user";
            return false;
        }
        auto useradd = ChildProcess::start("useradd",
                                           {"--system", "--user-group", "--no-create-home", "--home-dir",
                                            "/nonexistent", "--shell", "/usr/sbin/nologin", userName},
                                           {.err = ChildProcess::Stream::Pipe});
        const ProcessOutput made = useradd->finish(30s);
        // Another test process may have made it at the same moment.
        if (!getpwnam(userName)) {
            *whyNot = "could not create the user " + std::string(userName) + " to run sway as: " + made.err;
            return false;
        }
    }
    const passwd* user = getpwnam(userName);
    *uid = int(user->pw_uid);
    *gid = int(user->pw_gid);
    return true;
}

// What each desktop's session needs beyond the bus, PipeWire and xdg-desktop-portal; empty
// where all is there, else the sentence saying what is missing.
std::string missingFor(WaylandSession::Desktop desktop) {
    std::vector<std::string> programs{"dbus-daemon",
                                      "dbus-send",
                                      "pipewire",
                                      "wireplumber",
                                      std::string(libexec) + "xdg-desktop-portal",
                                      std::string(libexec) + "xdg-permission-store"};
    switch (desktop) {
    case WaylandSession::Desktop::sway:
        programs.insert(programs.end(),
                        {"sway", "swaymsg", "grim", std::string(libexec) + "xdg-desktop-portal-wlr"});
        break;
    case WaylandSession::Desktop::gnome:
        programs.insert(programs.end(),
                        {"gnome-shell", "dbus-monitor", std::string(libexec) + "xdg-desktop-portal-gnome"});
        break;
    case WaylandSession::Desktop::kde:
        programs.insert(programs.end(), {"kwin_wayland", "dbus-monitor", kdePortal});
        break;
    }
    for (const std::string& program : programs)
        if (!executable(program))
            return program + " is not installed (scripts/deps.sh installs the Wayland sessions' packages)";
    if (desktop == WaylandSession::Desktop::sway &&
        !QFile::exists(QStringLiteral("/usr/share/xdg-desktop-portal/portals/gtk.portal")))
        // xdg-desktop-portal 1.16 offers its Screenshot interface only where some backend
        // implements the Access dialog, which the wlroots backend does not.
        return "xdg-desktop-portal-gtk is not installed: without it xdg-desktop-portal offers no "
               "Screenshot interface";
    if (desktop == WaylandSession::Desktop::kde && !QFile::exists(QString::fromLatin1(kdeQtWayland)))
        return "qtwayland5 is not installed: xdg-desktop-portal-kde (Qt 5) cannot open its dialogs";
    return {};
}

} // namespace

std::unique_ptr<WaylandSession> WaylandSession::start(const Options& options, std::string* whyNot) {
    if (const std::string missing = missingFor(options.desktop); !missing.empty()) {
        *whyNot = missing;
        return nullptr;
    }
    std::unique_ptr<WaylandSession> session(new WaylandSession);
    if (!session->m_dir.isValid()) {
        *whyNot = "no temporary folder for the session";
        return nullptr;
    }
    if (getuid() == 0) {
        if (!ensureUser(&session->m_uid, &session->m_gid, whyNot)) return nullptr;
        const QByteArray dir = QFile::encodeName(session->m_dir.path());
        for (const char* sub : {"", "/home", "/config", "/data", "/cache"}) {
            const QByteArray path = dir + sub;
            mkdir(path.constData(), 0700);
            if (chown(path.constData(), uid_t(session->m_uid), gid_t(session->m_gid)) != 0) {
                *whyNot = "could not give the session's folder to " + std::string(userName);
                return nullptr;
            }
        }
    } else {
        for (const char* sub : {"/home", "/config", "/data", "/cache"})
            QDir().mkpath(session->m_dir.path() + QLatin1String(sub));
    }
    const std::string dir = session->directory();
    session->m_environment = {{"XDG_RUNTIME_DIR", dir},
                              {"HOME", dir + "/home"},
                              {"XDG_CONFIG_HOME", dir + "/config"},
                              {"XDG_DATA_HOME", dir + "/data"},
                              {"XDG_CACHE_HOME", dir + "/cache"},
                              {"DBUS_SESSION_BUS_ADDRESS", "unix:path=" + dir + "/bus"},
                              {"XDG_CURRENT_DESKTOP", desktopName(options.desktop)},
                              {"XDG_SESSION_TYPE", "wayland"},
                              {"QT_QPA_PLATFORM", "wayland"}};
    session->m_desktop = options.desktop;
    session->startBus();
    if (options.desktop != Desktop::sway) session->startSystemBus();
    session->startCompositor(options);
    session->startMedia();
    session->startPortals();
    return session;
}

WaylandSession::~WaylandSession() {
    m_clients.clear();
    while (!m_services.empty())
        m_services.pop_back();
    m_compositor.reset();
    m_systemBus.reset();
    m_bus.reset();
}

std::vector<std::string> WaylandSession::asUser(const std::string& program,
                                                const std::vector<std::string>& args,
                                                const std::string& log) const {
    // sh execs the program, so the pid stays the one the session stops it by. No X server
    // is of this session: DISPLAY goes.
    std::string script = "unset DISPLAY XAUTHORITY; exec \"$0\" \"$@\"";
    if (!log.empty()) script += " >>'" + log + "' 2>&1";
    std::vector<std::string> command;
    if (m_uid >= 0)
        command = {"setpriv", "--reuid=" + std::to_string(m_uid), "--regid=" + std::to_string(m_gid),
                   "--clear-groups",
                   // setpriv's change of user clears the parent-death signal ChildProcess set.
                   "--pdeathsig", "TERM", "--"};
    command.insert(command.end(), {"sh", "-c", script, program});
    command.insert(command.end(), args.begin(), args.end());
    return command;
}

std::unique_ptr<ChildProcess> WaylandSession::startDaemon(const std::string& name, const std::string& program,
                                                          const std::vector<std::string>& args,
                                                          const Environment& extra) {
    std::vector<std::string> command = asUser(program, args, directory() + "/" + name + ".log");
    Environment environment = m_environment;
    environment.insert(environment.end(), extra.begin(), extra.end());
    return ChildProcess::start(command.front(), {command.begin() + 1, command.end()},
                               {.environment = environment,
                                .out = ChildProcess::Stream::Discard,
                                .err = ChildProcess::Stream::Discard});
}

std::string WaylandSession::logTail(const std::string& name) const {
    QFile log(QString::fromStdString(directory() + "/" + name + ".log"));
    if (!log.open(QIODevice::ReadOnly)) return "(no log)";
    const QByteArray all = log.readAll();
    return all.right(1500).toStdString();
}

std::unique_ptr<ChildProcess> WaylandSession::startBusDaemon(const std::string& name, const std::string& type,
                                                             const std::string& socket) {
    // A bus that starts nothing by itself: every service of the session is started here and
    // stopped by pid.
    const std::string config = directory() + "/" + name + ".conf";
    QFile file(QString::fromStdString(config));
    if (!file.open(QIODevice::WriteOnly))
        throw std::runtime_error("cannot write the " + name + "'s configuration");
    file.write(("<busconfig><type>" + type + "</type><listen>unix:path=" + directory() + "/" + socket +
                "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow send_destination=\"*\" "
                "eavesdrop=\"true\"/><allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>\n")
                   .c_str());
    file.close();
    auto bus = startDaemon(name, "dbus-daemon", {"--config-file=" + config, "--nofork", "--nopidfile"});
    if (!waitUntil([&] { return QFile::exists(QString::fromStdString(directory() + "/" + socket)); }))
        throw std::runtime_error("the " + name + " did not come up: " + logTail(name));
    return bus;
}

void WaylandSession::startBus() {
    m_bus = startBusDaemon("dbus", "session", "bus");
}

// gnome-shell looks for logind on the system bus and stops without one; KWin asks it too. A
// bus of the session's own, where nobody answers, is enough for both.
void WaylandSession::startSystemBus() {
    m_systemBus = startBusDaemon("system-bus", "system", "system_bus");
    m_environment.emplace_back("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + directory() + "/system_bus");
}

void WaylandSession::startCompositor(const Options& options) {
    if (options.desktop == Desktop::gnome) return startGnomeShell(options);
    if (options.desktop == Desktop::kde) return startKWin(options);
    const std::string config = directory() + "/sway.conf";
    QFile file(QString::fromStdString(config));
    if (!file.open(QIODevice::WriteOnly)) throw std::runtime_error("cannot write sway's configuration");
    // No bar, no borders, no XWayland: the outputs show only what a test puts there.
    file.write(
        "xwayland disable\ndefault_border none\ndefault_floating_border none\nfocus_follows_mouse no\n");
    file.close();
    m_compositor = startDaemon("sway", "sway", {"--config", config},
                               {{"WLR_BACKENDS", "headless"},
                                {"WLR_LIBINPUT_NO_DEVICES", "1"},
                                {"WLR_RENDERER", "pixman"},
                                {"WLR_HEADLESS_OUTPUTS", std::to_string(options.outputs.size())}});
    std::string display, ipc;
    const bool up = waitUntil([&] {
        display = findEntry(directory(), QStringLiteral("wayland-"), QStringLiteral(".lock"));
        ipc = findEntry(directory(), QStringLiteral("sway-ipc."));
        return (!display.empty() && !ipc.empty()) || !m_compositor->isRunning();
    });
    if (!up || display.empty() || ipc.empty())
        throw std::runtime_error("sway did not come up: " + logTail("sway"));
    m_environment.emplace_back("WAYLAND_DISPLAY", display);
    m_environment.emplace_back("SWAYSOCK", directory() + "/" + ipc);

    // The outputs' sizes, places and scales, set as a user would.
    double x = 0;
    for (size_t i = 0; i < options.outputs.size(); ++i) {
        const Output& output = options.outputs[i];
        const std::string name = "HEADLESS-" + std::to_string(i + 1);
        char scale[32];
        std::snprintf(scale, sizeof scale, "%g", output.scale);
        const ProcessOutput set =
            run("swaymsg",
                {"output", name, "mode", std::to_string(output.width) + "x" + std::to_string(output.height),
                 "position", std::to_string(std::lround(x)), "0", "scale", scale});
        if (set.exitCode != 0)
            throw std::runtime_error("swaymsg could not set up " + name + ": " + set.out + set.err);
        m_outputNames.push_back(name);
        x += output.width / output.scale;
    }
}

void WaylandSession::startGnomeShell(const Options& options) {
    if (options.outputs.size() != 1 || options.outputs.front().scale != 1.0)
        throw std::runtime_error("the GNOME session has one virtual monitor, at scale 1");
    const Output& output = options.outputs.front();
    // Settings as a user keeps them, through dconf: no animations, so that dialogs stand still
    // when they are answered, and no hot corner for the pointer to open the overview in.
    m_services.push_back(startDaemon("dconf", "/usr/libexec/dconf-service", {}));
    if (!waitUntil([&] { return busNameOwned("ca.desrt.dconf"); }))
        throw std::runtime_error("dconf did not come up: " + logTail("dconf"));
    for (const char* key : {"enable-animations", "enable-hot-corners"}) {
        const ProcessOutput set = run("gsettings", {"set", "org.gnome.desktop.interface", key, "false"});
        if (set.exitCode != 0)
            throw std::runtime_error("gsettings could not set " + std::string(key) + ": " + set.err);
    }
    std::string display;
    // The shell logs when its start is complete, overview and all. Now and then, on a loaded
    // machine, it stops for good halfway through its start: it starts ibus-daemon through a
    // fork whose child runs script code before its exec and can deadlock on a lock another
    // thread held at the fork. The shell waits for that child forever, and the child keeps
    // the shell's bus connection, and so its name, alive. Both are stopped, and a second
    // start is given, with the first one's log kept beside.
    for (int attempt = 1;; ++attempt) {
        m_compositor = startDaemon("gnome-shell", "gnome-shell",
                                   {"--headless", "--wayland", "--no-x11", "--virtual-monitor",
                                    std::to_string(output.width) + "x" + std::to_string(output.height)},
                                   {{"GTK_A11Y", "none"}});
        const bool up = waitUntil(
            [&] {
                display = findEntry(directory(), QStringLiteral("wayland-"), QStringLiteral(".lock"));
                return (!display.empty() &&
                        logTail("gnome-shell").find("GNOME Shell started at") != std::string::npos) ||
                       !m_compositor->isRunning();
            },
            45s);
        if (up && !display.empty() && m_compositor->isRunning()) break;
        const std::string log = logTail("gnome-shell");
        killChildrenOf(m_compositor->pid());
        m_compositor.reset();
        if (attempt == 2) throw std::runtime_error("gnome-shell did not come up, twice: " + log);
        // The second start gives up at once while the first one's bus name is still taken.
        if (!waitUntil([&] { return !busNameOwned("org.gnome.Shell"); }))
            throw std::runtime_error("gnome-shell did not come up, and did not stop: " + log);
        const QString path = QString::fromStdString(directory() + "/gnome-shell.log");
        QFile::rename(path, path + QStringLiteral(".first"));
    }
    m_environment.emplace_back("WAYLAND_DISPLAY", display);
    // The shell starts in its overview, where windows are small pictures of themselves.
    const auto overview = [&](const std::string& call, const std::vector<std::string>& args) {
        std::vector<std::string> all{"--session",
                                     "--print-reply",
                                     "--dest=org.gnome.Shell",
                                     "/org/gnome/Shell",
                                     "org.freedesktop.DBus.Properties." + call,
                                     "string:org.gnome.Shell",
                                     "string:OverviewActive"};
        all.insert(all.end(), args.begin(), args.end());
        return run("dbus-send", all, {.timeout = 10s}).out;
    };
    if (!waitUntil([&] {
            overview("Set", {"variant:boolean:false"});
            return overview("Get", {}).find("boolean false") != std::string::npos;
        }))
        throw std::runtime_error("gnome-shell kept its overview open: " + logTail("gnome-shell"));
    m_outputNames = {"Meta-0"};
}

void WaylandSession::startKWin(const Options& options) {
    const Output& output = options.outputs.front();
    for (const Output& each : options.outputs)
        if (each.width != output.width || each.height != output.height || each.scale != output.scale)
            throw std::runtime_error("the KDE session's outputs share one size and scale");
    // Debian gives kwin_wayland the file capability CAP_SYS_RESOURCE, and where the capability
    // bounding set lacks it, as in most containers, the kernel refuses to run the file at all.
    // A copy carries no capability; KWin does without.
    const QString kwin = m_dir.path() + QStringLiteral("/kwin_wayland");
    if (!QFile::copy(QStandardPaths::findExecutable(QStringLiteral("kwin_wayland")), kwin))
        throw std::runtime_error("cannot copy kwin_wayland into the session's folder");
    // Windows without shadows: a window's pixels beside or below another stay its own but for
    // the thin outline Breeze draws around every frame.
    const ProcessOutput decorations = run("sh", {"-c", "printf '[Common]\\nShadowSize=ShadowNone\\n' > "
                                                       "\"$XDG_CONFIG_HOME/breezerc\""});
    if (decorations.exitCode != 0) throw std::runtime_error("cannot write breezerc: " + decorations.err);
    char scale[32];
    std::snprintf(scale, sizeof scale, "%g", output.scale);
    m_compositor = startDaemon(
        "kwin", kwin.toStdString(),
        {"--virtual", "--no-lockscreen", "--width", std::to_string(output.width), "--height",
         std::to_string(output.height), "--scale", scale, "--output-count",
         std::to_string(options.outputs.size())},
        // The tests' own look at the screen (kwin_screenshot) and hand on the
        // pointer (kwin_click) go around the portal, which KWin otherwise
        // allows only to programs it knows.
        {{"KWIN_SCREENSHOT_NO_PERMISSION_CHECKS", "1"}, {"KWIN_WAYLAND_NO_PERMISSION_CHECKS", "1"}});
    std::string display;
    const bool up = waitUntil(
        [&] {
            display = findEntry(directory(), QStringLiteral("wayland-"), QStringLiteral(".lock"));
            return (!display.empty() && busNameOwned("org.kde.KWin")) || !m_compositor->isRunning();
        },
        60s);
    if (!up || display.empty() || !m_compositor->isRunning())
        throw std::runtime_error("kwin_wayland did not come up: " + logTail("kwin"));
    m_environment.emplace_back("WAYLAND_DISPLAY", display);
    for (size_t i = 0; i < options.outputs.size(); ++i)
        m_outputNames.push_back("Virtual-" + std::to_string(i));
}

// Before the portals: xdg-desktop-portal-wlr exits at start when it cannot reach PipeWire,
// screenshots and all.
void WaylandSession::startMedia() {
    m_services.push_back(startDaemon("pipewire", "pipewire", {}));
    if (!waitUntil([&] { return QFile::exists(QString::fromStdString(directory() + "/pipewire-0")); }))
        throw std::runtime_error("PipeWire did not come up: " + logTail("pipewire"));
    m_services.push_back(startDaemon("wireplumber", "wireplumber", {}));
}

bool WaylandSession::busNameOwned(const std::string& name) {
    const ProcessOutput reply =
        run("dbus-send",
            {"--session", "--print-reply", "--dest=org.freedesktop.DBus", "/org/freedesktop/DBus",
             "org.freedesktop.DBus.NameHasOwner", "string:" + name},
            {.timeout = 10s});
    return reply.out.find("boolean true") != std::string::npos;
}

void WaylandSession::startPortals() {
    choosePortals();
    if (m_desktop == Desktop::gnome)
        return startDesktopPortals("portal-gnome", std::string(libexec) + "xdg-desktop-portal-gnome",
                                   "org.freedesktop.impl.portal.desktop.gnome", {{"GTK_A11Y", "none"}});
    if (m_desktop == Desktop::kde)
        return startDesktopPortals("portal-kde", kdePortal, "org.freedesktop.impl.portal.desktop.kde",
                                   {{"QT_QPA_PLATFORM", "wayland"}});
    // Screen casts go to the first output without a chooser; screenshots need no answer.
    const std::string config = directory() + "/xdpw.conf";
    QFile file(QString::fromStdString(config));
    if (!file.open(QIODevice::WriteOnly)) throw std::runtime_error("cannot write the portal's configuration");
    file.write(("[screencast]\nchooser_type=none\noutput_name=" + m_outputNames.front() + "\n").c_str());
    file.close();
    m_services.push_back(startDaemon("permission-store", std::string(libexec) + "xdg-permission-store", {}));
    m_services.push_back(startDaemon("portal-wlr", std::string(libexec) + "xdg-desktop-portal-wlr",
                                     {"--config", config, "--loglevel", "INFO"}));
    if (!waitUntil([&] { return busNameOwned("org.freedesktop.impl.portal.desktop.wlr"); }))
        throw std::runtime_error("xdg-desktop-portal-wlr did not come up: " + logTail("portal-wlr"));
    m_services.push_back(startDaemon("portal", std::string(libexec) + "xdg-desktop-portal", {}));
    if (!waitUntil([&] { return busNameOwned("org.freedesktop.portal.Desktop"); }))
        throw std::runtime_error("xdg-desktop-portal did not come up: " + logTail("portal"));
}

// xdg-desktop-portal 1.16 gives an interface that no backend of this desktop has to any
// installed backend that has it: under sway, with KDE's backend installed, GlobalShortcuts
// would go to a KDE that is not there. The session's portal sees only this desktop's.
void WaylandSession::choosePortals() {
    const QString folder = m_dir.path() + QStringLiteral("/portals");
    QDir().mkpath(folder);
    QStringList names;
    switch (m_desktop) {
    case Desktop::sway:
        names = {QStringLiteral("wlr.portal"), QStringLiteral("gtk.portal")};
        break;
    case Desktop::gnome:
        names = {QStringLiteral("gnome.portal"), QStringLiteral("gnome-shell.portal")};
        break;
    case Desktop::kde:
        names = {QStringLiteral("kde.portal")};
        break;
    }
    for (const QString& name : std::as_const(names))
        if (!QFile::copy(QStringLiteral("/usr/share/xdg-desktop-portal/portals/") + name,
                         folder + u'/' + name))
            throw std::runtime_error("cannot copy the portal description " + name.toStdString());
    QFile::setPermissions(folder, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner |
                                      QFileDevice::ReadOther | QFileDevice::ExeOther);
    m_environment.emplace_back("XDG_DESKTOP_PORTAL_DIR", folder.toStdString());
}

// The desktop's own portal backend, with its dialogs on the session's compositor, and
// xdg-desktop-portal in front of it; the front logs what it asks and restores (portal.log).
void WaylandSession::startDesktopPortals(const std::string& name, const std::string& program,
                                         const std::string& busName, const Environment& extra) {
    m_services.push_back(startDaemon("permission-store", std::string(libexec) + "xdg-permission-store", {}));
    m_services.push_back(startDaemon(name, program, {}, extra));
    if (!waitUntil([&] { return busNameOwned(busName); }, 60s))
        throw std::runtime_error(program + " did not come up: " + logTail(name));
    m_services.push_back(startDaemon("portal", std::string(libexec) + "xdg-desktop-portal", {"--verbose"}));
    if (!waitUntil([&] { return busNameOwned("org.freedesktop.portal.Desktop"); }))
        throw std::runtime_error("xdg-desktop-portal did not come up: " + logTail("portal"));
}

ProcessOutput WaylandSession::run(const std::string& program, const std::vector<std::string>& args,
                                  const RunOptions& options) {
    std::vector<std::string> command = asUser(program, args, {});
    Environment environment = m_environment;
    environment.insert(environment.end(), options.environment.begin(), options.environment.end());
    auto child = ChildProcess::start(command.front(), {command.begin() + 1, command.end()},
                                     {.environment = environment, .err = ChildProcess::Stream::Pipe});
    return child->finish(options.timeout);
}

ChildProcess& WaylandSession::startProcess(const std::string& program, const std::vector<std::string>& args,
                                           const Environment& extra) {
    std::vector<std::string> command = asUser(program, args, {});
    Environment environment = m_environment;
    environment.insert(environment.end(), extra.begin(), extra.end());
    m_clients.push_back(ChildProcess::start(command.front(), {command.begin() + 1, command.end()},
                                            {.environment = environment,
                                             .out = ChildProcess::Stream::Discard,
                                             .err = ChildProcess::Stream::Discard}));
    return *m_clients.back();
}

std::unique_ptr<ChildProcess> WaylandSession::startReading(const std::string& program,
                                                           const std::vector<std::string>& args) {
    std::vector<std::string> command = asUser(program, args, {});
    return ChildProcess::start(command.front(), {command.begin() + 1, command.end()},
                               {.environment = m_environment, .err = ChildProcess::Stream::Discard});
}

bool WaylandSession::canExecute(const std::string& path) {
    return run("test", {"-x", path}, {.timeout = 10s}).exitCode == 0;
}

std::string WaylandSession::reachable(const std::string& program) {
    if (canExecute(program)) return program;
    const QFileInfo source(QString::fromStdString(program));
    const QString bin = m_dir.path() + QStringLiteral("/bin");
    QDir().mkpath(bin);
    QStringList files = source.dir().entryList({QStringLiteral("*.so")}, QDir::Files);
    files.prepend(source.fileName());
    for (const QString& name : std::as_const(files)) {
        const QByteArray from = QFile::encodeName(source.dir().filePath(name));
        const QByteArray to = QFile::encodeName(bin + u'/' + name);
        if (link(from.constData(), to.constData()) != 0 &&
            !QFile::copy(QString::fromLocal8Bit(from), QString::fromLocal8Bit(to)))
            return {};
    }
    const std::string moved = (bin + u'/' + source.fileName()).toStdString();
    return canExecute(moved) ? moved : std::string();
}

} // namespace testsupport
