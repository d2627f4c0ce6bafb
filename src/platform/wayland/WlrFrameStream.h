#pragma once

#include "platform/FrameStream.h"
#include "platform/ScreenBackend.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace platform::wayland {

// Frame streams on wlroots compositors (sway, Hyprland, river, labwc) through their
// screencopy protocol: each recording copies its output, or the area of it, straight into
// shared memory on a thread and a connection of its own, at the frame rate asked for. No
// permission is asked and no GPU is needed. Areas are in the screen backend's pixels (see
// WaylandLayout), given by `displays`.
//
// A window is cut from the copies of its output where the compositor tells where its windows
// are (sway's IPC): followed as it moves, at most a tenth of a second late, and from whatever
// output it moves to; while it is not shown no frames come, and its closing ends the stream.
// What covers it is recorded with it, as the screen shows it.
//
// Where the compositor does not offer screencopy (GNOME, KDE), or PICTAVIA_NO_SCREENCOPY=1,
// every stream is one of `portal` (the desktop's screen-cast portal and PipeWire); window
// recordings are where the compositor lists no windows, since screencopy copies outputs only.
class WlrFrameStreams final : public FrameStreams {
public:
    using Displays = std::function<QList<DisplayInfo>()>;

    WlrFrameStreams(Displays displays, std::unique_ptr<FrameStreams> portal)
        : m_displays(std::move(displays)), m_portal(std::move(portal)) {}

    Result<std::unique_ptr<FrameStream>> create() override;

private:
    bool offered();

    Displays m_displays;
    std::unique_ptr<FrameStreams> m_portal;
    std::mutex m_mutex;
    std::optional<bool> m_offered; // asked of the compositor once
};

} // namespace platform::wayland
