#pragma once

#include "agents/AgentToolProvider.h"
#include "agents/CodeIdentity.h"
#include "agents/MCPSession.h"
#include "agents/PeerIdentity.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>

#include <memory>
#include <optional>

class AgentConnection;
class QSocketNotifier;
class QThreadPool;

// Serves AI agents on a Unix-domain socket (AgentSocket::path()) while the application
// runs. Every connection of this user whose peer is the trusted bridge becomes an
// MCPSession; others of this user get one error line and are closed; those of other
// users are closed without a word. Past maxConnections open at once, a new connection
// gets one error line saying so and is closed. Main thread.
class AgentServer : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool listening READ listening NOTIFY listeningChanged)
public:
    struct Options {
        QString socketPath;                         // AgentSocket::path() when empty
        std::optional<CodeIdentity::Policy> trust;  // CodeIdentity::ownPolicy() on each connection when unset
        std::optional<PeerIdentity::Sources> hosts; // PeerIdentity::Sources::system() when unset
        std::shared_ptr<AgentToolProvider> tools;   // no tools when unset
        // Each connection holds a reader, a writer thread and up to a 64 MiB message; a
        // person runs a handful of AI clients, each with one connection.
        int maxConnections = 32;
        MCPSession::IdleLimits idleLimits;
    };

    static AgentServer& shared();
    explicit AgentServer(Options options, QObject* parent = nullptr);
    AgentServer() : AgentServer(Options{}) {}
    ~AgentServer() override;

    void start();
    void stop();

    bool listening() const { return m_listenFD >= 0; }
    // The last start-up failure; none after a successful start.
    const std::optional<QString>& lastError() const { return m_lastError; }
    // Live sessions in order of connection.
    const QList<MCPSession*>& sessions() const { return m_sessions; }
    QString socketPath() const { return m_socketPath; }

    // Tools for sessions created from now on.
    void setToolProvider(std::shared_ptr<AgentToolProvider> tools);

    static const char* const untrustedReply;
    // The line a connection past maxConnections gets.
    static QByteArray tooManyReply(int maxConnections);

signals:
    void listeningChanged();
    void lastErrorChanged();
    // A session came or went, or one of them changed (its name, its calls).
    void sessionsChanged();

private:
    void acceptPending();
    void adopt(int fd, bool trusted, const PeerIdentity& peer);
    int connectionCount() const;
    void fail(const QString& message);

    Options m_options;
    QString m_socketPath;
    int m_listenFD = -1;
    QSocketNotifier* m_acceptNotifier = nullptr;
    // Looks at each peer (trust, host application) off the main thread, one at a time,
    // so sessions keep the order of their connections.
    QThreadPool* m_identify;
    int m_identifying = 0; // connections handed to m_identify, not adopted yet
    std::optional<QString> m_lastError;
    QList<MCPSession*> m_sessions;
    QList<QPointer<AgentConnection>> m_untrusted;
};
