// The MCP session's replies, read as an agent reads them: exact error lines, batches,
// ids of every type coming back exactly, versions, names, cancellation and approval.
#include "agents/MCPSession.h"
#include "Spin.h"
#include "agents/AgentConnection.h"
#include "agents/JsonMessage.h"
#include "agents/MCPInstructions.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using agenttest::spinFor;
using agenttest::spinUntil;

class Recorder : public AgentChannel {
public:
    void send(QByteArray message) override { sent.push_back(std::move(message)); }
    void close() override { closed = true; }
    qsizetype backlog() const override { return unsent; }
    void setReading(bool on) override { reading = on; }
    std::vector<QByteArray> sent;
    bool closed = false;
    qsizetype unsent = 0; // what the peer has not read yet, as the test says
    bool reading = true;
};

// Holds every call until the test answers it.
class HeldTools : public AgentToolProvider {
public:
    QJsonArray list() const override { return {QJsonObject{{"name", "take_screenshot"}}}; }
    void call(const ToolCallRequest& request, ToolCallDone done) override {
        calls.push_back({request, std::move(done)});
    }
    struct Call {
        ToolCallRequest request;
        ToolCallDone done;
    };
    std::vector<Call> calls;
};

QJsonObject object(const QByteArray& line) {
    return QJsonDocument::fromJson(line).object();
}

QByteArray request(const QByteArray& id, const QByteArray& method, const QByteArray& params = {}) {
    QByteArray text = "{\"jsonrpc\":\"2.0\",\"id\":" + id + ",\"method\":\"" + method + '"';
    if (!params.isEmpty()) text += ",\"params\":" + params;
    return text + '}';
}

class AgentSessionTest : public ::testing::Test {
protected:
    std::vector<QByteArray> receive(const QByteArray& line) {
        const size_t before = channel.sent.size();
        session.receive(line);
        return {channel.sent.begin() + static_cast<std::ptrdiff_t>(before), channel.sent.end()};
    }

    Recorder channel;
    std::shared_ptr<HeldTools> tools = std::make_shared<HeldTools>();
    PeerIdentity peer;
    MCPSession session{&channel, peer, tools};
};

using Lines = std::vector<QByteArray>;

TEST_F(AgentSessionTest, UnreadableAndInvalidMessagesGetTheirErrorLines) {
    const QByteArray parseError =
        R"({"jsonrpc":"2.0","id":null,"error":{"code":-32700,"message":"Parse error"}})";
    const QByteArray invalid =
        R"({"jsonrpc":"2.0","id":null,"error":{"code":-32600,"message":"Invalid request"}})";
    for (const QByteArray bad : {"{", "{\"id\":1,}", "{\"id\":01}", "{\"id\":1.}", "[1,]", "{'a':1}",
                                 "{\"a\":1} x", "{\"a\":\"\xff\"}", "{\"a\":\"\xed\xa0\x80\"}",
                                 "{\"a\":\"tab\there\"}", "nul", "{\"a\":-}", "{\"a\":1e}", "\"\\x\""})
        EXPECT_EQ(receive(bad), Lines{parseError}) << bad.constData();
    for (const QByteArray notRequest : {"42", "\"ping\"", "null", "true", " 1e400 "})
        EXPECT_EQ(receive(notRequest), Lines{invalid}) << notRequest.constData();
    // Deeply nested but finite input is refused as unreadable, not a crash.
    EXPECT_EQ(receive(QByteArray(100000, '[')), Lines{parseError});
    EXPECT_EQ(receive("{\"a\":" + QByteArray(600, '[') + QByteArray(600, ']') + "}"), Lines{parseError});
}

TEST_F(AgentSessionTest, BatchesAreAnsweredOneByOne) {
    const Lines replies = receive("[" + request("1", "ping") + ", 5, \"x\", " + request("2", "nope") +
                                  ", {\"jsonrpc\":\"2.0\",\"method\":\"ping\"}]");
    ASSERT_EQ(replies.size(), 2u);
    EXPECT_EQ(replies[0], R"({"jsonrpc":"2.0","id":1,"result":{}})");
    EXPECT_EQ(replies[1],
              R"({"jsonrpc":"2.0","id":2,"error":{"code":-32601,"message":"Method not found: nope"}})");
    EXPECT_TRUE(receive("[]").empty());
    EXPECT_TRUE(receive("[1, [2]]").empty());
}

