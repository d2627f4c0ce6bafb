// Adding Pictavia to AI clients' configurations, against temporary home folders: other
// servers survive, files that cannot be safely rewritten are left alone, and the files
// written are what the clients read (TOML checked with toml++).

#include "agents/AgentClientInstaller.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <toml++/toml.h>

namespace {

using Status = AgentClientInstaller::Status;

class AgentClientInstallerTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(root.isValid());
        // A space in the program's folder: the helper's path must stay one argument.
        locations = {root.filePath("home"), root.filePath("xdg config"), root.filePath("Pictavia app"),
                     root.filePath("bin") + ":" + root.filePath("more bin")};
        QDir().mkpath(locations.home);
        write(locations.programDirectory + "/pictavia-mcp", "#!/bin/sh\n", true);
    }

    static void write(const QString& path, const QByteArray& bytes, bool executable = false) {
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(bytes);
        file.close();
        if (executable) file.setPermissions(file.permissions() | QFile::ExeOwner);
    }
    static QByteArray read(const QString& path) {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
    }
    static QJsonObject json(const QString& path) { return QJsonDocument::fromJson(read(path)).object(); }
    QString home(const QString& relative) const { return locations.home + "/" + relative; }
    QString helper() const { return installer().helperPath(); }
    AgentClientInstaller installer() const { return AgentClientInstaller(locations); }

    QTemporaryDir root;
    AgentClientInstaller::Locations locations;
};

TEST_F(AgentClientInstallerTest, JsonClientsWriteTheirOwnFilesAndKeys) {
    EXPECT_EQ(helper(), root.filePath("Pictavia app/pictavia-mcp"));
    struct Case {
        AgentClient client;
        QString file;
        QString key;
    };
    const QString config = locations.configHome;
    for (const Case& c :
         {Case{AgentClient::claudeDesktop, config + "/Claude/claude_desktop_config.json", "mcpServers"},
          Case{AgentClient::cursor, home(".cursor/mcp.json"), "mcpServers"},
          Case{AgentClient::vscode, config + "/Code/User/mcp.json", "servers"},
          Case{AgentClient::windsurf, home(".codeium/windsurf/mcp_config.json"), "mcpServers"}}) {
        SCOPED_TRACE(AgentClients::names.raw(c.client).toStdString());
        EXPECT_EQ(installer().status(c.client), Status::notInstalled);
        QDir().mkpath(QFileInfo(c.file).absolutePath()); // the client has run once
        EXPECT_EQ(installer().status(c.client), Status::notConnected);
        ASSERT_TRUE(installer().connect(c.client))
            << installer().connect(c.client).error().message.toStdString();
        const QJsonObject entry = json(c.file)[c.key].toObject()["pictavia"].toObject();
        EXPECT_EQ(entry["command"].toString(), helper());
        EXPECT_TRUE(entry["args"].isArray() && entry["args"].toArray().isEmpty());
        EXPECT_EQ(entry["type"].toString(), c.client == AgentClient::vscode ? "stdio" : "");
        EXPECT_EQ(installer().status(c.client), Status::connected);
        EXPECT_FALSE(QFileInfo::exists(c.file + ".pictavia-backup")); // there was nothing to keep
    }
}

