#pragma once

#include "platform/FrameStream.h"
#include "platform/ScreenBackend.h"
#include "platform/wayland/RestoreTokenFile.h"
#include "platform/wayland/pipewire/PipeWireStreams.h"

#include <functional>

namespace platform::wayland {

// Frame streams on Wayland: each recording opens a session of the desktop's screen-cast
// portal (asking the user once, then restoring that answer with the token kept in
// `tokens`) and takes the shared output's pictures from PipeWire, cut to the area asked
// for. Areas are in the screen backend's pixels (see WaylandLayout), given by `displays`.
// Windows are recorded where the portal shares windows, chosen in the desktop's own dialog.
// start() must be called on a Qt thread: it waits there for the desktop's answer.
class WaylandFrameStreams final : public FrameStreams {
public:
    using Displays = std::function<QList<DisplayInfo>()>;
    // The PipeWire side, loaded on first use.
    using PipeWire = std::function<Result<PipeWireStreams*>()>;

    WaylandFrameStreams(RestoreTokenFile tokens, Displays displays, PipeWire pipeWire)
        : m_tokens(std::move(tokens)), m_displays(std::move(displays)), m_pipeWire(std::move(pipeWire)) {}

    Result<std::unique_ptr<FrameStream>> create() override;

private:
    RestoreTokenFile m_tokens;
    Displays m_displays;
    PipeWire m_pipeWire;
};

} // namespace platform::wayland
