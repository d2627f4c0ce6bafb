#include "WaylandSession.h"

#include "WaitUntil.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <stdexcept>

namespace testsupport {

namespace {

const char* const userName = "pictavia-test";
const char* const libexec = "/usr/libexec/";

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

} // namespace

std::unique_ptr<WaylandSession> WaylandSession::start(const Options& options, std::string* whyNot) {
    const std::vector<std::string> programs{"dbus-daemon",
                                            "dbus-send",
                                            "sway",
                                            "swaymsg",
                                            "pipewire",
                                            "wireplumber",
                                            "grim",
                                            std::string(libexec) + "xdg-desktop-portal",
                                            std::string(libexec) + "xdg-desktop-portal-wlr",
                                            std::string(libexec) + "xdg-permission-store"};
    for (const std::string& program : programs) {
        if (!executable(program)) {
            *whyNot = program + " is not installed (scripts/deps.sh installs the Wayland session's packages)";
            return nullptr;
        }
    }
    // xdg-desktop-portal 1.16 offers its Screenshot interface only where some backend
    // implements the Access dialog, which the wlroots backend does not.
    if (!QFile::exists(QStringLiteral("/usr/share/xdg-desktop-portal/portals/gtk.portal"))) {
        *whyNot = "xdg-desktop-portal-gtk is not installed: without it xdg-desktop-portal offers no "
                  "Screenshot interface";
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
                              {"XDG_CURRENT_DESKTOP", "sway"},
                              {"XDG_SESSION_TYPE", "wayland"},
                              {"QT_QPA_PLATFORM", "wayland"}};
    session->startBus();
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

void WaylandSession::startBus() {
    // A bus that starts nothing by itself: every service of the session is started here and
    // stopped by pid.
    const std::string config = directory() + "/bus.conf";
    QFile file(QString::fromStdString(config));
    if (!file.open(QIODevice::WriteOnly))
        throw std::runtime_error("cannot write the session bus's configuration");
    file.write(("<busconfig><type>session</type><listen>unix:path=" + directory() +
                "/bus</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow send_destination=\"*\" "
                "eavesdrop=\"true\"/><allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>\n")
                   .c_str());
    file.close();
    m_bus = startDaemon("dbus", "dbus-daemon", {"--config-file=" + config, "--nofork", "--nopidfile"});
    if (!waitUntil([&] { return QFile::exists(QString::fromStdString(directory() + "/bus")); }))
        throw std::runtime_error("the session bus did not come up: " + logTail("dbus"));
}

void WaylandSession::startCompositor(const Options& options) {
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
