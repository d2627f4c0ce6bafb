#pragma once

#include "common/Result.h"
#include "platform/wayland/pipewire/PipeWireStreams.h"

namespace platform::modules {

// The PipeWire streams of pictavia-pipewire.so, loaded on the first Wayland recording.
Result<wayland::PipeWireStreams*> pipeWireStreams();

} // namespace platform::modules
