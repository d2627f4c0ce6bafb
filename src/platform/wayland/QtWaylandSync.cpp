#include "platform/wayland/QtWaylandSync.h"

#include <QGuiApplication>
#include <qpa/qplatformnativeinterface.h>

#include <wayland-client.h>

namespace platform::wayland {

void syncQtWindows() {
    if (!QGuiApplication::platformName().startsWith(QLatin1String("wayland"))) return;
    auto* display = static_cast<wl_display*>(
        QGuiApplication::platformNativeInterface()->nativeResourceForIntegration("wl_display"));
    if (!display) return;
    // On a queue of our own, so that none of Qt's events is dispatched here. The compositor
    // answers the round trip after every request sent before it, Qt's included.
    wl_event_queue* queue = wl_display_create_queue(display);
    wl_display_roundtrip_queue(display, queue);
    wl_event_queue_destroy(queue);
}

} // namespace platform::wayland
