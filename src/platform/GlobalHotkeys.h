#pragma once

#include "common/Result.h"

#include <QKeySequence>

#include <functional>

namespace platform {

// Key combinations that reach this program whichever window has the focus.
class GlobalHotkeys {
public:
    virtual ~GlobalHotkeys() = default;

    // Grabs one combination (a key with optional Ctrl, Shift, Alt, Meta) for the session;
    // `pressed` runs on the main thread at each press. Returns a handle for `unbind`.
    // Fails with a sentence naming the keys when another program holds them or the key
    // does not exist on this keyboard.
    virtual Result<int> bind(const QKeySequence& keys, std::function<void()> pressed) = 0;
    virtual void unbind(int handle) = 0;
};

// Covers the desktop's icons and widgets (the desktop window drawn by a file manager)
// with a plain window of our own, for the duration of a capture.
class DesktopCover {
public:
    virtual ~DesktopCover() = default;
    // Does nothing when no desktop window exists. Covered when this returns.
    virtual void cover() = 0;
    virtual void uncover() = 0;
};

} // namespace platform
