#pragma once

#include "platform/ScreenBackend.h"
#include "platform/x11/X11Connection.h"

#include <atomic>
#include <optional>

namespace platform::x11 {

// The pointer's image and place through XFixes, for one connection.
class X11Cursor {
public:
    explicit X11Cursor(const X11Connection& connection) : m_connection(connection) {}
    std::optional<ScreenBackend::Cursor> read();

private:
    const X11Connection& m_connection;
    std::atomic<bool> m_xfixesReady = false;
};

} // namespace platform::x11
