#include "platform/x11/X11Wallpaper.h"

namespace platform::x11 {

X11Wallpaper::X11Wallpaper(const X11Connection& connection)
    : m_connection(connection), m_rootPixmap(connection.internAtom("_XROOTPMAP_ID")),
      m_esetrootPixmap(connection.internAtom("ESETROOT_PMAP_ID")) {}

xcb_pixmap_t X11Wallpaper::pixmap() const {
    xcb_connection_t* c = m_connection.raw();
    for (xcb_atom_t name : {m_rootPixmap, m_esetrootPixmap}) {
        if (name == XCB_NONE) continue;
        const Property property =
            m_connection.takeProperty(m_connection.requestProperty(m_connection.root(), name));
        const std::vector<uint32_t> values = property.values32();
        if (property.type != XCB_ATOM_PIXMAP || values.empty() || values[0] == XCB_NONE) continue;
        // The setter may have freed it since; and only a pixmap of the root's depth can be
        // read as the screen's pixels.
        Reply<xcb_get_geometry_reply_t> geometry{
            xcb_get_geometry_reply(c, xcb_get_geometry(c, values[0]), nullptr)};
        if (geometry && geometry->depth == m_connection.screen().root_depth) return values[0];
    }
    return XCB_NONE;
}

} // namespace platform::x11
