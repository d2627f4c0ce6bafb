#include "agents/MCPSession.h"

#include "agents/AgentConnection.h"
#include "agents/JsonMessage.h"
#include "agents/MCPInstructions.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace {

const QByteArray jsonrpc = QByteArrayLiteral("{\"jsonrpc\":\"2.0\",");

const char* const supportedVersions[] = {"2024-11-05", "2025-03-26", "2025-06-18", "2025-11-25"};

QByteArray compact(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QString text(const QJsonValue& value) {
    return value.isString() ? value.toString() : QString();
}

} // namespace

MCPSession::MCPSession(AgentChannel* connection, PeerIdentity peer, std::shared_ptr<AgentToolProvider> tools,
                       QObject* parent)
    : QObject(parent), m_connection(connection), m_peer(std::move(peer)), m_tools(std::move(tools)) {
    if (!m_tools) m_tools = std::make_shared<NoAgentTools>();
    m_idleTimer.setSingleShot(true);
    connect(&m_idleTimer, &QTimer::timeout, this, [this] {
        if (m_connection) m_connection->close();
    });
    restartIdleTimer();
}

MCPSession::~MCPSession() {
    cancelAll();
}

void MCPSession::setIdleLimits(IdleLimits limits) {
    m_idleLimits = limits;
    restartIdleTimer();
}

void MCPSession::restartIdleTimer() {
    if (!m_running.isEmpty() || m_pendingApproval) {
        m_idleTimer.stop(); // waiting on a tool or on the user is not idle
        return;
    }
    m_idleTimer.start(m_initialized ? m_idleLimits.afterInitialize : m_idleLimits.beforeInitialize);
}

void MCPSession::receive(const QByteArray& data) {
    // Behind earlier lines it waits for their slices: one read's many lines must not
    // each answer a slice of a batch in the same turn of the event loop.
    const bool behind = hasWaiting();
    m_inbox.enqueue(data);
    restartIdleTimer();
    if (!behind) answerWaiting();
}

bool MCPSession::hasWaiting() const {
    return m_batch || !m_inbox.isEmpty();
}

void MCPSession::channelDrained() {
    restartIdleTimer(); // the peer is taking our replies
    if (std::exchange(m_waitingForDrain, false)) answerWaiting();
}

void MCPSession::answerWaiting() {
    if (m_answering) return; // called again from a handler: the outer call goes on
    m_answering = true;
    QPointer self(this);
    for (int budget = sliceSize; budget > 0 && hasWaiting();) {
        if (m_connection && m_connection->backlog() > maxBacklog) {
            m_waitingForDrain = true;
            break;
        }
        if (!m_batch) {
            answerLine(m_inbox.dequeue());
        } else if (const auto message = m_batch->next()) {
            handle(*message);
        } else {
            m_batch.reset();
            continue;
        }
        if (!self) return;
        --budget;
    }
    m_answering = false;
    restartIdleTimer(); // from what was answered: "initialize" changes the limit
    const bool more = hasWaiting();
    if (m_connection) m_connection->setReading(!more);
    if (more && !m_waitingForDrain && !m_sliceScheduled) {
        m_sliceScheduled = true; // the next slice after what else the event loop has
        QTimer::singleShot(0, this, [this] {
            m_sliceScheduled = false;
            answerWaiting();
        });
    }
}

void MCPSession::answerLine(const QByteArray& line) {
    auto parsed = JsonMessage::parse(line);
    if (!parsed) {
        sendError(std::nullopt, -32700, QStringLiteral("Parse error"));
        return;
    }
    switch (parsed->shape) {
    case JsonMessage::Parsed::Shape::Object:
        handle(*parsed->object);
        break;
    case JsonMessage::Parsed::Shape::Array:
        // Each element is answered on its own; no array of replies is formed.
        m_batch = std::make_unique<JsonMessage::Batch>(std::move(parsed->batch));
        break;
    case JsonMessage::Parsed::Shape::Other:
        sendError(std::nullopt, -32600, QStringLiteral("Invalid request"));
        break;
    }
}

