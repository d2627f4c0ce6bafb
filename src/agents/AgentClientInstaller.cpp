#include "agents/AgentClientInstaller.h"

#include "agents/CodexConfig.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSaveFile>
#include <QStandardPaths>

namespace {

const QString serverName = QStringLiteral("pictavia");
const QString backupSuffix = QStringLiteral(".pictavia-backup");

struct FileBytes {
    bool exists = false;
    bool readable = true;
    QByteArray bytes;
};

FileBytes readFile(const QString& path) {
    FileBytes file;
    file.exists = QFileInfo::exists(path);
    if (!file.exists) return file;
    QFile device(path);
    file.readable = device.open(QIODevice::ReadOnly);
    if (file.readable) file.bytes = device.readAll();
    return file;
}

Error cannotRead(const QString& path) {
    return Error{QStringLiteral("Couldn't read %1.").arg(path)};
}

// Writes `bytes` to `path` in one rename, the file's permissions kept when it exists.
std::optional<Error> writeAtomically(const QString& path, const QByteArray& bytes,
                                     std::optional<QFileDevice::Permissions> permissions = std::nullopt) {
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly) && (!permissions || file.setPermissions(*permissions)) &&
        file.write(bytes) == bytes.size() && file.commit())
        return std::nullopt;
    return Error{QStringLiteral("Couldn't write %1: %2").arg(path, file.errorString())};
}

// Replaces a client's configuration file, keeping what was there as a backup beside it.
// The backup gets the original's permissions: these files often hold other servers' keys.
std::optional<Error> replaceFile(const QString& path, const FileBytes& old, const QByteArray& bytes) {
    const QString folder = QFileInfo(path).absolutePath();
    if (!QDir().mkpath(folder)) return Error{QStringLiteral("Couldn't create the folder %1.").arg(folder)};
    if (old.exists)
        if (auto error = writeAtomically(path + backupSuffix, old.bytes, QFileInfo(path).permissions()))
            return error;
    return writeAtomically(path, bytes);
}

// The file's top-level object. Empty content is an empty object; content that is not a
// JSON object (comments, trailing commas, an array) gives nothing.
std::optional<QJsonObject> jsonObject(const QByteArray& bytes) {
    if (bytes.trimmed().isEmpty()) return QJsonObject();
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) return std::nullopt;
    return document.object();
}

QString nextStep(AgentClient client) {
    switch (client) {
    case AgentClient::claudeDesktop:
        return QStringLiteral("Quit and reopen Claude to load Pictavia.");
    case AgentClient::claudeCode:
        return QStringLiteral("New Claude Code sessions will have Pictavia (check with /mcp).");
    case AgentClient::codex:
        return QStringLiteral(
            "Start a new Codex task (ChatGPT app, CLI or IDE) to load Pictavia. ChatGPT's "
            "regular chat only reaches servers on the internet, so it can't use a local app.");
    case AgentClient::cursor:
        return QStringLiteral("Cursor picks it up automatically. Check Settings ▸ MCP.");
    case AgentClient::vscode:
        return QStringLiteral("Start the server from the MCP view or Copilot's tools menu.");
    case AgentClient::windsurf:
        return QStringLiteral("Refresh MCP servers in Windsurf's Cascade panel.");
    }
    return {};
}

} // namespace

AgentClientInstaller::Locations AgentClientInstaller::Locations::current() {
    Locations locations;
    locations.home = QDir::homePath();
    const QString configHome = qEnvironmentVariable("XDG_CONFIG_HOME");
    // A relative XDG_CONFIG_HOME is to be ignored.
    locations.configHome =
        QDir::isAbsolutePath(configHome) ? configHome : locations.home + QStringLiteral("/.config");
    if (QCoreApplication::instance()) locations.programDirectory = QCoreApplication::applicationDirPath();
    locations.searchPath = qEnvironmentVariable("PATH");
    return locations;
}

AgentClientInstaller::AgentClientInstaller(Locations locations) : m_locations(std::move(locations)) {}

QString AgentClientInstaller::configFile(AgentClient client) const {
    const QString& home = m_locations.home;
    const QString& config = m_locations.configHome;
    switch (client) {
    case AgentClient::claudeDesktop:
        return config + QStringLiteral("/Claude/claude_desktop_config.json");
    case AgentClient::claudeCode:
        return home + QStringLiteral("/.claude.json");
    case AgentClient::codex:
        return home + QStringLiteral("/.codex/config.toml");
    case AgentClient::cursor:
        return home + QStringLiteral("/.cursor/mcp.json");
    case AgentClient::vscode:
        return config + QStringLiteral("/Code/User/mcp.json");
    case AgentClient::windsurf:
        return home + QStringLiteral("/.codeium/windsurf/mcp_config.json");
    }
    return {};
}

