#pragma once

#include "common/Result.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

// Which display server this run talks to: chosen once at start-up, before any window
// system is reached, from the session's variables or --backend.
namespace BackendChoice {

enum class Backend { x11, wayland };

// The session a process finds itself in: the variables that tell X11 from Wayland.
struct Session {
    QByteArray waylandDisplay; // WAYLAND_DISPLAY
    QByteArray sessionType;    // XDG_SESSION_TYPE
    QByteArray display;        // DISPLAY

    static Session fromEnvironment();
};

// The backend for a session, `requested` ("x11" or "wayland", from --backend) overriding
// what the session says. A compositor started from a text console leaves XDG_SESSION_TYPE
// at "tty", so a WAYLAND_DISPLAY counts unless the session says it is X11.
Result<Backend> choose(const std::optional<QString>& requested, const Session& session);

// Takes "--backend NAME" or "--backend=NAME" out of `arguments`, wherever it stands, and
// returns NAME; an empty string when the option has no value. Nullopt without the option.
std::optional<QString> takeOption(QStringList& arguments);

// The Qt platform plugin that matches a backend, so that Qt's screens and windows live on
// the same display server as the captures: `current` (QT_QPA_PLATFORM) stays where it fits,
// for X11 also offscreen and the like; Wayland needs one of Qt's Wayland plugins.
QByteArray qtPlatformFor(Backend backend, const QByteArray& current);

QString name(Backend backend);

// The backend of this run; x11 until set.
Backend current();
void setCurrent(Backend backend);

} // namespace BackendChoice
