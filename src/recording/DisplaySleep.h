#pragma once

#include <cstdint>

// Keeps the display from sleeping while a recording runs, when "recPreventSleep" asks for it.
namespace DisplaySleep {

// The assertion to hand back to `allow`; 0 when none was taken (turned off, or the desktop
// has no way to keep the screen awake, which the debug log says).
uint32_t prevent();
void allow(uint32_t assertion);

} // namespace DisplaySleep
