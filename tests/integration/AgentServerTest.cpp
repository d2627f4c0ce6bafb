// The agent server on a real socket, with the real pictavia-mcp: who gets a session,
// who gets one error line, who gets nothing, and what the bridge does without Pictavia.
#include "agents/AgentServer.h"
#include "XServer.h"
#include "agents/AgentSocket.h"
#include "agents/MCPSession.h"
#include "platform/posix/UnixSocket.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTimer>
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

template <typename Condition> bool spinUntil(Condition condition, std::chrono::milliseconds timeout = 20s) {
    const auto deadline = Clock::now() + timeout;
    while (!condition()) {
        if (Clock::now() >= deadline) return false;
        QEventLoop loop;
        QTimer::singleShot(2, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}

// Only what an MCP client passes on, and a home of the test's own.
QProcessEnvironment clientEnvironment(const QString& home) {
    QProcessEnvironment environment;
    environment.insert("HOME", home);
    environment.insert("PATH", "/usr/bin:/bin");
    environment.insert("USER", "tester");
    return environment;
}

class AgentServerTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(home.isValid());
        path = AgentSocket::path(home.path(), ::getuid());
        server = makeServer();
        server->start();
        ASSERT_TRUE(server->listening()) << server->lastError().value_or("").toStdString();
        ASSERT_EQ(server->socketPath(), path);
        ASSERT_EQ(QFileInfo(path).permissions() & (QFile::ReadOther | QFile::ReadGroup | QFile::WriteOther),
                  0);
    }

    std::unique_ptr<AgentServer> makeServer() {
        AgentServer::Options options;
        options.socketPath = path;
        options.trust = CodeIdentity::Policy{PICTAVIA_MCP_BIN, false};
        options.hosts = PeerIdentity::Sources{"/proc", {}};
        return std::make_unique<AgentServer>(options);
    }

    // Everything a socket receives until its end, with the server's loop running.
    QByteArray readToEnd(int fd, std::chrono::milliseconds timeout = 10s) {
        QByteArray received;
        bool ended = false;
        spinUntil(
            [&] {
                char chunk[4096];
                const ssize_t n = ::recv(fd, chunk, sizeof chunk, MSG_DONTWAIT);
                if (n > 0) received.append(chunk, n);
                ended = n == 0 || (n < 0 && errno != EAGAIN);
                return ended;
            },
            timeout);
        EXPECT_TRUE(ended);
        return received;
    }

    QTemporaryDir home;
    QString path;
    std::unique_ptr<AgentServer> server;
};

TEST_F(AgentServerTest, AConnectionThatIsNotTheBridgeGetsOneErrorLineAndIsClosed) {
    const int fd = posix::connectTo(path.toStdString());
    ASSERT_GE(fd, 0);
    const auto start = Clock::now();
    const QByteArray ping = "{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"ping\"}\n";
    ASSERT_EQ(::send(fd, ping.constData(), ping.size(), MSG_NOSIGNAL), ping.size());
    const QByteArray received = readToEnd(fd);
    EXPECT_GE(Clock::now() - start, 250ms);
    ::close(fd);
    EXPECT_EQ(received, R"({"jsonrpc":"2.0","id":null,"error":{"code":-32001,"message":)"
                        R"("Only Pictavia's own pictavia-mcp helper may connect."}})"
                        "\n");
    EXPECT_TRUE(server->sessions().isEmpty());
}

TEST_F(AgentServerTest, APeerOfAnotherUserIsClosedWithoutAWord) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to connect as another user";
    const QString setpriv = QStandardPaths::findExecutable("setpriv");
    // The system's own: one under root's home would be out of nobody's reach.
    const QString python = QStandardPaths::findExecutable("python3", {"/usr/bin", "/bin"});
    if (setpriv.isEmpty() || python.isEmpty()) GTEST_SKIP() << "needs setpriv and python3";
    // Let nobody reach the socket, which only the uid check keeps out now.
    for (QString dir = QFileInfo(path).absolutePath(); dir.startsWith(home.path());
         dir = QFileInfo(dir).absolutePath())
        ::chmod(QFile::encodeName(dir).constData(), 0755);
    ::chmod(QFile::encodeName(path).constData(), 0666);

    QProcess nobody;
    nobody.start(setpriv, {"--reuid=65534", "--regid=65534", "--clear-groups", python, "-c",
                           "import socket, sys\n"
                           "s = socket.socket(socket.AF_UNIX)\n"
                           "s.connect(sys.argv[1])\n"
                           "try: s.sendall(b'{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"ping\"}\\n')\n"
                           "except OSError: pass\n" // already closed
                           "s.settimeout(10)\n"
                           "data = b''\n"
                           "while True:\n"
                           "    try: chunk = s.recv(65536)\n"
                           "    except OSError: break\n" // closed with our ping unread
                           "    if not chunk: break\n"
                           "    data += chunk\n"
                           "print(repr(data), 'end')\n",
                           path});
    ASSERT_TRUE(spinUntil([&] { return nobody.state() == QProcess::NotRunning; }));
    EXPECT_EQ(nobody.exitCode(), 0) << nobody.readAllStandardError().toStdString();
    EXPECT_EQ(nobody.readAllStandardOutput(), "b'' end\n");
    EXPECT_TRUE(server->sessions().isEmpty());
}

