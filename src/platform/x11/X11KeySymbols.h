#pragma once

#include <Qt>

#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>

#include <cstdint>

namespace platform::x11 {

// The X keysym of a Qt key, or XCB_NO_SYMBOL for keys we do not map (modifiers on their
// own, and keys beyond the keyboard's usual ones). Letters map to their lower-case keysym,
// the one on the key's first level.
xcb_keysym_t keysymForKey(Qt::Key key);

// The Qt key of a keysym, the other way round: both cases of a letter give its key, and the
// modifiers and keypad keys are known too. Qt::Key_unknown for the rest.
Qt::Key keyForKeysym(xcb_keysym_t keysym);

// Whether the key is one that is held with others rather than typed: Shift, Ctrl, Alt,
// Super and their kin (AltGr, Hyper, the lock keys).
bool isModifierKey(Qt::Key key);

// The real modifier bits that Alt, Super and the lock keys sit on in the server's modifier
// mapping; 0 for a lock key the keyboard does not have.
struct ModifierMasks {
    uint16_t alt = XCB_MOD_MASK_1;
    uint16_t meta = XCB_MOD_MASK_4;
    uint16_t numLock = 0;
    uint16_t scrollLock = 0;
};

// Reads the modifier mapping (one round trip); the defaults when the server does not answer.
ModifierMasks readModifierMasks(xcb_connection_t* connection, xcb_key_symbols_t* symbols);

// The Ctrl, Alt, Shift and Meta (Super) held in an X event's or query's state.
Qt::KeyboardModifiers modifiersOf(uint16_t state, const ModifierMasks& masks);

} // namespace platform::x11
