#include "platform/posix/AgentSocketPath.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

namespace posix {

std::string agentSocketPath(std::string_view home, uid_t uid) {
    while (!home.empty() && home.back() == '/')
        home.remove_suffix(1);
    std::string path(home);
    path += "/.local/share/Pictavia/agent.sock";
    if (path.size() <= maxAgentSocketPath) return path;
    return "/tmp/pictavia-" + std::to_string(uid) + "/pictavia-agent.sock";
}

std::string agentSocketPath() {
    const uid_t uid = ::getuid();
    const char* home = std::getenv("HOME");
    if (home && *home) return agentSocketPath(home, uid);
    if (const passwd* entry = ::getpwuid(uid); entry && entry->pw_dir)
        return agentSocketPath(entry->pw_dir, uid);
    return agentSocketPath("/", uid);
}

} // namespace posix
