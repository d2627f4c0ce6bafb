#include "platform/x11/X11OwnWindowFilter.h"

#include "platform/x11/X11WindowTree.h"

#include <QPainter>

#include <unistd.h>

namespace platform::x11 {

X11OwnWindowFilter::X11OwnWindowFilter(const X11Connection& connection, X11AreaGrabber& areas,
                                       X11WindowGrabber& windows)
    : m_connection(connection), m_areas(areas), m_windows(windows), m_wallpaper(connection),
      m_rootFormat(connection.pixelFormat(connection.screen().root_visual, connection.screen().root_depth)),
      m_pid(uint32_t(::getpid())) {}

void X11OwnWindowFilter::apply(QImage& image, const QRect& area) {
    // Most frames: one look at the stacking order, and none of ours is there.
    const std::vector<xcb_window_t> children = rootChildren(m_connection);
    std::erase_if(m_ours, [&](const auto& known) {
        return std::find(children.begin(), children.end(), known.first) == children.end();
    });
    std::vector<xcb_window_t> ours;
    for (const xcb_window_t child : children)
        if (isOurs(child)) ours.push_back(child);
    if (ours.empty()) return;
    QRegion covered;
    for (const TopLevel& window : viewable(ours))
        covered += window.rect & area;
    if (covered.isEmpty() || !m_windows.hasComposite()) return;
    m_windows.redirectOnce();
    std::vector<TopLevel> windows = viewable(children);

    // Under every window the wallpaper, where a wallpaper setter left one; the root's plain
    // background is not kept anywhere a client can read it: black.
    QPainter painter(&image);
    painter.translate(-area.topLeft());
    painter.setClipRegion(covered);
    painter.fillRect(covered.boundingRect(), Qt::black);
    if (const xcb_pixmap_t wallpaper = m_wallpaper.pixmap(); wallpaper != XCB_NONE && m_rootFormat) {
        const QRect under = covered.boundingRect() & QRect(0, 0, m_connection.screen().width_in_pixels,
                                                           m_connection.screen().height_in_pixels);
        if (const Result<QImage> pixels = m_areas.grab(wallpaper, under, *m_rootFormat); pixels)
            painter.drawImage(under.topLeft(), *pixels);
    }
    for (const TopLevel& window : windows) {
        if (window.ours) continue;
        const QRect shown = covered.boundingRect() & window.rect;
        if (shown.isEmpty()) continue;
        const Result<PixelFormat> format = m_connection.pixelFormat(window.visual, window.depth);
        if (!format) continue;
        const Result<QImage> pixels =
            m_windows.grabFromPixmap(window.window, shown.translated(-window.rect.topLeft()), *format);
        if (pixels) painter.drawImage(shown.topLeft(), *pixels);
    }
}

std::vector<X11OwnWindowFilter::TopLevel>
X11OwnWindowFilter::viewable(const std::vector<xcb_window_t>& windows) {
    xcb_connection_t* c = m_connection.raw();
    std::vector<std::pair<xcb_get_window_attributes_cookie_t, xcb_get_geometry_cookie_t>> cookies;
    cookies.reserve(windows.size());
    for (const xcb_window_t window : windows)
        cookies.emplace_back(xcb_get_window_attributes(c, window), xcb_get_geometry(c, window));
    std::vector<TopLevel> viewable;
    for (size_t i = 0; i < windows.size(); ++i) {
        Reply<xcb_get_window_attributes_reply_t> attributes{
            xcb_get_window_attributes_reply(c, cookies[i].first, nullptr)};
        Reply<xcb_get_geometry_reply_t> geometry{xcb_get_geometry_reply(c, cookies[i].second, nullptr)};
        if (!attributes || !geometry || attributes->map_state != XCB_MAP_STATE_VIEWABLE ||
            attributes->_class != XCB_WINDOW_CLASS_INPUT_OUTPUT)
            continue;
        const int border = 2 * geometry->border_width;
        viewable.push_back(
            {windows[i], QRect(geometry->x, geometry->y, geometry->width + border, geometry->height + border),
             attributes->visual, geometry->depth, isOurs(windows[i])});
    }
    return viewable;
}

bool X11OwnWindowFilter::isOurs(xcb_window_t topLevel) {
    if (const auto known = m_ours.find(topLevel); known != m_ours.end()) return known->second;
    if (std::ranges::find(m_inPicture, topLevel) != m_inPicture.end()) return m_ours[topLevel] = false;
    // Our own override-redirect windows sit on the root; our managed ones inside a frame.
    bool ours = hasOurPid({topLevel});
    if (!ours) {
        xcb_connection_t* c = m_connection.raw();
        Reply<xcb_query_tree_reply_t> tree{xcb_query_tree_reply(c, xcb_query_tree(c, topLevel), nullptr)};
        if (tree) {
            const xcb_window_t* inside = xcb_query_tree_children(tree.get());
            ours = hasOurPid(
                std::vector<xcb_window_t>(inside, inside + xcb_query_tree_children_length(tree.get())));
        }
    }
    m_ours[topLevel] = ours;
    return ours;
}

bool X11OwnWindowFilter::hasOurPid(const std::vector<xcb_window_t>& windows) const {
    std::vector<xcb_get_property_cookie_t> cookies;
    for (const xcb_window_t window : windows)
        cookies.push_back(m_connection.requestProperty(window, m_connection.atoms().netWmPid, 4));
    bool ours = false;
    for (const auto cookie : cookies) {
        const std::vector<uint32_t> pid = m_connection.takeProperty(cookie).values32();
        if (!pid.empty() && pid.front() == m_pid) ours = true; // every reply is still taken
    }
    return ours;
}

} // namespace platform::x11
