#include "ui/WindowPlacement.h"

#include <QGuiApplication>

namespace ui::placement {

bool onWayland() {
    return QGuiApplication::platformName().startsWith(QLatin1String("wayland"));
}

bool layerShell() {
    return onWayland() && qEnvironmentVariableIsSet("QT_WAYLAND_USE_BYPASSWINDOWMANAGERHINT");
}

bool byCompositor() {
    return onWayland() && !layerShell();
}

Qt::WindowFlags floating(Qt::WindowFlags flags) {
    return layerShell() ? flags | Qt::BypassWindowManagerHint : flags;
}

} // namespace ui::placement
