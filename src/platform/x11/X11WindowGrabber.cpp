#include "platform/x11/X11WindowGrabber.h"

#include "platform/x11/X11WindowTree.h"

#include <xcb/composite.h>

#include <algorithm>
#include <thread>
#include <vector>

namespace platform::x11 {

namespace {

Error windowNotFound() {
    return Error{.message = QStringLiteral("Window not found"), .code = 2};
}

QRect outerRect(const xcb_get_geometry_reply_t& geometry) {
    const int border = 2 * geometry.border_width;
    return QRect(geometry.x, geometry.y, geometry.width + border, geometry.height + border);
}

} // namespace

X11WindowGrabber::X11WindowGrabber(const X11Connection& connection, X11AreaGrabber& areas)
    : m_connection(connection), m_areas(areas) {}

bool X11WindowGrabber::hasComposite() {
    std::call_once(m_compositeChecked, [this] {
        if (!m_connection.hasExtension(&xcb_composite_id)) return;
        xcb_connection_t* c = m_connection.raw();
        Reply<xcb_composite_query_version_reply_t> version{
            xcb_composite_query_version_reply(c, xcb_composite_query_version(c, 0, 4), nullptr)};
        // NameWindowPixmap arrived in 0.2.
        m_hasComposite = version && (version->major_version > 0 || version->minor_version >= 2);
    });
    return m_hasComposite;
}

Result<QImage> X11WindowGrabber::grab(uint32_t windowId) {
    xcb_connection_t* c = m_connection.raw();
    Reply<xcb_get_window_attributes_reply_t> client{
        xcb_get_window_attributes_reply(c, xcb_get_window_attributes(c, windowId), nullptr)};
    if (!client || client->map_state != XCB_MAP_STATE_VIEWABLE) return windowNotFound();
    const xcb_window_t frame = topLevelAncestors(m_connection, {windowId}).front();
    if (frame == XCB_NONE) return windowNotFound();

    const xcb_get_geometry_cookie_t frameGeometryCookie = xcb_get_geometry(c, frame);
    const xcb_get_window_attributes_cookie_t frameAttributesCookie = xcb_get_window_attributes(c, frame);
    const xcb_get_geometry_cookie_t rootGeometryCookie = xcb_get_geometry(c, m_connection.root());
    Reply<xcb_get_geometry_reply_t> frameGeometry{xcb_get_geometry_reply(c, frameGeometryCookie, nullptr)};
    Reply<xcb_get_window_attributes_reply_t> frameAttributes{
        xcb_get_window_attributes_reply(c, frameAttributesCookie, nullptr)};
    Reply<xcb_get_geometry_reply_t> rootGeometry{xcb_get_geometry_reply(c, rootGeometryCookie, nullptr)};
    if (!frameGeometry || !frameAttributes || !rootGeometry) return windowNotFound();

    const QRect frameRect = outerRect(*frameGeometry);
    const QRect screenRect(0, 0, rootGeometry->width, rootGeometry->height);
    if (!hasComposite()) {
        const QRect visible = frameRect & screenRect;
        if (visible.isEmpty()) return windowNotFound();
        return grabFromRoot(visible);
    }
    if (screenRect.contains(frameRect) && isUncovered(frame, frameRect)) return grabFromRoot(frameRect);

    const Result<PixelFormat> format =
        m_connection.pixelFormat(frameAttributes->visual, frameGeometry->depth);
    if (!format) return format.error();
    redirectOnce();
    return grabFromPixmap(frame, QRect(QPoint(0, 0), frameRect.size()), *format);
}

bool X11WindowGrabber::isUncovered(xcb_window_t frame, const QRect& frameRect) {
    xcb_connection_t* c = m_connection.raw();
    const std::vector<xcb_window_t> children = rootChildren(m_connection);
    const auto self = std::find(children.begin(), children.end(), frame);
    if (self == children.end()) return false;

    struct Above {
        xcb_get_window_attributes_cookie_t attributes;
        xcb_get_geometry_cookie_t geometry;
    };
    std::vector<Above> above;
    for (auto it = self + 1; it != children.end(); ++it)
        above.push_back({xcb_get_window_attributes(c, *it), xcb_get_geometry(c, *it)});

    bool uncovered = true;
    for (const Above& window : above) {
        Reply<xcb_get_window_attributes_reply_t> attributes{
            xcb_get_window_attributes_reply(c, window.attributes, nullptr)};
        Reply<xcb_get_geometry_reply_t> geometry{xcb_get_geometry_reply(c, window.geometry, nullptr)};
        if (!attributes || !geometry || attributes->map_state != XCB_MAP_STATE_VIEWABLE ||
            attributes->_class != XCB_WINDOW_CLASS_INPUT_OUTPUT)
            continue;
        if (outerRect(*geometry).intersects(frameRect))
            uncovered = false; // keep reading: every reply must be collected
    }
    return uncovered;
}

Result<QImage> X11WindowGrabber::grabFromRoot(const QRect& rect) {
    const xcb_screen_t& screen = m_connection.screen();
    const Result<PixelFormat> format = m_connection.pixelFormat(screen.root_visual, screen.root_depth);
    if (!format) return format.error();
    return m_areas.grab(m_connection.root(), rect, *format);
}

Result<QImage> X11WindowGrabber::grabFromPixmap(xcb_window_t frame, const QRect& rect,
                                                const PixelFormat& format) {
    xcb_connection_t* c = m_connection.raw();
    const xcb_pixmap_t pixmap = xcb_generate_id(c);
    const xcb_void_cookie_t named = xcb_composite_name_window_pixmap_checked(c, frame, pixmap);
    // The pixmap spans the frame's border too, from its outer corner.
    Result<QImage> image = m_areas.grab(pixmap, rect, format);
    Reply<xcb_generic_error_t> namingError{xcb_request_check(c, named)};
    if (namingError) return windowNotFound(); // unmapped or destroyed since we looked
    m_connection.ignoreErrors(xcb_free_pixmap_checked(c, pixmap));
    xcb_flush(c);
    return image;
}

void X11WindowGrabber::redirectOnce() {
    std::chrono::steady_clock::time_point repaintedBy;
    {
        std::lock_guard lock(m_redirectMutex);
        if (!m_redirected) {
            m_redirected = true;
            xcb_connection_t* c = m_connection.raw();
            const xcb_get_selection_owner_cookie_t ownerCookie =
                xcb_get_selection_owner(c, m_connection.atoms().netWmCmScreen);
            Reply<xcb_generic_error_t> error{
                xcb_request_check(c, xcb_composite_redirect_subwindows_checked(
                                         c, m_connection.root(), XCB_COMPOSITE_REDIRECT_AUTOMATIC))};
            Reply<xcb_get_selection_owner_reply_t> owner{
                xcb_get_selection_owner_reply(c, ownerCookie, nullptr)};
            const bool compositorKeepsPixmaps = owner && owner->owner != XCB_NONE;
            if (!error && !compositorKeepsPixmaps)
                m_repaintedBy = std::chrono::steady_clock::now() + kRepaintGrace;
        }
        repaintedBy = m_repaintedBy;
    }
    std::this_thread::sleep_until(repaintedBy);
}

} // namespace platform::x11
