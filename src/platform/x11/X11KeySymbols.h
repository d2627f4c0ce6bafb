#pragma once

#include <Qt>

#include <xcb/xcb.h>

namespace platform::x11 {

// The X keysym of a Qt key, or XCB_NO_SYMBOL for keys we do not map (modifiers on their
// own, and keys beyond the keyboard's usual ones). Letters map to their lower-case keysym,
// the one on the key's first level.
xcb_keysym_t keysymForKey(Qt::Key key);

} // namespace platform::x11
