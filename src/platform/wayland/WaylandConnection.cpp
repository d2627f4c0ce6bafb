#include "platform/wayland/WaylandConnection.h"

#include <wayland-client.h>

#include <QString>

#include <algorithm>
#include <cerrno>
#include <poll.h>

namespace platform::wayland {

namespace {

void addGlobal(void* data, wl_registry*, uint32_t name, const char* interface, uint32_t version) {
    static_cast<QList<WaylandConnection::Global>*>(data)->append({name, QByteArray(interface), version});
}

void removeGlobal(void* data, wl_registry*, uint32_t name) {
    static_cast<QList<WaylandConnection::Global>*>(data)->removeIf(
        [name](const WaylandConnection::Global& global) { return global.name == name; });
}

const wl_registry_listener registryListener{addGlobal, removeGlobal};

void syncDone(void* data, wl_callback*, uint32_t) {
    *static_cast<bool*>(data) = true;
}

const wl_callback_listener syncListener{syncDone};

} // namespace

Result<std::unique_ptr<WaylandConnection>> WaylandConnection::open(std::chrono::milliseconds timeout) {
    wl_display* display = wl_display_connect(nullptr);
    if (!display)
        return Error{QStringLiteral("Cannot reach the Wayland compositor named by WAYLAND_DISPLAY (\"%1\").")
                         .arg(qEnvironmentVariable("WAYLAND_DISPLAY"))};
    std::unique_ptr<WaylandConnection> connection(new WaylandConnection(display, timeout));
    connection->m_registry = wl_display_get_registry(display);
    wl_registry_add_listener(connection->m_registry, &registryListener, &connection->m_globals);
    if (auto listed = connection->roundtrip(); !listed) return listed.error();
    return connection;
}

WaylandConnection::WaylandConnection(wl_display* display, std::chrono::milliseconds timeout)
    : m_display(display), m_timeout(timeout) {}

WaylandConnection::~WaylandConnection() {
    if (m_registry) wl_registry_destroy(m_registry);
    wl_display_disconnect(m_display);
}

std::optional<WaylandConnection::Global> WaylandConnection::global(const char* interface) const {
    for (const Global& global : m_globals)
        if (global.interface == interface) return global;
    return std::nullopt;
}

QList<WaylandConnection::Global> WaylandConnection::globals(const char* interface) const {
    QList<Global> found;
    for (const Global& global : m_globals)
        if (global.interface == interface) found.append(global);
    return found;
}

void* WaylandConnection::bind(const Global& global, const wl_interface* interface, uint32_t version) {
    return wl_registry_bind(m_registry, global.name, interface, std::min(global.version, version));
}

Result<bool> WaylandConnection::roundtrip() {
    bool done = false;
    wl_callback* callback = wl_display_sync(m_display);
    wl_callback_add_listener(callback, &syncListener, &done);
    Result<bool> answered = dispatchUntil([&] { return done; });
    wl_callback_destroy(callback);
    return answered;
}

Result<bool> WaylandConnection::flush() {
    if (wl_display_flush(m_display) < 0 && errno != EAGAIN) return lost();
    return true;
}

Result<bool> WaylandConnection::dispatchUntil(const std::function<bool()>& done) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + m_timeout;
    while (!done()) {
        // Events already read (by an earlier call) are dispatched before waiting for more.
        if (wl_display_prepare_read(m_display) != 0) {
            if (wl_display_dispatch_pending(m_display) < 0) return lost();
            continue;
        }
        // A full socket takes the rest of the requests once the compositor has read some.
        const bool sent = wl_display_flush(m_display) >= 0 || errno == EAGAIN;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        if (!sent || left.count() <= 0) {
            wl_display_cancel_read(m_display);
            if (!sent) return lost();
            return Error{QStringLiteral("The Wayland compositor did not answer within %1 seconds.")
                             .arg(double(m_timeout.count()) / 1000.0)};
        }
        pollfd socket{wl_display_get_fd(m_display), POLLIN, 0};
        const int ready = poll(&socket, 1, int(left.count()));
        if (ready <= 0) {
            wl_display_cancel_read(m_display);
            if (ready < 0 && errno != EINTR) return lost();
            continue;
        }
        if (wl_display_read_events(m_display) < 0 || wl_display_dispatch_pending(m_display) < 0)
            return lost();
    }
    return true;
}

Error WaylandConnection::lost() const {
    const wl_interface* interface = nullptr;
    uint32_t id = 0;
    const uint32_t code = wl_display_get_protocol_error(m_display, &interface, &id);
    if (interface)
        return Error{QStringLiteral("The Wayland compositor closed our connection (error %1 on %2).")
                         .arg(code)
                         .arg(QString::fromLatin1(interface->name))};
    return Error{QStringLiteral("The connection to the Wayland compositor was lost.")};
}

} // namespace platform::wayland
