#include "platform/wayland/PortalScreenshot.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QEventLoop>
#include <QFile>
#include <QTimer>
#include <QUrl>
#include <QVariantMap>

#include <atomic>

namespace platform::wayland {

namespace {

const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
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

// The object path the portal gives a request made with `token`: known before the call, so
// the answer cannot arrive before we listen for it.
QString requestPath(const QDBusConnection& bus, const QString& token) {
    QString sender = bus.baseService();
    sender.remove(0, 1).replace(u'.', u'_');
    return QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2").arg(sender, token);
}

Error callFailed(const QDBusError& error) {
    if (error.type() == QDBusError::ServiceUnknown || error.type() == QDBusError::UnknownInterface ||
        error.type() == QDBusError::UnknownMethod || error.type() == QDBusError::UnknownObject)
        return Error{QStringLiteral("This desktop offers no screenshot portal: xdg-desktop-portal with a "
                                    "backend for this desktop must be running.")};
    return Error{QStringLiteral("The screenshot portal failed: %1").arg(error.message())};
}

bool listen(QDBusConnection& bus, const QString& path, ResponseWaiter* waiter) {
    return bus.connect(portalService, path, requestInterface, QStringLiteral("Response"), waiter,
                       SLOT(response(uint, QVariantMap)));
}

} // namespace

Result<QImage> takePortalScreenshot(std::chrono::milliseconds timeout) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return Error{QStringLiteral("There is no D-Bus session bus to reach the screenshot portal.")};

    static std::atomic<unsigned> counter{0};
    const QString token = QStringLiteral("pictavia%1").arg(++counter);
    ResponseWaiter waiter;
    QString path = requestPath(bus, token);
    listen(bus, path, &waiter);

    QDBusMessage call = QDBusMessage::createMethodCall(portalService, portalPath,
                                                       QStringLiteral("org.freedesktop.portal.Screenshot"),
                                                       QStringLiteral("Screenshot"));
    QVariantMap options{{QStringLiteral("handle_token"), token},
                        {QStringLiteral("interactive"), false},
                        {QStringLiteral("modal"), false}};
    call << QString() << options;
    const QDBusReply<QDBusObjectPath> handle = bus.call(call, QDBus::Block, int(timeout.count()));
    if (!handle.isValid()) {
        bus.disconnect(portalService, path, requestInterface, QStringLiteral("Response"), &waiter,
                       SLOT(response(uint, QVariantMap)));
        return callFailed(handle.error());
    }
    // Portals older than the handle_token convention choose the path themselves.
    if (handle.value().path() != path) {
        bus.disconnect(portalService, path, requestInterface, QStringLiteral("Response"), &waiter,
                       SLOT(response(uint, QVariantMap)));
        path = handle.value().path();
        listen(bus, path, &waiter);
    }
    waiter.wait(timeout);
    bus.disconnect(portalService, path, requestInterface, QStringLiteral("Response"), &waiter,
                   SLOT(response(uint, QVariantMap)));

    if (!waiter.answered) return Error{QStringLiteral("The screenshot portal did not answer in time.")};
    if (waiter.code == 1) return Error{QStringLiteral("The screenshot was not allowed.")};
    if (waiter.code != 0) return Error{QStringLiteral("The desktop could not take the screenshot.")};
    const QUrl uri(waiter.results.value(QStringLiteral("uri")).toString());
    if (!uri.isLocalFile())
        return Error{QStringLiteral("The screenshot portal answered without a picture file.")};
    const QString file = uri.toLocalFile();
    QImage image(file);
    // The portal leaves its file behind: this capture is ours to keep or not.
    QFile::remove(file);
    if (image.isNull()) return Error{QStringLiteral("The screenshot portal's picture could not be read.")};
    return image;
}

} // namespace platform::wayland

#include "PortalScreenshot.moc"