QByteArray batchOf(int count, const QByteArray& method) {
    QByteArray batch = "[";
    for (int i = 0; i < count; ++i)
        batch += (i ? "," : "") + request(QByteArray::number(i), method);
    return batch + ']';
}

TEST_F(AgentSessionTest, ALongBatchIsAnsweredInSlicesAndInOrder) {
    const Lines first = receive(batchOf(1000, "tools/list"));
    // Part of it now, the rest once other work has had its turn; nothing more is read meanwhile.
    EXPECT_FALSE(first.empty());
    EXPECT_LT(first.size(), 1000u);
    EXPECT_FALSE(channel.reading);
    // A line that arrives meanwhile waits for the batch.
    EXPECT_TRUE(receive(request("\"after\"", "ping")).empty());

    ASSERT_TRUE(spinUntil([&] { return channel.sent.size() == 1001; }));
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(channel.sent[i], "{\"jsonrpc\":\"2.0\",\"id\":" + QByteArray::number(i) +
                                       R"(,"result":{"tools":[{"name":"take_screenshot"}]}})");
    EXPECT_EQ(channel.sent[1000], R"({"jsonrpc":"2.0","id":"after","result":{}})");
    EXPECT_TRUE(channel.reading);
    EXPECT_FALSE(session.hasWaiting());
}

TEST_F(AgentSessionTest, ABatchWaitsWhileThePeerHasNotTakenItsReplies) {
    channel.unsent = MCPSession::maxBacklog + 1;
    EXPECT_TRUE(receive(batchOf(100, "ping")).empty());
    spinFor(50ms);
    EXPECT_TRUE(channel.sent.empty());
    EXPECT_FALSE(channel.reading);
    // The peer has read: answering goes on to the end.
    channel.unsent = 0;
    session.channelDrained();
    ASSERT_TRUE(spinUntil([&] { return channel.sent.size() == 100; }));
    EXPECT_EQ(channel.sent.back(), R"({"jsonrpc":"2.0","id":99,"result":{}})");
    EXPECT_TRUE(channel.reading);
}

TEST_F(AgentSessionTest, AnIdleSessionIsClosedButNotWhileAToolRunsOrTheUserIsAsked) {
    session.setIdleLimits({20ms, 20ms});
    receive(request("1", "tools/call", R"({"name":"a"})"));
    MCPSession::Answer answer;
    session.awaitApproval([&](MCPSession::Answer a) { answer = std::move(a); }, [](bool) {});
    spinFor(200ms);
    EXPECT_FALSE(channel.closed);
    tools->calls[0].done(QJsonObject{});
    spinFor(200ms);
    EXPECT_FALSE(channel.closed); // the question is still open
    answer(true);
    EXPECT_TRUE(spinUntil([&] { return channel.closed; }));
}

TEST(AgentSessionIdle, BeforeInitializeTheShortLimitCountsAfterItTheLongOne) {
    Recorder silent;
    MCPSession quiet(&silent, PeerIdentity{}, nullptr);
    quiet.setIdleLimits({20ms, std::chrono::hours(1)});
    EXPECT_TRUE(spinUntil([&] { return silent.closed; }));

    Recorder channel;
    MCPSession client(&channel, PeerIdentity{}, nullptr);
    client.setIdleLimits({20ms, std::chrono::hours(1)});
    client.receive(request("1", "initialize", "{}"));
    spinFor(200ms);
    EXPECT_FALSE(channel.closed);
}

