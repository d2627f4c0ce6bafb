#include "platform/wayland/PortalRequest.h"

#include <QCoreApplication>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QEventLoop>
#include <QTimer>

#include <atomic>

namespace platform::wayland {

namespace {

const QString requestInterface = QStringLiteral("org.freedesktop.portal.Request");

// Waits for one Request's Response signal.
class ResponseWaiter : public QObject {
    Q_OBJECT
public:
    bool answered = false;
    uint code = 2;
    QVariantMap results;

    void wait(std::chrono::milliseconds timeout) {
        if (answered) return;
        QTimer::singleShot(timeout, &m_loop, &QEventLoop::quit);
        m_loop.exec();
    }

public slots:
    void response(uint responseCode, const QVariantMap& responseResults) {
        answered = true;
        code = responseCode;
        results = responseResults;
        m_loop.quit();
    }

private:
    QEventLoop m_loop;
};

// The object path the portal gives a request made with `token`, known before the call.
QString requestPath(const QDBusConnection& bus, const QString& token) {
    QString sender = bus.baseService();
    sender.remove(0, 1).replace(u'.', u'_');
    return QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2").arg(sender, token);
}

bool listen(QDBusConnection& bus, const QString& path, ResponseWaiter* waiter) {
    return bus.connect(portalService, path, requestInterface, QStringLiteral("Response"), waiter,
                       SLOT(response(uint, QVariantMap)));
}

void stopListening(QDBusConnection& bus, const QString& path, ResponseWaiter* waiter) {
    bus.disconnect(portalService, path, requestInterface, QStringLiteral("Response"), waiter,
                   SLOT(response(uint, QVariantMap)));
}

} // namespace

bool PortalAnswer::portalMissing() const {
    if (outcome != Outcome::callFailed) return false;
    const auto type = error.type();
    return type == QDBusError::ServiceUnknown || type == QDBusError::UnknownInterface ||
           type == QDBusError::UnknownMethod || type == QDBusError::UnknownObject;
}

QString portalToken() {
    static std::atomic<unsigned> counter{0};
    return QStringLiteral("pictavia%1_%2").arg(QCoreApplication::applicationPid()).arg(++counter);
}

PortalAnswer callPortalRequest(QDBusConnection& bus, const QString& interface, const QString& method,
                               const QList<QVariant>& arguments, QVariantMap options,
                               std::chrono::milliseconds timeout) {
    const QString token = portalToken();
    options.insert(QStringLiteral("handle_token"), token);
    ResponseWaiter waiter;
    QString path = requestPath(bus, token);
    listen(bus, path, &waiter);

    QDBusMessage call = QDBusMessage::createMethodCall(portalService, portalPath, interface, method);
    QList<QVariant> all = arguments;
    all << options;
    call.setArguments(all);
    PortalAnswer answer;
    const QDBusReply<QDBusObjectPath> handle = bus.call(call, QDBus::Block, int(timeout.count()));
    if (!handle.isValid()) {
        stopListening(bus, path, &waiter);
        answer.outcome = PortalAnswer::Outcome::callFailed;
        answer.error = handle.error();
        return answer;
    }
    // Portals older than the handle_token convention choose the path themselves.
    if (handle.value().path() != path) {
        stopListening(bus, path, &waiter);
        path = handle.value().path();
        listen(bus, path, &waiter);
    }
    waiter.wait(timeout);
    stopListening(bus, path, &waiter);
    if (!waiter.answered) return answer;
    answer.outcome = PortalAnswer::Outcome::answered;
    answer.code = waiter.code;
    answer.results = waiter.results;
    return answer;
}

} // namespace platform::wayland

#include "PortalRequest.moc"
