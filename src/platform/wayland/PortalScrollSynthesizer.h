#pragma once

#include "common/Result.h"
#include "platform/ScrollSynthesizer.h"

#include <memory>

namespace platform::wayland {

// Scrolls through the desktop's remote desktop portal (GNOME, KDE). Fails with
// scrollingUnavailable() where no portal offers a pointer. The desktop asks the user at the
// first scrolling capture, not before; the answer then serves the rest of the run.
Result<std::unique_ptr<ScrollSynthesizer>> connectPortalScrollSynthesizer();

} // namespace platform::wayland
