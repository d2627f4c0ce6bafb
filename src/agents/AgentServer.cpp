#include "agents/AgentServer.h"

#include "agents/AgentConnection.h"
#include "agents/AgentSocket.h"
#include "agents/MCPSession.h"
#include "platform/posix/UnixSocket.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSocketNotifier>
#include <QThreadPool>
#include <QTimer>

#include <sys/stat.h>
#include <unistd.h>

const char* const AgentServer::untrustedReply =
    R"({"jsonrpc":"2.0","id":null,"error":{"code":-32001,"message":"Only Pictavia's own pictavia-mcp helper may connect."}})";

QByteArray AgentServer::tooManyReply(int maxConnections) {
    return R"({"jsonrpc":"2.0","id":null,"error":{"code":-32002,"message":"Pictavia already serves )" +
           QByteArray::number(maxConnections) +
           R"( AI agent connections. Close one of them, then try again."}})";
}

namespace {

QString errorText(int error) {
    return QString::fromLocal8Bit(posix::errorText(error).c_str());
}

} // namespace

AgentServer& AgentServer::shared() {
    static AgentServer* server = new AgentServer(Options{});
    return *server;
}

AgentServer::AgentServer(Options options, QObject* parent)
    : QObject(parent), m_options(std::move(options)), m_identify(new QThreadPool(this)) {
    m_identify->setMaxThreadCount(1);
    if (!m_options.tools) m_options.tools = std::make_shared<NoAgentTools>();
}

AgentServer::~AgentServer() {
    m_identify->waitForDone();
    stop();
}

void AgentServer::setToolProvider(std::shared_ptr<AgentToolProvider> tools) {
    m_options.tools = tools ? std::move(tools) : std::make_shared<NoAgentTools>();
}

void AgentServer::fail(const QString& message) {
    m_lastError = message;
    emit lastErrorChanged();
}

void AgentServer::start() {
    if (listening()) return;
    m_socketPath = m_options.socketPath.isEmpty() ? AgentSocket::path() : m_options.socketPath;
    const QByteArray path = QFile::encodeName(m_socketPath);
    const QString folder = QFileInfo(m_socketPath).absolutePath();
    if (QDir().mkpath(folder) && folder.startsWith(QStringLiteral("/tmp/")))
        ::chmod(QFile::encodeName(folder).constData(), 0700); // the shared fallback folder: ours only

    struct stat existing {};
    if (::lstat(path.constData(), &existing) == 0) {
        if (posix::isServed(path.toStdString())) {
            fail(QStringLiteral("Another copy of Pictavia is already serving AI agents."));
            return;
        }
        ::unlink(path.constData()); // left by a copy that is gone
    }

    const auto listened = posix::listenAt(path.toStdString(), 16, 0600);
    if (const auto* failure = std::get_if<posix::ListenFailure>(&listened)) {
        const QString reason = errorText(failure->error);
        switch (failure->step) {
        case posix::ListenStep::Socket:
            fail(QStringLiteral("Could not create the agent socket (%1).").arg(reason));
            break;
        case posix::ListenStep::Bind:
            fail(QStringLiteral("Could not open the agent socket (%1).").arg(reason));
            break;
        case posix::ListenStep::Listen:
            fail(QStringLiteral("Could not listen for agents (%1).").arg(reason));
            break;
        }
        return;
    }
    m_listenFD = std::get<int>(listened);
    m_acceptNotifier = new QSocketNotifier(m_listenFD, QSocketNotifier::Read, this);
    connect(m_acceptNotifier, &QSocketNotifier::activated, this, &AgentServer::acceptPending);
    const bool hadError = m_lastError.has_value();
    m_lastError.reset();
    emit listeningChanged();
    if (hadError) emit lastErrorChanged();
}

void AgentServer::stop() {
    if (m_acceptNotifier) {
        m_acceptNotifier->setEnabled(false);
        delete m_acceptNotifier;
        m_acceptNotifier = nullptr;
    }
    const bool wasListening = listening();
    if (wasListening) {
        ::close(m_listenFD);
        m_listenFD = -1;
        ::unlink(QFile::encodeName(m_socketPath).constData());
    }
    const QList<MCPSession*> sessions = std::exchange(m_sessions, {});
    for (MCPSession* session : sessions) {
        session->cancelAll();
        delete session; // its connection with it
    }
    for (const QPointer<AgentConnection>& connection : std::exchange(m_untrusted, {}))
        delete connection.data();
    if (!sessions.isEmpty()) emit sessionsChanged();
    if (wasListening) emit listeningChanged();
}

void AgentServer::acceptPending() {
    // Every waiting connection in one pass.
    while (const auto fd = posix::acceptPending(m_listenFD)) {
        const auto peer = posix::peerCredentials(*fd);
        if (!peer || peer->uid != ::geteuid()) {
            ::close(*fd); // another user: nothing is said
            continue;
        }
        if (connectionCount() >= m_options.maxConnections) {
            const QByteArray line = tooManyReply(m_options.maxConnections) + '\n';
            posix::sendSome(*fd, line.constData(),
                            static_cast<size_t>(line.size())); // fits a new socket's buffer
            ::close(*fd);
            continue;
        }
        const int accepted = *fd;
        const pid_t pid = peer->pid;
        ++m_identifying;
        const Options options = m_options;
        QPointer self(this);
        m_identify->start([self, accepted, pid, options] {
            const CodeIdentity::Policy policy = options.trust.value_or(CodeIdentity::ownPolicy());
            const bool trusted = CodeIdentity::processIsTrusted(pid, policy);
            const PeerIdentity identity =
                trusted ? PeerIdentity::resolve(pid, options.hosts.value_or(PeerIdentity::Sources::system()))
                        : PeerIdentity{pid, {}, {}, {}, {}};
            const bool queued = self && QMetaObject::invokeMethod(
                                            self.data(),
                                            [self, accepted, trusted, identity] {
                                                if (self) self->adopt(accepted, trusted, identity);
                                            },
                                            Qt::QueuedConnection);
            if (!queued) ::close(accepted);
        });
    }
}

int AgentServer::connectionCount() const {
    return static_cast<int>(m_sessions.size() + m_untrusted.size()) + m_identifying;
}

void AgentServer::adopt(int fd, bool trusted, const PeerIdentity& peer) {
    --m_identifying;
    if (!listening()) { // stopped meanwhile
        ::close(fd);
        return;
    }
    auto* connection = new AgentConnection(fd);
    if (!trusted) {
        connection->setParent(this);
        m_untrusted.append(connection);
        connection->send(untrustedReply);
        connection->onClose = [this, connection] {
            m_untrusted.removeAll(connection);
            connection->deleteLater();
        };
        QTimer::singleShot(300, connection, [connection] { connection->close(); });
        return;
    }
    auto* session = new MCPSession(connection, peer, m_options.tools, this);
    session->setIdleLimits(m_options.idleLimits);
    connection->setParent(session);
    QPointer<MCPSession> weakSession(session);
    connection->onMessage = [weakSession](const QByteArray& message) {
        if (weakSession) weakSession->receive(message);
    };
    connection->onDrained = [weakSession] {
        if (weakSession) weakSession->channelDrained();
    };
    connection->onClose = [this, weakSession] {
        if (!weakSession) return;
        weakSession->cancelAll();
        m_sessions.removeAll(weakSession.data());
        weakSession->deleteLater();
        emit sessionsChanged();
    };
    connect(session, &MCPSession::changed, this, &AgentServer::sessionsChanged);
    m_sessions.append(session);
    emit sessionsChanged();
    connection->start();
}
