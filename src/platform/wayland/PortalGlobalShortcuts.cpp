#include "platform/wayland/PortalGlobalShortcuts.h"

#include "platform/DesktopKeyBindings.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCall>
#include <QDBusReply>
#include <QTimer>

#include <cstdio>
#include <map>

namespace platform::wayland {

namespace {

const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString shortcutsInterface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");
const QString requestInterface = QStringLiteral("org.freedesktop.portal.Request");

// A shortcut on the wire: (sa{sv}).
struct WireShortcut {
    QString id;
    QVariantMap properties;
};

QDBusArgument& operator<<(QDBusArgument& argument, const WireShortcut& shortcut) {
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, WireShortcut& shortcut) {
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}

// Where the portal puts the answer to a request made with `token`, known before the call.
QString requestPath(const QString& token) {
    QString sender = QDBusConnection::sessionBus().baseService();
    sender.remove(0, 1).replace(u'.', u'_');
    return QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2").arg(sender, token);
}

QString nextToken() {
    static int counter = 0;
    return QStringLiteral("pictavia_shortcuts%1").arg(++counter);
}

} // namespace

} // namespace platform::wayland

Q_DECLARE_METATYPE(platform::wayland::WireShortcut)

namespace platform::wayland {

// A press arrives as the portal's Activated signal.
class PortalGlobalShortcuts : public QObject, public GlobalHotkeys {
    Q_OBJECT
public:
    static std::unique_ptr<PortalGlobalShortcuts> connect();

    Result<int> bind(const QKeySequence& keys, std::function<void()> pressed) override;
    void unbind(int handle) override;

private slots:
    void sessionCreated(uint response, const QVariantMap& results);
    void bound(uint response, const QVariantMap& results);
    void activated(const QDBusObjectPath& session, const QString& id, qulonglong timestamp,
                   const QVariantMap& options);

private:
    PortalGlobalShortcuts() = default;
    // Calls a method of the portal whose answer, a Request's Response, goes to the slot `answer`.
    void request(const QString& method, const QString& token, const QVariantList& arguments,
                 const char* answer);
    void createSession();
    void bindAll();

    struct Bound {
        QKeySequence keys;
        std::function<void()> pressed;
    };
    std::map<int, Bound> m_bound;
    int m_next = 1;
    QString m_session; // the session's object path once the portal made it
    bool m_bindPending = false;
};

PortalShortcut portalShortcut(const QKeySequence& keys) {
    const QString portable = keys.toString(QKeySequence::PortableText);
    return {portable, QStringLiteral("Pictavia: %1").arg(keys.toString(QKeySequence::NativeText)),
            DesktopKeyBindings::portalTrigger(portable)};
}

QVariantMap sessionOptions(const QString& token) {
    return {{QStringLiteral("handle_token"), token}, {QStringLiteral("session_handle_token"), token}};
}

std::unique_ptr<PortalGlobalShortcuts> PortalGlobalShortcuts::connect() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) return nullptr;
    QDBusMessage get = QDBusMessage::createMethodCall(
        portalService, portalPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    get << shortcutsInterface << QStringLiteral("version");
    const QDBusMessage reply = bus.call(get, QDBus::Block, 2000);
    if (reply.type() != QDBusMessage::ReplyMessage) return nullptr;
    qDBusRegisterMetaType<WireShortcut>();
    qDBusRegisterMetaType<QList<WireShortcut>>();
    std::unique_ptr<PortalGlobalShortcuts> shortcuts(new PortalGlobalShortcuts);
    bus.connect(portalService, portalPath, shortcutsInterface, QStringLiteral("Activated"), shortcuts.get(),
                SLOT(activated(QDBusObjectPath, QString, qulonglong, QVariantMap)));
    shortcuts->createSession();
    return shortcuts;
}

void PortalGlobalShortcuts::request(const QString& method, const QString& token,
                                    const QVariantList& arguments, const char* answer) {
    // Listening first, at the path the answer will come to.
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.connect(portalService, requestPath(token), requestInterface, QStringLiteral("Response"), this,
                answer);
    QDBusMessage call = QDBusMessage::createMethodCall(portalService, portalPath, shortcutsInterface, method);
    call.setArguments(arguments);
    bus.asyncCall(call);
}

void PortalGlobalShortcuts::createSession() {
    const QString token = nextToken();
    request(QStringLiteral("CreateSession"), token, {sessionOptions(token)},
            SLOT(sessionCreated(uint, QVariantMap)));
}

void PortalGlobalShortcuts::sessionCreated(uint response, const QVariantMap& results) {
    if (response != 0) {
        std::fprintf(stderr, "pictavia: The desktop did not allow global shortcuts.\n");
        return;
    }
    m_session = results.value(QStringLiteral("session_handle")).toString();
    bindAll();
}

Result<int> PortalGlobalShortcuts::bind(const QKeySequence& keys, std::function<void()> pressed) {
    const int handle = m_next++;
    m_bound[handle] = {keys, std::move(pressed)};
    bindAll();
    return handle;
}

void PortalGlobalShortcuts::unbind(int handle) {
    m_bound.erase(handle);
    bindAll();
}

void PortalGlobalShortcuts::bindAll() {
    // Once per turn of the event loop, for all the changes made in it, once the session is there.
    if (m_session.isEmpty() || m_bindPending) return;
    m_bindPending = true;
    QTimer::singleShot(0, this, [this] {
        m_bindPending = false;
        QList<WireShortcut> shortcuts;
        for (const auto& [handle, bound] : m_bound) {
            const PortalShortcut shortcut = portalShortcut(bound.keys);
            shortcuts.append({shortcut.id,
                              {{QStringLiteral("description"), shortcut.description},
                               {QStringLiteral("preferred_trigger"), shortcut.preferredTrigger}}});
        }
        const QString token = nextToken();
        request(QStringLiteral("BindShortcuts"), token,
                {QVariant::fromValue(QDBusObjectPath(m_session)), QVariant::fromValue(shortcuts), QString(),
                 QVariantMap{{QStringLiteral("handle_token"), token}}},
                SLOT(bound(uint, QVariantMap)));
    });
}

void PortalGlobalShortcuts::bound(uint response, const QVariantMap&) {
    if (response == 1) std::fprintf(stderr, "pictavia: The desktop did not allow Pictavia's shortcuts.\n");
}

void PortalGlobalShortcuts::activated(const QDBusObjectPath& session, const QString& id, qulonglong,
                                      const QVariantMap&) {
    if (session.path() != m_session) return;
    for (const auto& [handle, bound] : m_bound)
        if (bound.keys.toString(QKeySequence::PortableText) == id && bound.pressed) bound.pressed();
}

std::unique_ptr<GlobalHotkeys> connectPortalShortcuts() {
    return PortalGlobalShortcuts::connect();
}

} // namespace platform::wayland

#include "PortalGlobalShortcuts.moc"
