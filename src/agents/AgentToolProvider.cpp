#include "agents/AgentToolProvider.h"

void ToolCancellation::onCancel(std::function<void()> handler) {
    if (m_cancelled) {
        handler();
        return;
    }
    m_handlers.push_back(std::move(handler));
}

void ToolCancellation::cancel() {
    if (m_cancelled) return;
    m_cancelled = true;
    auto handlers = std::move(m_handlers);
    m_handlers.clear();
    for (auto& handler : handlers)
        handler();
}

QJsonObject AgentToolProvider::errorResult(const QString& message) {
    return QJsonObject{
        {QStringLiteral("content"), QJsonArray{QJsonObject{{QStringLiteral("type"), QStringLiteral("text")},
                                                           {QStringLiteral("text"), message}}}},
        {QStringLiteral("isError"), true}};
}

void NoAgentTools::call(const ToolCallRequest& request, ToolCallDone done) {
    done(errorResult(
        QStringLiteral("Unknown tool “%1”. Call tools/list for the available tools.").arg(request.name)));
}