TEST_F(AgentServerTest, TheBridgeRelaysRequestsAndEndsWithItsInput) {
    QProcess bridge;
    bridge.setProcessEnvironment(clientEnvironment(home.path()));
    bridge.start(PICTAVIA_MCP_BIN, QStringList());
    ASSERT_TRUE(bridge.waitForStarted());
    bridge.write(R"({"jsonrpc":"2.0","id":0,"method":"initialize","params":{"protocolVersion":"2025-03-26",)"
                 R"("clientInfo":{"name":"claude-code","version":"1.0"}}})"
                 "\n"
                 R"({"jsonrpc":"2.0","method":"notifications/initialized"})"
                 "\n"
                 R"({"jsonrpc":"2.0","id":123456789012345678901234567890,"method":"ping"})"
                 "\n");
    QList<QByteArray> lines;
    ASSERT_TRUE(spinUntil([&] {
        while (bridge.canReadLine())
            lines << bridge.readLine();
        return lines.size() >= 2;
    })) << bridge.readAllStandardError().toStdString();
    const QJsonObject initialized = QJsonDocument::fromJson(lines[0]).object();
    EXPECT_EQ(initialized["id"].toInt(-1), 0);
    EXPECT_EQ(initialized["result"].toObject()["protocolVersion"], "2025-03-26");
    EXPECT_EQ(lines[1], "{\"jsonrpc\":\"2.0\",\"id\":123456789012345678901234567890,\"result\":{}}\n");

    ASSERT_EQ(server->sessions().size(), 1);
    const MCPSession* session = server->sessions().first();
    EXPECT_EQ(session->displayName(), "Claude Code");
    EXPECT_EQ(session->peer().helperPID, bridge.processId());
    EXPECT_EQ(session->peer().launcherName, QFileInfo(QCoreApplication::applicationFilePath()).fileName());

    // Input ends: the bridge still delivers the last reply, then leaves; the session goes.
    bridge.write(R"({"jsonrpc":"2.0","id":"last","method":"ping"})"
                 "\n");
    bridge.closeWriteChannel();
    ASSERT_TRUE(spinUntil([&] { return bridge.state() == QProcess::NotRunning; }));
    EXPECT_EQ(bridge.exitCode(), 0);
    EXPECT_EQ(bridge.readAllStandardOutput(), "{\"jsonrpc\":\"2.0\",\"id\":\"last\",\"result\":{}}\n");
    ASSERT_TRUE(spinUntil([&] { return server->sessions().isEmpty(); }));
}

TEST_F(AgentServerTest, StoppingClosesSessionsAndRemovesTheSocket) {
    QProcess bridge;
    bridge.setProcessEnvironment(clientEnvironment(home.path()));
    bridge.start(PICTAVIA_MCP_BIN, QStringList());
    ASSERT_TRUE(spinUntil([&] { return server->sessions().size() == 1; }));
    server->stop();
    EXPECT_FALSE(server->listening());
    EXPECT_TRUE(server->sessions().isEmpty());
    EXPECT_FALSE(QFileInfo::exists(path));
    ASSERT_TRUE(spinUntil([&] { return bridge.state() == QProcess::NotRunning; }));
    EXPECT_EQ(bridge.exitCode(), 1);
    EXPECT_EQ(bridge.readAllStandardError(), "pictavia-mcp: Pictavia closed the connection.\n");
}

TEST_F(AgentServerTest, ASecondCopyStepsAsideAndAStaleSocketIsReplaced) {
    auto second = makeServer();
    second->start();
    EXPECT_FALSE(second->listening());
    EXPECT_EQ(second->lastError(), "Another copy of Pictavia is already serving AI agents.");
    EXPECT_TRUE(posix::isServed(path.toStdString())); // the first one's socket is untouched
    second.reset();
    EXPECT_TRUE(posix::isServed(path.toStdString()));

    // A copy that was killed leaves its socket file behind.
    server.reset();
    const auto listened = posix::listenAt(path.toStdString(), 1, 0600);
    ASSERT_TRUE(std::holds_alternative<int>(listened));
    ::close(std::get<int>(listened));
    ASSERT_TRUE(QFileInfo::exists(path));
    server = makeServer();
    server->start();
    EXPECT_TRUE(server->listening());
    EXPECT_EQ(server->lastError(), std::nullopt);

    AgentServer::Options options;
    options.socketPath = "/proc/self/no-such-folder/agent.sock";
    AgentServer nowhere(options);
    nowhere.start();
    EXPECT_FALSE(nowhere.listening());
    EXPECT_EQ(nowhere.lastError(), "Could not open the agent socket (No such file or directory).");
}