void MCPSession::handle(const JsonMessage::Message& message) {
    std::optional<QByteArray> id = message.raw(QStringLiteral("id"));
    if (id && *id == "null") id.reset();
    const QString method = text(message.object.value(QStringLiteral("method")));
    const QJsonObject params = message.object.value(QStringLiteral("params")).toObject();

    if (method == u"initialize") {
        initialize(params);
        if (id) {
            const QJsonObject result{
                {QStringLiteral("protocolVersion"), m_protocolVersion},
                {QStringLiteral("capabilities"),
                 QJsonObject{{QStringLiteral("tools"), QJsonObject{{QStringLiteral("listChanged"), false}}}}},
                {QStringLiteral("serverInfo"),
                 QJsonObject{{QStringLiteral("name"), QStringLiteral("pictavia")},
                             {QStringLiteral("title"), QStringLiteral("Pictavia")},
                             {QStringLiteral("version"), QStringLiteral("1.0.0")}}},
                {QStringLiteral("instructions"), MCPInstructions::forTools(m_tools->list())}};
            sendResult(*id, result);
        }
    } else if (method == u"notifications/initialized") {
    } else if (method == u"ping" || method == u"logging/setLevel") {
        if (id) sendResult(*id, {});
    } else if (method == u"tools/list") {
        if (id) {
            if (!m_toolList) m_toolList = compact({{QStringLiteral("tools"), m_tools->list()}});
            sendResultText(*id, *m_toolList);
        }
    } else if (method == u"tools/call") {
        if (id) callTool(*id, message);
    } else if (method == u"notifications/cancelled") {
        if (const auto requestId = message.raw(QStringLiteral("params.requestId")))
            if (const auto task = m_running.take(JsonMessage::requestKey(*requestId))) task->cancel();
    } else if (method == u"resources/list") {
        if (id) sendResult(*id, {{QStringLiteral("resources"), QJsonArray()}});
    } else if (method == u"resources/templates/list") {
        if (id) sendResult(*id, {{QStringLiteral("resourceTemplates"), QJsonArray()}});
    } else if (method == u"prompts/list") {
        if (id) sendResult(*id, {{QStringLiteral("prompts"), QJsonArray()}});
    } else if (id) {
        sendError(id, -32601, QStringLiteral("Method not found: ") + method);
    }
}

void MCPSession::initialize(const QJsonObject& params) {
    const QJsonObject client = params.value(QStringLiteral("clientInfo")).toObject();
    const QJsonValue name = client.value(QStringLiteral("name"));
    const QJsonValue title = client.value(QStringLiteral("title"));
    m_clientName = name.isString()    ? std::optional(name.toString())
                   : title.isString() ? std::optional(title.toString())
                                      : std::nullopt;
    const QJsonValue version = client.value(QStringLiteral("version"));
    m_clientVersion = version.isString() ? std::optional(version.toString()) : std::nullopt;
    m_initialized = true;

    m_protocolVersion = QString::fromLatin1(defaultProtocolVersion);
    const QJsonValue requested = params.value(QStringLiteral("protocolVersion"));
    for (const char* supported : supportedVersions)
        if (requested.isString() && requested.toString() == QLatin1String(supported))
            m_protocolVersion = requested.toString();
    emit changed();
}

void MCPSession::callTool(const QByteArray& id, const JsonMessage::Message& message) {
    const QJsonObject params = message.object.value(QStringLiteral("params")).toObject();
    ToolCallRequest request;
    request.name = text(params.value(QStringLiteral("name")));
    request.arguments = params.value(QStringLiteral("arguments")).toObject();
    request.progressToken = message.raw(QStringLiteral("params._meta.progressToken"));
    request.session = this;
    request.cancellation = std::make_shared<ToolCancellation>();

    const QString key = JsonMessage::requestKey(id);
    ++m_callCount;
    m_lastActivity = QDateTime::currentDateTime();
    emit changed();
    // Calls are not serialised: each runs under its own key until it answers.
    m_running.insert(key, request.cancellation);
    restartIdleTimer();
    QPointer self(this);
    const std::weak_ptr<ToolCancellation> task = request.cancellation;
    m_tools->call(request, [self, id, key, task](const QJsonObject& result) {
        if (!self) return;
        const auto entry = self->m_running.constFind(key);
        if (entry != self->m_running.cend() && *entry == task.lock()) self->m_running.erase(entry);
        self->sendResult(id, result);
        self->restartIdleTimer();
    });
}

void MCPSession::cancelAll() {
    const auto running = std::exchange(m_running, {});
    for (const auto& task : running)
        task->cancel();
}

