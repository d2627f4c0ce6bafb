#pragma once

#include "common/Result.h"
#include "platform/ScreenBackend.h"

#include <QImage>
#include <QRect>

#include <functional>
#include <memory>
#include <optional>

namespace platform::wayland {

// Fails with a sentence for the user when WAYLAND_DISPLAY names no compositor that takes
// connections. Qt aborts without a word when its Wayland plugin cannot connect, so the
// program asks this before it makes a QGuiApplication.
Result<bool> checkCompositor();

// The screen backend of a Wayland session: displays from Qt's screens (the process needs a
// QGuiApplication on Qt's Wayland plugin by the time it asks), pixels through wlroots'
// screencopy where the compositor offers it and through the desktop's screenshot portal
// elsewhere or when a copy fails (PICTAVIA_NO_SCREENCOPY=1 takes the portal always, as on
// a desktop without screencopy; the tests use it to check that path). Windows come from the
// compositor's IPC where it is sway or another i3-compatible one, and from a script run inside
// KWin on KDE; a window is captured by cutting it from the desktop's screenshot while it is
// shown whole. Other wlroots compositors list their windows by title and app id only (the
// foreign toplevel protocol), numbered in their order, without places. Elsewhere (GNOME) the
// list holds only the windows the user picked in the desktop's screen-cast chooser that no flow
// has used yet (see ChosenWindows), whose capture is the picture shared as it was picked; other
// window grabs are refused with the sentence windowsUnavailable() gives wherever places are
// unknown.
//
// `screenCastStill`, where given, takes a picture of an area through the desktop's screen-cast
// portal: still captures go there first on desktops whose screenshot portal asks every time
// (see stillsFromScreenCast()), so that the user answers once.
using ScreenCastStill = std::function<Result<QImage>(const QRect& pixels)>;
Result<std::unique_ptr<ScreenBackend>> connect(ScreenCastStill screenCastStill = {});

// Why this session's compositor cannot list or capture windows, or nullopt where it can.
enum class WindowFlow { list, capture };
std::optional<QString> windowsUnavailable(WindowFlow flow);

// Whether the compositor lists its windows through wlroots' foreign toplevel protocol (titles
// and app ids only); PICTAVIA_NO_TOPLEVEL_LIST=1 says no, as on GNOME or KDE: the tests use it.
bool toplevelListOffered();

} // namespace platform::wayland
