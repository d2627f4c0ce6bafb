// pictavia agents from the command line: a copy of the program with a pictavia-mcp beside
// it registers that helper with a client whose configuration lives in a temporary home.

#include "ChildProcess.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>

namespace {

using namespace testsupport;

class AgentsCommandTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(home.isValid());
        ASSERT_TRUE(program.isValid());
        // The helper is looked for beside the running program, so the program (with the
        // application module it loads) runs from a folder of its own: hard links where the
        // file system allows them, else copies.
        const QDir built = QFileInfo(PICTAVIA_BIN).absoluteDir();
        for (const char* name : {"pictavia", "pictavia-app.so"}) {
            const QString original = built.filePath(name);
            const QString copy = program.filePath(name);
            if (::link(original.toLocal8Bit().constData(), copy.toLocal8Bit().constData()) != 0) {
                ASSERT_TRUE(QFile::copy(original, copy));
            }
        }
        QFile helper(program.filePath("pictavia-mcp"));
        ASSERT_TRUE(helper.open(QIODevice::WriteOnly));
        helper.write("#!/bin/sh\n");
        helper.setPermissions(helper.permissions() | QFile::ExeOwner);
    }

    ProcessOutput pictavia(const std::vector<std::string>& args) {
        const std::string dir = home.path().toStdString();
        auto child =
            ChildProcess::start(program.filePath("pictavia").toStdString(), args,
                                {.environment = {{"HOME", dir}, {"XDG_CONFIG_HOME", dir + "/config"}},
                                 .err = ChildProcess::Stream::Pipe});
        return child->finish(std::chrono::seconds(30));
    }

    QTemporaryDir home;
    // Beside the built program, so that a hard link works.
    QTemporaryDir program{QFileInfo(PICTAVIA_BIN).absolutePath() + "/agents-test-XXXXXX"};
};

TEST_F(AgentsCommandTest, ConnectCursorKeepsItsOtherServers) {
    const QString file = home.filePath(".cursor/mcp.json");
    QDir().mkpath(QFileInfo(file).absolutePath());
    QFile original(file);
    ASSERT_TRUE(original.open(QIODevice::WriteOnly));
    original.write(R"({"mcpServers": {"github": {"command": "gh-mcp"}}})");
    original.close();

    const ProcessOutput connected = pictavia({"agents", "connect", "cursor"});
    ASSERT_EQ(connected.exitCode, 0) << connected.err;
    EXPECT_EQ(connected.out, "Cursor picks it up automatically. Check Settings ▸ MCP.\n");
    ASSERT_TRUE(original.open(QIODevice::ReadOnly));
    const QJsonObject servers = QJsonDocument::fromJson(original.readAll()).object()["mcpServers"].toObject();
    EXPECT_EQ(servers["pictavia"].toObject()["command"].toString(), program.filePath("pictavia-mcp"));
    EXPECT_EQ(servers["github"].toObject()["command"].toString(), "gh-mcp");
    EXPECT_TRUE(QFileInfo::exists(file + ".pictavia-backup"));

    const ProcessOutput status = pictavia({"agents", "status", "cursor"});
    EXPECT_EQ(status.out, "cursor\tconnected\tCursor\t" + file.toStdString() + "\n") << status.err;
    const ProcessOutput all = pictavia({"agents", "status"});
    EXPECT_EQ(std::count(all.out.begin(), all.out.end(), '\n'), 6) << all.out;

    const ProcessOutput unknown = pictavia({"agents", "connect", "emacs"});
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_NE(unknown.err.find("claudeDesktop, claudeCode, codex, cursor, vscode, windsurf"),
              std::string::npos)
        << unknown.err;
    const ProcessOutput help = pictavia({"agents", "disconnect", "--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_NE(help.out.find("Usage: pictavia agents disconnect"), std::string::npos) << help.out;
}

} // namespace