void MCPSession::awaitApproval(const std::function<void(Answer)>& question, Answer then) {
    if (m_pendingApproval) {
        m_pendingApproval->push_back(std::move(then));
        return;
    }
    m_pendingApproval.emplace();
    m_pendingApproval->push_back(std::move(then));
    restartIdleTimer();
    QPointer self(this);
    auto answered = std::make_shared<bool>(false);
    question([self, answered](bool allowed) {
        if (!self || *answered) return;
        *answered = true;
        auto waiting = std::move(*self->m_pendingApproval);
        self->m_pendingApproval.reset();
        self->restartIdleTimer();
        for (auto& caller : waiting)
            caller(allowed);
    });
}

void MCPSession::sendResult(const QByteArray& id, const QJsonObject& result) {
    sendResultText(id, compact(result));
}

void MCPSession::sendResultText(const QByteArray& id, const QByteArray& result) {
    send(jsonrpc + "\"id\":" + id + ",\"result\":" + result + '}');
}

void MCPSession::sendError(const std::optional<QByteArray>& id, int code, const QString& message) {
    const QJsonObject error{{QStringLiteral("code"), code}, {QStringLiteral("message"), message}};
    send(jsonrpc + "\"id\":" + id.value_or(QByteArrayLiteral("null")) + ",\"error\":" + compact(error) + '}');
}

void MCPSession::notify(const QString& method, const QJsonObject& params) {
    send(compact(QJsonObject{{QStringLiteral("jsonrpc"), QStringLiteral("2.0")},
                             {QStringLiteral("method"), method},
                             {QStringLiteral("params"), params}}));
}

void MCPSession::notifyProgress(const QByteArray& progressToken, double progress, std::optional<double> total,
                                const QString& message) {
    QJsonObject rest{{QStringLiteral("progress"), progress}};
    if (total) rest.insert(QStringLiteral("total"), *total);
    if (!message.isEmpty()) rest.insert(QStringLiteral("message"), message);
    // The token goes back exactly as the client wrote it.
    QByteArray params = compact(rest);
    params.insert(1, "\"progressToken\":" + progressToken + ',');
    send(jsonrpc + "\"method\":\"notifications/progress\",\"params\":" + params + '}');
}

void MCPSession::send(const QByteArray& message) {
    if (m_connection) m_connection->send(message);
}

std::optional<QString> MCPSession::friendlyName(const std::optional<QString>& name) {
    if (!name || name->isEmpty()) return std::nullopt;
    static const QHash<QString, QString> known{
        {QStringLiteral("claude-ai"), QStringLiteral("Claude")},
        {QStringLiteral("claude"), QStringLiteral("Claude")},
        {QStringLiteral("claude desktop"), QStringLiteral("Claude")},
        {QStringLiteral("claude-code"), QStringLiteral("Claude Code")},
        {QStringLiteral("cursor-vscode"), QStringLiteral("Cursor")},
        {QStringLiteral("cursor"), QStringLiteral("Cursor")},
        {QStringLiteral("visual studio code"), QStringLiteral("VS Code")},
        {QStringLiteral("vscode"), QStringLiteral("VS Code")},
        {QStringLiteral("visual studio code - insiders"), QStringLiteral("VS Code")},
        {QStringLiteral("windsurf-client"), QStringLiteral("Windsurf")},
        {QStringLiteral("windsurf"), QStringLiteral("Windsurf")},
        {QStringLiteral("codex-mcp-client"), QStringLiteral("Codex")},
        {QStringLiteral("codex"), QStringLiteral("Codex")},
        {QStringLiteral("codex_cli_rs"), QStringLiteral("Codex")},
    };
    return known.value(name->toLower(), *name);
}

QString MCPSession::displayName() const {
    const auto client = friendlyName(m_clientName);
    const auto& host = m_peer.hostAppName;
    if (client && host) {
        const bool related =
            client->contains(*host, Qt::CaseInsensitive) || host->contains(*client, Qt::CaseInsensitive);
        return related ? *client : *client + QStringLiteral(" (") + *host + u')';
    }
    if (host) return *host;
    if (client) return *client;
    return m_peer.launcherName.value_or(QStringLiteral("AI agent"));
}

QString MCPSession::approvalKey() const {
    return m_clientName ? m_clientName->toLower() : QStringLiteral("unknown");
}
