#include "agents/AgentSocket.h"

#include "platform/posix/AgentSocketPath.h"

#include <QFile>

namespace AgentSocket {

QString path() {
    return QFile::decodeName(QByteArray::fromStdString(posix::agentSocketPath()));
}

QString path(const QString& home, uid_t uid) {
    const QByteArray bytes = home.toUtf8();
    return QString::fromUtf8(posix::agentSocketPath(std::string_view(bytes.constData(), bytes.size()), uid));
}

} // namespace AgentSocket
