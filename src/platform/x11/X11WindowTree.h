#pragma once

#include "platform/x11/X11Connection.h"

#include <vector>

namespace platform::x11 {

// The top-level ancestor of each window: its ancestor that is a child of the root, which
// is the window manager's frame when one reparents clients, or the window itself.
// XCB_NONE for a window that no longer exists. One round trip per tree level for all.
std::vector<xcb_window_t> topLevelAncestors(const X11Connection& connection,
                                            const std::vector<xcb_window_t>& windows);

// The root's children, bottom to top.
std::vector<xcb_window_t> rootChildren(const X11Connection& connection);

} // namespace platform::x11
