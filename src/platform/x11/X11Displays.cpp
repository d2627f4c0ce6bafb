#include "platform/x11/X11Displays.h"

#include <xcb/randr.h>

#include <algorithm>
#include <vector>

namespace platform::x11 {

namespace {

// The resource database can be long; Xft.dpi is usually near its start, but read it all.
constexpr uint32_t kMaxResourceBytes = 1024 * 1024;

// Xft.dpi, the DPI toolkits scale by; 96 is 1:1.
double scaleFromResources(const QByteArray& resources) {
    for (const QByteArray& line : resources.split('\n')) {
        const qsizetype colon = line.indexOf(':');
        if (colon < 0 || line.left(colon).trimmed() != "Xft.dpi") continue;
        bool ok = false;
        const double dpi = line.mid(colon + 1).trimmed().toDouble(&ok);
        if (ok && dpi > 0) return std::max(1.0, dpi / 96.0);
    }
    return 1.0;
}

} // namespace

X11Displays::X11Displays(const X11Connection& connection) : m_connection(connection) {}

bool X11Displays::hasMonitors() {
    // RandR wants to hear the client's version before it answers newer requests.
    std::call_once(m_versionChecked, [this] {
        if (!m_connection.hasExtension(&xcb_randr_id)) return;
        xcb_connection_t* c = m_connection.raw();
        Reply<xcb_randr_query_version_reply_t> version{
            xcb_randr_query_version_reply(c, xcb_randr_query_version(c, 1, 5), nullptr)};
        m_hasMonitors = version && (version->major_version > 1 ||
                                    (version->major_version == 1 && version->minor_version >= 5));
    });
    return m_hasMonitors;
}

DisplayInfo X11Displays::wholeScreen() const {
    const xcb_screen_t& screen = m_connection.screen();
    DisplayInfo display;
    display.id = 0;
    display.name = QStringLiteral("Screen");
    display.geometry = QRect(0, 0, screen.width_in_pixels, screen.height_in_pixels);
    display.primary = true;
    return display;
}

QList<DisplayInfo> X11Displays::list() {
    xcb_connection_t* c = m_connection.raw();
    const xcb_window_t root = m_connection.root();
    const xcb_get_property_cookie_t resourcesCookie =
        m_connection.requestProperty(root, XCB_ATOM_RESOURCE_MANAGER, kMaxResourceBytes);

    QList<DisplayInfo> displays;
    if (hasMonitors()) {
        Reply<xcb_randr_get_monitors_reply_t> monitors{
            xcb_randr_get_monitors_reply(c, xcb_randr_get_monitors(c, root, 1), nullptr)};
        std::vector<xcb_get_atom_name_cookie_t> nameCookies;
        if (monitors) {
            xcb_randr_monitor_info_iterator_t it = xcb_randr_get_monitors_monitors_iterator(monitors.get());
            for (; it.rem > 0; xcb_randr_monitor_info_next(&it)) {
                const xcb_randr_monitor_info_t& monitor = *it.data;
                DisplayInfo display;
                // A monitor made without outputs (xrandr --setmonitor ... none) has only its name.
                display.id = monitor.nOutput > 0 ? xcb_randr_monitor_info_outputs(&monitor)[0] : monitor.name;
                display.geometry = QRect(monitor.x, monitor.y, monitor.width, monitor.height);
                display.primary = monitor.primary != 0;
                displays.append(display);
                nameCookies.push_back(xcb_get_atom_name(c, monitor.name));
            }
        }
        for (qsizetype i = 0; i < displays.size(); ++i) {
            Reply<xcb_get_atom_name_reply_t> name{
                xcb_get_atom_name_reply(c, nameCookies[size_t(i)], nullptr)};
            if (name) {
                displays[i].name = QString::fromUtf8(xcb_get_atom_name_name(name.get()),
                                                     xcb_get_atom_name_name_length(name.get()));
            }
        }
    }
    if (displays.isEmpty()) displays.append(wholeScreen());

    const double scale = scaleFromResources(m_connection.takeProperty(resourcesCookie).data);
    for (DisplayInfo& display : displays)
        display.scale = scale;
    return displays;
}

} // namespace platform::x11
