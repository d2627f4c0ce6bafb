#pragma once

#include "common/Result.h"

#include <QImage>
#include <QList>
#include <QPoint>
#include <QRect>
#include <QSize>
#include <QString>

#include <cstdint>
#include <optional>

namespace platform {

// One monitor. Geometry is in root-window pixels; `scale` is how many pixels make one
// point (2.0 on a HiDPI monitor), so the monitor's size in points is geometry / scale.
struct DisplayInfo {
    uint32_t id = 0; // the display number: RandR output id (or the monitor's name atom)
    QString name;    // "DP-1", "HDMI-2", ...
    QRect geometry;
    double scale = 1.0;
    bool primary = false;
    int topInset = 0; // safe-area inset at the top, in points (0 on Linux: no notches)
};

// One top-level window as the window manager knows it.
struct WindowInfo {
    uint32_t id = 0;   // the client window's X id
    qint64 pid = 0;    // owning process, 0 when unknown
    QString ownerName; // application name
    QString title;     // window title
    int layer = 0;     // 0 for normal windows; below < 0 < above, docks and notifications
    QRect frame;       // outer frame (decorations included) in root-window pixels
};

// Screen pixels and window metadata of the running display server.
// Implementations must be safe to call from any thread.
class ScreenBackend {
public:
    virtual ~ScreenBackend() = default;

    virtual QList<DisplayInfo> displays() = 0;

    // Pixels of a rectangle of the root window. The rectangle must lie within the screen.
    virtual Result<QImage> grabArea(const QRect& rootRect) = 0;

    // Pixels of one window with its frame, even where other windows cover it.
    // Fails with "Window not found" (code 2) when no such window is on screen.
    virtual Result<QImage> grabWindow(uint32_t windowId) = 0;

    // On-screen top-level windows, front to back.
    virtual QList<WindowInfo> windows() = 0;

    // The window that has the focus, if the window manager says.
    virtual std::optional<uint32_t> activeWindow() = 0;

    virtual QPoint pointerPosition() = 0;

    // The pointer as drawn now: its image (premultiplied ARGB) and where its top-left
    // corner is on the root window. None where the system does not say.
    struct Cursor {
        QImage image;
        QPoint topLeft;
        QPoint hotSpot;      // the pixel of the image that points, from its top-left
        uint32_t serial = 0; // the same for the same pointer image while it stays set
    };
    virtual std::optional<Cursor> cursor() { return std::nullopt; }

    // Asks the window manager to put a window's frame at `frameTopLeft` and give its client
    // area `clientSize` (root pixels; either may be left as it is), and to raise and focus
    // it. The manager and the app may adjust or refuse; read windows() for the result.
    virtual Result<bool> arrangeWindow(uint32_t windowId, std::optional<QPoint> frameTopLeft,
                                       std::optional<QSize> clientSize, bool raise) {
        Q_UNUSED(windowId);
        Q_UNUSED(frameTopLeft);
        Q_UNUSED(clientSize);
        Q_UNUSED(raise);
        return Error{QStringLiteral("Windows cannot be moved or resized on this system.")};
    }
};

} // namespace platform
