#pragma once

#include "ui/DesktopSurfaces.h"

// The capture flows' windows in a Wayland session: those of the desktop, but for the window
// picker, which has no window list to offer there yet and says so instead of showing an
// empty screen to click on.
class WaylandSurfaces : public ui::DesktopSurfaces {
public:
    std::unique_ptr<WindowPickerController> makeWindowPicker() override;
};
