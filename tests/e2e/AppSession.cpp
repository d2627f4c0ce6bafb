#include "AppSession.h"

#include "WaitUntil.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <csignal>
#include <stdexcept>

namespace testsupport {

AppSession::AppSession(XServer& server, const std::string& preferences, Environment extra)
    : m_server(server), m_extra(std::move(extra)) {
    if (!m_home.isValid()) throw std::runtime_error("no temporary folder");
    QDir().mkpath(m_home.path() + "/config/pictavia");
    QDir().mkpath(m_home.path() + "/runtime");
    QFile::setPermissions(m_home.path() + "/runtime", QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QFile conf(m_home.path() + "/config/pictavia/pictavia.conf");
    if (!conf.open(QIODevice::WriteOnly)) throw std::runtime_error("cannot write the preferences");
    conf.write("; written by the test\ncaptureSound = false\n" + QByteArray::fromStdString(preferences));
    conf.close();

    server.run("xsetroot", {"-solid", "#3b5b7a"}); // a desktop colour, for the screenshots
    launch();
}

void AppSession::launch() {
    // Through a shell, so the application's stderr (its toasts) lands in a file.
    const std::string log = (m_home.path() + "/app.log").toStdString();
    const QString socket = m_home.path() + "/runtime/pictavia/instance";
    QFile::remove(socket);
    m_app = &m_server.startProcess("/bin/sh", {"-c", "exec \"$0\" --background 2>>\"$1\"", PICTAVIA_BIN, log},
                                   environment());
    if (!waitUntil([&] { return QFileInfo::exists(socket); }))
        throw std::runtime_error("pictavia did not start listening: " + this->log());
}

void AppSession::kill() {
    ::kill(m_app->pid(), SIGKILL);
    m_app->stop();
}

bool AppSession::quit() {
    return m_app->stop(std::chrono::seconds(20)) == 0;
}

void AppSession::restart() {
    launch();
}

AppSession::~AppSession() {
    if (m_app) m_app->stop();
}

Environment AppSession::environment() const {
    const std::string dir = m_home.path().toStdString();
    Environment environment{{"XDG_CONFIG_HOME", dir + "/config"},
                            {"XDG_DATA_HOME", dir + "/data"},
                            {"XDG_RUNTIME_DIR", dir + "/runtime"},
                            {"HOME", dir}};
    environment.insert(environment.end(), m_extra.begin(), m_extra.end());
    return environment;
}

ProcessOutput AppSession::send(const std::vector<std::string>& args) {
    return run(PICTAVIA_BIN, args);
}

ChildProcess& AppSession::start(const std::string& program, const std::vector<std::string>& args) {
    return m_server.startProcess(program, args, environment());
}

ProcessOutput AppSession::run(const std::string& program, const std::vector<std::string>& args,
                              const Environment& extra, std::chrono::seconds timeout) {
    Environment environment = this->environment();
    environment.insert(environment.end(), extra.begin(), extra.end());
    return m_server.run(program, args, {.environment = environment, .timeout = timeout});
}

QStringList AppSession::captures() const {
    return QDir(m_home.path() + "/data/Pictavia/History").entryList(QDir::Files, QDir::Name);
}

QImage AppSession::capture(int index) const {
    return QImage(m_home.path() + "/data/Pictavia/History/" + captures().value(index));
}

bool AppSession::waitForCaptures(int count, std::chrono::milliseconds timeout) const {
    return waitUntil([&] { return captures().size() >= count; }, timeout);
}

std::string AppSession::log() const {
    QFile file(m_home.path() + "/app.log");
    return file.open(QIODevice::ReadOnly) ? file.readAll().toStdString() : std::string();
}

bool AppSession::waitForLog(const std::string& text, std::chrono::milliseconds timeout) const {
    return waitUntil([&] { return log().find(text) != std::string::npos; }, timeout);
}

int AppSession::windowCount(const std::string& title) {
    // xdotool takes a regular expression; titles hold dots and brackets ("Shot (2).png").
    std::string pattern = "^";
    for (const char c : title) {
        if (std::string_view(".[]()*+?{}|^$\\").find(c) != std::string_view::npos) pattern += '\\';
        pattern += c;
    }
    const ProcessOutput out = m_server.run("xdotool", {"search", "--onlyvisible", "--name", pattern + "$"});
    return static_cast<int>(std::count(out.out.begin(), out.out.end(), '\n'));
}

bool AppSession::waitForWindows(const std::string& title, int count, std::chrono::milliseconds timeout) {
    return waitUntil([&] { return windowCount(title) == count; }, timeout);
}

void AppSession::xdotool(const std::vector<std::string>& args) {
    m_server.run("xdotool", args);
}

void AppSession::screenshot(const std::string& name) {
    QDir().mkpath(ARTIFACT_DIR);
    m_server.run("import", {"-window", "root", std::string(ARTIFACT_DIR) + "/" + name + ".png"});
}

} // namespace testsupport
