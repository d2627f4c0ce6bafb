// The official MCP client library (from npm) against pictavia-mcp and the resident
// application: what an AI application sees when it connects, lists the tools and calls them.

#include "AppSession.h"
#include "TestWindow.h"
#include "WaitUntil.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>
#include <gtest/gtest.h>

namespace {

using namespace testsupport;

// The preferences approve the client the library announces ("claude-code"), as if the user
// had allowed it once: no prompt window is needed to run its calls.
const std::string approvedClient =
    "showQuickAccess = false\n"
    "copyToClipboard = false\n"
    R"(agentApprovedClients = [{"key":"claude-code","name":"claude-code","approvedAt":"2026-01-01T00:00:00Z"}])"
    "\n";

// The client library, from npm, run by node; the tests skip without them.
class AgentClientTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (node.empty() ||
            !QFileInfo::exists(MCP_CLIENT_DIR "/node_modules/@modelcontextprotocol/sdk/package.json"))
            GTEST_SKIP() << "needs node and the client library: npm install --prefix tests/e2e/mcp";
    }

    static bool listening(AppSession& app) {
        return waitUntil(
            [&] { return QFileInfo::exists(app.home().path() + "/.local/share/Pictavia/agent.sock"); });
    }

    // client.mjs running `calls` through pictavia-mcp.
    static std::vector<std::string> clientArguments(const QJsonArray& calls) {
        return {MCP_CLIENT_DIR "/client.mjs", PICTAVIA_MCP_BIN,
                QJsonDocument(calls).toJson(QJsonDocument::Compact).toStdString()};
    }

    const std::string node = QStandardPaths::findExecutable("node").toStdString();
};

QJsonObject structured(const QJsonObject& result) {
    return QJsonDocument::fromJson(result["content"].toArray().at(0).toObject()["text"].toString().toUtf8())
        .object();
}

