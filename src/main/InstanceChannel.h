#pragma once

#include "common/Result.h"

#include <QLocalServer>
#include <QLockFile>
#include <QObject>
#include <QStringList>

#include <memory>

// One Pictavia per user session: later starts hand their arguments to the running one
// over a socket in $XDG_RUNTIME_DIR, readable by this user only.
namespace InstanceChannel {

// $XDG_RUNTIME_DIR/pictavia/instance, or /tmp/pictavia-UID/instance without one.
QString socketPath();

// Hands the arguments to the running instance and waits until it has them. False when
// no instance is listening. Plain POSIX: it runs before any Qt application exists.
bool forward(const QStringList& arguments);

// Held by the instance for as long as it runs, so two starts at the same moment cannot
// both become it. None when another process has held it for seconds without answering.
std::unique_ptr<QLockFile> claim();

// The running instance's side: each connection brings one argument list.
class Server : public QObject {
    Q_OBJECT
public:
    // Takes over a socket left behind by an instance that has gone.
    Result<bool> listen();

signals:
    void received(const QStringList& arguments);

private:
    QLocalServer m_server;
};

} // namespace InstanceChannel
