#include "platform/wayland/RemoteDesktopSession.h"

#include "platform/wayland/PortalRequest.h"

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusReply>

namespace platform::wayland {

namespace {

const QString remoteDesktopInterface = QStringLiteral("org.freedesktop.portal.RemoteDesktop");
const QString screenCastInterface = QStringLiteral("org.freedesktop.portal.ScreenCast");

// Calls that only pass events on: the portal answers at once.
constexpr int notifyTimeoutMs = 5'000;

QString noPortal() {
    return QStringLiteral("This desktop offers no remote desktop portal to move the pointer with: "
                          "xdg-desktop-portal with a backend for this desktop must be running.");
}

Error failure(const PortalAnswer& answer, const QString& step) {
    if (answer.portalMissing()) return Error{noPortal()};
    switch (answer.outcome) {
    case PortalAnswer::Outcome::callFailed:
        return Error{
            QStringLiteral("The remote desktop portal failed to %1: %2").arg(step, answer.error.message())};
    case PortalAnswer::Outcome::timedOut:
        return Error{QStringLiteral("The remote desktop portal did not answer in time.")};
    case PortalAnswer::Outcome::answered:
        break;
    }
    if (answer.code == 1)
        return Error{QStringLiteral("the desktop's question whether Pictavia may control the pointer was "
                                    "declined."),
                     RemoteDesktopSession::refusedDomain};
    return Error{QStringLiteral("The desktop could not %1 for Pictavia's pointer.").arg(step)};
}

bool answeredYes(const PortalAnswer& answer) {
    return answer.outcome == PortalAnswer::Outcome::answered && answer.code == 0;
}

} // namespace

Result<RemoteDesktopOffer> remoteDesktopOffer() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) return Error{noPortal()};
    // Both properties in one call: this is asked at every start on such desktops.
    QDBusMessage get = QDBusMessage::createMethodCall(portalService, portalPath,
                                                      QStringLiteral("org.freedesktop.DBus.Properties"),
                                                      QStringLiteral("GetAll"));
    get << remoteDesktopInterface;
    const QDBusReply<QVariantMap> reply = bus.call(get, QDBus::Block, 10'000);
    if (!reply.isValid() || !reply.value().contains(QStringLiteral("AvailableDeviceTypes")))
        return Error{noPortal()};
    return RemoteDesktopOffer{reply.value().value(QStringLiteral("AvailableDeviceTypes")).toUInt(),
                              reply.value().value(QStringLiteral("version")).toUInt()};
}

Result<std::unique_ptr<RemoteDesktopSession>> RemoteDesktopSession::open(std::chrono::milliseconds timeout) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) return Error{noPortal()};
    std::unique_ptr<RemoteDesktopSession> session(new RemoteDesktopSession);

    const PortalAnswer created =
        callPortalRequest(bus, remoteDesktopInterface, QStringLiteral("CreateSession"), {},
                          {{QStringLiteral("session_handle_token"), portalToken()}}, timeout);
    if (!answeredYes(created)) return failure(created, QStringLiteral("open a session"));
    const QVariant handleValue = created.results.value(QStringLiteral("session_handle"));
    session->m_handle = handleValue.canConvert<QDBusObjectPath>() && handleValue.toString().isEmpty()
                            ? handleValue.value<QDBusObjectPath>().path()
                            : handleValue.toString();
    if (session->m_handle.isEmpty())
        return Error{QStringLiteral("The remote desktop portal opened a session without a name.")};
    const QVariant handle = QVariant::fromValue(QDBusObjectPath(session->m_handle));

    const PortalAnswer devices =
        callPortalRequest(bus, remoteDesktopInterface, QStringLiteral("SelectDevices"), {handle},
                          {{QStringLiteral("types"), uint(RemoteDesktopOffer::pointer)}}, timeout);
    if (!answeredYes(devices)) return failure(devices, QStringLiteral("offer a pointer"));

    // Absolute positions are given against a shared screen: every monitor, so that one
    // answer serves an area on any of them. Nobody reads the streams' pictures.
    const PortalAnswer sources =
        callPortalRequest(bus, screenCastInterface, QStringLiteral("SelectSources"), {handle},
                          {{QStringLiteral("types"), uint(ScreenCastOffer::monitor)},
                           {QStringLiteral("multiple"), true},
                           {QStringLiteral("cursor_mode"), uint(ScreenCastOffer::hidden)}},
                          timeout);
    if (!answeredYes(sources)) return failure(sources, QStringLiteral("choose the screens"));

    const PortalAnswer started = callPortalRequest(bus, remoteDesktopInterface, QStringLiteral("Start"),
                                                   {handle, QString()}, {}, timeout);
    if (!answeredYes(started)) return failure(started, QStringLiteral("start the session"));
    // GNOME's window shares the screens with remote interaction off unless the user turns it on.
    if (!(started.results.value(QStringLiteral("devices")).toUInt() & RemoteDesktopOffer::pointer))
        return Error{QStringLiteral("the desktop shared the screen but not the pointer (remote interaction "
                                    "was left off)."),
                     RemoteDesktopSession::refusedDomain};
    session->m_streams = screenCastStreams(started.results.value(QStringLiteral("streams")));
    if (session->m_streams.isEmpty())
        return Error{QStringLiteral("The desktop shared no screen to place Pictavia's pointer on.")};
    return session;
}

RemoteDesktopSession::~RemoteDesktopSession() {
    if (m_handle.isEmpty()) return;
    QDBusConnection::sessionBus().call(
        QDBusMessage::createMethodCall(portalService, m_handle,
                                       QStringLiteral("org.freedesktop.portal.Session"),
                                       QStringLiteral("Close")),
        QDBus::NoBlock);
}

Result<bool> RemoteDesktopSession::movePointer(uint32_t stream, const QPointF& position) {
    return notify(QStringLiteral("NotifyPointerMotionAbsolute"),
                  {QVariantMap(), stream, position.x(), position.y()});
}

Result<bool> RemoteDesktopSession::turnWheel(Axis axis, int steps) {
    return notify(QStringLiteral("NotifyPointerAxisDiscrete"), {QVariantMap(), uint(axis), steps});
}

Result<bool> RemoteDesktopSession::notify(const QString& method, const QList<QVariant>& arguments) {
    QDBusMessage call =
        QDBusMessage::createMethodCall(portalService, portalPath, remoteDesktopInterface, method);
    QList<QVariant> all{QVariant::fromValue(QDBusObjectPath(m_handle))};
    all << arguments;
    call.setArguments(all);
    // Waiting for the reply keeps the events in order with what the caller does next.
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, notifyTimeoutMs);
    if (reply.type() == QDBusMessage::ErrorMessage)
        return Error{QStringLiteral("The desktop stopped taking Pictavia's pointer events: %1")
                         .arg(reply.errorMessage())};
    return true;
}

} // namespace platform::wayland
