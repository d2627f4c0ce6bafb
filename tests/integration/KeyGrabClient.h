#pragma once

#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>

#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

namespace testsupport {

// Another X client, grabbing keys on the root window the way a desktop environment would.
class KeyGrabClient {
public:
    explicit KeyGrabClient(const std::string& display) : m_connection(xcb_connect(display.c_str(), nullptr)) {
        if (xcb_connection_has_error(m_connection)) throw std::runtime_error("cannot connect to " + display);
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
        m_symbols = xcb_key_symbols_alloc(m_connection);
    }
    ~KeyGrabClient() {
        xcb_key_symbols_free(m_symbols);
        xcb_disconnect(m_connection);
    }

    // Every key that carries the symbol.
    std::vector<xcb_keycode_t> keycodes(xcb_keysym_t keysym) {
        xcb_keycode_t* codes = xcb_key_symbols_get_keycode(m_symbols, keysym);
        std::vector<xcb_keycode_t> result;
        for (xcb_keycode_t* code = codes; code && *code; ++code)
            result.push_back(*code);
        std::free(codes);
        return result;
    }

    // Whether the server granted the grab.
    bool grab(xcb_keycode_t keycode, uint16_t modifiers) {
        xcb_generic_error_t* error =
            xcb_request_check(m_connection, xcb_grab_key_checked(m_connection, 1, m_root, modifiers, keycode,
                                                                 XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
        std::free(error);
        return error == nullptr;
    }
    // Done when this returns: the server orders requests within a client, not across clients.
    void ungrab(xcb_keycode_t keycode, uint16_t modifiers) {
        xcb_ungrab_key(m_connection, keycode, m_root, modifiers);
        std::free(xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
    }

private:
    xcb_connection_t* m_connection;
    xcb_window_t m_root = XCB_NONE;
    xcb_key_symbols_t* m_symbols = nullptr;
};

} // namespace testsupport
