#pragma once

#include "common/RawValues.h"

#include <QColor>
#include <QString>

#include <array>
#include <optional>

// The AI clients whose MCP configuration Pictavia can add itself to.
enum class AgentClient { claudeDesktop, claudeCode, codex, cursor, vscode, windsurf };

namespace AgentClients {

// In the order the agents screen and `pictavia agents status` list them.
inline constexpr std::array<AgentClient, 6> all{AgentClient::claudeDesktop, AgentClient::claudeCode,
                                                AgentClient::codex,         AgentClient::cursor,
                                                AgentClient::vscode,        AgentClient::windsurf};

inline constexpr RawValues<AgentClient, 6> names{{{
    {AgentClient::claudeDesktop, "claudeDesktop"},
    {AgentClient::claudeCode, "claudeCode"},
    {AgentClient::codex, "codex"},
    {AgentClient::cursor, "cursor"},
    {AgentClient::vscode, "vscode"},
    {AgentClient::windsurf, "windsurf"},
}}};

// The raw name ignoring case, so that "vscode", "VSCode" and "claudecode" all work on
// the command line.
std::optional<AgentClient> named(const QString& text);

QString displayName(AgentClient client);

// The accent of the client's card on the agents screen.
QColor tint(AgentClient client);

} // namespace AgentClients
