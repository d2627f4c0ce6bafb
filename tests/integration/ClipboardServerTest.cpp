// The clipboard server a command-line copy leaves behind ("pictavia --serve-clipboard"), on
// a real X server: a newer copy replaces it, a stale one never puts older content back,
// another program's copy ends it, and so does the end of the resident Pictavia.
#include "WaitUntil.h"
#include "XServer.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <signal.h>

#include <string>
#include <vector>

namespace {

using namespace testsupport;

class ClipboardServerTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(home.isValid());
        display = XServer::start({.windowManager = false});
        QDir().mkpath(home.path() + "/config/pictavia");
        QDir().mkpath(runtime());
        QFile::setPermissions(runtime(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QFile prefs(home.path() + "/config/pictavia/pictavia.conf");
        ASSERT_TRUE(prefs.open(QIODevice::WriteOnly));
        prefs.write("captureSound = false\nshowQuickAccess = false\n");
    }

    void TearDown() override {
        // Detached, so not the X server's children: stopped here by their numbers.
        for (const pid_t pid : servers())
            ::kill(pid, SIGTERM);
    }

    QString runtime() const { return home.path() + "/runtime"; }

    Environment environment() const {
        const std::string dir = home.path().toStdString();
        return {{"HOME", dir},
                {"XDG_CONFIG_HOME", dir + "/config"},
                {"XDG_DATA_HOME", dir + "/data"},
                {"XDG_RUNTIME_DIR", runtime().toStdString()}};
    }

    // What a command-line copy hands over: the text in a file whose name says when the
    // copy was made, and a server started for it.
    ChildProcess& serve(const std::string& text, long long stamp) {
        const QString file = runtime() + QStringLiteral("/pictavia-clipboard-%1-test").arg(stamp);
        QFile handOver(file);
        EXPECT_TRUE(handOver.open(QIODevice::WriteOnly));
        handOver.write(text.data(), static_cast<qint64>(text.size()));
        handOver.close();
        return display->startProcess(PICTAVIA_BIN, {"--serve-clipboard", "text", file.toStdString()},
                                     environment());
    }

    std::string clipboard() {
        std::string out = display->run(TEST_WINDOW_BIN, {"--print-clipboard"}).out;
        if (!out.empty() && out.back() == '\n') out.pop_back();
        return out;
    }

    bool clipboardBecomes(const std::string& text) {
        return waitUntil([&] { return clipboard() == text; });
    }

    // The clipboard servers of this test's session, found by their command line and folder.
    std::vector<pid_t> servers() const {
        std::vector<pid_t> found;
        const QByteArray mine = "XDG_RUNTIME_DIR=" + QFile::encodeName(runtime());
        for (const QString& entry : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
            bool number = false;
            const pid_t pid = entry.toInt(&number);
            if (!number) continue;
            QFile cmdline(QStringLiteral("/proc/%1/cmdline").arg(pid));
            QFile environ(QStringLiteral("/proc/%1/environ").arg(pid));
            if (!cmdline.open(QIODevice::ReadOnly) || !environ.open(QIODevice::ReadOnly)) continue;
            if (cmdline.readAll().split('\0').value(1) == "--serve-clipboard" &&
                environ.readAll().split('\0').contains(mine))
                found.push_back(pid);
        }
        return found;
    }

    // Up once it holds the instance lock and serves the instance socket; one that was
    // stopped before leaves both behind.
    ChildProcess& startResident() {
        ChildProcess& resident = display->startProcess(PICTAVIA_BIN, {"--background"}, environment());
        const QString folder = runtime() + "/pictavia/";
        EXPECT_TRUE(waitUntil([&] {
            QFile lock(folder + "instance.lock");
            return lock.open(QIODevice::ReadOnly) && lock.readLine().trimmed().toInt() == resident.pid() &&
                   QFileInfo(folder + "instance").lastModified() >= QFileInfo(lock).lastModified();
        }));
        return resident;
    }

    QTemporaryDir home;
    std::unique_ptr<XServer> display;
};

TEST_F(ClipboardServerTest, EachCommandLineCopyReplacesTheOneBefore) {
    for (const char* rect : {"0,0,64,48", "0,0,32,24"}) {
        const ProcessOutput copy = display->run(PICTAVIA_BIN, {"capture", "area", "--rect", rect, "--copy"},
                                                {.environment = environment()});
        ASSERT_EQ(copy.exitCode, 0) << copy.err;
    }
    EXPECT_TRUE(clipboardBecomes("image 32x24")) << clipboard();
    EXPECT_TRUE(waitUntil([&] { return servers().size() == 1; })) << servers().size() << " servers";
}

TEST_F(ClipboardServerTest, ANewerCopyEndsTheOlderAndAStaleOneStepsAside) {
    ChildProcess& first = serve("first", 100);
    ASSERT_TRUE(clipboardBecomes("first"));
    ChildProcess& second = serve("second", 200);
    ASSERT_TRUE(clipboardBecomes("second"));
    EXPECT_TRUE(waitUntil([&] { return !first.isRunning(); }));

    // Made before the second but started after it: it must not put older content back.
    ChildProcess& stale = serve("stale", 150);
    EXPECT_TRUE(waitUntil([&] { return !stale.isRunning(); }));
    EXPECT_EQ(clipboard(), "second");
    EXPECT_TRUE(second.isRunning());

    // Another program's copy ends it too.
    ChildProcess& other = display->startProcess(TEST_WINDOW_BIN, {"--take-clipboard", "other"});
    EXPECT_EQ(other.readLine(20s), "taken");
    EXPECT_TRUE(waitUntil([&] { return !second.isRunning(); }));
    EXPECT_EQ(clipboard(), "other");
}

TEST_F(ClipboardServerTest, ItEndsWithTheResidentPictaviaRunningWhenItStartedOrLater) {
    ChildProcess& running = startResident();
    ChildProcess& during = serve("during", 100);
    ASSERT_TRUE(clipboardBecomes("during"));
    running.stop();
    EXPECT_TRUE(waitUntil([&] { return !during.isRunning(); }));

    ChildProcess& before = serve("before", 200);
    ASSERT_TRUE(clipboardBecomes("before"));
    ChildProcess& later = startResident();
    EXPECT_TRUE(before.isRunning());
    later.stop();
    EXPECT_TRUE(waitUntil([&] { return !before.isRunning(); }));
}

} // namespace
