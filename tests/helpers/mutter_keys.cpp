// Presses keys and clicks on a GNOME (mutter) session as its keyboard and pointer would, through
// mutter's remote desktop interface on the session bus: for tests that answer a dialog of the
// desktop's own.
//
//   mutter_keys KEYSYM...           e.g. mutter_keys 0xff09 0xff0d   (Tab, Return)
//   mutter_keys --click DX,DY       a left click DX,DY pixels from the output's bottom-right corner
//
// Each key goes down and up in turn, after the click. The remote desktop session lives as long as this
// program's bus connection, so it is made, used and stopped here in one run. Exits 1 with
// one sentence on stderr where mutter does not answer.

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QThread>

#include <QPointF>

#include <cstdio>
#include <optional>
#include <utility>

namespace {

const QString service = QStringLiteral("org.gnome.Mutter.RemoteDesktop");

bool fail(const QString& what, const QDBusError& error) {
    std::fprintf(stderr, "mutter_keys: %s: %s\n", qPrintable(what), qPrintable(error.message()));
    return false;
}

bool click(QDBusInterface& session, double x, double y) {
    // Relative moves need no screen cast stream: first into the bottom-right corner, where the
    // pointer stops (the top-left one opens the overview), then back to the spot.
    for (const auto& [dx, dy] : {std::pair{100000.0, 100000.0}, std::pair{x, y}}) {
        const QDBusMessage moved = session.call(QStringLiteral("NotifyPointerMotionRelative"), dx, dy);
        if (moved.type() == QDBusMessage::ErrorMessage)
            return fail(QStringLiteral("the pointer could not be moved"), QDBusError(moved));
        QThread::msleep(50);
    }
    for (const bool down : {true, false}) {
        const QDBusMessage reply = session.call(QStringLiteral("NotifyPointerButton"), 0x110, down);
        if (reply.type() == QDBusMessage::ErrorMessage)
            return fail(QStringLiteral("the button could not be pressed"), QDBusError(reply));
    }
    return true;
}

bool press(QDBusInterface& session, quint32 keysym) {
    for (const bool down : {true, false}) {
        const QDBusMessage reply = session.call(QStringLiteral("NotifyKeyboardKeysym"), keysym, down);
        if (reply.type() == QDBusMessage::ErrorMessage)
            return fail(QStringLiteral("the key could not be pressed"), QDBusError(reply));
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QList<quint32> keys;
    std::optional<QPointF> clickAt;
    for (int i = 1; i < argc; ++i) {
        if (QByteArray(argv[i]) == "--click" && i + 1 < argc) {
            const QList<QByteArray> xy = QByteArray(argv[++i]).split(',');
            clickAt = QPointF(xy.value(0).toDouble(), xy.value(1).toDouble());
            continue;
        }
        bool ok = false;
        keys.append(QByteArray(argv[i]).toUInt(&ok, 0));
        if (!ok) {
            std::fprintf(stderr, "mutter_keys: \"%s\" is not a key symbol number\n", argv[i]);
            return 2;
        }
    }
    QDBusConnection bus = QDBusConnection::sessionBus();
    QDBusInterface desktop(service, QStringLiteral("/org/gnome/Mutter/RemoteDesktop"),
                           QStringLiteral("org.gnome.Mutter.RemoteDesktop"), bus);
    const QDBusReply<QDBusObjectPath> made = desktop.call(QStringLiteral("CreateSession"));
    if (!made.isValid())
        return fail(QStringLiteral("mutter made no remote desktop session"), made.error()) ? 0 : 1;
    QDBusInterface session(service, made.value().path(),
                           QStringLiteral("org.gnome.Mutter.RemoteDesktop.Session"), bus);
    const QDBusMessage started = session.call(QStringLiteral("Start"));
    if (started.type() == QDBusMessage::ErrorMessage)
        return fail(QStringLiteral("the remote desktop session did not start"), QDBusError(started)) ? 0 : 1;
    bool ok = !clickAt || click(session, clickAt->x(), clickAt->y());
    for (const quint32 key : std::as_const(keys)) {
        ok = ok && press(session, key);
        // A dialog reads one key at a time.
        QThread::msleep(100);
    }
    // Stopping removes the virtual devices at once, with what they have not delivered yet.
    QThread::msleep(500);
    session.call(QStringLiteral("Stop"));
    return ok ? 0 : 1;
}
