#pragma once

#include "agents/AgentClient.h"
#include "common/RawValues.h"
#include "common/Result.h"

#include <QString>

#include <chrono>
#include <optional>

// Adds Pictavia's MCP server to an AI client's configuration, tells whether it is there,
// and takes it out again. Every entry runs the pictavia-mcp bridge installed beside the
// running pictavia, with no arguments.
//
// JSON configurations are rewritten only when they parse as a JSON object (a file with
// comments is left alone and the user gets the text to paste), every key and server of
// anyone else is kept, an existing file is first copied beside itself with the suffix
// ".pictavia-backup", and the new file replaces the old one in one rename. Claude Code's
// configuration is changed only through its `claude` command.
//
// connect() and disconnect() block while files are written and, for Claude Code, while
// the `claude` command runs: call them off the GUI thread.
class AgentClientInstaller {
public:
    enum class Status {
        connected,    // an entry named "pictavia" runs this copy's bridge
        notConnected, // no such entry
        outdated,     // an entry named "pictavia" runs something else, e.g. an older copy
        notInstalled, // the client is not on this computer
    };
    static constexpr RawValues<Status, 4> statusNames{{{
        {Status::connected, "connected"},
        {Status::notConnected, "notConnected"},
        {Status::outdated, "outdated"},
        {Status::notInstalled, "notInstalled"},
    }}};

    // Where to look. current() reads the process's environment; tests point these at
    // temporary folders.
    struct Locations {
        QString home;
        QString configHome;       // $XDG_CONFIG_HOME, or home + "/.config"
        QString programDirectory; // the folder of the running pictavia
        QString searchPath;       // $PATH
        static Locations current();
    };

    explicit AgentClientInstaller(Locations locations = Locations::current());

    // The file the client keeps its MCP servers in. For Claude Code it is only read.
    QString configFile(AgentClient client) const;
    bool isInstalled(AgentClient client) const;

    QString helperPath() const;
    bool helperExists() const;
    // Claude Code's command: its usual install places first, then PATH.
    std::optional<QString> claudeCLI() const;
    // The entry to paste into any other MCP client's configuration.
    QString configSnippet() const;
    // The command that registers Pictavia with Claude Code, for the user to run.
    QString claudeCodeCommand() const;

    Status status(AgentClient client) const;
    // On success, what the user does next for the client to load Pictavia.
    Result<QString> connect(AgentClient client) const;
    // True when an entry was removed, false when there was none.
    Result<bool> disconnect(AgentClient client) const;

    // How long the `claude` command may take before it is stopped.
    static constexpr std::chrono::milliseconds claudeTimeLimit{60'000};

private:
    QString configFolder(AgentClient client) const;
    QString containerKey(AgentClient client) const;
    std::optional<QString> findOnPath(const QString& program) const;
    Status entryStatus(const std::optional<QString>& command, bool found) const;
    Result<QString> runClaude(const QStringList& arguments) const;

    Result<QString> connectJson(AgentClient client) const;
    Result<bool> disconnectJson(AgentClient client) const;
    Result<QString> connectCodex() const;
    Result<bool> disconnectCodex() const;
    Result<QString> connectClaudeCode() const;
    Result<bool> disconnectClaudeCode() const;

    Locations m_locations;
};