TEST_F(AgentSessionTest, IdsOfEveryKindComeBackExactly) {
    for (const QByteArray id :
         {"1", "-0", "0.1e-400", "1e400", "-1E+400", "123456789012345678901234567890", "1.50", "\"7\"",
          "\"\\u0041\\/b\\ud83d\\ude00\"", "\"\"", "\"caf\xc3\xa9\"", "true", "{\"a\":[1, 2]}", "[ ]"}) {
        const Lines replies = receive(request(id, "ping"));
        ASSERT_EQ(replies.size(), 1u) << id.constData();
        EXPECT_EQ(replies[0], "{\"jsonrpc\":\"2.0\",\"id\":" + id + ",\"result\":{}}");
    }
    // No id and a null id are both notifications.
    EXPECT_TRUE(receive(R"({"jsonrpc":"2.0","method":"ping"})").empty());
    EXPECT_TRUE(receive(request("null", "ping")).empty());
    EXPECT_TRUE(receive(request("null", "unknown/method")).empty());
    // A duplicated id: the last one counts, as for every other member.
    EXPECT_EQ(receive(R"({"id":1,"method":"ping","id":"two"})"),
              Lines{R"({"jsonrpc":"2.0","id":"two","result":{}})"});
}

TEST_F(AgentSessionTest, HousekeepingMethodsAndUnknownOnes) {
    EXPECT_EQ(receive(request("1", "resources/list")),
              Lines{R"({"jsonrpc":"2.0","id":1,"result":{"resources":[]}})"});
    EXPECT_EQ(receive(request("2", "resources/templates/list")),
              Lines{R"({"jsonrpc":"2.0","id":2,"result":{"resourceTemplates":[]}})"});
    EXPECT_EQ(receive(request("3", "prompts/list")),
              Lines{R"({"jsonrpc":"2.0","id":3,"result":{"prompts":[]}})"});
    EXPECT_EQ(receive(request("4", "logging/setLevel", R"({"level":"debug"})")),
              Lines{R"({"jsonrpc":"2.0","id":4,"result":{}})"});
    EXPECT_EQ(receive(request("5", "tools/list")),
              Lines{R"({"jsonrpc":"2.0","id":5,"result":{"tools":[{"name":"take_screenshot"}]}})"});
    EXPECT_TRUE(receive(R"({"jsonrpc":"2.0","method":"notifications/initialized"})").empty());
    EXPECT_TRUE(receive(R"({"jsonrpc":"2.0","method":"notifications/whatever"})").empty());
    EXPECT_EQ(receive(R"({"id":6})"),
              Lines{R"({"jsonrpc":"2.0","id":6,"error":{"code":-32601,"message":"Method not found: "}})"});
    EXPECT_EQ(receive(R"({"id":7,"method":3})"),
              Lines{R"({"jsonrpc":"2.0","id":7,"error":{"code":-32601,"message":"Method not found: "}})"});
    EXPECT_EQ(
        receive(request("8", "a/b\\\"c")),
        Lines{R"({"jsonrpc":"2.0","id":8,"error":{"code":-32601,"message":"Method not found: a/b\"c"}})"});
}

