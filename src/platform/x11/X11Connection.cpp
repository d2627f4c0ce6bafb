#include "platform/x11/X11Connection.h"

#include <QSysInfo>

#include <array>
#include <cstring>
#include <utility>

namespace platform::x11 {

namespace {

xcb_screen_t* screenNumber(xcb_connection_t* connection, int number) {
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int i = 0; it.rem > 0; ++i, xcb_screen_next(&it)) {
        if (i == number) return it.data;
    }
    return nullptr;
}

uint8_t bitsPerPixel(const xcb_setup_t* setup, uint8_t depth) {
    xcb_format_iterator_t it = xcb_setup_pixmap_formats_iterator(setup);
    for (; it.rem > 0; xcb_format_next(&it)) {
        if (it.data->depth == depth) return it.data->bits_per_pixel;
    }
    return 0;
}

const xcb_visualtype_t* findVisual(const xcb_screen_t& screen, xcb_visualid_t id) {
    xcb_depth_iterator_t depths = xcb_screen_allowed_depths_iterator(&screen);
    for (; depths.rem > 0; xcb_depth_next(&depths)) {
        xcb_visualtype_iterator_t visuals = xcb_depth_visuals_iterator(depths.data);
        for (; visuals.rem > 0; xcb_visualtype_next(&visuals)) {
            if (visuals.data->visual_id == id) return visuals.data;
        }
    }
    return nullptr;
}

Error unsupportedVisual(uint8_t depth) {
    return Error{QStringLiteral("Cannot capture this display: only 24- and 32-bit TrueColor visuals are "
                                "supported, and this one has depth %1")
                     .arg(depth)};
}

} // namespace

std::vector<uint32_t> Property::values32() const {
    std::vector<uint32_t> values;
    if (format != 32) return values;
    values.resize(static_cast<size_t>(data.size()) / sizeof(uint32_t));
    if (!values.empty()) std::memcpy(values.data(), data.constData(), values.size() * sizeof(uint32_t));
    return values;
}

Result<std::unique_ptr<X11Connection>> X11Connection::open() {
    const QByteArray display = qgetenv("DISPLAY");
    if (display.isEmpty()) return Error{QStringLiteral("No X display to capture: DISPLAY is not set")};

    int preferredScreen = 0;
    xcb_connection_t* connection = xcb_connect(display.constData(), &preferredScreen);
    if (xcb_connection_has_error(connection)) {
        xcb_disconnect(connection);
        return Error{
            QStringLiteral("Cannot connect to the X display %1").arg(QString::fromLocal8Bit(display))};
    }
    xcb_screen_t* screen = screenNumber(connection, preferredScreen);
    if (!screen) {
        xcb_disconnect(connection);
        return Error{QStringLiteral("The X display %1 has no screen %2")
                         .arg(QString::fromLocal8Bit(display))
                         .arg(preferredScreen)};
    }
    std::unique_ptr<X11Connection> result(new X11Connection(connection, screen));
    result->internAtoms(preferredScreen);
    return result;
}

X11Connection::X11Connection(xcb_connection_t* connection, xcb_screen_t* screen)
    : m_connection(connection), m_screen(screen) {}

X11Connection::~X11Connection() {
    xcb_disconnect(m_connection);
}

