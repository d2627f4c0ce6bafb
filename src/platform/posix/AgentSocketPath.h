#pragma once

// Where the resident application serves AI agents, known to both ends from the user id
// and HOME alone: AI clients start pictavia-mcp with little more than HOME, LOGNAME,
// PATH, SHELL, TERM and USER in its environment, and the application itself may run
// with other XDG_* directories than the client, so neither looks at them.

#include <sys/types.h>

#include <string>
#include <string_view>

namespace posix {

// The longest socket path used as is, in UTF-8 bytes; longer ones move to /tmp.
constexpr std::size_t maxAgentSocketPath = 99;

// HOME/.local/share/Pictavia/agent.sock, or /tmp/pictavia-UID/pictavia-agent.sock when
// that is longer than maxAgentSocketPath bytes.
std::string agentSocketPath(std::string_view home, uid_t uid);

// The same for this process: its real user id, and HOME (the password database's home
// directory when HOME is unset or empty).
std::string agentSocketPath();

} // namespace posix
