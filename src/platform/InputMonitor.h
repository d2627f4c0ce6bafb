#pragma once

#include "common/Result.h"

#include <QPoint>
#include <Qt>

#include <functional>
#include <memory>

namespace platform {

// A mouse button pressed anywhere on the desktop, in any program's window.
struct ButtonPress {
    Qt::MouseButton button = Qt::LeftButton;
    QPoint rootPosition; // where the pointer was, in root-window pixels
    qint64 time = 0;     // microseconds of std::chrono::steady_clock
};

// A key pressed anywhere on the desktop.
struct KeyPress {
    Qt::Key key = Qt::Key_unknown;   // the key on the keyboard's first level
    Qt::KeyboardModifiers modifiers; // Ctrl, Alt, Shift, Meta (Super) held with it
    bool isModifier = false;         // the key is itself Ctrl, Alt, Shift or Super
    qint64 time = 0;                 // microseconds of std::chrono::steady_clock
};

// Watches the buttons and keys every program receives, without taking any of them away
// (nothing is grabbed). On a thread of its own.
class InputMonitor {
public:
    using ButtonHandler = std::function<void(const ButtonPress&)>;
    using KeyHandler = std::function<void(const KeyPress&)>;

    virtual ~InputMonitor() = default;
    // Handlers run on the monitor's thread and return at once; either may be empty. Fails
    // with a sentence a user understands where the desktop does not let us watch input.
    virtual Result<bool> start(ButtonHandler onButton, KeyHandler onKey) = 0;
    // Returns once no handler runs any more. Safe to call more than once.
    virtual void stop() = 0;
};

// Makes input monitors of this desktop.
class InputMonitors {
public:
    virtual ~InputMonitors() = default;
    virtual Result<std::unique_ptr<InputMonitor>> create() = 0;
};

} // namespace platform
