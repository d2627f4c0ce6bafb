#pragma once

#include <QString>

namespace platform::wayland::ScreenCastWords {

// The sentences of the ways a screen recording on Wayland fails before its first picture,
// shared by the portal session and the PipeWire stream.

inline QString noPortal() {
    return QStringLiteral("This desktop offers no screen recording portal: xdg-desktop-portal with a "
                          "backend for this desktop must be running.");
}

inline QString refused() {
    return QStringLiteral("The screen recording was not allowed.");
}

inline QString noPicture() {
    return QStringLiteral("The desktop's screen recording sent no picture.");
}

inline QString noPipeWire() {
    return QStringLiteral("The desktop's screen recording needs PipeWire, which is not running.");
}

} // namespace platform::wayland::ScreenCastWords
