#include "platform/wayland/ScreenCastPortal.h"

#include "platform/wayland/PortalRequest.h"
#include "platform/wayland/ScreenCastWords.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>

#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace platform::wayland {

namespace {

const QString screenCastInterface = QStringLiteral("org.freedesktop.portal.ScreenCast");

QDBusConnection sessionBus() {
    return QDBusConnection::sessionBus();
}

// A two-integer structure, (ii), as the portal sends positions and sizes.
std::optional<std::pair<int, int>> integerPair(const QVariant& value) {
    if (!value.canConvert<QDBusArgument>()) return std::nullopt;
    const QDBusArgument argument = value.value<QDBusArgument>();
    if (argument.currentSignature() != u"(ii)") return std::nullopt;
    int first = 0;
    int second = 0;
    argument.beginStructure();
    argument >> first >> second;
    argument.endStructure();
    return std::pair(first, second);
}

// The streams of Start's answer, a(ua{sv}).
QList<ScreenCastStream> parseStreams(const QVariant& value) {
    QList<ScreenCastStream> streams;
    if (!value.canConvert<QDBusArgument>()) return streams;
    const QDBusArgument argument = value.value<QDBusArgument>();
    if (argument.currentSignature() != u"a(ua{sv})") return streams;
    argument.beginArray();
    while (!argument.atEnd()) {
        ScreenCastStream stream;
        QVariantMap properties;
        argument.beginStructure();
        argument >> stream.node >> properties;
        argument.endStructure();
        if (const auto position = integerPair(properties.value(QStringLiteral("position"))))
            stream.position = QPoint(position->first, position->second);
        if (const auto size = integerPair(properties.value(QStringLiteral("size"))))
            stream.size = QSize(size->first, size->second);
        stream.sourceType = properties.value(QStringLiteral("source_type")).toUInt();
        streams.append(stream);
    }
    argument.endArray();
    return streams;
}

Error failure(const PortalAnswer& answer, const QString& step) {
    if (answer.portalMissing()) return Error{ScreenCastWords::noPortal()};
    switch (answer.outcome) {
    case PortalAnswer::Outcome::callFailed:
        return Error{
            QStringLiteral("The screen recording portal failed to %1: %2").arg(step, answer.error.message())};
    case PortalAnswer::Outcome::timedOut:
        return Error{QStringLiteral("The screen recording portal did not answer in time.")};
    case PortalAnswer::Outcome::answered:
        break;
    }
    if (answer.code == 1) return Error{ScreenCastWords::refused()};
    return Error{QStringLiteral("The desktop could not %1 for the screen recording.").arg(step)};
}

} // namespace

QList<ScreenCastStream> screenCastStreams(const QVariant& value) {
    return parseStreams(value);
}