TEST_F(AgentSessionTest, InitializeNegotiatesTheVersionAndNamesTheClient) {
    int changed = 0;
    QObject::connect(&session, &MCPSession::changed, [&] { ++changed; });
    const auto version = [&](const QByteArray& requested) {
        const Lines replies =
            receive(request("1", "initialize", "{\"protocolVersion\":" + requested + ",\"clientInfo\":{}}"));
        return object(replies.at(0))["result"].toObject()["protocolVersion"].toString();
    };
    EXPECT_EQ(session.protocolVersion(), "2025-06-18");
    for (const char* known : {"2024-11-05", "2025-03-26", "2025-06-18", "2025-11-25"}) {
        EXPECT_EQ(version(QByteArray("\"") + known + '"'), known);
        EXPECT_EQ(session.protocolVersion(), known);
    }
    for (const QByteArray other : {"\"1999-01-01\"", "20250326", "null", "[\"2025-03-26\"]"})
        EXPECT_EQ(version(other), "2025-06-18") << other.constData();
    EXPECT_EQ(changed, 8);

    const Lines replies = receive(
        request("\"init\"", "initialize", R"({"clientInfo":{"name":"claude-code","version":"2.1.0"}})"));
    const QJsonObject result = object(replies.at(0))["result"].toObject();
    EXPECT_EQ(result["protocolVersion"], "2025-06-18");
    EXPECT_EQ(result["capabilities"].toObject(),
              (QJsonObject{{"tools", QJsonObject{{"listChanged", false}}}}));
    EXPECT_EQ(result["serverInfo"].toObject(),
              (QJsonObject{{"name", "pictavia"}, {"title", "Pictavia"}, {"version", "1.0.0"}}));
    // Written from the list of tools this session offers.
    EXPECT_EQ(result["instructions"].toString(),
              MCPInstructions::forTools(QStringList{QStringLiteral("take_screenshot")}));
    EXPECT_EQ(session.clientName(), "claude-code");
    EXPECT_EQ(session.clientVersion(), "2.1.0");
    EXPECT_EQ(session.displayName(), "Claude Code");
    EXPECT_EQ(session.approvalKey(), "claude-code");

    // The title stands in for a missing name; a name that is not text is no name.
    receive(request("2", "initialize", R"({"clientInfo":{"name":5,"title":"Some Agent","version":3}})"));
    EXPECT_EQ(session.clientName(), "Some Agent");
    EXPECT_EQ(session.clientVersion(), std::nullopt);
    EXPECT_EQ(session.approvalKey(), "some agent");
    receive(request("3", "initialize", "{}"));
    EXPECT_EQ(session.clientName(), std::nullopt);
    EXPECT_EQ(session.approvalKey(), "unknown");
}

TEST(AgentSessionNames, FriendlyAndDisplayNames) {
    EXPECT_EQ(MCPSession::friendlyName(QString("Claude Desktop")), "Claude");
    EXPECT_EQ(MCPSession::friendlyName(QString("codex_cli_rs")), "Codex");
    EXPECT_EQ(MCPSession::friendlyName(QString("Visual Studio Code - Insiders")), "VS Code");
    EXPECT_EQ(MCPSession::friendlyName(QString("my-agent")), "my-agent");
    EXPECT_EQ(MCPSession::friendlyName(QString("")), std::nullopt);
    EXPECT_EQ(MCPSession::friendlyName(std::nullopt), std::nullopt);

    const auto shown = [](const char* client, std::optional<QString> host,
                          std::optional<QString> launcher = {}) {
        Recorder channel;
        PeerIdentity peer;
        peer.hostAppName = std::move(host);
        peer.launcherName = std::move(launcher);
        MCPSession session(&channel, peer, nullptr);
        if (client)
            session.receive(
                request("1", "initialize", QByteArray("{\"clientInfo\":{\"name\":\"") + client + "\"}}"));
        return session.displayName();
    };
    EXPECT_EQ(shown("claude-code", QString("Cursor")), "Claude Code (Cursor)");
    EXPECT_EQ(shown("cursor-vscode", QString("Cursor")), "Cursor");
    EXPECT_EQ(shown("claude-ai", QString("Claude")), "Claude");
    EXPECT_EQ(shown("claude-code", QString("CLAUDE")), "Claude Code"); // one contains the other
    EXPECT_EQ(shown(nullptr, QString("Cursor"), QString("node")), "Cursor");
    EXPECT_EQ(shown("vscode", std::nullopt, QString("node")), "VS Code");
    EXPECT_EQ(shown(nullptr, std::nullopt, QString("node")), "node");
    EXPECT_EQ(shown(nullptr, std::nullopt), "AI agent");
}

