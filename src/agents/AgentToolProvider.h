#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QPointer>
#include <QString>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

class MCPSession;

// Set when the client cancels a running tool call or goes away. Long tools look at it
// between steps; a tool that waits on something else can be told at once.
class ToolCancellation {
public:
    bool isCancelled() const { return m_cancelled; }
    // Runs `handler` on cancellation, or now when it has happened already.
    void onCancel(std::function<void()> handler);
    void cancel();

private:
    bool m_cancelled = false;
    std::vector<std::function<void()>> m_handlers;
};

struct ToolCallRequest {
    QString name;
    QJsonObject arguments;
    // The exact JSON text of params/_meta/progressToken, for progress notifications.
    std::optional<QByteArray> progressToken;
    QPointer<MCPSession> session;
    std::shared_ptr<ToolCancellation> cancellation;
};

// The MCP result object of a call: {"content": [...], "isError": ...}.
using ToolCallDone = std::function<void(const QJsonObject& result)>;

// The tools agents can call. Everything runs on the main thread; a call answers `done`
// exactly once, then or later.
class AgentToolProvider {
public:
    virtual ~AgentToolProvider() = default;
    // The "tools" array of tools/list.
    virtual QJsonArray list() const = 0;
    virtual void call(const ToolCallRequest& request, ToolCallDone done) = 0;

    // {"content": [{"type": "text", "text": message}], "isError": true}
    static QJsonObject errorResult(const QString& message);
};

// No tools: tools/list is empty and every call is answered as an unknown tool.
class NoAgentTools : public AgentToolProvider {
public:
    QJsonArray list() const override { return {}; }
    void call(const ToolCallRequest& request, ToolCallDone done) override;
};
