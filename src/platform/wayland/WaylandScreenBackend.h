#pragma once

#include "common/Result.h"
#include "platform/ScreenBackend.h"

#include <memory>

namespace platform::wayland {

// Fails with a sentence for the user when WAYLAND_DISPLAY names no compositor that takes
// connections. Qt aborts without a word when its Wayland plugin cannot connect, so the
// program asks this before it makes a QGuiApplication.
Result<bool> checkCompositor();

// The screen backend of a Wayland session: displays from Qt's screens (the process needs a
// QGuiApplication on Qt's Wayland plugin by the time it asks), pixels through the desktop's
// screenshot portal. Window lists and window grabs are not there yet: they answer with an
// empty list and a sentence that says so.
Result<std::unique_ptr<ScreenBackend>> connect();

} // namespace platform::wayland
