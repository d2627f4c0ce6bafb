#pragma once

#include "common/Result.h"
#include "platform/GlobalHotkeys.h"
#include "platform/x11/X11KeySymbols.h"

#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>

#include <QSocketNotifier>

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

namespace platform::x11 {

// Global shortcuts for the X display named by $DISPLAY. Call after the QCoreApplication
// exists; presses arrive through its event loop on the thread that called this. Fails
// with a sentence when DISPLAY is unset or the server cannot be reached.
Result<std::unique_ptr<GlobalHotkeys>> connectHotkeys();

// Passive key grabs on the root window, over a connection of its own whose socket the Qt
// event loop watches. Each combination is grabbed once per state of the lock keys
// (NumLock, CapsLock, ScrollLock), which X counts as modifiers too.
class X11GlobalHotkeys : public GlobalHotkeys {
public:
    // Takes ownership of the connection.
    X11GlobalHotkeys(xcb_connection_t* connection, xcb_window_t root);
    ~X11GlobalHotkeys() override;

    X11GlobalHotkeys(const X11GlobalHotkeys&) = delete;
    X11GlobalHotkeys& operator=(const X11GlobalHotkeys&) = delete;

    Result<int> bind(const QKeySequence& keys, std::function<void()> pressed) override;
    void unbind(int handle) override;

private:
    // One key with the modifiers it must be pressed with.
    struct Grab {
        xcb_keycode_t keycode = 0;
        uint16_t modifiers = 0;
        bool operator==(const Grab&) const = default;
    };

    struct Binding {
        QKeySequence keys; // the first combination only
        std::vector<Grab> grabs;
        std::function<void()> pressed;
    };

    Result<std::vector<Grab>> grabsFor(const QKeySequence& keys) const;
    // Grabs every lock-key variant of every grab; an X error code (BadAccess when another
    // client holds one) after undoing those that succeeded, else 0.
    uint8_t grab(const std::vector<Grab>& grabs);
    // Releases the grabs; they are free for other clients when this returns.
    void ungrab(const std::vector<Grab>& grabs);
    void sync();
    std::vector<uint16_t> lockVariants() const;
    void keyboardMappingChanged();

    // Reads what the server sent and runs the callbacks of the presses in it. Also run
    // after requests that wait for a reply, as xcb queues events it reads meanwhile.
    void dispatchEvents();
    void scheduleDispatch();

    xcb_connection_t* m_connection = nullptr;
    xcb_window_t m_root = XCB_NONE;
    xcb_key_symbols_t* m_symbols = nullptr;
    ModifierMasks m_masks;
    std::unique_ptr<QSocketNotifier> m_notifier;
    std::map<int, Binding> m_bindings;
    int m_nextHandle = 1;

    // When each key was last released, to tell the server's auto-repeat from new presses.
    std::array<xcb_timestamp_t, 256> m_releasedAt{};

    // Expires with this object, so that dispatching notices a callback that destroyed it.
    std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
};

} // namespace platform::x11