TEST_F(AgentClientInstallerTest, OtherServersSurviveConnectAndDisconnect) {
    const QString file = home(".cursor/mcp.json");
    const QByteArray original = R"({"theme": "dark", "mcpServers": {"github": {"command": "gh-mcp",
        "env": {"TOKEN": "secret"}, "args": ["--port", 7]}}})";
    write(file, original);
    QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner);
    const QJsonObject github = json(file)["mcpServers"].toObject()["github"].toObject();

    const Result<QString> connected = installer().connect(AgentClient::cursor);
    ASSERT_TRUE(connected);
    EXPECT_EQ(*connected, "Cursor picks it up automatically. Check Settings ▸ MCP.");
    QJsonObject servers = json(file)["mcpServers"].toObject();
    EXPECT_EQ(servers["github"].toObject(), github);
    EXPECT_EQ(servers["pictavia"].toObject()["command"].toString(), helper());
    EXPECT_EQ(json(file)["theme"].toString(), "dark");
    // The original is kept beside it, as private as it was.
    EXPECT_EQ(read(file + ".pictavia-backup"), original);
    EXPECT_EQ(QFileInfo(file + ".pictavia-backup").permissions().toInt() & 0x0077, 0);
    EXPECT_EQ(QFileInfo(file).permissions().toInt() & 0x0077, 0);

    const QByteArray whileConnected = read(file);
    EXPECT_EQ(installer().disconnect(AgentClient::cursor).value(), true);
    servers = json(file)["mcpServers"].toObject();
    EXPECT_EQ(servers.keys(), QStringList{"github"});
    EXPECT_EQ(servers["github"].toObject(), github);
    EXPECT_EQ(read(file + ".pictavia-backup"), whileConnected);
    EXPECT_EQ(installer().status(AgentClient::cursor), Status::notConnected);
    // Nothing to remove: nothing is written.
    const QByteArray after = read(file);
    EXPECT_EQ(installer().disconnect(AgentClient::cursor).value(), false);
    EXPECT_EQ(read(file + ".pictavia-backup"), whileConnected);
    EXPECT_EQ(read(file), after);
}

TEST_F(AgentClientInstallerTest, FilesThatAreNotPlainJsonAreNeverRewritten) {
    const QString file = locations.configHome + "/Code/User/mcp.json";
    const QByteArray withComments = "{\n  // my servers\n  \"servers\": {\"a\": {\"command\": \"x\"}},\n}\n";
    write(file, withComments);
    const Result<QString> result = installer().connect(AgentClient::vscode);
    ASSERT_FALSE(result);
    const QString prefix = "VS Code can't safely edit (comments?). Add this by hand:\n";
    ASSERT_TRUE(result.error().message.startsWith(prefix)) << result.error().message.toStdString();
    // The snippet is what this client's file needs.
    const QJsonObject snippet =
        QJsonDocument::fromJson(result.error().message.mid(prefix.size()).toUtf8()).object();
    EXPECT_EQ(snippet["servers"].toObject()["pictavia"].toObject()["command"].toString(), helper());
    EXPECT_EQ(snippet["servers"].toObject()["pictavia"].toObject()["type"].toString(), "stdio");
    EXPECT_FALSE(installer().disconnect(AgentClient::vscode));
    EXPECT_EQ(read(file), withComments);
    EXPECT_FALSE(QFileInfo::exists(file + ".pictavia-backup"));

    // A container that is not an object is someone's data as well.
    const QString cursor = home(".cursor/mcp.json");
    write(cursor, R"({"mcpServers": ["not", "ours"]})");
    EXPECT_FALSE(installer().connect(AgentClient::cursor));
    EXPECT_EQ(read(cursor), R"({"mcpServers": ["not", "ours"]})");
}

TEST_F(AgentClientInstallerTest, AnotherCopysEntryIsOutdatedUntilConnected) {
    const QString file = home(".codeium/windsurf/mcp_config.json");
    write(file, R"({"mcpServers": {"pictavia": {"command": "/opt/old/pictavia-mcp", "args": []}}})");
    EXPECT_EQ(installer().status(AgentClient::windsurf), Status::outdated);
    ASSERT_TRUE(installer().connect(AgentClient::windsurf));
    EXPECT_EQ(json(file)["mcpServers"].toObject()["pictavia"].toObject()["command"].toString(), helper());
    EXPECT_EQ(installer().status(AgentClient::windsurf), Status::connected);
}

