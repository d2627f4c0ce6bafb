#pragma once

#include "agents/AgentTool.h"
#include "agents/AgentToolProvider.h"

#include <QHash>

#include <vector>

class AgentAccess;

// Every tool agents can call, in one catalogue: listed for tools/list, dispatched for
// tools/call behind the client gate, counted, logged in the activity list and shaped into
// MCP results. Main thread only.
class AgentTools : public AgentToolProvider {
public:
    // The shared access policy and the built-in groups.
    AgentTools();
    // For tests: another policy object and tool list.
    AgentTools(AgentAccess& access, std::vector<AgentTool> tools);

    // The built-in groups, in catalogue order (status, capture, recording, video, image,
    // library, settings).
    static std::vector<AgentTool> builtIn();

    const std::vector<AgentTool>& all() const { return m_tools; }
    const AgentTool* byName(const QString& name) const;

    QJsonArray list() const override;
    void call(const ToolCallRequest& request, ToolCallDone done) override;

    // "Unknown tool “name”. Call tools/list for the available tools."
    static QString unknownToolMessage(const QString& name);
    // The MCP result of an outcome.
    static QJsonObject resultOf(const ToolOutcome& outcome);

private:
    AgentAccess& m_access;
    std::vector<AgentTool> m_tools;
    QHash<QString, size_t> m_index;
};

// Each group of tools lives in its own file under tools/ and defines
// `std::vector<AgentTool> AgentToolGroups::<group>()`, its tools in order. This list puts
// the groups in catalogue order (status, capture, recording, video, image, library with
// the output tools, settings); a new group is one more line here.
#define PICTAVIA_AGENT_TOOL_GROUPS(GROUP)                                                                    \
    GROUP(status)                                                                                            \
    GROUP(capture)                                                                                           \
    GROUP(recording)                                                                                         \
    GROUP(video)                                                                                             \
    GROUP(image)                                                                                             \
    GROUP(library)                                                                                           \
    GROUP(settings)

namespace AgentToolGroups {
#define PICTAVIA_DECLARE_TOOL_GROUP(group) std::vector<AgentTool> group();
PICTAVIA_AGENT_TOOL_GROUPS(PICTAVIA_DECLARE_TOOL_GROUP)
#undef PICTAVIA_DECLARE_TOOL_GROUP
} // namespace AgentToolGroups
