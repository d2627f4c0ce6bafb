#pragma once

#include "common/Result.h"
#include "platform/ScreenBackend.h"

#include <memory>

namespace platform::x11 {

// The screen backend for the X server named by $DISPLAY. Fails with a sentence for the
// user when DISPLAY is unset or the server cannot be reached.
//
// PICTAVIA_NO_SHM=1 makes it read pixels with plain GetImage instead of MIT-SHM, as it
// must on a remote display; the tests use it to check that path.
Result<std::unique_ptr<ScreenBackend>> connect();

} // namespace platform::x11