TEST_F(AgentClientInstallerTest, CodexTablesAreReplacedWholeAndTheRestKept) {
    const QString file = home(".codex/config.toml");
    write(file, "model = \"o3\"\n\n"
                "[mcp_servers.github]\ncommand = \"gh\"\n\n"
                "[mcp_servers.pictavia]\ncommand = \"/opt/old/pictavia-mcp\"\nargs = []\n\n"
                "[mcp_servers.pictavia.env]\nTOKEN = \"abc\"\n\n"
                "# fast answers\n[profiles.fast]\nmodel = \"o4-mini\"\n");
    EXPECT_EQ(installer().status(AgentClient::codex), Status::outdated);
    const Result<QString> connected = installer().connect(AgentClient::codex);
    ASSERT_TRUE(connected);
    EXPECT_TRUE(connected->contains("ChatGPT app, CLI or IDE")) << connected->toStdString();

    const QByteArray text = read(file);
    const toml::table config = toml::parse(text.toStdString());
    EXPECT_EQ(config["model"].value_or(""), std::string("o3"));
    EXPECT_EQ(config["mcp_servers"]["github"]["command"].value_or(""), std::string("gh"));
    EXPECT_EQ(config["mcp_servers"]["pictavia"]["command"].value_or(""), helper().toStdString());
    EXPECT_TRUE(config["mcp_servers"]["pictavia"]["args"].as_array()->empty());
    EXPECT_FALSE(config["mcp_servers"]["pictavia"]["env"]) << text.toStdString();
    EXPECT_EQ(config["profiles"]["fast"]["model"].value_or(""), std::string("o4-mini"));
    EXPECT_TRUE(text.contains("# fast answers\n[profiles.fast]"));
    EXPECT_EQ(installer().status(AgentClient::codex), Status::connected);

    // Connecting again changes nothing; disconnecting leaves the others.
    ASSERT_TRUE(installer().connect(AgentClient::codex));
    EXPECT_EQ(read(file), text);
    EXPECT_EQ(installer().disconnect(AgentClient::codex).value(), true);
    const toml::table without = toml::parse(read(file).toStdString());
    EXPECT_FALSE(without["mcp_servers"]["pictavia"]);
    EXPECT_TRUE(without["mcp_servers"]["github"]);
    EXPECT_EQ(installer().status(AgentClient::codex), Status::notConnected);
}

TEST_F(AgentClientInstallerTest, CodexPathsWithQuotesStayValidToml) {
    locations.programDirectory = root.filePath(R"(odd "name" \ here)");
    write(locations.programDirectory + "/pictavia-mcp", "#!/bin/sh\n", true);
    // Kept with the user's other dotfiles: the link stays a link.
    write(home("dotfiles/codex.toml"), "# mine\r\n[tui]\r\nnotifications = true\r\n");
    QDir().mkpath(home(".codex"));
    ASSERT_TRUE(QFile::link(home("dotfiles/codex.toml"), home(".codex/config.toml")));
    ASSERT_TRUE(installer().connect(AgentClient::codex));
    EXPECT_TRUE(QFileInfo(home(".codex/config.toml")).isSymLink());
    const QByteArray text = read(home("dotfiles/codex.toml"));
    const toml::table config = toml::parse(text.toStdString());
    EXPECT_EQ(config["mcp_servers"]["pictavia"]["command"].value_or(""), helper().toStdString());
    EXPECT_TRUE(config["tui"]["notifications"].value_or(false));
    EXPECT_EQ(installer().status(AgentClient::codex), Status::connected);
}

class AgentClaudeCodeTest : public AgentClientInstallerTest {
protected:
    // Records each run's arguments, bracketed, and its PATH; answers like `claude` would.
    void installClaude(int exitCode = 0, const QByteArray& output = "") {
        write(home(".local/bin/claude"),
              "#!/bin/sh\nprintf '[%s]' \"$@\" >> \"$HOME/calls\"\necho >> \"$HOME/calls\"\n"
              "echo \"$PATH\" > \"$HOME/path\"\necho '" +
                  output + "'\nexit " + QByteArray::number(exitCode) + "\n",
              true);
    }
    QString calls() const { return QString::fromUtf8(read(home("calls"))); }
};

