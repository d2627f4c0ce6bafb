#pragma once

#include "common/Result.h"
#include "platform/wayland/ScreenCastPortal.h"

#include <QList>
#include <QPointF>
#include <QString>

#include <chrono>
#include <memory>

namespace platform::wayland {

// What the desktop's remote desktop portal offers, from its properties.
struct RemoteDesktopOffer {
    enum DeviceType : uint { keyboard = 1, pointer = 2, touchscreen = 4 };
    uint deviceTypes = 0;
    uint version = 0;
};

// The desktop's offer, or the sentence saying why there is no portal to ask.
Result<RemoteDesktopOffer> remoteDesktopOffer();

// An open remote desktop session with a pointer: the desktop asked the user once, and while
// the session lasts our pointer events reach every window. The screens shared with it are
// what absolute pointer positions are given against. Closing it (destroying it) takes the
// pointer away.
class RemoteDesktopSession {
public:
    enum class Axis : uint { vertical = 0, horizontal = 1 };

    // The domain of open()'s error where the user said no; its message is the end of a
    // sentence ("Scrolling capture was not allowed: " goes before it).
    static inline const QString refusedDomain =
        QStringLiteral("org.freedesktop.portal.RemoteDesktop.refused");

    // CreateSession, SelectDevices (the pointer), SelectSources (every monitor) and Start.
    // Blocks the calling thread, which must be a Qt thread, until the desktop (or the user)
    // answers.
    static Result<std::unique_ptr<RemoteDesktopSession>>
    open(std::chrono::milliseconds timeout = std::chrono::minutes(2));
    ~RemoteDesktopSession();
    RemoteDesktopSession(const RemoteDesktopSession&) = delete;
    RemoteDesktopSession& operator=(const RemoteDesktopSession&) = delete;

    const QList<ScreenCastStream>& streams() const { return m_streams; }

    // Puts the pointer at `position`, in pixels of the stream's picture.
    Result<bool> movePointer(uint32_t stream, const QPointF& position);
    // Turns the wheel `steps` notches: positive scrolls down (or right).
    Result<bool> turnWheel(Axis axis, int steps);

private:
    RemoteDesktopSession() = default;
    Result<bool> notify(const QString& method, const QList<QVariant>& arguments);

    QString m_handle;
    QList<ScreenCastStream> m_streams;
};

} // namespace platform::wayland
