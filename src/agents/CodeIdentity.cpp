#include "agents/CodeIdentity.h"

#include "platform/posix/ProcessTable.h"
#include "platform/posix/UnixSocket.h"

#include <QFile>
#include <QFileInfo>

#include <atomic>

namespace CodeIdentity {

namespace {

std::atomic<bool> trustAnyFlag{false};

bool trustAnyFromEnvironment() {
    return qEnvironmentVariable("PICTAVIA_TRUST_ANY_AGENT") == u"1";
}

QString installedBridge() {
    static const QString path = [] {
        const QString own = QFile::decodeName(QByteArray::fromStdString(posix::ownExecutable()));
        if (own.isEmpty()) return QString();
        const QFileInfo bridge(QFileInfo(own).absolutePath() + QStringLiteral("/pictavia-mcp"));
        return bridge.canonicalFilePath(); // empty when it is not there
    }();
    return path;
}

} // namespace

Policy ownPolicy() {
    return Policy{installedBridge(), trustAnyFlag.load() || trustAnyFromEnvironment()};
}

void setTrustAnyPeer(bool trust) {
    trustAnyFlag = trust;
}

bool peerIsTrusted(int fd) {
    return peerIsTrusted(fd, ownPolicy());
}

bool peerIsTrusted(int fd, const Policy& policy) {
    const auto peer = posix::peerCredentials(fd);
    return peer && processIsTrusted(peer->pid, policy);
}

bool processIsTrusted(pid_t pid, const Policy& policy) {
    if (policy.trustAnyPeer) return true;
    if (policy.bridgePath.isEmpty() || pid <= 0) return false;
    // The link names the file the process runs now: a bridge replaced since it started
    // reads "... (deleted)" and is no longer this one.
    const auto executable = posix::executableOf(pid);
    const QString trusted = QFileInfo(policy.bridgePath).canonicalFilePath();
    return executable && !trusted.isEmpty() &&
           QFile::decodeName(QByteArray::fromStdString(*executable)) == trusted;
}

} // namespace CodeIdentity
