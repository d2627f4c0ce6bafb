#pragma once

#include "common/Result.h"

#include <QImage>
#include <QRect>
#include <QSize>
#include <QString>

#include <memory>
#include <optional>

namespace platform::wayland {

// Pixels of the compositor's outputs through wlroots' screencopy protocol (sway, Hyprland,
// river, labwc and the other wlroots compositors): straight from the output's own buffer
// into shared memory, without the portal's round through D-Bus, grim and a PNG file. Each
// output comes back in its own pixels, whatever the scales of the others; the pointer is
// not drawn in. Safe to call from any thread: grabs take turns on one connection.
class WlrScreencopy {
public:
    // Fails with a sentence where the compositor does not offer the protocol (GNOME, KDE)
    // or cannot be reached.
    static Result<std::unique_ptr<WlrScreencopy>> connect();
    ~WlrScreencopy();

    // The pixels of `region` of the output named `outputName` (its own pixels, from its
    // top-left corner, as it is seen: rotated and mirrored outputs are turned back), or of
    // the whole output; opaque, Format_RGB32. Fails where the output does not have the
    // `laidOut` size that the caller's layout gives it.
    Result<QImage> grab(const QString& outputName, const QSize& laidOut,
                        std::optional<QRect> region = std::nullopt);

    // The pixels of the output named `outputName` (its mode, turned as the output is seen),
    // where the compositor has that output.
    std::optional<QSize> outputPixels(const QString& outputName);

private:
    struct State;
    explicit WlrScreencopy(std::unique_ptr<State> state);
    std::unique_ptr<State> m_state;
};

} // namespace platform::wayland
