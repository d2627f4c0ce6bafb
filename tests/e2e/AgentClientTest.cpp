// The official MCP client library (from npm) against pictavia-mcp and the resident
// application: what an AI application sees when it connects.

#include "AppSession.h"
#include "WaitUntil.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>
#include <gtest/gtest.h>

namespace {

using namespace testsupport;

TEST(AgentClientTest, TheMCPClientLibraryConnectsThroughTheBridge) {
    const QString node = QStandardPaths::findExecutable("node");
    if (node.isEmpty() ||
        !QFileInfo::exists(MCP_CLIENT_DIR "/node_modules/@modelcontextprotocol/sdk/package.json"))
        GTEST_SKIP() << "needs node and the client library: npm install --prefix tests/e2e/mcp";
    auto server = XServer::start({.windowManager = false});
    AppSession app(*server, "showQuickAccess = false\n");
    const QString socket = app.home().path() + "/.local/share/Pictavia/agent.sock";
    ASSERT_TRUE(waitUntil([&] { return QFileInfo::exists(socket); })) << app.log();

    const ProcessOutput out = app.run(node.toStdString(), {MCP_CLIENT_DIR "/client.mjs", PICTAVIA_MCP_BIN});
    ASSERT_EQ(out.exitCode, 0) << out.err;
    const QJsonObject report = QJsonDocument::fromJson(QByteArray::fromStdString(out.out)).object();
    ASSERT_FALSE(report.contains("error")) << out.out;
    EXPECT_EQ(report["server"].toObject(),
              (QJsonObject{{"name", "pictavia"}, {"title", "Pictavia"}, {"version", "1.0.0"}}));
    EXPECT_EQ(report["capabilities"].toObject(),
              (QJsonObject{{"tools", QJsonObject{{"listChanged", false}}}}));
    EXPECT_TRUE(report["instructions"].toString().startsWith("Pictavia is a Linux screenshot"));
    EXPECT_EQ(report["ping"].toObject(), QJsonObject());
    EXPECT_EQ(report["tools"].toObject()["tools"].toArray(), QJsonArray());
    const QJsonObject call = report["call"].toObject();
    EXPECT_TRUE(call["isError"].toBool());
    EXPECT_EQ(call["content"].toArray().at(0).toObject()["text"].toString(),
              QString::fromUtf8("Unknown tool “take_screenshot”. Call tools/list for the available tools."));
    EXPECT_EQ(report["resources"].toObject()["resources"].toArray(), QJsonArray());
    EXPECT_EQ(report["prompts"].toObject()["prompts"].toArray(), QJsonArray());
}

} // namespace