void X11Connection::internAtoms(int screenNumber) {
    const QByteArray compositingManager = "_NET_WM_CM_S" + QByteArray::number(screenNumber);
    const std::array<std::pair<const char*, xcb_atom_t*>, 19> wanted{{
        {"UTF8_STRING", &m_atoms.utf8String},
        {"_NET_SUPPORTING_WM_CHECK", &m_atoms.netSupportingWmCheck},
        {"_NET_CLIENT_LIST_STACKING", &m_atoms.netClientListStacking},
        {"_NET_ACTIVE_WINDOW", &m_atoms.netActiveWindow},
        {"_NET_WM_NAME", &m_atoms.netWmName},
        {"_NET_WM_PID", &m_atoms.netWmPid},
        {"_NET_WM_STATE", &m_atoms.netWmState},
        {"_NET_WM_STATE_HIDDEN", &m_atoms.netWmStateHidden},
        {"_NET_WM_STATE_ABOVE", &m_atoms.netWmStateAbove},
        {"_NET_WM_STATE_BELOW", &m_atoms.netWmStateBelow},
        {"_NET_WM_WINDOW_TYPE", &m_atoms.netWmWindowType},
        {"_NET_WM_WINDOW_TYPE_DESKTOP", &m_atoms.netWmWindowTypeDesktop},
        {"_NET_WM_WINDOW_TYPE_DOCK", &m_atoms.netWmWindowTypeDock},
        {"_NET_WM_WINDOW_TYPE_NOTIFICATION", &m_atoms.netWmWindowTypeNotification},
        {"_NET_WM_WINDOW_TYPE_TOOLTIP", &m_atoms.netWmWindowTypeTooltip},
        {"_NET_WM_WINDOW_TYPE_POPUP_MENU", &m_atoms.netWmWindowTypePopupMenu},
        {"_NET_WM_WINDOW_TYPE_DROPDOWN_MENU", &m_atoms.netWmWindowTypeDropdownMenu},
        {"_NET_WM_WINDOW_TYPE_COMBO", &m_atoms.netWmWindowTypeCombo},
        {compositingManager.constData(), &m_atoms.netWmCmScreen},
    }};
    std::array<xcb_intern_atom_cookie_t, wanted.size()> cookies{};
    for (size_t i = 0; i < wanted.size(); ++i) {
        const char* name = wanted[i].first;
        cookies[i] = xcb_intern_atom(m_connection, 0, static_cast<uint16_t>(std::strlen(name)), name);
    }

    for (size_t i = 0; i < wanted.size(); ++i) {
        Reply<xcb_intern_atom_reply_t> reply{xcb_intern_atom_reply(m_connection, cookies[i], nullptr)};
        *wanted[i].second = reply ? reply->atom : XCB_NONE;
    }
}

xcb_atom_t X11Connection::internAtom(const char* name) const {
    Reply<xcb_intern_atom_reply_t> reply{xcb_intern_atom_reply(
        m_connection, xcb_intern_atom(m_connection, 0, static_cast<uint16_t>(std::strlen(name)), name),
        nullptr)};
    return reply ? reply->atom : XCB_NONE;
}

bool X11Connection::hasExtension(xcb_extension_t* extension) const {
    const xcb_query_extension_reply_t* data = xcb_get_extension_data(m_connection, extension);
    return data && data->present;
}

Result<PixelFormat> X11Connection::pixelFormat(xcb_visualid_t visualId, uint8_t depth) const {
    const xcb_visualtype_t* visual = findVisual(*m_screen, visualId);
    if (!visual || visual->_class != XCB_VISUAL_CLASS_TRUE_COLOR || (depth != 24 && depth != 32))
        return unsupportedVisual(depth);
    if (visual->red_mask != 0xff0000 || visual->green_mask != 0xff00 || visual->blue_mask != 0xff)
        return unsupportedVisual(depth);

    const xcb_setup_t* setup = xcb_get_setup(m_connection);
    const bool serverLittleEndian = setup->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST;
    const bool hostLittleEndian = QSysInfo::ByteOrder == QSysInfo::LittleEndian;
    if (bitsPerPixel(setup, depth) != 32 || serverLittleEndian != hostLittleEndian)
        return unsupportedVisual(depth);

    // Depth-32 windows hold premultiplied alpha, as Render composites them.
    if (depth == 32) return PixelFormat{QImage::Format_ARGB32_Premultiplied, false};
    return PixelFormat{QImage::Format_RGB32, true};
}

xcb_get_property_cookie_t X11Connection::requestProperty(xcb_window_t window, xcb_atom_t property,
                                                         uint32_t maxBytes) const {
    return xcb_get_property(m_connection, 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0,
                            (maxBytes + 3) / 4);
}

Property X11Connection::takeProperty(xcb_get_property_cookie_t cookie) const {
    Property property;
    Reply<xcb_get_property_reply_t> reply{xcb_get_property_reply(m_connection, cookie, nullptr)};
    if (!reply || reply->type == XCB_NONE) return property;
    property.type = reply->type;
    property.format = reply->format;
    property.data = QByteArray(static_cast<const char*>(xcb_get_property_value(reply.get())),
                               xcb_get_property_value_length(reply.get()));
    return property;
}

void X11Connection::ignoreErrors(xcb_void_cookie_t cookie) const {
    xcb_discard_reply(m_connection, cookie.sequence);
}

} // namespace platform::x11