TEST_F(AgentClientTest, TheMCPClientLibraryListsAndCallsToolsThroughTheBridge) {
    auto server = XServer::start({.windowManager = false});
    AppSession app(*server, approvedClient);
    ASSERT_TRUE(listening(app)) << app.log();
    const TestWindow window = openTestWindow(
        *server,
        {.pattern = "#ffffff", .size = QSize(360, 120), .position = QPoint(100, 100), .text = "Pelican"});
    const QRect area = clientRect(*server, window.id);

    const QJsonArray calls{
        QJsonObject{{"name", "get_status"}, {"arguments", QJsonObject()}},
        QJsonObject{{"name", "take_screenshot"}, {"arguments", QJsonObject{{"target", "screen"}}}},
        QJsonObject{{"name", "extract_text"},
                    {"arguments",
                     QJsonObject{{"target", "area"},
                                 {"rect", QJsonArray{area.x(), area.y(), area.width(), area.height()}}}}},
        QJsonObject{{"name", "no_such_tool"}, {"arguments", QJsonObject()}},
        // An arrow on the screenshot taken above, saved as a new capture.
        QJsonObject{{"name", "annotate_image"},
                    {"arguments",
                     QJsonObject{{"capture_id", "$last_id"},
                                 {"operations", QJsonArray{QJsonObject{{"type", "arrow"},
                                                                       {"from", QJsonArray{20, 20}},
                                                                       {"to", QJsonArray{160, 120}}}}}}}},
        QJsonObject{{"name", "transcribe_recording"},
                    {"arguments", QJsonObject{{"path", "/nowhere/talk.mov"}}}},
    };
    const ProcessOutput out = app.run(node, clientArguments(calls));
    ASSERT_EQ(out.exitCode, 0) << out.err;
    const QJsonObject report = QJsonDocument::fromJson(QByteArray::fromStdString(out.out)).object();
    ASSERT_FALSE(report.contains("error")) << out.out << app.log();
    EXPECT_EQ(report["server"].toObject(),
              (QJsonObject{{"name", "pictavia"}, {"title", "Pictavia"}, {"version", "1.0.0"}}));
    EXPECT_EQ(report["capabilities"].toObject(),
              (QJsonObject{{"tools", QJsonObject{{"listChanged", false}}}}));
    EXPECT_TRUE(report["instructions"].toString().startsWith(
        "Pictavia is a Linux screenshot and screen-recording app"));
    EXPECT_EQ(report["ping"].toObject(), QJsonObject());
    EXPECT_EQ(report["resources"].toObject()["resources"].toArray(), QJsonArray());
    EXPECT_EQ(report["prompts"].toObject()["prompts"].toArray(), QJsonArray());

    const QJsonArray tools = report["tools"].toObject()["tools"].toArray();
    ASSERT_EQ(tools.size(), 29);
    EXPECT_EQ(tools[0].toObject()["name"], "get_status");
    EXPECT_EQ(tools[0].toObject()["annotations"].toObject()["readOnlyHint"], true);

    const QJsonArray results = report["calls"].toArray();
    ASSERT_EQ(results.size(), 6);
    const QJsonObject status = structured(results[0].toObject());
    EXPECT_FALSE(results[0].toObject()["isError"].toBool());
    ASSERT_FALSE(status["displays"].toArray().isEmpty()) << out.out;
    EXPECT_EQ(status["recording"], false);

    const QJsonObject shot = results[1].toObject();
    ASSERT_FALSE(shot["isError"].toBool()) << out.out;
    const QJsonObject captured = structured(shot);
    EXPECT_TRUE(app.captures().contains(captured["id"].toString())) << out.out;
    EXPECT_GT(captured["width"].toInt(), 0);
    const QJsonArray content = shot["content"].toArray();
    ASSERT_EQ(content.size(), 2);
    EXPECT_EQ(content[1].toObject()["type"], "image");

    const QJsonObject read = results[2].toObject();
    ASSERT_FALSE(read["isError"].toBool()) << out.out;
    EXPECT_TRUE(structured(read)["text"].toString().contains("Pelican")) << out.out;

    EXPECT_EQ(results[3].toObject()["content"].toArray().at(0).toObject()["text"].toString(),
              QString::fromUtf8("Unknown tool “no_such_tool”. Call tools/list for the available tools."));
    EXPECT_TRUE(results[3].toObject()["isError"].toBool());

    const QJsonObject annotated = results[4].toObject();
    ASSERT_FALSE(annotated["isError"].toBool()) << out.out;
    const QJsonObject edited = structured(annotated);
    EXPECT_NE(edited["id"].toString(), captured["id"].toString());
    EXPECT_TRUE(app.captures().contains(edited["id"].toString())) << out.out;
    EXPECT_TRUE(app.captures().contains(captured["id"].toString()));
    EXPECT_EQ(edited["annotations_added"].toInt(), 1);
    EXPECT_EQ(edited["width"].toInt(), captured["width"].toInt());

    EXPECT_TRUE(results[5].toObject()["isError"].toBool());
    EXPECT_EQ(results[5].toObject()["content"].toArray().at(0).toObject()["text"].toString(),
              "No file at /nowhere/talk.mov.");
}

TEST_F(AgentClientTest, AScrollingCaptureOfAWindowIsOneTallImage) {
    auto server = XServer::start({.windowManager = false});
    AppSession app(*server, approvedClient);
    ASSERT_TRUE(listening(app)) << app.log();
    ChildProcess& page = server->startProcess(SCROLL_PAGE_BIN, {"--lines", "120", "--pos", "50,50"});
    const auto id = page.readLine(20s);
    ASSERT_TRUE(id) << "the page did not come up";

    const QJsonArray calls{QJsonObject{
        {"name", "scrolling_capture"},
        {"arguments", QJsonObject{{"window_id", qint64(std::stoull(*id))}, {"direction", "vertical"}}}}};
    const ProcessOutput out = app.run(node, clientArguments(calls));
    ASSERT_EQ(out.exitCode, 0) << out.err;
    const QJsonObject report = QJsonDocument::fromJson(QByteArray::fromStdString(out.out)).object();
    ASSERT_FALSE(report.contains("error")) << out.out << app.log();
    const QJsonObject result = report["calls"].toArray().at(0).toObject();
    ASSERT_FALSE(result["isError"].toBool()) << out.out;
    const QJsonObject fields = structured(result);
    EXPECT_TRUE(app.captures().contains(fields["id"].toString())) << out.out;
    // The window is 420 high; its page, header and footer together 36 + 120 * 22 + 16 + 36.
    EXPECT_EQ(fields["width"].toInt(), 520) << out.out;
    EXPECT_EQ(fields["height"].toInt(), 36 + 120 * 22 + 16 + 36) << out.out;
    const QJsonArray content = result["content"].toArray();
    ASSERT_EQ(content.size(), 2);
    EXPECT_EQ(content[1].toObject()["type"], "image");
}

