#include "main/AgentsCommand.h"

#include "agents/AgentClientInstaller.h"
#include "main/CommandLine.h"

#include <QCommandLineParser>

#include <cstdio>

namespace {

const char* const agentsUsage = R"(Usage: pictavia agents ACTION [CLIENT]

Adds Pictavia's MCP server (the pictavia-mcp helper beside this program) to the
configuration of an AI client, or takes it out again. Nothing is sent anywhere.

Actions:
  status [CLIENT]      whether each client (or one) has Pictavia: connected,
                       notConnected, outdated (another copy's helper) or
                       notInstalled, with the file that says so
  connect CLIENT       add Pictavia to the client, or point it at this copy
  disconnect CLIENT    take Pictavia out of the client

Clients: claudeDesktop, claudeCode, codex, cursor, vscode, windsurf.

Run "pictavia agents ACTION --help" for more on one action.
)";

QString clientList() {
    QStringList names;
    for (const AgentClient client : AgentClients::all)
        names << AgentClients::names.raw(client);
    return names.join(QStringLiteral(", "));
}

// Parses an action's command line; returns an exit code when it should stop here.
std::optional<int> parseClient(const QStringList& arguments, const QString& action,
                               const QString& description, bool required,
                               std::optional<AgentClient>* client) {
    QCommandLineParser parser;
    parser.setApplicationDescription(description + QStringLiteral("\n\nClients: ") + clientList() + u'.');
    parser.addPositionalArgument(QStringLiteral("CLIENT"), QStringLiteral("The AI client."),
                                 required ? QStringLiteral("CLIENT") : QStringLiteral("[CLIENT]"));
    if (const auto code = CommandLine::parse(parser, arguments, QStringLiteral("agents ") + action, 1))
        return code;
    const QStringList operands = parser.positionalArguments();
    if (operands.isEmpty()) {
        if (!required) return std::nullopt;
        return CommandLine::usageError(QStringLiteral("name a client: %1").arg(clientList()));
    }
    *client = AgentClients::named(operands.first());
    if (!*client)
        return CommandLine::usageError(
            QStringLiteral("unknown client \"%1\"; use one of %2").arg(operands.first(), clientList()));
    return std::nullopt;
}

int fail(const Error& error) {
    std::fprintf(stderr, "pictavia: %s\n", qPrintable(error.message));
    return CommandLine::failed;
}

int status(const QStringList& arguments) {
    std::optional<AgentClient> only;
    if (const auto code = parseClient(
            arguments, QStringLiteral("status"),
            QStringLiteral("Prints, for each AI client or for CLIENT, its name, whether it runs this\n"
                           "copy's pictavia-mcp (connected, notConnected, outdated or notInstalled),\n"
                           "its display name and its configuration file."),
            false, &only))
        return *code;
    const AgentClientInstaller installer;
    if (!installer.helperExists())
        std::fprintf(stderr, "pictavia: there is no pictavia-mcp helper at %s\n",
                     qPrintable(installer.helperPath()));
    for (const AgentClient client : AgentClients::all) {
        if (only && client != *only) continue;
        std::printf("%s\t%s\t%s\t%s\n", qPrintable(AgentClients::names.raw(client)),
                    qPrintable(AgentClientInstaller::statusNames.raw(installer.status(client))),
                    qPrintable(AgentClients::displayName(client)), qPrintable(installer.configFile(client)));
    }
    return CommandLine::ok;
}

int connect(const QStringList& arguments) {
    std::optional<AgentClient> client;
    if (const auto code = parseClient(
            arguments, QStringLiteral("connect"),
            QStringLiteral("Adds Pictavia's MCP server to CLIENT's configuration, or points an existing\n"
                           "entry at this copy. An existing file is kept beside itself with the suffix\n"
                           ".pictavia-backup; a file that is not plain JSON is left alone. Prints what\n"
                           "to do next in the client."),
            true, &client))
        return *code;
    const Result<QString> result = AgentClientInstaller().connect(*client);
    if (!result) return fail(result.error());
    std::printf("%s\n", qPrintable(*result));
    return CommandLine::ok;
}

int disconnect(const QStringList& arguments) {
    std::optional<AgentClient> client;
    if (const auto code = parseClient(
            arguments, QStringLiteral("disconnect"),
            QStringLiteral("Removes Pictavia's MCP server from CLIENT's configuration."), true, &client))
        return *code;
    const Result<bool> result = AgentClientInstaller().disconnect(*client);
    if (!result) return fail(result.error());
    const QString name = AgentClients::displayName(*client);
    if (*result)
        std::printf("Removed Pictavia from %s.\n", qPrintable(name));
    else
        std::printf("%s had no Pictavia entry.\n", qPrintable(name));
    return CommandLine::ok;
}

} // namespace

int runAgentsCommand(const QStringList& arguments) {
    const QString action = arguments.value(0);
    const QStringList rest = arguments.mid(1);
    if (action == u"status") return status(rest);
    if (action == u"connect") return connect(rest);
    if (action == u"disconnect") return disconnect(rest);
    if (action.isEmpty() || action == u"--help" || action == u"-h" || action == u"help") {
        std::fputs(agentsUsage, action.isEmpty() ? stderr : stdout);
        return action.isEmpty() ? CommandLine::usage : CommandLine::ok;
    }
    return CommandLine::usageError(
        QStringLiteral("unknown agents action \"%1\"; use status, connect or disconnect").arg(action));
}
