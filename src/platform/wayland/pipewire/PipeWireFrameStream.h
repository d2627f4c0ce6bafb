#pragma once

#include "platform/wayland/pipewire/PipeWireStreams.h"

namespace platform::wayland {

// Screen-cast pictures from PipeWire on a pw_thread_loop, in shared-memory buffers
// (memfd or plain memory), re-timed by a thread of their own at the frame rate: extra
// pictures are dropped, and the last one is repeated while the desktop sends none because
// nothing changed. The pointer, where the desktop sends it as metadata, is drawn in.
class PipeWireFrameStreams final : public PipeWireStreams {
public:
    std::unique_ptr<PipeWireStream> create() override;
};

} // namespace platform::wayland
