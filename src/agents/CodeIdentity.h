#pragma once

#include <QString>

#include <sys/types.h>

// Whether the process on the other end of an agent socket is Pictavia's own bridge.
//
// A peer is trusted when its executable (/proc/PID/exe) is the pictavia-mcp installed
// beside the running pictavia. For development, `pictavia --trust-any-agent` or
// PICTAVIA_TRUST_ANY_AGENT=1 in the environment trusts every peer of the same user
// instead (an MCP inspector, a bridge run from another build folder).
namespace CodeIdentity {

struct Policy {
    QString bridgePath; // the trusted executable; empty trusts nothing by path
    bool trustAnyPeer = false;
};

// The policy of this process: the pictavia-mcp beside its own executable, and the
// development switch. The bridge path is found once, on first use.
Policy ownPolicy();

// Turns the development switch on (the --trust-any-agent option).
void setTrustAnyPeer(bool trust);

// The peer of a connected socket, by its process id from SO_PEERCRED.
bool peerIsTrusted(int fd);
bool peerIsTrusted(int fd, const Policy& policy);
// A process by id.
bool processIsTrusted(pid_t pid, const Policy& policy);

} // namespace CodeIdentity
