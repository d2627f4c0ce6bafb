// The window that asks the user about an AI client goes when the client has gone: nobody
// is left to get the answer.

#include "AppSession.h"
#include "WaitUntil.h"

#include <QFileInfo>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>

namespace {

using namespace testsupport;

const std::string requestWindow = "Pictavia · AI agent request";

// An MCP client talking to Pictavia through pictavia-mcp, its requests written by the test
// through a pipe; closing the pipe is the client going away.
class Client {
public:
    Client(XServer& server, AppSession& app, const std::string& name) {
        const std::string home = app.home().path().toStdString();
        const std::string pipe = home + "/" + name + ".in";
        ::mkfifo(pipe.c_str(), 0600);
        server.startProcess("/bin/sh", {"-c", "exec \"$0\" < \"$1\"", PICTAVIA_MCP_BIN, pipe},
                            {{"HOME", home}});
        m_fd = ::open(pipe.c_str(), O_WRONLY); // once the bridge has it open
        send(R"({"jsonrpc":"2.0","id":1,"method":"initialize","params":{"protocolVersion":"2025-06-18",)"
             R"("clientInfo":{"name":")" +
             name + R"(","version":"1.0"}}})");
        send(R"({"jsonrpc":"2.0","method":"notifications/initialized"})");
        send(
            R"({"jsonrpc":"2.0","id":2,"method":"tools/call","params":{"name":"get_status","arguments":{}}})");
    }
    ~Client() { leave(); }

    void leave() {
        if (m_fd >= 0) ::close(m_fd);
        m_fd = -1;
    }

private:
    void send(const std::string& line) {
        const std::string text = line + "\n";
        ASSERT_EQ(::write(m_fd, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    int m_fd = -1;
};

TEST(AgentRequestWindowTest, TheRequestGoesWhenTheClientThatAskedHasGone) {
    auto server = XServer::start({.windowManager = true});
    AppSession app(*server, "showQuickAccess = false\n");
    ASSERT_TRUE(waitUntil([&] {
        return QFileInfo::exists(app.home().path() + "/.local/share/Pictavia/agent.sock");
    })) << app.log();

    Client first(*server, app, "first-agent");
    ASSERT_TRUE(app.waitForWindows(requestWindow, 1)) << app.log();
    // A second client's question waits behind the first one's, and its client goes too.
    Client second(*server, app, "second-agent");
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    second.leave();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));

    first.leave();
    EXPECT_TRUE(app.waitForWindows(requestWindow, 0)) << "the request stays up for a client that has gone";
    // The waiting question is not shown either.
    std::this_thread::sleep_for(std::chrono::seconds(1));
    EXPECT_EQ(app.windowCount(requestWindow), 0);
}

} // namespace
