#pragma once

#include "common/Result.h"

#include <QByteArray>
#include <QImage>
#include <QRect>

#include <xcb/xcb.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

namespace platform::x11 {

// Owns an xcb reply (or error), which xcb allocates with malloc.
struct FreeDeleter {
    void operator()(void* p) const { std::free(p); }
};
template <typename T> using Reply = std::unique_ptr<T, FreeDeleter>;

// The atoms the backend reads, interned once when connecting.
struct Atoms {
    xcb_atom_t utf8String = XCB_NONE;
    xcb_atom_t netSupportingWmCheck = XCB_NONE;
    xcb_atom_t netClientListStacking = XCB_NONE;
    xcb_atom_t netActiveWindow = XCB_NONE;
    xcb_atom_t netWmName = XCB_NONE;
    xcb_atom_t netWmPid = XCB_NONE;
    xcb_atom_t netWmState = XCB_NONE;
    xcb_atom_t netWmStateHidden = XCB_NONE;
    xcb_atom_t netWmStateAbove = XCB_NONE;
    xcb_atom_t netWmStateBelow = XCB_NONE;
    xcb_atom_t netWmWindowType = XCB_NONE;
    xcb_atom_t netWmWindowTypeDesktop = XCB_NONE;
    xcb_atom_t netWmWindowTypeDock = XCB_NONE;
    xcb_atom_t netWmWindowTypeNotification = XCB_NONE;
    xcb_atom_t netWmWindowTypeTooltip = XCB_NONE;
    xcb_atom_t netWmWindowTypePopupMenu = XCB_NONE;
    xcb_atom_t netWmWindowTypeDropdownMenu = XCB_NONE;
    xcb_atom_t netWmWindowTypeCombo = XCB_NONE;
    xcb_atom_t netWmCmScreen = XCB_NONE; // _NET_WM_CM_Sn: owned while a compositing manager runs
};

// How the pixels of a drawable map onto a QImage.
struct PixelFormat {
    QImage::Format format = QImage::Format_Invalid;
    // X leaves the pad byte of depth-24 pixels undefined, but QImage's RGB32 wants it 0xff.
    bool needsOpaqueAlpha = false;
};

// A window property's raw value; empty data when the property is missing.
struct Property {
    xcb_atom_t type = XCB_NONE;
    uint8_t format = 0;
    QByteArray data;

    std::vector<uint32_t> values32() const;
};

// One connection to the X server with what every part of the backend shares: the screen,
// the atoms and small request helpers. Immutable after open(), so safe to share between
// threads (xcb itself is thread-safe).
class X11Connection {
public:
    // Connects to $DISPLAY.
    static Result<std::unique_ptr<X11Connection>> open();
    ~X11Connection();

    X11Connection(const X11Connection&) = delete;
    X11Connection& operator=(const X11Connection&) = delete;

    xcb_connection_t* raw() const { return m_connection; }
    xcb_window_t root() const { return m_screen->root; }
    const xcb_screen_t& screen() const { return *m_screen; }
    const Atoms& atoms() const { return m_atoms; }

    // The atom of `name`, interned now (one round trip); XCB_NONE when the server refuses.
    xcb_atom_t internAtom(const char* name) const;

    // Whether the server has the extension; asks it once per extension and connection.
    bool hasExtension(xcb_extension_t* extension) const;

    // The QImage layout of a drawable with this visual and depth, or an Error when the
    // visual is not a TrueColor one that QImage can hold without conversion.
    Result<PixelFormat> pixelFormat(xcb_visualid_t visual, uint8_t depth) const;

    // Pipelined property reads: request many, then take each.
    xcb_get_property_cookie_t requestProperty(xcb_window_t window, xcb_atom_t property,
                                              uint32_t maxBytes = 4096) const;
    Property takeProperty(xcb_get_property_cookie_t cookie) const;

    // Drops the possible error of a request sent with its *_checked variant, so that it
    // does not pile up in the event queue (the backend never reads events).
    void ignoreErrors(xcb_void_cookie_t cookie) const;

private:
    X11Connection(xcb_connection_t* connection, xcb_screen_t* screen);
    void internAtoms(int screenNumber);

    xcb_connection_t* m_connection = nullptr;
    xcb_screen_t* m_screen = nullptr;
    Atoms m_atoms;
};

} // namespace platform::x11
