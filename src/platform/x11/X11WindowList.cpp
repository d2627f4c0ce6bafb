#include "platform/x11/X11WindowList.h"

#include "platform/x11/X11WindowTree.h"

#include <QFile>

#include <algorithm>

namespace platform::x11 {

namespace {

constexpr uint32_t kMaxClientListBytes = 256 * 1024;
constexpr uint32_t kMaxTitleBytes = 4096;

constexpr int kDesktopLayer = -1000;
constexpr int kBelowLayer = -1;
constexpr int kAboveLayer = 3;
constexpr int kDockLayer = 20;
constexpr int kPopupLayer = 25;

// The per-window requests, sent for every window before any reply is read.
struct WindowRequests {
    xcb_get_window_attributes_cookie_t attributes;
    xcb_get_property_cookie_t state;
    xcb_get_property_cookie_t type;
    xcb_get_property_cookie_t pid;
    xcb_get_property_cookie_t wmClass;
    xcb_get_property_cookie_t netWmName;
    xcb_get_property_cookie_t wmName;
};

bool contains(const std::vector<uint32_t>& values, xcb_atom_t atom) {
    return atom != XCB_NONE && std::find(values.begin(), values.end(), atom) != values.end();
}

int layerOf(const Atoms& atoms, const std::vector<uint32_t>& types, const std::vector<uint32_t>& states) {
    // Types are listed in order of preference: the first one we know decides.
    for (uint32_t type : types) {
        if (type == atoms.netWmWindowTypeDesktop) return kDesktopLayer;
        if (type == atoms.netWmWindowTypeDock) return kDockLayer;
        if (type == atoms.netWmWindowTypeNotification || type == atoms.netWmWindowTypeTooltip ||
            type == atoms.netWmWindowTypePopupMenu || type == atoms.netWmWindowTypeDropdownMenu ||
            type == atoms.netWmWindowTypeCombo)
            return kPopupLayer;
    }
    if (contains(states, atoms.netWmStateBelow)) return kBelowLayer;
    if (contains(states, atoms.netWmStateAbove)) return kAboveLayer;
    return 0;
}

QString processName(qint64 pid) {
    if (pid <= 0) return {};
    QFile comm(QStringLiteral("/proc/%1/comm").arg(pid));
    if (!comm.open(QIODevice::ReadOnly)) return {};
    return QString::fromUtf8(comm.readAll()).trimmed();
}

// WM_CLASS holds "instance\0class\0"; the class names the application.
QString ownerName(const Property& wmClass, qint64 pid) {
    const QList<QByteArray> parts = wmClass.data.split('\0');
    if (parts.size() > 1 && !parts[1].isEmpty()) return QString::fromLocal8Bit(parts[1]);
    if (!parts.isEmpty() && !parts[0].isEmpty()) return QString::fromLocal8Bit(parts[0]);
    return processName(pid);
}

QString title(const Atoms& atoms, const Property& netWmName, const Property& wmName) {
    if (!netWmName.data.isEmpty()) return QString::fromUtf8(netWmName.data);
    if (wmName.type == atoms.utf8String) return QString::fromUtf8(wmName.data);
    // STRING is Latin-1; COMPOUND_TEXT is Latin-1 too as long as it stays ASCII-ish.
    return QString::fromLatin1(wmName.data);
}

} // namespace

X11WindowList::X11WindowList(const X11Connection& connection) : m_connection(connection) {}

std::optional<std::vector<xcb_window_t>> X11WindowList::managedClients() {
    const Atoms& atoms = m_connection.atoms();
    const xcb_window_t root = m_connection.root();
    const xcb_get_property_cookie_t checkCookie =
        m_connection.requestProperty(root, atoms.netSupportingWmCheck);
    const xcb_get_property_cookie_t stackingCookie =
        m_connection.requestProperty(root, atoms.netClientListStacking, kMaxClientListBytes);

    const std::vector<uint32_t> check = m_connection.takeProperty(checkCookie).values32();
    const Property stacking = m_connection.takeProperty(stackingCookie);
    if (check.empty() || check[0] == XCB_NONE || stacking.type != XCB_ATOM_WINDOW) return std::nullopt;

    // A window manager that exited leaves its properties behind; a live one's check
    // window points at itself.
    const std::vector<uint32_t> selfCheck =
        m_connection.takeProperty(m_connection.requestProperty(check[0], atoms.netSupportingWmCheck))
            .values32();
    if (selfCheck.empty() || selfCheck[0] != check[0]) return std::nullopt;

    std::vector<xcb_window_t> clients = stacking.values32();
    std::reverse(clients.begin(), clients.end()); // EWMH lists bottom to top
    return clients;
}

QList<WindowInfo> X11WindowList::windows() {
    xcb_connection_t* c = m_connection.raw();
    const Atoms& atoms = m_connection.atoms();

    std::optional<std::vector<xcb_window_t>> managed = managedClients();
    const bool windowManagerRuns = managed.has_value();
    std::vector<xcb_window_t> candidates;
    if (windowManagerRuns) {
        candidates = std::move(*managed);
    } else {
        candidates = rootChildren(m_connection);
        std::reverse(candidates.begin(), candidates.end());
    }

    std::vector<WindowRequests> requests;
    requests.reserve(candidates.size());
    for (xcb_window_t window : candidates) {
        requests.push_back({
            xcb_get_window_attributes(c, window),
            m_connection.requestProperty(window, atoms.netWmState),
            m_connection.requestProperty(window, atoms.netWmWindowType),
            m_connection.requestProperty(window, atoms.netWmPid),
            m_connection.requestProperty(window, XCB_ATOM_WM_CLASS),
            m_connection.requestProperty(window, atoms.netWmName, kMaxTitleBytes),
            m_connection.requestProperty(window, XCB_ATOM_WM_NAME, kMaxTitleBytes),
        });
    }

    QList<WindowInfo> result;
    std::vector<xcb_window_t> shown;
    for (size_t i = 0; i < candidates.size(); ++i) {
        const WindowRequests& r = requests[i];
        Reply<xcb_get_window_attributes_reply_t> attributes{
            xcb_get_window_attributes_reply(c, r.attributes, nullptr)};
        const std::vector<uint32_t> states = m_connection.takeProperty(r.state).values32();
        const std::vector<uint32_t> types = m_connection.takeProperty(r.type).values32();
        const std::vector<uint32_t> pid = m_connection.takeProperty(r.pid).values32();
        const Property wmClass = m_connection.takeProperty(r.wmClass);
        const Property netWmName = m_connection.takeProperty(r.netWmName);
        const Property wmName = m_connection.takeProperty(r.wmName);

        if (!attributes || attributes->map_state != XCB_MAP_STATE_VIEWABLE ||
            attributes->_class != XCB_WINDOW_CLASS_INPUT_OUTPUT || contains(states, atoms.netWmStateHidden))
            continue;
        // Without a window manager, override-redirect windows are menus and tooltips, which a
        // window manager would not list either.
        if (!windowManagerRuns && attributes->override_redirect) continue;

        WindowInfo info;
        info.id = candidates[i];
        info.pid = pid.empty() ? 0 : qint64(pid[0]);
        info.ownerName = ownerName(wmClass, info.pid);
        info.title = title(atoms, netWmName, wmName);
        info.layer = layerOf(atoms, types, states);
        result.append(info);
        shown.push_back(candidates[i]);
    }

    const std::vector<xcb_window_t> frames = topLevelAncestors(m_connection, shown);
    std::vector<xcb_get_geometry_cookie_t> geometryCookies;
    geometryCookies.reserve(frames.size());
    for (xcb_window_t frame : frames)
        geometryCookies.push_back(xcb_get_geometry(c, frame == XCB_NONE ? m_connection.root() : frame));
    QList<WindowInfo> onScreen;
    for (size_t i = 0; i < frames.size(); ++i) {
        Reply<xcb_get_geometry_reply_t> geometry{xcb_get_geometry_reply(c, geometryCookies[i], nullptr)};
        if (frames[i] == XCB_NONE || !geometry) continue; // closed while we looked
        const int border = 2 * geometry->border_width;
        result[qsizetype(i)].frame =
            QRect(geometry->x, geometry->y, geometry->width + border, geometry->height + border);
        onScreen.append(result[qsizetype(i)]);
    }
    return onScreen;
}

std::optional<uint32_t> X11WindowList::activeWindow() {
    const std::vector<uint32_t> active = m_connection
                                             .takeProperty(m_connection.requestProperty(
                                                 m_connection.root(), m_connection.atoms().netActiveWindow))
                                             .values32();
    if (active.empty() || active[0] == XCB_NONE) return std::nullopt;
    return active[0];
}

} // namespace platform::x11
