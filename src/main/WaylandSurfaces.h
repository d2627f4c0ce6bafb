#pragma once

#include "ui/DesktopSurfaces.h"

// The capture flows' windows in a Wayland session: those of the desktop. The window picker
// needs the compositor's window list (sway and other i3-compatible compositors give one);
// where there is none the desktop's own window chooser stands in for it (GNOME), and
// where neither is offered it says so instead of showing a screen with nothing to pick.
class WaylandSurfaces : public ui::DesktopSurfaces {
public:
    std::unique_ptr<WindowPickerController> makeWindowPicker() override;
};