// Holds every call until the test answers it.
class HeldTools : public AgentToolProvider {
public:
    QJsonArray list() const override { return {}; }
    void call(const ToolCallRequest&, ToolCallDone done) override { held.push_back(std::move(done)); }
    std::vector<ToolCallDone> held;
};

// A server that trusts every peer of this user, so plain sockets can be its clients.
class AgentServerLimitsTest : public ::testing::Test {
protected:
    void start(MCPSession::IdleLimits idle = {}) {
        ASSERT_TRUE(home.isValid());
        path = AgentSocket::path(home.path(), ::getuid());
        AgentServer::Options options;
        options.socketPath = path;
        options.trust = CodeIdentity::Policy{{}, true};
        options.hosts = PeerIdentity::Sources{"/proc", {}};
        options.tools = tools;
        options.idleLimits = idle;
        server = std::make_unique<AgentServer>(options);
        server->start();
        ASSERT_TRUE(server->listening());
    }

    int connect() {
        const int fd = posix::connectTo(path.toStdString());
        EXPECT_GE(fd, 0);
        return fd;
    }

    // One line from `fd`, with the server's loop running; empty when the socket ended.
    QByteArray readLine(int fd) {
        QByteArray line;
        spinUntil([&] {
            char c = 0;
            while (true) {
                const ssize_t n = ::recv(fd, &c, 1, MSG_DONTWAIT);
                if (n <= 0) return n == 0 || errno != EAGAIN;
                if (c == '\n') return true;
                line += c;
            }
        });
        return line;
    }

    bool ended(int fd) {
        char c = 0;
        return ::recv(fd, &c, 1, MSG_DONTWAIT) == 0;
    }

    static void write(int fd, const QByteArray& line) {
        ASSERT_EQ(::send(fd, line.constData(), line.size(), MSG_NOSIGNAL), line.size());
    }

    QTemporaryDir home;
    QString path;
    std::shared_ptr<HeldTools> tools = std::make_shared<HeldTools>();
    std::unique_ptr<AgentServer> server;
};

TEST_F(AgentServerLimitsTest, PastTheCapANewConnectionIsToldWhyAndClosed) {
    start();
    const QByteArray ping = "{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"ping\"}\n";
    std::vector<int> open;
    for (int i = 0; i < 32; ++i) {
        open.push_back(connect());
        write(open.back(), ping);
        ASSERT_EQ(readLine(open.back()), R"({"jsonrpc":"2.0","id":1,"result":{}})") << "connection " << i;
    }
    EXPECT_EQ(server->sessions().size(), 32);

    const int refused = connect();
    EXPECT_EQ(readLine(refused),
              R"({"jsonrpc":"2.0","id":null,"error":{"code":-32002,"message":)"
              R"("Pictavia already serves 32 AI agent connections. Close one of them, then try again."}})");
    EXPECT_TRUE(spinUntil([&] { return ended(refused); }));
    ::close(refused);

    // Once one goes, a new one is served.
    ::close(open.back());
    open.pop_back();
    ASSERT_TRUE(spinUntil([&] { return server->sessions().size() == 31; }));
    open.push_back(connect());
    write(open.back(), ping);
    EXPECT_EQ(readLine(open.back()), R"({"jsonrpc":"2.0","id":1,"result":{}})");
    for (const int fd : open)
        ::close(fd);
}

TEST_F(AgentServerLimitsTest, AnIdleConnectionIsClosedOneWaitingOnAToolIsNot) {
    start({200ms, 200ms});
    const int idle = connect();
    const int waiting = connect();
    write(waiting, R"({"jsonrpc":"2.0","id":7,"method":"tools/call","params":{"name":"slow"}})"
                   "\n");
    EXPECT_TRUE(spinUntil([&] { return ended(idle); }));
    ASSERT_TRUE(spinUntil([&] { return tools->held.size() == 1; }));
    spinUntil([] { return false; }, 600ms); // three idle limits
    EXPECT_FALSE(ended(waiting));
    // The tool answers; then that connection too is idle.
    tools->held[0](QJsonObject{{"content", QJsonArray()}});
    EXPECT_EQ(readLine(waiting), R"({"jsonrpc":"2.0","id":7,"result":{"content":[]}})");
    EXPECT_TRUE(spinUntil([&] { return ended(waiting); }));
    ::close(idle);
    ::close(waiting);
}