TEST_F(AgentClientTest, AgentsRecordClipsAndOpenEndedRecordings) {
    auto server = XServer::start({.windowManager = false});
    AppSession app(*server,
                   approvedClient + "recFPS = 15\n" + R"(agentPolicies = {"record":"allow"})" + "\n");
    ASSERT_TRUE(listening(app)) << app.log();
    const auto control = [](const char* action) {
        return QJsonObject{{"name", "control_recording"}, {"arguments", QJsonObject{{"action", action}}}};
    };
    const QJsonArray calls{
        QJsonObject{{"name", "record_screen"}, {"arguments", QJsonObject{{"duration_seconds", 3}}}},
        QJsonObject{{"name", "start_recording"}, {"arguments", QJsonObject{{"max_duration_seconds", 60}}}},
        QJsonObject{{"wait", 1}},
        control("pause"),
        control("status"),
        control("resume"),
        QJsonObject{{"wait", 1}},
        QJsonObject{{"name", "stop_recording"}, {"arguments", QJsonObject()}},
        control("status"),
    };
    const ProcessOutput out = app.run(node, clientArguments(calls));
    ASSERT_EQ(out.exitCode, 0) << out.err;
    const QJsonObject report = QJsonDocument::fromJson(QByteArray::fromStdString(out.out)).object();
    ASSERT_FALSE(report.contains("error")) << out.out << app.log();
    const QJsonArray results = report["calls"].toArray();
    ASSERT_EQ(results.size(), 7) << out.out;
    for (const QJsonValue result : results)
        ASSERT_FALSE(result.toObject()["isError"].toBool()) << out.out << app.log();

    // The clip: in the history, about as long as asked, with a frame to look at.
    const QJsonObject clip = structured(results[0].toObject());
    EXPECT_TRUE(app.captures().contains(clip["id"].toString())) << out.out;
    EXPECT_TRUE(clip["id"].toString().endsWith(".mov")) << out.out;
    EXPECT_NEAR(clip["duration"].toDouble(), 3.0, 0.6) << out.out;
    EXPECT_GT(clip["bytes"].toDouble(), 0);
    const QJsonArray content = results[0].toObject()["content"].toArray();
    ASSERT_EQ(content.size(), 2);
    EXPECT_EQ(content[1].toObject()["type"], "image");
    EXPECT_EQ(content[1].toObject()["mimeType"], "image/png");

    EXPECT_EQ(structured(results[1].toObject())["state"], "recording");
    EXPECT_EQ(structured(results[2].toObject())["state"], "paused");
    EXPECT_EQ(structured(results[3].toObject())["state"], "paused");
    EXPECT_EQ(structured(results[3].toObject())["started_by"], "you");
    EXPECT_EQ(structured(results[4].toObject())["state"], "recording");

    const QJsonObject stopped = structured(results[5].toObject());
    EXPECT_TRUE(app.captures().contains(stopped["id"].toString())) << out.out;
    EXPECT_NE(stopped["id"], clip["id"]);
    EXPECT_GT(stopped["duration"].toDouble(), 0.5) << out.out;
    EXPECT_EQ(results[5].toObject()["content"].toArray().at(1).toObject()["type"], "image");
    const QJsonObject after = structured(results[6].toObject());
    EXPECT_EQ(after["state"], "idle");
    EXPECT_EQ(after["last_recording"], stopped["id"]);
}

