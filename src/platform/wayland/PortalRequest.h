#pragma once

#include <QDBusConnection>
#include <QDBusError>
#include <QList>
#include <QVariant>
#include <QVariantMap>

#include <chrono>

namespace platform::wayland {

inline const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
inline const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");

// How a portal method that answers through a Request object ended.
struct PortalAnswer {
    enum class Outcome {
        answered,   // `code` and `results` hold the Response: 0 done, 1 refused by the user, 2 failed
        callFailed, // the method itself failed: `error` says why
        timedOut,   // no Response in time
    };
    Outcome outcome = Outcome::timedOut;
    QDBusError error;
    uint code = 2;
    QVariantMap results;

    // The portal is not there at all (no service, or no such interface or method).
    bool portalMissing() const;
};

// Calls `method` of the portal's `interface` with `arguments` followed by `options`, and
// waits for the Response of the Request it makes. A handle_token is added to the options so
// that the answer cannot arrive before we listen for it. Blocks the calling thread, which
// must be a Qt thread: it runs a local event loop for the answer.
PortalAnswer callPortalRequest(QDBusConnection& bus, const QString& interface, const QString& method,
                               const QList<QVariant>& arguments, QVariantMap options,
                               std::chrono::milliseconds timeout);

// A fresh token for a portal's handle_token or session_handle_token options.
QString portalToken();

} // namespace platform::wayland
