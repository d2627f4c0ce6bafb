#pragma once

#include <QStringList>

// `pictavia agents status|connect|disconnect ...`: Pictavia's MCP server in the AI clients'
// configurations. Returns the process exit code.
int runAgentsCommand(const QStringList& arguments);
