#pragma once

#include "common/Result.h"

#include <QHash>
#include <QLockFile>
#include <QObject>
#include <QSocketNotifier>
#include <QStringList>

#include <memory>
#include <optional>

// One Pictavia per user session: later starts hand their arguments to the running one
// over a socket in $XDG_RUNTIME_DIR, readable by this user only.
namespace InstanceChannel {

// $XDG_RUNTIME_DIR/pictavia/instance, or /tmp/pictavia-UID/instance without one.
QString socketPath();

// Hands the arguments to the running instance and waits until it has them. False when
// no instance is listening. It runs before any Qt application exists. Plain POSIX on
// both sides: Qt's local sockets would bring in its network stack and slow every start.
bool forward(const QStringList& arguments);

// Held by the instance for as long as it runs, so two starts at the same moment cannot
// both become it. None when another process has held it for seconds without answering.
std::unique_ptr<QLockFile> claim();

// One argument list from the bytes a connection sent: a line per argument, ended by an
// empty line. None while the end has not arrived.
std::optional<QStringList> decode(const QByteArray& message);

// The running instance's side: each connection brings one argument list.
class Server : public QObject {
    Q_OBJECT
public:
    ~Server() override;
    // Takes over a socket left behind by an instance that has gone.
    Result<bool> listen();

signals:
    void received(const QStringList& arguments);

private:
    struct Connection {
        QSocketNotifier* notifier = nullptr;
        QByteArray buffer;
    };
    void accept();
    void read(int fd);

    int m_listener = -1;
    QHash<int, Connection> m_connections;
};

} // namespace InstanceChannel
