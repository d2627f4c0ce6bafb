#include "agents/AgentClient.h"

namespace AgentClients {

std::optional<AgentClient> named(const QString& text) {
    for (const AgentClient client : all)
        if (names.raw(client).compare(text, Qt::CaseInsensitive) == 0) return client;
    return std::nullopt;
}

QString displayName(AgentClient client) {
    switch (client) {
    case AgentClient::claudeDesktop:
        return QStringLiteral("Claude Desktop");
    case AgentClient::claudeCode:
        return QStringLiteral("Claude Code");
    case AgentClient::codex:
        return QStringLiteral("Codex");
    case AgentClient::cursor:
        return QStringLiteral("Cursor");
    case AgentClient::vscode:
        return QStringLiteral("VS Code");
    case AgentClient::windsurf:
        return QStringLiteral("Windsurf");
    }
    return {};
}

QColor tint(AgentClient client) {
    switch (client) {
    case AgentClient::claudeDesktop:
        return QColor(217, 119, 87); // Anthropic's clay
    case AgentClient::claudeCode:
        return QColor(193, 95, 60);
    case AgentClient::codex:
        return QColor(16, 163, 127);
    case AgentClient::cursor:
        return QColor(110, 110, 115); // Cursor's black would vanish on a dark window
    case AgentClient::vscode:
        return QColor(0, 122, 204);
    case AgentClient::windsurf:
        return QColor(9, 182, 162);
    }
    return {};
}

} // namespace AgentClients
