#pragma once

#include "common/Result.h"

#include <QList>
#include <QString>

namespace platform::wayland {

// One application window as wlroots' foreign toplevel protocol announces it: what a task bar
// shows. The protocol says nothing of where the window is nor of its process.
struct ForeignToplevel {
    QString title;
    QString appId;
    bool activated = false;
    bool minimized = false;
};

// Whether the compositor at WAYLAND_DISPLAY offers the foreign toplevel list (wlroots
// desktops: labwc, river, Wayfire, Hyprland, sway too). Asked once a process.
bool foreignToplevelsOffered();

// The compositor's toplevel windows now, in the order it announces them, on a connection of
// its own. Fails with a sentence where the compositor does not offer the list or does not
// answer.
Result<QList<ForeignToplevel>> listForeignToplevels();

} // namespace platform::wayland