// The folder a client creates on first start, which tells it is there when its command
// is not on PATH (an AppImage, a Flatpak, an IDE extension).
QString AgentClientInstaller::configFolder(AgentClient client) const {
    switch (client) {
    case AgentClient::claudeDesktop:
        return m_locations.configHome + QStringLiteral("/Claude");
    case AgentClient::vscode:
        return m_locations.configHome + QStringLiteral("/Code");
    case AgentClient::windsurf:
        return m_locations.home + QStringLiteral("/.codeium/windsurf");
    case AgentClient::claudeCode:
    case AgentClient::codex:
    case AgentClient::cursor:
        return QFileInfo(configFile(client)).absolutePath();
    }
    return {};
}

QString AgentClientInstaller::containerKey(AgentClient client) const {
    return client == AgentClient::vscode ? QStringLiteral("servers") : QStringLiteral("mcpServers");
}

std::optional<QString> AgentClientInstaller::findOnPath(const QString& program) const {
    const QStringList folders = m_locations.searchPath.split(u':', Qt::SkipEmptyParts);
    if (folders.isEmpty()) return std::nullopt; // findExecutable would fall back to our own PATH
    const QString found = QStandardPaths::findExecutable(program, folders);
    if (found.isEmpty()) return std::nullopt;
    return found;
}

bool AgentClientInstaller::isInstalled(AgentClient client) const {
    QString command;
    switch (client) {
    case AgentClient::claudeCode:
        return claudeCLI().has_value(); // without it nothing can be changed
    case AgentClient::claudeDesktop:
        command = QStringLiteral("claude-desktop");
        break;
    case AgentClient::codex:
        command = QStringLiteral("codex");
        break;
    case AgentClient::cursor:
        command = QStringLiteral("cursor");
        break;
    case AgentClient::vscode:
        command = QStringLiteral("code");
        break;
    case AgentClient::windsurf:
        command = QStringLiteral("windsurf");
        break;
    }
    return findOnPath(command) || QFileInfo(configFolder(client)).isDir();
}

QString AgentClientInstaller::helperPath() const {
    return QDir(m_locations.programDirectory).filePath(QStringLiteral("pictavia-mcp"));
}

bool AgentClientInstaller::helperExists() const {
    return QFileInfo(helperPath()).isFile();
}

std::optional<QString> AgentClientInstaller::claudeCLI() const {
    const QString& home = m_locations.home;
    for (const QString& candidate :
         {home + QStringLiteral("/.local/bin/claude"), home + QStringLiteral("/.claude/local/claude"),
          QStringLiteral("/usr/local/bin/claude"), QStringLiteral("/usr/bin/claude")}) {
        const QFileInfo file(candidate);
        if (file.isFile() && file.isExecutable()) return candidate;
    }
    return findOnPath(QStringLiteral("claude"));
}

QString AgentClientInstaller::configSnippet() const {
    const QJsonObject entry{{QStringLiteral("command"), helperPath()},
                            {QStringLiteral("args"), QJsonArray()}};
    const QJsonObject servers{{serverName, entry}};
    return QString::fromUtf8(
        QJsonDocument(QJsonObject{{QStringLiteral("mcpServers"), servers}}).toJson(QJsonDocument::Indented));
}

QString AgentClientInstaller::claudeCodeCommand() const {
    return QStringLiteral("claude mcp add --scope user pictavia -- \"") + helperPath() + u'"';
}

AgentClientInstaller::Status AgentClientInstaller::entryStatus(const std::optional<QString>& command,
                                                               bool found) const {
    if (!found) return Status::notConnected;
    return command == helperPath() ? Status::connected : Status::outdated;
}

AgentClientInstaller::Status AgentClientInstaller::status(AgentClient client) const {
    if (!isInstalled(client)) return Status::notInstalled;
    const FileBytes file = readFile(configFile(client));
    if (client == AgentClient::codex) {
        const CodexConfig::Stripped stripped = CodexConfig::strip(file.bytes);
        return entryStatus(stripped.command, stripped.found);
    }
    // Claude Code keeps user-scope servers under "mcpServers" at the top of ~/.claude.json.
    const QJsonObject object = jsonObject(file.bytes).value_or(QJsonObject());
    const QJsonObject container = object.value(containerKey(client)).toObject();
    if (!container.contains(serverName)) return Status::notConnected;
    const QJsonValue command = container.value(serverName).toObject().value(QStringLiteral("command"));
    return entryStatus(command.isString() ? std::optional(command.toString()) : std::nullopt, true);
}

Result<QString> AgentClientInstaller::connect(AgentClient client) const {
    if (!helperExists())
        return Error{QStringLiteral(
            "This copy of Pictavia has no pictavia-mcp helper. Rebuild or reinstall the app.")};
    Result<QString> result = client == AgentClient::codex        ? connectCodex()
                             : client == AgentClient::claudeCode ? connectClaudeCode()
                                                                 : connectJson(client);
    if (!result) return result;
    return nextStep(client);
}

Result<bool> AgentClientInstaller::disconnect(AgentClient client) const {
    if (client == AgentClient::codex) return disconnectCodex();
    if (client == AgentClient::claudeCode) return disconnectClaudeCode();
    return disconnectJson(client);
}