TEST_F(AgentSessionTest, ToolCallsRunConcurrentlyAndAreCancelledByTheirExactId) {
    int changed = 0;
    QObject::connect(&session, &MCPSession::changed, [&] { ++changed; });
    EXPECT_TRUE(receive(request("3", "tools/call", R"({"name":"a","arguments":{"x":1}})")).empty());
    EXPECT_TRUE(receive(request("\"3\"", "tools/call", R"({"name":"b","arguments":[1]})")).empty());
    EXPECT_TRUE(receive(request("123456789012345678901234567890", "tools/call",
                                R"({"name":"c","_meta":{"progressToken":98765432109876543210987}})"))
                    .empty());
    EXPECT_TRUE(receive(R"({"method":"tools/call","params":{"name":"no id"}})").empty());
    ASSERT_EQ(tools->calls.size(), 3u);
    EXPECT_EQ(session.callCount(), 3);
    EXPECT_TRUE(session.lastActivity().has_value());
    EXPECT_EQ(changed, 3);
    EXPECT_EQ(session.runningCount(), 3);
    EXPECT_EQ(tools->calls[0].request.name, "a");
    EXPECT_EQ(tools->calls[0].request.arguments, (QJsonObject{{"x", 1}}));
    EXPECT_EQ(tools->calls[1].request.arguments, QJsonObject()); // not an object: empty
    EXPECT_EQ(tools->calls[0].request.session, &session);

    // The number 3 (however written) is not the string "3".
    receive(R"({"jsonrpc":"2.0","method":"notifications/cancelled","params":{"requestId":3.0}})");
    EXPECT_TRUE(tools->calls[0].request.cancellation->isCancelled());
    EXPECT_FALSE(tools->calls[1].request.cancellation->isCancelled());
    receive(R"({"method":"notifications/cancelled","params":{"requestId":123456789012345678901234567891}})");
    EXPECT_FALSE(tools->calls[2].request.cancellation->isCancelled());
    receive(R"({"method":"notifications/cancelled","params":{"requestId":123456789012345678901234567890}})");
    EXPECT_TRUE(tools->calls[2].request.cancellation->isCancelled());
    receive(R"({"method":"notifications/cancelled","params":{"requestId":"nobody"}})");
    EXPECT_EQ(session.runningCount(), 1);

    // Progress goes out with the caller's token exactly; results with their id.
    session.notifyProgress(*tools->calls[2].request.progressToken, 1, 4, "Recording");
    EXPECT_EQ(channel.sent.back(),
              R"({"jsonrpc":"2.0","method":"notifications/progress","params":{"progressToken":)"
              R"(98765432109876543210987,"message":"Recording","progress":1,"total":4}})");
    tools->calls[1].done(AgentToolProvider::errorResult("Refused"));
    EXPECT_EQ(
        channel.sent.back(),
        R"({"jsonrpc":"2.0","id":"3","result":{"content":[{"text":"Refused","type":"text"}],"isError":true}})");
    tools->calls[0].done(QJsonObject{{"content", QJsonArray()}});
    EXPECT_EQ(channel.sent.back(), R"({"jsonrpc":"2.0","id":3,"result":{"content":[]}})");
    EXPECT_EQ(session.runningCount(), 0);
}

TEST_F(AgentSessionTest, ARepeatedIdDoesNotLoseTheNewerCall) {
    receive(request("9", "tools/call", R"({"name":"first"})"));
    receive(request("9", "tools/call", R"({"name":"second"})"));
    tools->calls[0].done(QJsonObject{});
    EXPECT_EQ(session.runningCount(), 1);
    receive(R"({"method":"notifications/cancelled","params":{"requestId":9}})");
    EXPECT_TRUE(tools->calls[1].request.cancellation->isCancelled());
}

TEST_F(AgentSessionTest, ClosingCancelsEveryRunningCall) {
    receive(request("1", "tools/call", R"({"name":"a"})"));
    receive(request("2", "tools/call", R"({"name":"b"})"));
    bool told = false;
    tools->calls[1].request.cancellation->onCancel([&] { told = true; });
    session.cancelAll();
    EXPECT_TRUE(tools->calls[0].request.cancellation->isCancelled());
    EXPECT_TRUE(told);
    EXPECT_EQ(session.runningCount(), 0);
}

