#pragma once

#include "platform/x11/X11Connection.h"

namespace platform::x11 {

// The wallpaper a wallpaper setter leaves on the root window (_XROOTPMAP_ID, or the older
// ESETROOT_PMAP_ID): the picture under every window, which the root itself does not give
// back. Desktops that draw their background in a window of their own have none.
class X11Wallpaper {
public:
    explicit X11Wallpaper(const X11Connection& connection);

    // The pixmap, when one is set, still exists and has the root's depth; XCB_NONE otherwise.
    xcb_pixmap_t pixmap() const;

private:
    const X11Connection& m_connection;
    xcb_atom_t m_rootPixmap = XCB_NONE;
    xcb_atom_t m_esetrootPixmap = XCB_NONE;
};

} // namespace platform::x11
