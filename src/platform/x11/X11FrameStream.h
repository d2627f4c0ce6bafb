#pragma once

#include "platform/FrameStream.h"

namespace platform::x11 {

// Frame streams on X11: MIT-SHM grabs of the root (an area) or of a window's pixmap through
// Composite (a window), on a thread of their own at the frame rate, with the pointer read
// through XFixes and drawn in. Each stream has its own connection to the server.
class X11FrameStreams : public FrameStreams {
public:
    Result<std::unique_ptr<FrameStream>> create() override;
};

} // namespace platform::x11