TEST(AgentSessionTools, WithoutToolsEveryCallIsAnUnknownTool) {
    Recorder channel;
    MCPSession session(&channel, PeerIdentity{}, nullptr);
    session.receive(request("1", "tools/list"));
    session.receive(request("2", "tools/call", R"({"name":"take_screenshot"})"));
    ASSERT_EQ(channel.sent.size(), 2u);
    EXPECT_EQ(channel.sent[0], R"({"jsonrpc":"2.0","id":1,"result":{"tools":[]}})");
    EXPECT_EQ(channel.sent[1],
              "{\"jsonrpc\":\"2.0\",\"id\":2,\"result\":{\"content\":[{\"text\":\"Unknown tool "
              "“take_screenshot”. Call tools/list for the available tools.\",\"type\":\"text\"}],"
              "\"isError\":true}}");
    EXPECT_EQ(session.runningCount(), 0);
}

TEST_F(AgentSessionTest, ConcurrentApprovalsShareOneQuestion) {
    int asked = 0;
    MCPSession::Answer answer;
    const auto question = [&](MCPSession::Answer a) {
        ++asked;
        answer = std::move(a);
    };
    std::vector<bool> answers;
    session.awaitApproval(question, [&](bool ok) { answers.push_back(ok); });
    session.awaitApproval(question, [&](bool ok) { answers.push_back(ok); });
    EXPECT_EQ(asked, 1);
    EXPECT_TRUE(answers.empty());
    answer(true);
    answer(false); // a second answer changes nothing
    EXPECT_EQ(answers, (std::vector<bool>{true, true}));
    // Once answered, the next call asks again.
    session.awaitApproval(question, [&](bool ok) { answers.push_back(ok); });
    EXPECT_EQ(asked, 2);
    answer(false);
    EXPECT_EQ(answers, (std::vector<bool>{true, true, false}));
    // A question answered at once works too.
    session.awaitApproval([](MCPSession::Answer a) { a(true); }, [&](bool ok) { answers.push_back(ok); });
    EXPECT_EQ(answers.back(), true);
}

TEST(AgentJsonTest, RequestKeys) {
    using JsonMessage::requestKey;
    EXPECT_EQ(requestKey("7"), "n:7");
    EXPECT_EQ(requestKey("\"7\""), "s:7");
    EXPECT_EQ(requestKey("7.0"), requestKey("7"));
    EXPECT_EQ(requestKey("7e0"), requestKey("7"));
    EXPECT_EQ(requestKey("-0"), requestKey("0"));
    EXPECT_EQ(requestKey("0.5"), requestKey("5e-1"));
    EXPECT_NE(requestKey("123456789012345678901234567890"), requestKey("123456789012345678901234567891"));
    EXPECT_EQ(requestKey("\"\\u0041\""), "s:A");
    EXPECT_EQ(requestKey("1e400"), requestKey("1E400"));
}

TEST(AgentJsonTest, ValuesAndRawMembers) {
    const auto parsed = JsonMessage::parse(
        R"( {"id" : 1e400 ,"params":{"requestId":"\u00e9","_meta":{"progressToken":[1, 2]},"n":-12.5e1},)"
        R"("s":"a\"\\\/\b\f\n\r\t\ud83d\ude00 é","big":123456789012345678901234567890} )");
    ASSERT_TRUE(parsed);
    ASSERT_TRUE(parsed->object);
    const JsonMessage::Message& m = *parsed->object;
    EXPECT_EQ(m.raw("id"), "1e400");
    EXPECT_EQ(m.raw("params.requestId"), "\"\\u00e9\"");
    EXPECT_EQ(m.raw("params._meta.progressToken"), "[1, 2]");
    EXPECT_EQ(m.raw("missing"), std::nullopt);
    EXPECT_EQ(m.object["s"].toString(), QString::fromUtf8("a\"\\/\b\f\n\r\t\xF0\x9F\x98\x80 é"));
    EXPECT_EQ(m.object["params"].toObject()["n"].toDouble(), -125.0);
    EXPECT_EQ(m.object["params"].toObject()["requestId"].toString(), QString::fromUtf8("é"));
    EXPECT_DOUBLE_EQ(m.object["big"].toDouble(), 1.2345678901234568e29);
    EXPECT_TRUE(std::isinf(m.object["id"].toDouble()));
}

} // namespace
