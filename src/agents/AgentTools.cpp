#include "agents/AgentTools.h"

#include "agents/AgentAccess.h"
#include "agents/MCPSession.h"
#include "app/Usage.h"

#include <exception>

namespace {

QString errorText(const Error& error) {
    return QStringLiteral("%1 [%2 %3]").arg(error.message, error.domain).arg(error.code);
}

} // namespace

AgentTools::AgentTools() : AgentTools(AgentAccess::shared(), builtIn()) {}

AgentTools::AgentTools(AgentAccess& access, std::vector<AgentTool> tools)
    : m_access(access), m_tools(std::move(tools)) {
    for (size_t i = 0; i < m_tools.size(); ++i)
        m_index.insert(m_tools[i].name, i);
}

std::vector<AgentTool> AgentTools::builtIn() {
    std::vector<AgentTool> tools;
    const auto add = [&tools](std::vector<AgentTool> group) {
        for (AgentTool& tool : group)
            tools.push_back(std::move(tool));
    };
#define PICTAVIA_ADD_TOOL_GROUP(group) add(AgentToolGroups::group());
    PICTAVIA_AGENT_TOOL_GROUPS(PICTAVIA_ADD_TOOL_GROUP)
#undef PICTAVIA_ADD_TOOL_GROUP
    return tools;
}

const AgentTool* AgentTools::byName(const QString& name) const {
    const auto it = m_index.constFind(name);
    return it == m_index.constEnd() ? nullptr : &m_tools[*it];
}

QJsonArray AgentTools::list() const {
    QJsonArray tools;
    for (const AgentTool& tool : m_tools)
        tools.append(tool.listing());
    return tools;
}

QString AgentTools::unknownToolMessage(const QString& name) {
    return QStringLiteral("Unknown tool “%1”. Call tools/list for the available tools.").arg(name);
}

QJsonObject AgentTools::resultOf(const ToolOutcome& outcome) {
    if (const auto* output = std::get_if<ToolOutput>(&outcome)) return output->result(false);
    if (const auto* refusal = std::get_if<ToolError>(&outcome)) return ToolOutput::error(refusal->message);
    return ToolOutput::error(errorText(std::get<Error>(outcome)));
}

void AgentTools::call(const ToolCallRequest& request, ToolCallDone done) {
    const AgentTool* tool = byName(request.name);
    if (!tool) {
        done(ToolOutput::error(unknownToolMessage(request.name)));
        return;
    }
    if (!request.session) {
        done(ToolOutput::error(QStringLiteral("Cancelled.")));
        return;
    }
    const QString client = request.session->displayName();
    const QString name = tool->name;
    AgentAccess* access = &m_access;
    const QPointer<AgentAccess> accessAlive(access);
    const auto log = [access, accessAlive, client, name](const QString& summary, const QString& outcome) {
        if (!accessAlive) return;
        AgentAccess::ActivityEntry entry;
        entry.client = client;
        entry.tool = name;
        entry.summary = summary;
        entry.outcome = outcome;
        access->addActivity(std::move(entry));
    };
    // Tools live as long as the catalogue, which the server holds for its sessions' lifetime.
    const auto run = tool->run;
    // Screenshots announce themselves in their own confirmation; other changes get the notice here.
    const bool announced = !tool->readOnly && name != u"take_screenshot";
    const QString title = tool->title;
    m_access.authorizeClient(*request.session, [request, done, log, run, name, access, accessAlive, announced,
                                                client, title](std::optional<QString> refusal) {
        if (refusal) {
            log(QStringLiteral("Refused"), QStringLiteral("denied"));
            done(ToolOutput::error(*refusal));
            return;
        }
        Usage::count(QStringLiteral("agent.") + name);
        auto answered = std::make_shared<bool>(false);
        const ToolDone finish = [answered, done, log, access, accessAlive, announced, client,
                                 title](ToolOutcome outcome) {
            if (*answered) return;
            *answered = true;
            if (const auto* output = std::get_if<ToolOutput>(&outcome)) {
                log(output->summary.value_or(QString()), QStringLiteral("ok"));
                if (announced && accessAlive) access->announceAction(client + QStringLiteral(": ") + title);
            } else if (const auto* failure = std::get_if<ToolError>(&outcome))
                log(failure->message, failure->denied ? QStringLiteral("denied") : QStringLiteral("error"));
            else
                log(std::get<Error>(outcome).message, QStringLiteral("error"));
            done(resultOf(outcome));
        };
        ToolContext context{
            request.session, request.progressToken,
            request.cancellation ? request.cancellation : std::make_shared<ToolCancellation>(), access};
        try {
            context.checkCancelled();
            run(ToolArgs(request.arguments), context, finish);
        } catch (const ToolError& failure) {
            finish(failure);
        } catch (const std::exception& failure) {
            finish(Error{QString::fromUtf8(failure.what()), QStringLiteral("std"), 0});
        }
    });
}
