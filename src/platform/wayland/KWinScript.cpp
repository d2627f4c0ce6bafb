#include "platform/wayland/KWinScript.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDir>
#include <QEventLoop>
#include <QTemporaryFile>
#include <QTimer>

#include <atomic>

namespace platform::wayland {

namespace {

const QString kwinService = QStringLiteral("org.kde.KWin");
const QString scriptingPath = QStringLiteral("/Scripting");
const QString scriptingInterface = QStringLiteral("org.kde.kwin.Scripting");
const QString scriptInterface = QStringLiteral("org.kde.kwin.Script");

// The object KWin's script calls back with its answer, exported on our bus connection for the
// length of one script.
class ReplyReceiver : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.corvanta.pictavia.KWinScriptReply")
public:
    bool answered = false;
    QString text;
    QString failure; // KWin's message for an error that stopped the script

    void wait(std::chrono::milliseconds timeout) {
        if (answered || !failure.isEmpty()) return;
        QTimer::singleShot(timeout, &m_loop, &QEventLoop::quit);
        // On the GUI thread (the window picker asks there) no click may act meanwhile.
        m_loop.exec(QEventLoop::ExcludeUserInputEvents);
    }

public slots:
    Q_SCRIPTABLE void reply(const QString& replyText) {
        answered = true;
        text = replyText;
        m_loop.quit();
    }

    Q_SCRIPTABLE void fail(const QString& why) {
        failure = why.isEmpty() ? QStringLiteral("an error") : why;
        m_loop.quit();
    }

private:
    QEventLoop m_loop;
};

QDBusMessage callScripting(QDBusConnection& bus, const QString& path, const QString& interface,
                           const QString& method, const QList<QVariant>& arguments,
                           std::chrono::milliseconds timeout) {
    QDBusMessage call = QDBusMessage::createMethodCall(kwinService, path, interface, method);
    call.setArguments(arguments);
    return bus.call(call, QDBus::Block, int(timeout.count()));
}

// The script's own object: "/Scripting/Script<id>" in newer KWin, "/<id>" in KWin 5.
bool runLoadedScript(QDBusConnection& bus, int id, std::chrono::milliseconds timeout) {
    for (const QString& path :
         {QStringLiteral("/Scripting/Script%1").arg(id), QStringLiteral("/%1").arg(id)}) {
        const QDBusMessage reply =
            callScripting(bus, path, scriptInterface, QStringLiteral("run"), {}, timeout);
        if (reply.type() == QDBusMessage::ReplyMessage) return true;
    }
    return false;
}

// The script as KWin runs it: `body` after a function that sends its answer back to `path` on
// our connection, and an error in it sent back too, so that it is not waited for in vain.
QString wrapped(const QString& body, const QString& service, const QString& path) {
    return QStringLiteral(
               "function sendReply(text) {\n"
               "    callDBus(\"%1\", \"%2\", \"com.corvanta.pictavia.KWinScriptReply\", \"reply\", "
               "String(text));\n"
               "}\n"
               "try {\n%3\n} catch (error) {\n"
               "    callDBus(\"%1\", \"%2\", \"com.corvanta.pictavia.KWinScriptReply\", \"fail\", "
               "String(error));\n"
               "}\n")
        .arg(service, path, body);
}

} // namespace

bool kwinScriptingOffered() {
    static const bool offered = [] {
        const QDBusConnection bus = QDBusConnection::sessionBus();
        return bus.isConnected() && bus.interface() &&
               bus.interface()->isServiceRegistered(kwinService).value();
    }();
    return offered;
}

Result<QString> runKWinScript(const QString& body, std::chrono::milliseconds timeout) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) return Error{QStringLiteral("Cannot reach the session's D-Bus to ask KWin.")};
    static std::atomic<unsigned> counter{0};
    const unsigned number = ++counter;
    const qint64 pid = QCoreApplication::applicationPid();
    const QString name = QStringLiteral("pictavia-%1-%2").arg(pid).arg(number);
    const QString path = QStringLiteral("/com/corvanta/pictavia/KWinScript%1_%2").arg(pid).arg(number);

    // KWin reads the file when the script starts, after loadScript has returned: it stays
    // until the answer is in.
    QTemporaryFile file(QDir::tempPath() + QStringLiteral("/pictavia-kwin-XXXXXX.js"));
    if (!file.open() || file.write(wrapped(body, bus.baseService(), path).toUtf8()) < 0 || !file.flush())
        return Error{QStringLiteral("Cannot write the script for KWin.")};

    ReplyReceiver receiver;
    if (!bus.registerObject(path, &receiver, QDBusConnection::ExportScriptableSlots))
        return Error{QStringLiteral("Cannot take KWin's answer on the session's D-Bus.")};
    const QDBusReply<int> loaded =
        callScripting(bus, scriptingPath, scriptingInterface, QStringLiteral("loadScript"),
                      {file.fileName(), name}, timeout);
    Result<QString> answer = Error{QStringLiteral("KWin's script did not answer.")};
    if (!loaded.isValid())
        answer = Error{QStringLiteral("KWin does not take scripts: %1").arg(loaded.error().message())};
    else if (loaded.value() < 0)
        answer = Error{QStringLiteral("KWin refused Pictavia's script.")};
    else if (!runLoadedScript(bus, loaded.value(), timeout))
        answer = Error{QStringLiteral("KWin did not run Pictavia's script.")};
    else {
        receiver.wait(timeout);
        if (receiver.answered)
            answer = receiver.text;
        else if (!receiver.failure.isEmpty())
            answer = Error{QStringLiteral("Pictavia's script failed inside KWin: %1").arg(receiver.failure)};
    }
    if (loaded.isValid() && loaded.value() >= 0)
        callScripting(bus, scriptingPath, scriptingInterface, QStringLiteral("unloadScript"), {name},
                      timeout);
    bus.unregisterObject(path);
    return answer;
}

} // namespace platform::wayland

#include "KWinScript.moc"
