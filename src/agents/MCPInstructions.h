#pragma once

#include <QJsonArray>
#include <QString>
#include <QStringList>

// The "instructions" an MCP client gets with its initialize result: what Pictavia is, what
// the tools it lists do and how to use them well. Written from the tool list, so that it
// never tells an agent about a tool the list does not have.
namespace MCPInstructions {

QString forTools(const QStringList& toolNames);
// The names in a tools/list "tools" array.
QString forTools(const QJsonArray& toolList);

} // namespace MCPInstructions
