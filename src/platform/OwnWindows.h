#pragma once

#include <QRect>

namespace platform {

// This program's windows on the screen (quick-access cards, pins, toasts, notices, the
// main window, editors), which no grab of the screen may show. Without a compositing
// manager nothing can draw the screen as it would look without them, so they leave the
// screen for the length of a grab and come back after it.
class OwnWindows {
public:
    virtual ~OwnWindows() = default;
    // Takes our windows that meet `rootRect` (root-window pixels) off the screen and returns
    // once what they covered has had time to repaint; at once when none was there. Calls
    // nest, each paired with one restore(). Any thread.
    virtual void withdraw(const QRect& rootRect) = 0;
    // The windows come back after the last restore(). Any thread.
    virtual void restore() = 0;
};

// Our windows off the screen for the lifetime of this object; nothing without `windows`.
class OwnWindowsAway {
public:
    OwnWindowsAway(OwnWindows* windows, const QRect& rootRect) : m_windows(windows) {
        if (m_windows) m_windows->withdraw(rootRect);
    }
    ~OwnWindowsAway() {
        if (m_windows) m_windows->restore();
    }
    OwnWindowsAway(const OwnWindowsAway&) = delete;
    OwnWindowsAway& operator=(const OwnWindowsAway&) = delete;

private:
    OwnWindows* m_windows;
};

} // namespace platform
