#include "platform/x11/X11DesktopCover.h"

#include "platform/x11/X11Log.h"
#include "platform/x11/X11WindowTree.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

namespace platform::x11 {

namespace {

constexpr uint32_t kMaxClientListBytes = 256 * 1024;
constexpr double kGreyLevel = 0x30 / 255.0;

// The value of one colour channel at `level` (0 to 1) in a TrueColor pixel.
uint32_t channel(uint32_t mask, double level) {
    if (mask == 0) return 0;
    const int shift = std::countr_zero(mask);
    return uint32_t(std::lround((mask >> shift) * level)) << shift;
}

} // namespace

std::unique_ptr<DesktopCover> makeDesktopCover() {
    Result<std::unique_ptr<X11Connection>> connection = X11Connection::open();
    if (!connection) {
        qCDebug(lcX11) << "No desktop cover:" << connection.error().message;
        return std::make_unique<X11DesktopCover>(nullptr);
    }
    return std::make_unique<X11DesktopCover>(std::move(connection).value());
}

X11DesktopCover::X11DesktopCover(std::unique_ptr<X11Connection> connection)
    : m_connection(std::move(connection)) {
    if (!m_connection) return;
    m_netClientList = m_connection->internAtom("_NET_CLIENT_LIST");
    m_wallpaper.emplace(*m_connection);
}

X11DesktopCover::~X11DesktopCover() {
    uncover();
}

void X11DesktopCover::cover() {
    if (!m_connection || !m_covers.empty()) return;
    const std::vector<Desktop> desktops = findDesktops();
    if (desktops.empty()) return;

    const xcb_pixmap_t background = m_wallpaper->pixmap();
    for (const Desktop& desktop : desktops) {
        const xcb_window_t window = createCover(desktop, background);
        if (window != XCB_NONE) m_covers.push_back(window);
    }
    // Mapping paints a window's background while the server handles the request, so once
    // it has answered a later one the covers are on screen.
    roundTrip();
}

void X11DesktopCover::uncover() {
    if (!m_connection || m_covers.empty()) return;
    for (xcb_window_t window : m_covers)
        xcb_destroy_window(m_connection->raw(), window);
    m_covers.clear();
    roundTrip();
}

std::vector<X11DesktopCover::Desktop> X11DesktopCover::findDesktops() const {
    xcb_connection_t* c = m_connection->raw();
    const Atoms& atoms = m_connection->atoms();

    // Managed desktop windows are in the client list; those that bypass the window
    // manager are children of the root.
    std::vector<xcb_window_t> candidates =
        m_connection
            ->takeProperty(
                m_connection->requestProperty(m_connection->root(), m_netClientList, kMaxClientListBytes))
            .values32();
    const std::vector<xcb_window_t> children = rootChildren(*m_connection);
    candidates.insert(candidates.end(), children.begin(), children.end());
    std::sort(candidates.begin(), candidates.end());
    candidates.erase(std::unique(candidates.begin(), candidates.end()), candidates.end());

    std::vector<std::pair<xcb_get_property_cookie_t, xcb_get_window_attributes_cookie_t>> cookies;
    cookies.reserve(candidates.size());
    for (xcb_window_t window : candidates)
        cookies.emplace_back(m_connection->requestProperty(window, atoms.netWmWindowType),
                             xcb_get_window_attributes(c, window));
    std::vector<xcb_window_t> desktopWindows;
    for (size_t i = 0; i < candidates.size(); ++i) {
        const std::vector<uint32_t> types = m_connection->takeProperty(cookies[i].first).values32();
        Reply<xcb_get_window_attributes_reply_t> attributes{
            xcb_get_window_attributes_reply(c, cookies[i].second, nullptr)};
        const bool isDesktop =
            std::find(types.begin(), types.end(), atoms.netWmWindowTypeDesktop) != types.end();
        if (isDesktop && attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE)
            desktopWindows.push_back(candidates[i]);
    }
    if (desktopWindows.empty()) return {};

    const std::vector<xcb_window_t> topLevels = topLevelAncestors(*m_connection, desktopWindows);
    std::vector<std::pair<xcb_get_geometry_cookie_t, xcb_translate_coordinates_cookie_t>> places;
    places.reserve(desktopWindows.size());
    for (xcb_window_t window : desktopWindows)
        places.emplace_back(xcb_get_geometry(c, window),
                            xcb_translate_coordinates(c, window, m_connection->root(), 0, 0));
    std::vector<Desktop> desktops;
    for (size_t i = 0; i < desktopWindows.size(); ++i) {
        Reply<xcb_get_geometry_reply_t> geometry{xcb_get_geometry_reply(c, places[i].first, nullptr)};
        Reply<xcb_translate_coordinates_reply_t> origin{
            xcb_translate_coordinates_reply(c, places[i].second, nullptr)};
        if (!geometry || !origin || topLevels[i] == XCB_NONE) continue; // gone meanwhile
        desktops.push_back({desktopWindows[i], topLevels[i],
                            QRect(origin->dst_x, origin->dst_y, geometry->width, geometry->height)});
    }
    return desktops;
}

xcb_window_t X11DesktopCover::createCover(const Desktop& desktop, xcb_pixmap_t wallpaper) {
    xcb_connection_t* c = m_connection->raw();
    const xcb_screen_t& screen = m_connection->screen();
    const auto width = uint16_t(std::max(1, desktop.rect.width()));
    const auto height = uint16_t(std::max(1, desktop.rect.height()));

    // The background: the wallpaper's part under the desktop window, on grey where the
    // wallpaper does not reach. The window keeps the pixmap after we free our id.
    const xcb_pixmap_t background = xcb_generate_id(c);
    xcb_create_pixmap(c, screen.root_depth, background, screen.root, width, height);
    const xcb_gcontext_t gc = xcb_generate_id(c);
    const std::array<uint32_t, 2> gcValues{greyPixel(), 0};
    xcb_create_gc(c, gc, background, XCB_GC_FOREGROUND | XCB_GC_GRAPHICS_EXPOSURES, gcValues.data());
    const xcb_rectangle_t all{0, 0, width, height};
    xcb_poly_fill_rectangle(c, background, gc, 1, &all);
    if (wallpaper != XCB_NONE) {
        xcb_copy_area(c, wallpaper, background, gc, int16_t(desktop.rect.x()), int16_t(desktop.rect.y()), 0,
                      0, width, height);
    }
    xcb_free_gc(c, gc);

    const xcb_window_t window = xcb_generate_id(c);
    const std::array<uint32_t, 2> attributes{background, 1};
    xcb_create_window(c, XCB_COPY_FROM_PARENT, window, screen.root, int16_t(desktop.rect.x()),
                      int16_t(desktop.rect.y()), width, height, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      screen.root_visual, XCB_CW_BACK_PIXMAP | XCB_CW_OVERRIDE_REDIRECT, attributes.data());
    xcb_free_pixmap(c, background);

    // Stacked before it is mapped, so that it never shows above other windows.
    const std::array<uint32_t, 2> stacking{desktop.topLevel, XCB_STACK_MODE_ABOVE};
    const xcb_void_cookie_t restack = xcb_configure_window_checked(
        c, window, XCB_CONFIG_WINDOW_SIBLING | XCB_CONFIG_WINDOW_STACK_MODE, stacking.data());
    Reply<xcb_generic_error_t> error{xcb_request_check(c, restack)};
    if (error) {
        // The desktop window went away meanwhile.
        qCDebug(lcX11) << "Cannot stack a cover above desktop window" << desktop.window << "- X error"
                       << error->error_code;
        xcb_destroy_window(c, window);
        return XCB_NONE;
    }
    xcb_map_window(c, window);
    xcb_clear_area(c, 0, window, 0, 0, 0, 0);
    qCDebug(lcX11) << "Covered desktop window" << desktop.window << "at" << desktop.rect
                   << (wallpaper != XCB_NONE ? "with the wallpaper" : "in grey");
    return window;
}

uint32_t X11DesktopCover::greyPixel() const {
    const xcb_screen_t& screen = m_connection->screen();
    xcb_depth_iterator_t depths = xcb_screen_allowed_depths_iterator(&screen);
    for (; depths.rem > 0; xcb_depth_next(&depths)) {
        xcb_visualtype_iterator_t visuals = xcb_depth_visuals_iterator(depths.data);
        for (; visuals.rem > 0; xcb_visualtype_next(&visuals)) {
            const xcb_visualtype_t& visual = *visuals.data;
            if (visual.visual_id != screen.root_visual) continue;
            if (visual._class != XCB_VISUAL_CLASS_TRUE_COLOR &&
                visual._class != XCB_VISUAL_CLASS_DIRECT_COLOR)
                return screen.black_pixel;
            return channel(visual.red_mask, kGreyLevel) | channel(visual.green_mask, kGreyLevel) |
                   channel(visual.blue_mask, kGreyLevel);
        }
    }
    return screen.black_pixel;
}

void X11DesktopCover::roundTrip() const {
    xcb_connection_t* c = m_connection->raw();
    Reply<xcb_get_input_focus_reply_t> focus{xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr)};
    // Nothing reads this connection's events: drop the errors of windows that vanished
    // while we looked at them.
    while (Reply<xcb_generic_event_t> event{xcb_poll_for_event(c)}) {
    }
}

} // namespace platform::x11