TEST_F(AgentClientTest, ARecordingIsEditedIntoANewCaptureAndInspectedFrameByFrame) {
    auto server = XServer::start({.windowManager = false});
    AppSession app(*server, approvedClient + "recFPS = 15\nrecSystemAudio = false\n" +
                                R"(agentPolicies = {"record":"allow"})" + "\n");
    ASSERT_TRUE(listening(app)) << app.log();
    openTestWindow(*server, {.pattern = "#2060c0", .size = QSize(300, 200), .position = QPoint(50, 50)});
    const QJsonArray calls{
        QJsonObject{{"name", "record_screen"},
                    {"arguments", QJsonObject{{"duration_seconds", 3}, {"return_image", false}}}},
        QJsonObject{{"name", "edit_video"},
                    {"arguments",
                     QJsonObject{{"capture_id", "$last_id"},
                                 {"trim_start", 0.5},
                                 {"trim_end", 2.5},
                                 {"zooms", QJsonArray{QJsonObject{{"time", 0.6}, {"x", 0.2}, {"y", 0.2}}}},
                                 {"background", "ocean"},
                                 {"resolution", "720p"}}}},
        QJsonObject{{"name", "video_info"},
                    {"arguments", QJsonObject{{"capture_id", "$last_id"},
                                              {"frames", QJsonArray{0.2, 1.2}},
                                              {"include_clicks", true}}}},
        QJsonObject{{"name", "edit_video"},
                    {"arguments", QJsonObject{{"capture_id", "$last_id"}, {"volume", 5}}}},
    };
    const ProcessOutput out = app.run(node, clientArguments(calls), {}, std::chrono::seconds(90));
    ASSERT_EQ(out.exitCode, 0) << out.err << out.out << app.log();
    const QJsonObject report = QJsonDocument::fromJson(QByteArray::fromStdString(out.out)).object();
    ASSERT_FALSE(report.contains("error")) << out.out << app.log();
    const QJsonArray results = report["calls"].toArray();
    ASSERT_EQ(results.size(), 4) << out.out;
    for (int i = 0; i < 3; ++i)
        ASSERT_FALSE(results[i].toObject()["isError"].toBool()) << out.out << app.log();

    const QJsonObject clip = structured(results[0].toObject());
    const QJsonObject edited = structured(results[1].toObject());
    EXPECT_TRUE(app.captures().contains(edited["id"].toString())) << out.out;
    EXPECT_TRUE(app.captures().contains(clip["id"].toString())) << "the original is kept";
    EXPECT_NE(edited["id"], clip["id"]);
    EXPECT_NEAR(edited["duration"].toDouble(), 2.0, 0.2) << out.out;
    EXPECT_EQ(edited["trim_start"], 0.5);
    EXPECT_EQ(edited["zoom_moves"], 1);
    EXPECT_EQ(edited["styled"], true);
    EXPECT_LE(edited["width"].toInt(), 1280);
    EXPECT_LE(edited["height"].toInt(), 720);
    EXPECT_EQ(results[1].toObject()["content"].toArray().last().toObject()["type"], "image");

    // What video_info says of the edited movie, with a still at each time asked for.
    const QJsonObject info = structured(results[2].toObject());
    EXPECT_EQ(info["id"], edited["id"]);
    EXPECT_EQ(info["format"], "video");
    EXPECT_NEAR(info["duration"].toDouble(), 2.0, 0.2) << out.out;
    EXPECT_EQ(info["width"], edited["width"]);
    EXPECT_EQ(info["codec"], "h264");
    EXPECT_EQ(info["frame_times"].toArray().size(), 2);
    const QJsonArray content = results[2].toObject()["content"].toArray();
    ASSERT_EQ(content.size(), 3) << out.out;
    EXPECT_EQ(content[1].toObject()["type"], "image");
    EXPECT_EQ(content[2].toObject()["type"], "image");

    // A value out of range is refused with what is allowed.
    EXPECT_TRUE(results[3].toObject()["isError"].toBool());
    EXPECT_TRUE(results[3].toObject()["content"].toArray().at(0).toObject()["text"].toString().contains(
        "`volume` is a number from 0 to 2."))
        << out.out;
}

TEST_F(AgentClientTest, ANewClientIsAskedOnceInTheRequestWindow) {
    auto server = XServer::start({.windowManager = true});
    AppSession app(*server, "showQuickAccess = false\n");
    ASSERT_TRUE(listening(app)) << app.log();
    const std::string home = app.home().path().toStdString();
    const QJsonArray calls{QJsonObject{{"name", "get_status"}, {"arguments", QJsonObject()}}};
    ChildProcess& client = server->startProcess(node, clientArguments(calls), {{"HOME", home}});
    const std::string title = "Pictavia · AI agent request";
    ASSERT_TRUE(app.waitForWindows(title, 1)) << app.log();
    app.screenshot("agent-request");
    // Allow is the default button.
    app.xdotool({"search", "--onlyvisible", "--name", "AI agent request", "windowactivate", "--sync"});
    app.xdotool({"key", "Return"});
    const ProcessOutput out = client.finish(std::chrono::seconds(20));
    const QJsonObject report = QJsonDocument::fromJson(QByteArray::fromStdString(out.out)).object();
    const QJsonObject status = report["calls"].toArray().at(0).toObject();
    EXPECT_FALSE(status["isError"].toBool()) << out.out;
    EXPECT_TRUE(structured(status).contains("displays")) << out.out;
    // Remembered: the approval is in the preferences for the next session.
    EXPECT_TRUE(waitUntil([&] {
        QFile conf(app.home().path() + "/config/pictavia/pictavia.conf");
        return conf.open(QIODevice::ReadOnly) && conf.readAll().contains("claude-code");
    })) << "the approval was not stored";
}

