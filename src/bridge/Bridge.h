#pragma once

// The pieces of pictavia-mcp that decide something, apart from its main loop.

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

namespace bridge {

// The exact text of the id of every request in a line: the object's, or each object's
// of a batch, leaving out notifications (no id, or null). A line that is not readable
// gives one "null", since it still deserves an answer.
std::vector<std::string> requestIds(std::string_view line);

// {"jsonrpc":"2.0","id":ID,"error":{"code":-32000,"message":MESSAGE}}
std::string errorReply(std::string_view id, std::string_view message);

// The environment to start Pictavia with: this process's, plus the desktop session's
// variables (display, D-Bus, XDG folders, locale) that AI clients leave out, taken from
// the nearest ancestor that has a display. Empty when no display is known at all.
std::vector<std::string> launchEnvironment(const std::vector<std::string>& own, pid_t parent,
                                           const std::string& procRoot = "/proc");

} // namespace bridge
