// The MCP conformance suite from npm against the running app: it speaks HTTP only, so
// supergateway turns its requests into the stdio lines pictavia-mcp relays.

#include "AppSession.h"
#include "WaitUntil.h"

#include <QFileInfo>
#include <gtest/gtest.h>

#include <unistd.h>

namespace {

using namespace testsupport;

const std::string modules = MCP_CLIENT_DIR "/node_modules";

TEST(ConformanceTest, ServerInitializePingAndToolsListPass) {
    // The suite needs Node 22, which comes from npm as the package "node".
    const std::string node = modules + "/node/bin/node";
    for (const std::string& needed : {node, modules + "/@modelcontextprotocol/conformance/package.json",
                                      modules + "/supergateway/package.json"})
        if (!QFileInfo::exists(QString::fromStdString(needed)))
            GTEST_SKIP() << "needs the MCP clients from npm: npm install --prefix tests/e2e/mcp";
    auto server = XServer::start({.windowManager = false});
    AppSession app(*server, "showQuickAccess = false\n");
    const std::string home = app.home().path().toStdString();
    ASSERT_TRUE(waitUntil([&] {
        return QFileInfo::exists(app.home().path() + "/.local/share/Pictavia/agent.sock");
    })) << app.log();

    const std::string port = std::to_string(20000 + getpid() % 20000);
    // A short session timeout, so the bridge of every finished scenario goes away.
    server->startProcess(node,
                         {modules + "/supergateway/dist/index.js", "--stdio", PICTAVIA_MCP_BIN,
                          "--outputTransport", "streamableHttp", "--stateful", "--sessionTimeout", "3000",
                          "--port", port, "--logLevel", "none"},
                         {{"HOME", home}});
    ASSERT_TRUE(waitUntil([&] {
        return app.run("bash", {"-c", "exec 3<>/dev/tcp/127.0.0.1/" + port}).exitCode == 0;
    })) << "supergateway did not listen on port "
        << port;

    for (const std::string scenario : {"server-initialize", "ping", "tools-list"}) {
        const ProcessOutput out =
            app.run(node,
                    {modules + "/@modelcontextprotocol/conformance/dist/index.js", "server", "--url",
                     "http://127.0.0.1:" + port + "/mcp", "--scenario", scenario},
                    {{"HOME", home}});
        EXPECT_EQ(out.exitCode, 0) << scenario << "\n" << out.out << out.err;
        EXPECT_NE(out.out.find("0 failed"), std::string::npos) << scenario << "\n" << out.out;
    }
}

} // namespace
