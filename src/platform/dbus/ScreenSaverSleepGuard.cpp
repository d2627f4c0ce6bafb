#include "platform/dbus/ScreenSaverSleepGuard.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusReply>
#include <QFileInfo>
#include <QUuid>

namespace platform::dbus {

namespace {

const QString service = QStringLiteral("org.freedesktop.ScreenSaver");
const QString path = QStringLiteral("/org/freedesktop/ScreenSaver");
const QString interface = QStringLiteral("org.freedesktop.ScreenSaver");
const QString applicationName = QStringLiteral("Pictavia");

// A desktop that answers at all answers at once; one that hangs must not hold up a recording.
constexpr int callTimeoutMs = 2000;

// Whether a session bus is announced. Asking for one that is not would have libdbus launch
// a bus daemon of its own, which outlives us.
bool sessionBusAnnounced() {
    if (!qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS")) return true;
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    return !runtime.isEmpty() && QFileInfo::exists(runtime + QStringLiteral("/bus"));
}

QDBusConnection busFor(const QString& address, QString& connectionName) {
    if (address.isEmpty()) {
        if (!sessionBusAnnounced()) return QDBusConnection(QString());
        return QDBusConnection::sessionBus();
    }
    if (connectionName.isEmpty())
        connectionName = QStringLiteral("pictavia-sleep-guard-") + QUuid::createUuid().toString(QUuid::Id128);
    return QDBusConnection::connectToBus(address, connectionName);
}

} // namespace

ScreenSaverSleepGuard::ScreenSaverSleepGuard(QString busAddress) : m_busAddress(std::move(busAddress)) {}

ScreenSaverSleepGuard::~ScreenSaverSleepGuard() {
    if (!m_connectionName.isEmpty()) QDBusConnection::disconnectFromBus(m_connectionName);
}

Result<uint32_t> ScreenSaverSleepGuard::inhibit(const QString& reason) {
    QDBusConnection bus = busFor(m_busAddress, m_connectionName);
    if (!bus.isConnected())
        return Error{QStringLiteral("The screen cannot be kept awake: there is no session bus")};
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, interface, QStringLiteral("Inhibit"));
    call << applicationName << reason;
    const QDBusReply<uint32_t> reply = bus.call(call, QDBus::Block, callTimeoutMs);
    if (!reply.isValid())
        return Error{QStringLiteral("The screen cannot be kept awake: ") + reply.error().message()};
    if (reply.value() == 0) return Error{QStringLiteral("The screen cannot be kept awake")};
    return reply.value();
}

void ScreenSaverSleepGuard::release(uint32_t cookie) {
    if (cookie == 0) return;
    QDBusConnection bus = busFor(m_busAddress, m_connectionName);
    if (!bus.isConnected()) return;
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, interface, QStringLiteral("UnInhibit"));
    call << cookie;
    bus.send(call);
}

} // namespace platform::dbus
