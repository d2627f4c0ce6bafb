#pragma once

#include <Qt>

// Who places our floating windows. On X11 we do; on Wayland the compositor does, unless it
// has the layer shell, where Qt leaves windows flagged Qt::BypassWindowManagerHint to us
// (see platform/wayland/LayerShell.h).
namespace ui::placement {

// Whether Qt runs on Wayland.
bool onWayland();
// Wayland with the layer shell: windows flagged Qt::BypassWindowManagerHint go where they ask.
bool layerShell();
// Wayland without it (GNOME): the compositor places every window; overlays go fullscreen.
bool byCompositor();

// The flags of a floating window (toast, quick access, pin, controls): with the layer
// shell, flagged to become layer surfaces; elsewhere as given, since on X11 the hint would
// take them from the window manager.
Qt::WindowFlags floating(Qt::WindowFlags flags);

} // namespace ui::placement