TEST_F(AgentClaudeCodeTest, AddsAndRemovesThroughTheCommand) {
    installClaude();
    EXPECT_EQ(installer().claudeCLI(), home(".local/bin/claude"));
    EXPECT_EQ(installer().status(AgentClient::claudeCode), Status::notConnected);
    const Result<QString> connected = installer().connect(AgentClient::claudeCode);
    ASSERT_TRUE(connected) << connected.error().message.toStdString();
    EXPECT_EQ(*connected, "New Claude Code sessions will have Pictavia (check with /mcp).");
    EXPECT_EQ(calls(), "[mcp][add][--scope][user][pictavia][--][" + helper() + "]\n");
    EXPECT_EQ(read(home("path")), "/usr/local/bin:/usr/bin:/bin:" + locations.searchPath.toUtf8() + "\n");

    // Claude Code lists user servers at the top of ~/.claude.json; an older entry is
    // removed first, since `claude mcp add` refuses a name it has.
    write(home(".claude.json"),
          R"({"mcpServers": {"pictavia": {"type": "stdio", "command": "/old/pictavia-mcp"}}})");
    EXPECT_EQ(installer().status(AgentClient::claudeCode), Status::outdated);
    QFile::remove(home("calls"));
    ASSERT_TRUE(installer().connect(AgentClient::claudeCode));
    EXPECT_EQ(calls(), "[mcp][remove][--scope][user][pictavia]\n[mcp][add][--scope][user][pictavia][--][" +
                           helper() + "]\n");

    QFile::remove(home("calls"));
    EXPECT_TRUE(installer().disconnect(AgentClient::claudeCode));
    EXPECT_EQ(calls(), "[mcp][remove][--scope][user][pictavia]\n");
}

TEST_F(AgentClaudeCodeTest, RefusalsAndAbsenceAreExplained) {
    installClaude(1, "MCP server pictavia already exists in user config");
    const Result<QString> refused = installer().connect(AgentClient::claudeCode);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().message,
              "Claude Code refused: MCP server pictavia already exists in user config");

    QFile::remove(home(".local/bin/claude"));
    if (QFileInfo::exists("/usr/local/bin/claude") || QFileInfo::exists("/usr/bin/claude"))
        GTEST_SKIP() << "this machine has a claude command of its own";
    EXPECT_EQ(installer().status(AgentClient::claudeCode), Status::notInstalled);
    const Result<QString> missing = installer().connect(AgentClient::claudeCode);
    ASSERT_FALSE(missing);
    EXPECT_EQ(
        missing.error().message,
        "Couldn't find the `claude` command. Run this in Terminal instead:\nclaude mcp add --scope user "
        "pictavia -- \"" +
            helper() + "\"");
    EXPECT_EQ(installer().disconnect(AgentClient::claudeCode).error().message,
              "Couldn't find the `claude` command.");
}

TEST_F(AgentClientInstallerTest, InstalledByCommandOrFolderAndNothingWrittenWithoutTheHelper) {
    EXPECT_EQ(installer().status(AgentClient::vscode), Status::notInstalled);
    write(root.filePath("more bin/code"), "#!/bin/sh\n", true);
    EXPECT_EQ(installer().status(AgentClient::vscode), Status::notConnected);
    QDir().mkpath(home(".codex"));
    EXPECT_EQ(installer().status(AgentClient::codex), Status::notConnected);

    QFile::remove(helper());
    EXPECT_FALSE(installer().helperExists());
    const Result<QString> result = installer().connect(AgentClient::vscode);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().message,
              "This copy of Pictavia has no pictavia-mcp helper. Rebuild or reinstall the app.");
    EXPECT_FALSE(QFileInfo::exists(locations.configHome + "/Code/User/mcp.json"));
}

} // namespace
