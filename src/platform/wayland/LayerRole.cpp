#include "platform/wayland/LayerRole.h"

#include <algorithm>

namespace platform::wayland {

LayerRole layerRoleFor(Qt::WindowFlags flags, const QRect& window, const QRect& output) {
    LayerRole role;
    const bool passesInput = flags.testFlag(Qt::WindowTransparentForInput);
    const bool takesFocus = !passesInput && !flags.testFlag(Qt::WindowDoesNotAcceptFocus);
    if (window == output) {
        role.coversOutput = true;
        role.keyboard = takesFocus ? LayerRole::Keyboard::exclusive : LayerRole::Keyboard::none;
        return role;
    }
    role.size = window.size().boundedTo(output.size());
    const int left = std::clamp(window.left() - output.left(), 0, output.width() - role.size.width());
    const int top = std::clamp(window.top() - output.top(), 0, output.height() - role.size.height());
    role.margins = QMargins(left, top, 0, 0);
    role.keyboard = takesFocus ? LayerRole::Keyboard::onDemand : LayerRole::Keyboard::none;
    return role;
}

} // namespace platform::wayland
