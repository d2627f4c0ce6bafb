#pragma once

#include "common/Result.h"

#include <QImage>

#include <chrono>

namespace platform::wayland {

// One picture of the whole desktop through xdg-desktop-portal's Screenshot interface, not
// interactive: the desktop answers at once, or after asking the user once where it asks.
// The file the portal writes is read and deleted. Blocks the calling thread, which must
// be a Qt thread (it runs a local event loop for the portal's answer).
Result<QImage> takePortalScreenshot(std::chrono::milliseconds timeout = std::chrono::minutes(1));

} // namespace platform::wayland
