#include "platform/wayland/PortalScreenshot.h"

#include "platform/wayland/PortalRequest.h"

#include <QFile>
#include <QUrl>

namespace platform::wayland {

Result<QImage> takePortalScreenshot(std::chrono::milliseconds timeout) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return Error{QStringLiteral("There is no D-Bus session bus to reach the screenshot portal.")};
    const PortalAnswer answer = callPortalRequest(
        bus, QStringLiteral("org.freedesktop.portal.Screenshot"), QStringLiteral("Screenshot"), {QString()},
        {{QStringLiteral("interactive"), false}, {QStringLiteral("modal"), false}}, timeout);
    if (answer.portalMissing())
        return Error{QStringLiteral("This desktop offers no screenshot portal: xdg-desktop-portal with a "
                                    "backend for this desktop must be running.")};
    if (answer.outcome == PortalAnswer::Outcome::callFailed)
        return Error{QStringLiteral("The screenshot portal failed: %1").arg(answer.error.message())};
    if (answer.outcome == PortalAnswer::Outcome::timedOut)
        return Error{QStringLiteral("The screenshot portal did not answer in time.")};
    if (answer.code == 1) return Error{QStringLiteral("The screenshot was not allowed.")};
    if (answer.code != 0) return Error{QStringLiteral("The desktop could not take the screenshot.")};
    const QUrl uri(answer.results.value(QStringLiteral("uri")).toString());
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
