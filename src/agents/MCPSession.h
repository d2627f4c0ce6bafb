#pragma once

#include "agents/AgentToolProvider.h"
#include "agents/PeerIdentity.h"

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QJsonObject>
#include <QObject>
#include <QQueue>
#include <QSet>
#include <QTimer>
#include <QUrl>
#include <QUuid>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

class AgentChannel;
namespace JsonMessage {
struct Message;
class Batch;
} // namespace JsonMessage

// The Model Context Protocol over one trusted agent connection: JSON-RPC 2.0 requests
// in, replies out. It answers the protocol's own requests, hands tools/call to the tool
// provider and keeps what the agents screen shows about the client. Main thread only.
//
// Lines are answered in the order they came. A batch is answered a slice of elements at a
// time through the event loop, so other connections get their turn, and waits whenever
// the peer has not yet taken maxBacklog bytes of replies, so its replies never pile up in
// memory. While answers are owed, the channel stops reading. A session with nothing in
// hand for its idle limit is closed; one waiting on a tool call or on the user's answer
// is not idle.
class MCPSession : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString displayName READ displayName NOTIFY changed)
    Q_PROPERTY(int callCount READ callCount NOTIFY changed)
public:
    static constexpr auto defaultProtocolVersion = "2025-06-18";
    static constexpr int sliceSize = 32;
    static constexpr qsizetype maxBacklog = 1024 * 1024;

    // Real MCP clients say "initialize" as soon as they start, so a connection silent for a
    // minute before that is no client. After it, a person may leave an agent for hours
    // between questions, and closing its connection breaks the client until it restarts;
    // a day without a word means it was forgotten.
    struct IdleLimits {
        std::chrono::milliseconds beforeInitialize = std::chrono::minutes(1);
        std::chrono::milliseconds afterInitialize = std::chrono::hours(24);
    };

    // `connection` must outlive the session; the server makes it the session's child.
    MCPSession(AgentChannel* connection, PeerIdentity peer, std::shared_ptr<AgentToolProvider> tools,
               QObject* parent = nullptr);
    ~MCPSession() override;

    // One received line.
    void receive(const QByteArray& data);
    // The channel has sent everything it held: answering goes on.
    void channelDrained();
    // Received lines or batch elements still to answer.
    bool hasWaiting() const;

    void setIdleLimits(IdleLimits limits);

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

signals:
    // Name, version, call count or last activity changed.
    void changed();

private:
    void answerWaiting();
    void answerLine(const QByteArray& line);
    void handle(const JsonMessage::Message& message);
    void restartIdleTimer();
    void initialize(const QJsonObject& params);
    void callTool(const QByteArray& id, const JsonMessage::Message& message);
    void send(const QByteArray& message);
    void sendResultText(const QByteArray& id, const QByteArray& result);

    const QUuid m_id = QUuid::createUuid();
    AgentChannel* m_connection;
    PeerIdentity m_peer;
    std::shared_ptr<AgentToolProvider> m_tools;
    const QDateTime m_connectedAt = QDateTime::currentDateTime();
    std::optional<QString> m_clientName;
    std::optional<QString> m_clientVersion;
    bool m_initialized = false;
    int m_callCount = 0;
    std::optional<QDateTime> m_lastActivity;
    QString m_protocolVersion = QString::fromLatin1(defaultProtocolVersion);
    QHash<QString, std::shared_ptr<ToolCancellation>> m_running;
    std::optional<std::vector<Answer>> m_pendingApproval; // callers waiting for the open question

    QQueue<QByteArray> m_inbox;                  // lines received, not yet answered
    std::unique_ptr<JsonMessage::Batch> m_batch; // the batch being answered
    bool m_answering = false;                    // inside answerWaiting
    bool m_sliceScheduled = false;
    bool m_waitingForDrain = false;
    std::optional<QByteArray> m_toolList; // the tools/list result, serialised once: the list never changes
    IdleLimits m_idleLimits;
    QTimer m_idleTimer;
};