TEST_F(AgentClientTest, ArrangeWindowResizesAndMovesAnotherAppsWindow) {
    auto server = XServer::start({.windowManager = true});
    AppSession app(*server, approvedClient);
    ASSERT_TRUE(listening(app)) << app.log();
    const TestWindow window =
        openTestWindow(*server, {.size = QSize(320, 240), .position = QPoint(300, 300)});
    const QJsonArray calls{QJsonObject{
        {"name", "arrange_window"},
        {"arguments",
         QJsonObject{{"window_id", qint64(window.id)}, {"size", "500x350"}, {"x", 40}, {"y", 50}}}}};
    const ProcessOutput out = app.run(node, clientArguments(calls));
    const QJsonObject result = QJsonDocument::fromJson(QByteArray::fromStdString(out.out))
                                   .object()["calls"]
                                   .toArray()
                                   .at(0)
                                   .toObject();
    ASSERT_FALSE(result["isError"].toBool()) << out.out;
    EXPECT_TRUE(structured(result)["changed"].toBool()) << out.out;
    EXPECT_TRUE(waitUntil([&] { return clientRect(*server, window.id).size() == QSize(500, 350); }))
        << "client area " << clientRect(*server, window.id).width() << "x"
        << clientRect(*server, window.id).height();
}

TEST_F(AgentClientTest, TheUserPicksTheAreaAnAgentAskedFor) {
    auto server = XServer::start({.windowManager = true});
    AppSession app(*server, approvedClient);
    ASSERT_TRUE(listening(app)) << app.log();
    const TestWindow window = openTestWindow(
        *server,
        {.pattern = "#ffffff", .size = QSize(360, 120), .position = QPoint(100, 100), .text = "Saxophone"});
    const QRect area = clientRect(*server, window.id);
    const QJsonArray calls{
        QJsonObject{{"name", "take_screenshot"}, {"arguments", QJsonObject{{"target", "select_area"}}}},
        QJsonObject{{"name", "extract_text"}, {"arguments", QJsonObject{{"target", "select_area"}}}}};
    ChildProcess& client =
        server->startProcess(node, clientArguments(calls), {{"HOME", app.home().path().toStdString()}});
    // Each call puts the selection overlay up; the user drags over the window's inside.
    for (int pick = 0; pick < 2; ++pick) {
        ASSERT_TRUE(app.waitForWindows("Pictavia Selection", 1)) << "pick " << pick << "\n" << app.log();
        const QPoint from = area.topLeft() + QPoint(10, 10), to = area.bottomRight() - QPoint(10, 10);
        app.xdotool({"mousemove", std::to_string(from.x()), std::to_string(from.y()), "mousedown", "1"});
        app.xdotool({"mousemove", std::to_string(area.center().x()), std::to_string(area.center().y())});
        app.xdotool({"mousemove", std::to_string(to.x()), std::to_string(to.y()), "mouseup", "1"});
        ASSERT_TRUE(waitUntil([&] { return app.windowCount("Pictavia Selection") == 0; })) << app.log();
    }
    const ProcessOutput out = client.finish(std::chrono::seconds(30));
    const QJsonArray results =
        QJsonDocument::fromJson(QByteArray::fromStdString(out.out)).object()["calls"].toArray();
    ASSERT_EQ(results.size(), 2) << out.out.substr(0, 2000) << app.log();
    const QJsonObject shot = structured(results.at(0).toObject());
    const std::string said = QJsonDocument(shot).toJson().toStdString();
    // The drag's end points are inside the selection or just outside it.
    EXPECT_NEAR(shot["width"].toInt(), area.width() - 20, 1) << said;
    EXPECT_NEAR(shot["height"].toInt(), area.height() - 20, 1) << said;
    EXPECT_TRUE(QFileInfo::exists(shot["path"].toString())) << said;
    const QJsonObject read = structured(results.at(1).toObject());
    EXPECT_TRUE(read["text"].toString().contains("Saxophone")) << QJsonDocument(read).toJson().toStdString();
}

} // namespace
