#pragma once

#include "XServer.h"

#include <QImage>
#include <QStringList>
#include <QTemporaryDir>

#include <chrono>
#include <string>

namespace testsupport {

// The resident application on a test's X server, with its own home, preferences and
// instance socket, driven from outside the way a person or a script would drive it.
class AppSession {
public:
    // `preferences` is the text of pictavia.conf. The application is up and listening
    // when the constructor returns; throws std::runtime_error otherwise.
    // `extra` joins the application's environment.
    AppSession(XServer& server, const std::string& preferences, Environment extra = {});
    ~AppSession();

    // SIGKILL, as a crash or the OOM killer would end it: nothing is saved on the way out.
    void kill();
    // Ends it as a person would (SIGTERM); true when it exited cleanly.
    bool quit();
    // Starts it again on the same home, after kill() or quit().
    void restart();

    // `pictavia ARGS...` as a second start: hands the arguments to the running instance.
    ProcessOutput send(const std::vector<std::string>& args);
    ProcessOutput open(const std::string& url) { return send({url}); }
    // Any program with the session's environment, in the background; it is
    // stopped with the X server.
    ChildProcess& start(const std::string& program, const std::vector<std::string>& args);
    // Any program with the session's environment, plus `extra`.
    ProcessOutput run(const std::string& program, const std::vector<std::string>& args,
                      const Environment& extra = {}, std::chrono::seconds timeout = std::chrono::seconds(30));

    // Captures in the history folder, oldest name first.
    QStringList captures() const;
    QImage capture(int index) const;
    bool waitForCaptures(int count, std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;

    // What the application said (its toasts go to stderr too).
    std::string log() const;
    bool waitForLog(const std::string& text,
                    std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;

    // Visible windows whose title is exactly `title`.
    int windowCount(const std::string& title);
    bool waitForWindows(const std::string& title, int count,
                        std::chrono::milliseconds timeout = std::chrono::seconds(10));

    // xdotool with these arguments.
    void xdotool(const std::vector<std::string>& args);
    // Saves the screen as artifacts/NAME.png for people to look at.
    void screenshot(const std::string& name);

    const QTemporaryDir& home() const { return m_home; }

private:
    Environment environment() const;
    void launch();

    XServer& m_server;
    Environment m_extra;
    QTemporaryDir m_home;
    ChildProcess* m_app = nullptr;
};

} // namespace testsupport