TEST(AgentBridgeAlone, WithoutPictaviaItAnswersEveryRequestWithAnError) {
    // A bridge with no pictavia beside it and nothing listening.
    QTemporaryDir folder;
    QTemporaryDir emptyHome;
    const QString copy = folder.path() + "/pictavia-mcp";
    ASSERT_TRUE(QFile::copy(PICTAVIA_MCP_BIN, copy));
    QProcess bridge;
    bridge.setProcessEnvironment(clientEnvironment(emptyHome.path()));
    bridge.start(copy, QStringList());
    bridge.write("{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"initialize\"}\n"
                 "{\"jsonrpc\":\"2.0\",\"method\":\"notifications/initialized\"}\n"
                 "   \n"
                 "[{\"id\":2,\"method\":\"ping\"},{\"id\":\"3\",\"method\":\"ping\"}]\n"
                 "not json\n");
    bridge.closeWriteChannel();
    ASSERT_TRUE(bridge.waitForFinished(10000));
    EXPECT_EQ(bridge.exitCode(), 1);
    const QList<QByteArray> lines = bridge.readAllStandardOutput().split('\n');
    ASSERT_EQ(lines.size(), 5) << lines.join('|').toStdString();
    const char* ids[] = {"1", "2", "\"3\"", "null"};
    for (int i = 0; i < 4; ++i) {
        EXPECT_TRUE(lines[i].startsWith(QByteArray("{\"jsonrpc\":\"2.0\",\"id\":") + ids[i] +
                                        ",\"error\":{\"code\":-32000,\"message\":\"Pictavia is not running"))
            << lines[i].toStdString();
        EXPECT_FALSE(QJsonDocument::fromJson(lines[i]).isNull());
    }
    const QByteArray err = bridge.readAllStandardError();
    EXPECT_TRUE(err.startsWith("pictavia-mcp: Pictavia is not running")) << err.toStdString();
    EXPECT_EQ(err.count('\n'), 1);
}

TEST(AgentBridgeLaunch, WithoutPictaviaItStartsOneFromItsFolderAndRelays) {
    // The Pictavia the bridge starts leaves the bridge's family; as subreaper this test
    // becomes its parent and can wait for it.
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    auto display = testsupport::XServer::start({.windowManager = false});
    QTemporaryDir home;
    const std::string dir = home.path().toStdString();
    QDir().mkpath(home.path() + "/config/pictavia");
    QDir().mkpath(home.path() + "/runtime");
    ::chmod((dir + "/runtime").c_str(), 0700);
    QFile prefs(home.path() + "/config/pictavia/pictavia.conf");
    ASSERT_TRUE(prefs.open(QIODevice::WriteOnly));
    prefs.write("captureSound = false\n");
    prefs.close();

    const testsupport::ProcessOutput out =
        display->run(PICTAVIA_MCP_BIN, {},
                     {.environment = {{"HOME", dir},
                                      {"XDG_CONFIG_HOME", dir + "/config"},
                                      {"XDG_DATA_HOME", dir + "/data"},
                                      {"XDG_RUNTIME_DIR", dir + "/runtime"}},
                      .input = "{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"initialize\",\"params\":{}}\n"
                               "{\"jsonrpc\":\"2.0\",\"id\":2,\"method\":\"ping\"}\n",
                      .timeout = 60s});

    // The Pictavia it started keeps running; the socket's peer is it.
    const std::string socket = AgentSocket::path(home.path(), ::getuid()).toStdString();
    const int fd = posix::connectTo(socket);
    const auto resident = fd >= 0 ? posix::peerCredentials(fd) : std::nullopt;
    if (fd >= 0) ::close(fd);
    if (resident) {
        ::kill(resident->pid, SIGTERM);
        int status = 0;
        spinUntil([&] { return ::waitpid(resident->pid, &status, WNOHANG) != 0; }, 10s);
        EXPECT_FALSE(QFileInfo::exists(QString::fromStdString(socket))); // removed on the way out
        ::kill(resident->pid, SIGKILL);
        ::waitpid(resident->pid, &status, 0);
    }
    ::prctl(PR_SET_CHILD_SUBREAPER, 0);
    EXPECT_EQ(out.exitCode, 0) << out.err;
    ASSERT_TRUE(resident) << "no Pictavia serves " << socket;
    const QList<QByteArray> lines = QByteArray::fromStdString(out.out).split('\n');
    ASSERT_EQ(lines.size(), 3) << out.out;
    EXPECT_EQ(
        QJsonDocument::fromJson(lines[0]).object()["result"].toObject()["serverInfo"].toObject()["name"],
        "pictavia");
    EXPECT_EQ(lines[1], "{\"jsonrpc\":\"2.0\",\"id\":2,\"result\":{}}");
}

} // namespace
