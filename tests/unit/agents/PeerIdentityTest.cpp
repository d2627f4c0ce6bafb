// Who is on the other end: the socket path both ends agree on, the trust decision by
// executable, and the host application found by walking up the process tree.
#include "agents/PeerIdentity.h"
#include "agents/AgentSocket.h"
#include "agents/CodeIdentity.h"
#include "platform/posix/ProcessTable.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace {

TEST(AgentSocketPathTest, NinetyNineBytesAreUsedAsIsAndOneMoreMovesToTmp) {
    const QString tail = "/.local/share/Pictavia/agent.sock";
    const QString home99 = "/home/" + QString(99 - 6 - tail.size(), u'h');
    EXPECT_EQ(AgentSocket::path(home99, 1000).toUtf8().size(), 99);
    EXPECT_EQ(AgentSocket::path(home99, 1000), home99 + tail);
    EXPECT_EQ(AgentSocket::path(home99 + "h", 1000), "/tmp/pictavia-1000/pictavia-agent.sock");
    // Bytes count, not characters: "é" is two.
    const QString accented = "/home/" + QString(99 - 6 - tail.size() - 2, u'h') + QString::fromUtf8("é");
    EXPECT_EQ(AgentSocket::path(accented, 7), accented + tail);
    EXPECT_EQ(AgentSocket::path(accented + "h", 7), "/tmp/pictavia-7/pictavia-agent.sock");
    // A trailing slash or a root home changes nothing.
    EXPECT_EQ(AgentSocket::path("/home/ann/", 1000), "/home/ann/.local/share/Pictavia/agent.sock");
    EXPECT_EQ(AgentSocket::path("/", 0), "/.local/share/Pictavia/agent.sock");
}

// A process table of our own: ROOT/PID/stat and ROOT/PID/exe.
class FakeProcesses {
public:
    void add(int pid, int parent, const QString& executable, const QString& command = "x") {
        const QString dir = root.path() + '/' + QString::number(pid);
        QDir().mkpath(dir);
        QFile stat(dir + "/stat");
        ASSERT_TRUE(stat.open(QIODevice::WriteOnly));
        stat.write(QStringLiteral("%1 (%2) S %3 %1 %1 0 -1 4194560 100 0 0 0\n")
                       .arg(pid)
                       .arg(command)
                       .arg(parent)
                       .toUtf8());
        ASSERT_TRUE(QFile::link(executable, dir + "/exe"));
    }
    QTemporaryDir root;
};

class AgentPeerTest : public ::testing::Test {
protected:
    void entry(const QString& relative, const QByteArray& text, int folder = 0) {
        const QString path = apps[folder].path() + '/' + relative;
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
    }
    PeerIdentity resolve(int pid) {
        return PeerIdentity::resolve(pid, {procs.root.path(), {apps[0].path(), apps[1].path()}});
    }

    FakeProcesses procs;
    QTemporaryDir apps[2];
};

TEST_F(AgentPeerTest, TheFirstAncestorWithADesktopEntryIsTheHost) {
    entry("cursor.desktop", "[Desktop Entry]\nType=Application\nName=Cursor\nName[de]=Kursor\n"
                            "Exec=/opt/Cursor/cursor --no-sandbox %U\n[Desktop Action new]\nName=Other\n");
    entry("bash.desktop", "[Desktop Entry]\nType=Application\nName=Hidden Shell\nExec=bash\nHidden=true\n");
    entry("link.desktop", "[Desktop Entry]\nType=Link\nName=A link\nExec=node\nURL=x\n");
    procs.add(500, 400, "/usr/lib/pictavia/pictavia-mcp");
    procs.add(400, 300, "/usr/bin/node", "node (x)");
    procs.add(300, 200, "/usr/bin/bash");
    procs.add(200, 1, "/opt/Cursor/cursor");
    const PeerIdentity peer = resolve(500);
    EXPECT_EQ(peer.helperPID, 500);
    EXPECT_EQ(peer.launcherName, "node");
    EXPECT_EQ(peer.hostAppName, "Cursor");
    EXPECT_EQ(peer.hostBundleID, "cursor");
    EXPECT_EQ(peer.hostAppPath, "/opt/Cursor/cursor");
}

TEST_F(AgentPeerTest, ExecProgramsMatchByNameOrPathAndEarlierFoldersWin) {
    entry("code.desktop",
          "[Desktop Entry]\nType=Application\nName=Visual Studio Code\nExec=env A=1 -u B code %F\n");
    entry("vendor/editor.desktop",
          "[Desktop Entry]\nType=Application\nName=Quoted\nExec=\"/opt/My Editor/ed\" %U\n");
    entry("code.desktop", "[Desktop Entry]\nType=Application\nName=Shadowed\nExec=code\n", 1);
    entry("nameless.desktop", "[Desktop Entry]\nType=Application\nExec=/usr/bin/nameless\n", 1);
    procs.add(50, 40, "/usr/bin/pictavia-mcp");
    procs.add(40, 30, "/usr/share/code/code");
    procs.add(60, 70, "/usr/bin/pictavia-mcp");
    procs.add(70, 1, "/opt/My Editor/ed");
    procs.add(80, 90, "/usr/bin/pictavia-mcp");
    procs.add(90, 1, "/usr/bin/nameless");
    const PeerIdentity code = resolve(50);
    EXPECT_EQ(code.hostAppName, "Visual Studio Code");
    EXPECT_EQ(code.hostAppPath, "/usr/share/code/code");
    EXPECT_EQ(code.launcherName, "code");
    const PeerIdentity quoted = resolve(60);
    EXPECT_EQ(quoted.hostAppName, "Quoted");
    EXPECT_EQ(quoted.hostBundleID, "vendor-editor");
    EXPECT_EQ(resolve(80).hostAppName, "nameless"); // no Name: the executable's
}

