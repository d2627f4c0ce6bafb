#pragma once

#include <QString>

#include <sys/types.h>

// Where the agent socket lives. See posix::agentSocketPath.
namespace AgentSocket {

// This user's socket path.
QString path();

// The path for a home folder and user id: HOME/.local/share/Pictavia/agent.sock while
// that is at most 99 UTF-8 bytes, else /tmp/pictavia-UID/pictavia-agent.sock.
QString path(const QString& home, uid_t uid);

} // namespace AgentSocket
