#pragma once

#include "platform/ScreenBackend.h"
#include "platform/x11/X11Connection.h"

#include <QList>

#include <optional>
#include <vector>

namespace platform::x11 {

// The on-screen top-level windows, as the EWMH window manager lists them; the root's
// mapped children when no window manager runs.
class X11WindowList {
public:
    explicit X11WindowList(const X11Connection& connection);

    // Front to back.
    QList<WindowInfo> windows();
    std::optional<uint32_t> activeWindow();

private:
    // Client windows front to back, or nullopt when no EWMH window manager is running.
    std::optional<std::vector<xcb_window_t>> managedClients();

    const X11Connection& m_connection;
};

} // namespace platform::x11
