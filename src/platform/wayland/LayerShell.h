#pragma once

// Our floating windows on a Wayland desktop: the capture overlays, toasts, quick access,
// pins and the recording controls.
//
// Wayland lets no client place its own windows: an ordinary (xdg-shell) window goes where
// the compositor likes, and sway tiles it. Where the compositor offers wlroots' layer shell
// (sway and the other wlroots desktops, KWin) these windows become layer surfaces instead:
// on the output they belong to, at the place they ask for, above fullscreen windows, at that
// output's own scale, so that an overlay shows its frozen image pixel for pixel even at
// mixed scales. XWayland was measured as the alternative and not taken: X clients are drawn
// at scale 1 and stretched on a scale-2 output (the overlay's frozen image at half its
// pixels), sway's XWayland may be switched off, and Qt would then list XWayland's screens
// rather than the compositor's outputs. GNOME has no layer shell; there the windows stay
// ordinary ones, the overlays made fullscreen on their outputs.
//
// Qt 6.4 has no public way to give a window another role, so this works with what Qt's
// Wayland plugin offers: with QT_WAYLAND_USE_BYPASSWINDOWMANAGERHINT set it leaves a window
// flagged Qt::BypassWindowManagerHint a bare surface, which gets its layer role here before
// Qt draws into it.
namespace platform::wayland::LayerShell {

// Before the QGuiApplication exists, under Qt's Wayland plugin: whether the compositor at
// WAYLAND_DISPLAY offers the layer shell. If it does, Qt is told to leave windows flagged
// Qt::BypassWindowManagerHint without a role of their own, and to keep their positions.
bool prepare();

// Once the QGuiApplication exists (after prepare() said yes): every window flagged
// Qt::BypassWindowManagerHint gets its layer surface as it is shown. False when Qt's
// connection lacks the layer shell after all: then Qt is told to make ordinary windows again.
bool install();

// Whether install() succeeded in this process.
bool active();

} // namespace platform::wayland::LayerShell
