#pragma once

#include "common/Result.h"
#include "platform/ScrollSynthesizer.h"

#include <memory>

namespace platform::wayland {

// Why scrolling captures cannot be had on a Wayland desktop with neither the compositor's
// virtual-pointer protocol nor a remote desktop portal.
QString scrollingUnavailable();

// Connects to the compositor and fails with scrollingUnavailable() where it does not offer
// wlroots' virtual-pointer protocol (GNOME and KDE do not). The pointer device itself is
// made on first use: the compositor shows a pointer on screen while it exists.
Result<std::unique_ptr<ScrollSynthesizer>> connectScrollSynthesizer();

} // namespace platform::wayland
