#pragma once

#include "platform/InputMonitor.h"
#include "platform/x11/X11KeySymbols.h"

#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>

#include <bitset>
#include <thread>

namespace platform::x11 {

// Raw button and key presses of every master device (XInput 2), read on a thread of its
// own from a connection of its own. Raw events reach us whoever has the focus or a grab,
// and selecting them takes nothing away from other programs.
class X11InputMonitor : public InputMonitor {
public:
    // Takes ownership of the connection; `xinputOpcode` is the extension's major opcode.
    X11InputMonitor(xcb_connection_t* connection, xcb_window_t root, uint8_t xinputOpcode);
    ~X11InputMonitor() override;

    X11InputMonitor(const X11InputMonitor&) = delete;
    X11InputMonitor& operator=(const X11InputMonitor&) = delete;

    Result<bool> start(ButtonHandler onButton, KeyHandler onKey) override;
    // Must not be called from a handler: it waits for the monitor's thread to end.
    void stop() override;

private:
    void run();
    void dispatch(xcb_generic_event_t* event);
    void buttonPressed(uint32_t button);
    void keyPressed(xcb_keycode_t keycode);
    // Where the pointer is and which modifiers are held now; the press just read is only a
    // round trip old.
    bool queryPointer(QPoint& position, uint16_t& state);

    xcb_connection_t* m_connection = nullptr;
    xcb_window_t m_root = XCB_NONE;
    uint8_t m_opcode = 0;
    xcb_key_symbols_t* m_symbols = nullptr;
    ModifierMasks m_masks;
    ButtonHandler m_onButton;
    KeyHandler m_onKey;
    // Keys held down, so that the keyboard's auto-repeat does not count as new presses.
    std::bitset<256> m_keysDown;
    int m_wakeFd = -1; // an eventfd that tells the thread to end
    std::thread m_thread;
};

// Connects to $DISPLAY once per monitor. Fails with a sentence when the display cannot be
// reached or has no XInput 2.
class X11InputMonitors : public InputMonitors {
public:
    Result<std::unique_ptr<InputMonitor>> create() override;
};

} // namespace platform::x11
