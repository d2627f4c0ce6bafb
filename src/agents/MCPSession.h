#pragma once

#include "agents/AgentToolProvider.h"
#include "agents/PeerIdentity.h"

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QJsonObject>
#include <QObject>
#include <QSet>
#include <QUrl>
#include <QUuid>

#include <functional>
#include <memory>
#include <optional>

class AgentChannel;
namespace JsonMessage {
struct Message;
}

// The Model Context Protocol over one trusted agent connection: JSON-RPC 2.0 requests
// in, replies out. It answers the protocol's own requests, hands tools/call to the tool
// provider and keeps what the agents screen shows about the client. Main thread only.
class MCPSession : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString displayName READ displayName NOTIFY changed)
    Q_PROPERTY(int callCount READ callCount NOTIFY changed)
public:
    static constexpr auto defaultProtocolVersion = "2025-06-18";

    // `connection` must outlive the session; the server makes it the session's child.
    MCPSession(AgentChannel* connection, PeerIdentity peer, std::shared_ptr<AgentToolProvider> tools,
               QObject* parent = nullptr);
    ~MCPSession() override;

    // One received line.
    void receive(const QByteArray& data);

    // {"jsonrpc": "2.0", "id": id, "result": result}; `id` is JSON text.
    void sendResult(const QByteArray& id, const QJsonObject& result);
    // {"jsonrpc": "2.0", "id": id or null, "error": {"code": code, "message": message}}
    void sendError(const std::optional<QByteArray>& id, int code, const QString& message);
    // {"jsonrpc": "2.0", "method": method, "params": params}
    void notify(const QString& method, const QJsonObject& params);
    // "notifications/progress" for a caller's token (JSON text, kept exactly).
    void notifyProgress(const QByteArray& progressToken, double progress, std::optional<double> total = {},
                        const QString& message = {});

    // Cancels every running tool call; the connection has closed.
    void cancelAll();

    // Asks `question` once at a time: calls arriving while it is open get the same
    // answer. `question` answers through the function it is given.
    using Answer = std::function<void(bool)>;
    void awaitApproval(const std::function<void(Answer)>& question, Answer then);

    const QUuid& id() const { return m_id; }
    const PeerIdentity& peer() const { return m_peer; }
    AgentChannel* connection() const { return m_connection; }
    QDateTime connectedAt() const { return m_connectedAt; }
    const std::optional<QString>& clientName() const { return m_clientName; }
    const std::optional<QString>& clientVersion() const { return m_clientVersion; }
    int callCount() const { return m_callCount; }
    std::optional<QDateTime> lastActivity() const { return m_lastActivity; }
    QString protocolVersion() const { return m_protocolVersion; }
    int runningCount() const { return static_cast<int>(m_running.size()); }

    QString displayName() const;
    QString approvalKey() const;
    static std::optional<QString> friendlyName(const std::optional<QString>& name);

    // What the access policy and the tools keep per client.
    bool denied = false;
    QSet<QString> ownedCaptures;
    std::optional<QUrl> lastRecording;
    bool lastRecordingReturned = false;

    static const char* const instructions;

signals:
    // Name, version, call count or last activity changed.
    void changed();

private:
    void handle(const JsonMessage::Message& message);
    void initialize(const QJsonObject& params);
    void callTool(const QByteArray& id, const JsonMessage::Message& message);
    void send(const QByteArray& message);

    const QUuid m_id = QUuid::createUuid();
    AgentChannel* m_connection;
    PeerIdentity m_peer;
    std::shared_ptr<AgentToolProvider> m_tools;
    const QDateTime m_connectedAt = QDateTime::currentDateTime();
    std::optional<QString> m_clientName;
    std::optional<QString> m_clientVersion;
    int m_callCount = 0;
    std::optional<QDateTime> m_lastActivity;
    QString m_protocolVersion = QString::fromLatin1(defaultProtocolVersion);
    QHash<QString, std::shared_ptr<ToolCancellation>> m_running;
    std::optional<std::vector<Answer>> m_pendingApproval; // callers waiting for the open question
};
