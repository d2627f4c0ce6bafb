#pragma once

#include <QStringList>

// `pictavia history search|keep|unkeep|delete ...`: the searchable history from scripts.
// Returns the process exit code.
int runHistoryCommand(const QStringList& arguments);
