#include "platform/x11/X11ScreenBackend.h"

#include "platform/x11/X11AreaGrabber.h"
#include "platform/x11/X11Connection.h"
#include "platform/x11/X11Cursor.h"
#include "platform/x11/X11Displays.h"
#include "platform/x11/X11WindowGrabber.h"
#include "platform/x11/X11WindowList.h"

#include <QSize>

#include <algorithm>
#include <array>

#include <atomic>

namespace platform::x11 {

namespace {

Error offScreen() {
    return Error{QStringLiteral("That area is off screen")};
}

class X11ScreenBackend final : public ScreenBackend {
public:
    X11ScreenBackend(std::unique_ptr<X11Connection> connection, bool allowShm)
        : m_connection(std::move(connection)), m_displays(*m_connection), m_areas(*m_connection, allowShm),
          m_windowGrabber(*m_connection, m_areas), m_windowList(*m_connection),
          m_rootFormat(m_connection->pixelFormat(m_connection->screen().root_visual,
                                                 m_connection->screen().root_depth)),
          m_rootSize(pack(m_connection->screen().width_in_pixels, m_connection->screen().height_in_pixels)) {}

    QList<DisplayInfo> displays() override { return m_displays.list(); }

    Result<QImage> grabArea(const QRect& rootRect) override {
        if (!m_rootFormat) return m_rootFormat.error();
        if (rootRect.isEmpty() || !isOnScreen(rootRect)) return offScreen();
        Result<QImage> image = m_areas.grab(m_connection->root(), rootRect, *m_rootFormat);
        if (!image) {
            refreshRootSize(); // the screen may have shrunk under us
            if (!rootContains(rootRect)) return offScreen();
        }
        return image;
    }

    Result<QImage> grabWindow(uint32_t windowId) override { return m_windowGrabber.grab(windowId); }

    QList<WindowInfo> windows() override { return m_windowList.windows(); }

    std::optional<uint32_t> activeWindow() override { return m_windowList.activeWindow(); }

    QPoint pointerPosition() override {
        xcb_connection_t* c = m_connection->raw();
        Reply<xcb_query_pointer_reply_t> pointer{
            xcb_query_pointer_reply(c, xcb_query_pointer(c, m_connection->root()), nullptr)};
        return pointer ? QPoint(pointer->root_x, pointer->root_y) : QPoint();
    }

    std::optional<Cursor> cursor() override { return m_cursor.read(); }

    Result<bool> arrangeWindow(uint32_t windowId, std::optional<QPoint> frameTopLeft,
                               std::optional<QSize> clientSize, bool raise) override {
        xcb_connection_t* c = m_connection->raw();
        // The EWMH requests, as a pager sends them: the window manager keeps control of
        // decorations and constraints.
        const auto send = [&](const char* name, std::array<uint32_t, 5> data) {
            const xcb_atom_t type = m_connection->internAtom(name);
            if (type == XCB_NONE) return false;
            xcb_client_message_event_t event{};
            event.response_type = XCB_CLIENT_MESSAGE;
            event.format = 32;
            event.window = windowId;
            event.type = type;
            std::copy(data.begin(), data.end(), event.data.data32);
            xcb_send_event(c, 0, m_connection->root(),
                           XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                           reinterpret_cast<const char*>(&event));
            return true;
        };
        constexpr uint32_t northWestGravity = 1, fromPager = 2;
        uint32_t flags = northWestGravity | fromPager << 12;
        if (frameTopLeft) flags |= 1u << 8 | 1u << 9;
        if (clientSize) flags |= 1u << 10 | 1u << 11;
        bool sent = true;
        if (frameTopLeft || clientSize)
            sent = send("_NET_MOVERESIZE_WINDOW", {flags, uint32_t(frameTopLeft ? frameTopLeft->x() : 0),
                                                   uint32_t(frameTopLeft ? frameTopLeft->y() : 0),
                                                   uint32_t(clientSize ? clientSize->width() : 0),
                                                   uint32_t(clientSize ? clientSize->height() : 0)});
        if (raise) sent = send("_NET_ACTIVE_WINDOW", {fromPager, XCB_CURRENT_TIME, 0, 0, 0}) && sent;
        xcb_flush(c);
        if (!sent)
            return Error{QStringLiteral("The window manager could not be asked to arrange the window.")};
        return true;
    }

private:
    static uint32_t pack(uint16_t width, uint16_t height) { return uint32_t(width) << 16 | height; }

    // The known root size saves a round trip per grab; RandR can resize the root, so look
    // again before refusing an area.
    bool isOnScreen(const QRect& rect) {
        if (rootContains(rect)) return true;
        refreshRootSize();
        return rootContains(rect);
    }

    bool rootContains(const QRect& rect) const {
        const uint32_t size = m_rootSize.load(std::memory_order_relaxed);
        return QRect(0, 0, int(size >> 16), int(size & 0xffff)).contains(rect);
    }

    void refreshRootSize() {
        xcb_connection_t* c = m_connection->raw();
        Reply<xcb_get_geometry_reply_t> geometry{
            xcb_get_geometry_reply(c, xcb_get_geometry(c, m_connection->root()), nullptr)};
        if (geometry) m_rootSize.store(pack(geometry->width, geometry->height), std::memory_order_relaxed);
    }

    std::unique_ptr<X11Connection> m_connection;
    X11Displays m_displays;
    X11AreaGrabber m_areas;
    X11WindowGrabber m_windowGrabber;
    X11WindowList m_windowList;
    const Result<PixelFormat> m_rootFormat;
    std::atomic<uint32_t> m_rootSize; // width << 16 | height
    X11Cursor m_cursor{*m_connection};
};

} // namespace

Result<std::unique_ptr<ScreenBackend>> connect() {
    Result<std::unique_ptr<X11Connection>> connection = X11Connection::open();
    if (!connection) return connection.error();
    const bool allowShm = qgetenv("PICTAVIA_NO_SHM") != "1";
    return std::unique_ptr<ScreenBackend>(
        std::make_unique<X11ScreenBackend>(std::move(connection).value(), allowShm));
}

} // namespace platform::x11
