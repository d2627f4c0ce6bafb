#pragma once

#include <QMargins>
#include <QRect>
#include <QSize>

namespace platform::wayland {

// What one of our floating windows asks of the layer shell: where on its output it goes and
// whether it takes the keyboard, worked out from the window's flags and place.
struct LayerRole {
    enum class Keyboard { none, exclusive, onDemand };

    bool coversOutput = false; // anchored to all four edges, sized by the compositor
    QMargins margins;          // from the output's top and left edges, logical units
    QSize size;                // logical units; empty when the window covers the output
    Keyboard keyboard = Keyboard::none;

    bool operator==(const LayerRole&) const = default;
};

// `window` and `output` in Qt's device-independent coordinates. A window over a whole output
// (the capture overlays) takes the keyboard for itself unless it passes input through;
// other windows take it when clicked, unless they never take the focus. A window that
// reaches past its output is kept inside it: a layer surface cannot span outputs.
LayerRole layerRoleFor(Qt::WindowFlags flags, const QRect& window, const QRect& output);

} // namespace platform::wayland