TEST_F(AgentPeerTest, TheWalkStopsAtInitAndAfterTwelveProcesses) {
    entry("app.desktop", "[Desktop Entry]\nType=Application\nName=App\nExec=app\n");
    // bridge 1000, then ancestors 1001.. at depths 0..; the app at depth 11 is found.
    const auto chain = [&](int base, int appDepth) {
        procs.add(base, base + 1, "/usr/bin/pictavia-mcp");
        for (int depth = 0; depth <= appDepth; ++depth)
            procs.add(base + 1 + depth, base + 2 + depth, depth == appDepth ? "/usr/bin/app" : "/bin/sh");
        procs.add(base + 2 + appDepth, 1, "/sbin/init-like");
    };
    chain(1000, 11);
    chain(2000, 12);
    EXPECT_EQ(resolve(1000).hostAppName, "App");
    const PeerIdentity tooDeep = resolve(2000);
    EXPECT_EQ(tooDeep.hostAppName, std::nullopt);
    EXPECT_EQ(tooDeep.launcherName, "sh");

    // Started by init: nothing but the bridge itself.
    procs.add(3000, 1, "/usr/bin/pictavia-mcp");
    const PeerIdentity orphan = resolve(3000);
    EXPECT_EQ(orphan.helperPID, 3000);
    EXPECT_EQ(orphan.launcherName, std::nullopt);
    // A process that is gone.
    EXPECT_EQ(resolve(4000).launcherName, std::nullopt);
}

TEST(AgentPeerNames, ExecLines) {
    EXPECT_EQ(desktopEntryProgram("firefox %u"), "firefox");
    EXPECT_EQ(desktopEntryProgram("  \"/opt/a b/c\" --x"), "/opt/a b/c");
    EXPECT_EQ(desktopEntryProgram("\"/opt/q\\\"uote\""), "/opt/q\"uote");
    EXPECT_EQ(desktopEntryProgram("/usr/bin/env GDK_BACKEND=x11 /opt/app/run %F"), "/opt/app/run");
    EXPECT_EQ(desktopEntryProgram("env -u NAME -C /tmp app"), "app");
    EXPECT_EQ(desktopEntryProgram("env"), "");
    EXPECT_EQ(desktopEntryProgram(""), "");
}

// Real processes: a child of this test, and /proc as it is.
class RealChild {
public:
    explicit RealChild(const char* program) {
        m_pid = ::fork();
        if (m_pid == 0) {
            ::execl(program, program, "30", nullptr);
            ::_exit(127);
        }
        // Until the exec has happened, the child still runs this program.
        for (int i = 0; i < 400 && posix::executableOf(m_pid) == posix::ownExecutable(); ++i)
            ::usleep(5000);
    }
    ~RealChild() {
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
    }
    pid_t pid() const { return m_pid; }

private:
    pid_t m_pid;
};

TEST(AgentPeerProcesses, AChildOfThisTestNamesItAsLauncherAndHost) {
    const RealChild child("/bin/sleep");
    QTemporaryDir apps;
    const QString self = QString::fromStdString(posix::ownExecutable());
    QFile desktop(apps.path() + "/tests.desktop");
    ASSERT_TRUE(desktop.open(QIODevice::WriteOnly));
    desktop.write("[Desktop Entry]\nType=Application\nName=Unit Tests\nExec=" + self.toUtf8() + " --gtest\n");
    desktop.close();
    const PeerIdentity peer = PeerIdentity::resolve(child.pid(), {"/proc", {apps.path()}});
    EXPECT_EQ(peer.launcherName, QFileInfo(self).fileName());
    EXPECT_EQ(peer.hostAppName, "Unit Tests");
    EXPECT_EQ(peer.hostAppPath, self);
}

TEST(AgentPeerProcesses, OnlyTheBridgeExecutableIsTrustedUnlessAnyPeerIs) {
    const RealChild child("/bin/sleep");
    const QString sleep = QFileInfo("/bin/sleep").canonicalFilePath();
    EXPECT_TRUE(
        CodeIdentity::processIsTrusted(child.pid(), {"/bin/sleep", false})); // by the file it leads to
    EXPECT_TRUE(CodeIdentity::processIsTrusted(child.pid(), {sleep, false}));
    EXPECT_FALSE(CodeIdentity::processIsTrusted(child.pid(), {"/bin/true", false}));
    EXPECT_FALSE(CodeIdentity::processIsTrusted(child.pid(), {"", false}));
    EXPECT_FALSE(CodeIdentity::processIsTrusted(child.pid(), {"/nonexistent/pictavia-mcp", false}));
    EXPECT_TRUE(CodeIdentity::processIsTrusted(child.pid(), {"", true}));

    // Over a socket: the peer of a socket pair is this very process.
    int fds[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
    EXPECT_TRUE(CodeIdentity::peerIsTrusted(fds[0], {QString::fromStdString(posix::ownExecutable()), false}));
    EXPECT_FALSE(CodeIdentity::peerIsTrusted(fds[0], {sleep, false}));
    ::close(fds[0]);
    ::close(fds[1]);
    // The installed bridge is looked for beside this executable, where there is none.
    EXPECT_FALSE(QFileInfo::exists(QCoreApplication::applicationDirPath() + "/pictavia-mcp") &&
                 CodeIdentity::ownPolicy().bridgePath.isEmpty());
}

} // namespace
