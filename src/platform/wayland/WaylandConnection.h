#pragma once

#include "common/Result.h"

#include <QByteArray>
#include <QList>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

struct wl_display;
struct wl_interface;
struct wl_registry;

namespace platform::wayland {

// A connection of our own to the compositor named by WAYLAND_DISPLAY, beside Qt's: for the
// protocols Qt does not speak. It knows the compositor's globals, and every wait on the
// compositor ends after a timeout, so a compositor that stopped answering fails a call with
// a sentence instead of hanging it. Not thread-safe: its owner serialises the calls.
class WaylandConnection {
public:
    struct Global {
        uint32_t name = 0;
        QByteArray interface;
        uint32_t version = 0;
    };

    static constexpr std::chrono::milliseconds defaultTimeout{5000};

    // Connects and lists the globals; fails with a sentence when no compositor answers.
    static Result<std::unique_ptr<WaylandConnection>>
    open(std::chrono::milliseconds timeout = defaultTimeout);
    ~WaylandConnection();

    WaylandConnection(const WaylandConnection&) = delete;
    WaylandConnection& operator=(const WaylandConnection&) = delete;

    wl_display* display() const { return m_display; }

    // The first global of this interface, or every one (outputs, seats).
    std::optional<Global> global(const char* interface) const;
    QList<Global> globals(const char* interface) const;

    // Binds a global at the lower of its version and `version`; the proxy's version says which.
    void* bind(const Global& global, const wl_interface* interface, uint32_t version);

    // Sends the requests made so far and waits until the compositor has handled them and
    // sent their events, which are dispatched.
    Result<bool> roundtrip();

    // Dispatches the compositor's events until `done` says so.
    Result<bool> dispatchUntil(const std::function<bool()>& done);

    // Sends the requests made so far without waiting.
    Result<bool> flush();

private:
    WaylandConnection(wl_display* display, std::chrono::milliseconds timeout);
    Error lost() const;

    wl_display* m_display = nullptr;
    wl_registry* m_registry = nullptr;
    std::chrono::milliseconds m_timeout;
    QList<Global> m_globals;
};

} // namespace platform::wayland
