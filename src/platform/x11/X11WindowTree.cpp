#include "platform/x11/X11WindowTree.h"

namespace platform::x11 {

namespace {
// Deeper than any window manager nests its frames; stops a walk through a changing tree.
constexpr int kMaxDepth = 16;
} // namespace

std::vector<xcb_window_t> topLevelAncestors(const X11Connection& connection,
                                            const std::vector<xcb_window_t>& windows) {
    xcb_connection_t* c = connection.raw();
    const xcb_window_t root = connection.root();
    std::vector<xcb_window_t> current = windows;
    std::vector<xcb_window_t> result(windows.size(), XCB_NONE);
    std::vector<size_t> pending;
    for (size_t i = 0; i < windows.size(); ++i) {
        if (windows[i] == root) continue;
        pending.push_back(i);
    }

    std::vector<xcb_query_tree_cookie_t> cookies;
    for (int depth = 0; depth < kMaxDepth && !pending.empty(); ++depth) {
        cookies.clear();
        for (size_t i : pending)
            cookies.push_back(xcb_query_tree(c, current[i]));
        std::vector<size_t> stillPending;
        for (size_t k = 0; k < pending.size(); ++k) {
            const size_t i = pending[k];
            Reply<xcb_query_tree_reply_t> tree{xcb_query_tree_reply(c, cookies[k], nullptr)};
            if (!tree) continue; // gone
            if (tree->parent == root || tree->parent == XCB_NONE) {
                result[i] = current[i];
            } else {
                current[i] = tree->parent;
                stillPending.push_back(i);
            }
        }
        pending.swap(stillPending);
    }
    return result;
}

std::vector<xcb_window_t> rootChildren(const X11Connection& connection) {
    xcb_connection_t* c = connection.raw();
    Reply<xcb_query_tree_reply_t> tree{
        xcb_query_tree_reply(c, xcb_query_tree(c, connection.root()), nullptr)};
    if (!tree) return {};
    const xcb_window_t* children = xcb_query_tree_children(tree.get());
    return std::vector<xcb_window_t>(children, children + xcb_query_tree_children_length(tree.get()));
}

} // namespace platform::x11