Result<QString> AgentClientInstaller::connectJson(AgentClient client) const {
    const QString path = configFile(client);
    const FileBytes file = readFile(path);
    if (!file.readable) return cannotRead(path);

    QJsonObject entry{{QStringLiteral("command"), helperPath()}, {QStringLiteral("args"), QJsonArray()}};
    if (client == AgentClient::vscode) entry.insert(QStringLiteral("type"), QStringLiteral("stdio"));
    const QString key = containerKey(client);

    std::optional<QJsonObject> object = jsonObject(file.bytes);
    // A container of the wrong type is someone else's data too: never replaced.
    if (!object || (object->contains(key) && !object->value(key).isObject())) {
        // The text to paste, shaped for this client's file.
        const QJsonObject snippet{{key, QJsonObject{{serverName, entry}}}};
        return Error{AgentClients::displayName(client) +
                     QStringLiteral(" can't safely edit (comments?). Add this by hand:\n") +
                     QString::fromUtf8(QJsonDocument(snippet).toJson(QJsonDocument::Indented))};
    }
    QJsonObject container = object->value(key).toObject();
    container.insert(serverName, entry);
    object->insert(key, container);
    if (auto error = replaceFile(path, file, QJsonDocument(*object).toJson(QJsonDocument::Indented)))
        return *error;
    return QString();
}

Result<bool> AgentClientInstaller::disconnectJson(AgentClient client) const {
    const QString path = configFile(client);
    const FileBytes file = readFile(path);
    if (!file.exists) return false;
    if (!file.readable) return cannotRead(path);
    const QString key = containerKey(client);
    std::optional<QJsonObject> object = jsonObject(file.bytes);
    if (!object || (object->contains(key) && !object->value(key).isObject()))
        return Error{
            AgentClients::displayName(client) +
            QStringLiteral(" can't safely edit (comments?). Remove \"pictavia\" from %1 by hand.").arg(path)};
    QJsonObject container = object->value(key).toObject();
    if (!container.contains(serverName)) return false;
    container.remove(serverName);
    object->insert(key, container);
    if (auto error = replaceFile(path, file, QJsonDocument(*object).toJson(QJsonDocument::Indented)))
        return *error;
    return true;
}

Result<QString> AgentClientInstaller::connectCodex() const {
    const QString path = configFile(AgentClient::codex);
    const FileBytes file = readFile(path);
    if (!file.readable) return cannotRead(path);
    if (auto error = replaceFile(path, file, CodexConfig::withServer(file.bytes, helperPath())))
        return *error;
    return QString();
}

Result<bool> AgentClientInstaller::disconnectCodex() const {
    const QString path = configFile(AgentClient::codex);
    const FileBytes file = readFile(path);
    if (!file.exists) return false;
    if (!file.readable) return cannotRead(path);
    const CodexConfig::Stripped stripped = CodexConfig::strip(file.bytes);
    if (!stripped.found) return false;
    if (auto error = replaceFile(path, file, CodexConfig::join(stripped.lines))) return *error;
    return true;
}

Result<QString> AgentClientInstaller::runClaude(const QStringList& arguments) const {
    const std::optional<QString> cli = claudeCLI();
    if (!cli) return Error{QStringLiteral("Couldn't find the `claude` command.")};
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // Its installer may have put node where a desktop session's PATH does not look.
    environment.insert(QStringLiteral("PATH"),
                       QStringLiteral("/usr/local/bin:/usr/bin:/bin:") + m_locations.searchPath);
    environment.insert(QStringLiteral("HOME"), m_locations.home);
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(*cli, arguments);
    if (!process.waitForStarted())
        return Error{QStringLiteral("Couldn't run %1: %2").arg(*cli, process.errorString())};
    if (!process.waitForFinished(int(claudeTimeLimit.count()))) {
        process.kill();
        process.waitForFinished();
        return Error{QStringLiteral("Claude Code didn't answer within %1 seconds.")
                         .arg(claudeTimeLimit.count() / 1000)};
    }
    const QString output = QString::fromUtf8(process.readAll()).trimmed();
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        return Error{QStringLiteral("Claude Code refused: ") + output};
    return output;
}

Result<QString> AgentClientInstaller::connectClaudeCode() const {
    if (!claudeCLI())
        return Error{QStringLiteral("Couldn't find the `claude` command. Run this in Terminal instead:\n") +
                     claudeCodeCommand()};
    // `claude mcp add` refuses a name it already has: an older entry goes first.
    if (status(AgentClient::claudeCode) != Status::notConnected)
        runClaude({QStringLiteral("mcp"), QStringLiteral("remove"), QStringLiteral("--scope"),
                   QStringLiteral("user"), serverName});
    const Result<QString> added =
        runClaude({QStringLiteral("mcp"), QStringLiteral("add"), QStringLiteral("--scope"),
                   QStringLiteral("user"), serverName, QStringLiteral("--"), helperPath()});
    if (!added) return added.error();
    return QString();
}

Result<bool> AgentClientInstaller::disconnectClaudeCode() const {
    const Result<QString> removed =
        runClaude({QStringLiteral("mcp"), QStringLiteral("remove"), QStringLiteral("--scope"),
                   QStringLiteral("user"), serverName});
    if (!removed) return removed.error();
    return true;
}