Result<ScreenCastOffer> screenCastOffer() {
    QDBusConnection bus = sessionBus();
    if (!bus.isConnected())
        return Error{QStringLiteral("There is no D-Bus session bus to reach the screen recording portal.")};
    ScreenCastOffer offer;
    const auto property = [&](const QString& name) -> Result<uint> {
        QDBusMessage get = QDBusMessage::createMethodCall(portalService, portalPath,
                                                          QStringLiteral("org.freedesktop.DBus.Properties"),
                                                          QStringLiteral("Get"));
        get << screenCastInterface << name;
        const QDBusReply<QDBusVariant> reply = bus.call(get, QDBus::Block, 10'000);
        if (!reply.isValid()) return Error{ScreenCastWords::noPortal()};
        return reply.value().variant().toUInt();
    };
    const Result<uint> sources = property(QStringLiteral("AvailableSourceTypes"));
    if (!sources) return sources.error();
    offer.sourceTypes = *sources;
    const Result<uint> cursors = property(QStringLiteral("AvailableCursorModes"));
    offer.cursorModes = cursors ? *cursors : 0;
    const Result<uint> version = property(QStringLiteral("version"));
    offer.version = version ? *version : 0;
    return offer;
}

Result<std::unique_ptr<ScreenCastSession>> ScreenCastSession::open(const ScreenCastRequest& request,
                                                                   std::chrono::milliseconds timeout) {
    QDBusConnection bus = sessionBus();
    if (!bus.isConnected())
        return Error{QStringLiteral("There is no D-Bus session bus to reach the screen recording portal.")};
    std::unique_ptr<ScreenCastSession> session(new ScreenCastSession);

    const PortalAnswer created =
        callPortalRequest(bus, screenCastInterface, QStringLiteral("CreateSession"), {},
                          {{QStringLiteral("session_handle_token"), portalToken()}}, timeout);
    if (created.outcome != PortalAnswer::Outcome::answered || created.code != 0)
        return failure(created, QStringLiteral("open a session"));
    // A string by the interface's description; some portals send it as an object path.
    const QVariant handleValue = created.results.value(QStringLiteral("session_handle"));
    session->m_handle = handleValue.canConvert<QDBusObjectPath>() && handleValue.toString().isEmpty()
                            ? handleValue.value<QDBusObjectPath>().path()
                            : handleValue.toString();
    if (session->m_handle.isEmpty())
        return Error{QStringLiteral("The screen recording portal opened a session without a name.")};
    const QVariant handle = QVariant::fromValue(QDBusObjectPath(session->m_handle));

    QVariantMap selection{{QStringLiteral("types"), request.sourceTypes},
                          {QStringLiteral("multiple"), false},
                          {QStringLiteral("cursor_mode"), request.cursorMode}};
    if (request.persist)
        selection.insert(QStringLiteral("persist_mode"), request.persistWhileRunning ? 1u : 2u);
    if (!request.restoreToken.isEmpty())
        selection.insert(QStringLiteral("restore_token"), request.restoreToken);
    const PortalAnswer selected = callPortalRequest(bus, screenCastInterface, QStringLiteral("SelectSources"),
                                                    {handle}, selection, timeout);
    if (selected.outcome != PortalAnswer::Outcome::answered || selected.code != 0)
        return failure(selected, QStringLiteral("choose what to share"));

    const PortalAnswer started = callPortalRequest(bus, screenCastInterface, QStringLiteral("Start"),
                                                   {handle, QString()}, {}, timeout);
    if (started.outcome != PortalAnswer::Outcome::answered || started.code != 0)
        return failure(started, QStringLiteral("start sharing the screen"));
    session->m_streams = parseStreams(started.results.value(QStringLiteral("streams")));
    session->m_restoreToken = started.results.value(QStringLiteral("restore_token")).toString();
    if (session->m_streams.isEmpty()) return Error{QStringLiteral("The desktop shared nothing to record.")};

    if (const Result<bool> opened = session->openPipeWire(timeout); !opened) return opened.error();
    return session;
}

Result<bool> ScreenCastSession::openPipeWire(std::chrono::milliseconds timeout) {
    QDBusMessage remote = QDBusMessage::createMethodCall(portalService, portalPath, screenCastInterface,
                                                         QStringLiteral("OpenPipeWireRemote"));
    remote << QVariant::fromValue(QDBusObjectPath(m_handle)) << QVariantMap();
    const QDBusReply<QDBusUnixFileDescriptor> fd =
        sessionBus().call(remote, QDBus::Block, int(timeout.count()));
    if (!fd.isValid() || !fd.value().isValid()) return Error{ScreenCastWords::noPipeWire()};
    if (m_fd >= 0) close(m_fd);
    // The reply's descriptor closes with it: ours is a copy.
    m_fd = fcntl(fd.value().fileDescriptor(), F_DUPFD_CLOEXEC, 0);
    if (m_fd < 0) return Error{ScreenCastWords::noPipeWire()};
    return true;
}

ScreenCastSession::~ScreenCastSession() {
    if (m_fd >= 0) close(m_fd);
    if (m_handle.isEmpty()) return;
    QDBusConnection bus = sessionBus();
    // Nobody waits for the answer: the session ends whether or not the portal replies.
    bus.call(QDBusMessage::createMethodCall(portalService, m_handle,
                                            QStringLiteral("org.freedesktop.portal.Session"),
                                            QStringLiteral("Close")),
             QDBus::NoBlock);
}

int ScreenCastSession::takePipeWireFd() {
    return std::exchange(m_fd, -1);
}

} // namespace platform::wayland
