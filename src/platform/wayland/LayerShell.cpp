#include "platform/wayland/LayerShell.h"

#include "layer-shell-client.h"
#include "platform/wayland/LayerRole.h"

#include <QEvent>
#include <QGuiApplication>
#include <QPlatformSurfaceEvent>
#include <QPointer>
#include <QScreen>
#include <QTimer>
#include <QWindow>
#include <qpa/qplatformnativeinterface.h>

#include <wayland-client.h>

#include <cstring>
#include <dlfcn.h>
#include <memory>
#include <unordered_map>
#include <unordered_set>

namespace platform::wayland::LayerShell {

namespace {

// Qt's Wayland plugin reads this when it makes a window's surface.
constexpr char bareSurfacesVariable[] = "QT_WAYLAND_USE_BYPASSWINDOWMANAGERHINT";
// Qt 6.4 moves every top-level window to its screen's corner, since no xdg-shell window can
// know its place; a layer surface is where it asks to be, so the positions are kept. The
// switch is a static member of the plugin's window class, found by name so that a Qt
// without it still runs, with the windows at their outputs' corners.
constexpr char fixedPositionsSymbol[] = "_ZN15QtWaylandClient14QWaylandWindow22fixedToplevelPositionsE";
constexpr char scope[] = "pictavia";
constexpr uint32_t newestVersion = 4;
// Round trips to wait for a configure before drawing anyway.
constexpr int configureAttempts = 20;

struct Globals {
    zwlr_layer_shell_v1* shell = nullptr;
    uint32_t version = 0;
};

void onGlobal(void* data, wl_registry* registry, uint32_t name, const char* interface, uint32_t version) {
    if (std::strcmp(interface, zwlr_layer_shell_v1_interface.name) != 0) return;
    auto* globals = static_cast<Globals*>(data);
    globals->version = std::min(version, newestVersion);
    globals->shell = static_cast<zwlr_layer_shell_v1*>(
        wl_registry_bind(registry, name, &zwlr_layer_shell_v1_interface, globals->version));
}

void onGlobalRemoved(void*, wl_registry*, uint32_t) {}

const wl_registry_listener registryListener = {onGlobal, onGlobalRemoved};

// One window's layer surface, for the wl_surface Qt made for it.
struct Placed {
    wl_surface* surface = nullptr;
    zwlr_layer_surface_v1* layer = nullptr;
    QScreen* screen = nullptr;
    bool mapped = false;
    bool configured = false;
};

void onConfigure(void* data, zwlr_layer_surface_v1* layer, uint32_t serial, uint32_t, uint32_t) {
    static_cast<Placed*>(data)->configured = true;
    zwlr_layer_surface_v1_ack_configure(layer, serial);
}

void onClosed(void*, zwlr_layer_surface_v1*) {}

const zwlr_layer_surface_v1_listener layerListener = {onConfigure, onClosed};

uint32_t keyboardMode(LayerRole::Keyboard keyboard, uint32_t version) {
    switch (keyboard) {
    case LayerRole::Keyboard::exclusive:
        return ZWLR_LAYER_SURFACE_V1_KEYBOARD_INTERACTIVITY_EXCLUSIVE;
    case LayerRole::Keyboard::onDemand:
        return version >= ZWLR_LAYER_SURFACE_V1_KEYBOARD_INTERACTIVITY_ON_DEMAND_SINCE_VERSION
                   ? ZWLR_LAYER_SURFACE_V1_KEYBOARD_INTERACTIVITY_ON_DEMAND
                   : ZWLR_LAYER_SURFACE_V1_KEYBOARD_INTERACTIVITY_NONE;
    case LayerRole::Keyboard::none:
        break;
    }
    return ZWLR_LAYER_SURFACE_V1_KEYBOARD_INTERACTIVITY_NONE;
}

// The layer shell on Qt's own connection, with a queue of its own so that its events are
// dispatched here, on the GUI thread, and never by Qt.
class Placer : public QObject {
public:
    Placer(wl_display* display, wl_event_queue* queue, Globals globals)
        : m_display(display), m_queue(queue), m_globals(globals) {}

    bool eventFilter(QObject* object, QEvent* event) override {
        auto* window = qobject_cast<QWindow*>(object);
        if (!window || !window->flags().testFlag(Qt::BypassWindowManagerHint)) return false;
        wl_display_dispatch_queue_pending(m_display, m_queue);
        switch (event->type()) {
        case QEvent::Expose:
            // Before Qt draws: a layer surface takes no buffer until it is configured.
            if (window->isVisible()) place(window);
            break;
        case QEvent::Move:
        case QEvent::Resize:
            follow(window);
            break;
        case QEvent::Hide:
            forget(window);
            break;
        case QEvent::PlatformSurface:
            if (static_cast<QPlatformSurfaceEvent*>(event)->surfaceEventType() ==
                QPlatformSurfaceEvent::SurfaceAboutToBeDestroyed)
                forget(window);
            break;
        default:
            break;
        }
        return false;
    }

private:
    static wl_surface* surfaceOf(QWindow* window) {
        return static_cast<wl_surface*>(
            QGuiApplication::platformNativeInterface()->nativeResourceForWindow("surface", window));
    }

    // The output a window belongs to: the one holding its centre.
    static QScreen* screenOf(QWindow* window) {
        QScreen* screen = QGuiApplication::screenAt(window->geometry().center());
        return screen ? screen : window->screen();
    }

    void place(QWindow* window) {
        wl_surface* surface = surfaceOf(window);
        if (!surface) return;
        std::unique_ptr<Placed>& slot = m_placed[window];
        if (slot && slot->layer && slot->surface == surface && slot->mapped) return;
        // Qt makes a new surface each time a window is shown again.
        if (slot && slot->layer) zwlr_layer_surface_v1_destroy(slot->layer);
        slot = std::make_unique<Placed>();
        Placed& placed = *slot;
        placed.surface = surface;
        placed.screen = screenOf(window);
        auto* output = static_cast<wl_output*>(
            QGuiApplication::platformNativeInterface()->nativeResourceForScreen("output", placed.screen));
        placed.layer = zwlr_layer_shell_v1_get_layer_surface(m_globals.shell, surface, output,
                                                             ZWLR_LAYER_SHELL_V1_LAYER_OVERLAY, scope);
        wl_proxy_set_queue(reinterpret_cast<wl_proxy*>(placed.layer), m_queue);
        zwlr_layer_surface_v1_add_listener(placed.layer, &layerListener, &placed);
        // Never pushed aside by panels, and pushing nothing aside.
        zwlr_layer_surface_v1_set_exclusive_zone(placed.layer, -1);
        if (window->flags().testFlag(Qt::WindowTransparentForInput)) passInputThrough(surface);
        apply(window, placed);
        wl_surface_commit(surface);
        for (int i = 0; i < configureAttempts && !placed.configured; ++i)
            if (wl_display_roundtrip_queue(m_display, m_queue) < 0) break;
        placed.mapped = true;
        if (m_watched.insert(window).second) {
            QObject::connect(window, &QObject::destroyed, this, [this, window] {
                m_placed.erase(window);
                m_watched.erase(window);
            });
        }
    }

    // Qt 6.4 leaves the input region of a window that lets input through as it is: an empty
    // one sends the clicks to what is below.
    static void passInputThrough(wl_surface* surface) {
        auto* compositor = static_cast<wl_compositor*>(
            QGuiApplication::platformNativeInterface()->nativeResourceForIntegration("compositor"));
        if (!compositor) return;
        wl_region* nothing = wl_compositor_create_region(compositor);
        wl_surface_set_input_region(surface, nothing);
        wl_region_destroy(nothing);
    }

    void apply(QWindow* window, const Placed& placed) {
        const LayerRole role = layerRoleFor(window->flags(), window->geometry(), placed.screen->geometry());
        constexpr uint32_t allEdges = ZWLR_LAYER_SURFACE_V1_ANCHOR_TOP | ZWLR_LAYER_SURFACE_V1_ANCHOR_BOTTOM |
                                      ZWLR_LAYER_SURFACE_V1_ANCHOR_LEFT | ZWLR_LAYER_SURFACE_V1_ANCHOR_RIGHT;
        if (role.coversOutput) {
            zwlr_layer_surface_v1_set_anchor(placed.layer, allEdges);
            zwlr_layer_surface_v1_set_size(placed.layer, 0, 0);
            zwlr_layer_surface_v1_set_margin(placed.layer, 0, 0, 0, 0);
        } else {
            zwlr_layer_surface_v1_set_anchor(placed.layer, ZWLR_LAYER_SURFACE_V1_ANCHOR_TOP |
                                                               ZWLR_LAYER_SURFACE_V1_ANCHOR_LEFT);
            zwlr_layer_surface_v1_set_size(placed.layer, uint32_t(role.size.width()),
                                           uint32_t(role.size.height()));
            zwlr_layer_surface_v1_set_margin(placed.layer, role.margins.top(), 0, 0, role.margins.left());
        }
        zwlr_layer_surface_v1_set_keyboard_interactivity(placed.layer,
                                                         keyboardMode(role.keyboard, m_globals.version));
    }

    // A shown window that moved or changed size: the same output takes the new place at the
    // next commit; another output needs a new surface, which showing the window again makes.
    void follow(QWindow* window) {
        auto it = m_placed.find(window);
        if (it == m_placed.end() || !it->second->mapped || !window->isVisible()) return;
        Placed& placed = *it->second;
        if (screenOf(window) != placed.screen) {
            QTimer::singleShot(0, window, [window = QPointer<QWindow>(window)] {
                if (!window || !window->isVisible()) return;
                window->hide();
                window->show();
            });
            return;
        }
        apply(window, placed);
        wl_surface_commit(placed.surface);
    }

    void forget(QWindow* window) {
        auto it = m_placed.find(window);
        if (it == m_placed.end()) return;
        if (it->second->layer) zwlr_layer_surface_v1_destroy(it->second->layer);
        m_placed.erase(it);
    }

    wl_display* m_display;
    wl_event_queue* m_queue;
    Globals m_globals;
    // The layer surfaces' listeners hold the Placed*: each keeps its address.
    std::unordered_map<QWindow*, std::unique_ptr<Placed>> m_placed;
    std::unordered_set<QWindow*> m_watched; // whose destruction is followed
};

bool installed = false;

} // namespace

bool prepare() {
    wl_display* display = wl_display_connect(nullptr);
    if (!display) return false;
    Globals globals;
    wl_registry* registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &registryListener, &globals);
    wl_display_roundtrip(display);
    const bool offered = globals.shell != nullptr;
    if (globals.shell) zwlr_layer_shell_v1_destroy(globals.shell);
    wl_registry_destroy(registry);
    wl_display_disconnect(display);
    if (!offered) return false;
    qputenv(bareSurfacesVariable, "1");
    return true;
}

bool install() {
    if (installed) return true;
    auto* native = QGuiApplication::platformNativeInterface();
    auto* display = native && QGuiApplication::platformName().startsWith(QLatin1String("wayland"))
                        ? static_cast<wl_display*>(native->nativeResourceForIntegration("wl_display"))
                        : nullptr;
    if (!display) {
        qunsetenv(bareSurfacesVariable);
        return false;
    }
    wl_event_queue* queue = wl_display_create_queue(display);
    auto* wrapper = static_cast<wl_display*>(wl_proxy_create_wrapper(display));
    wl_proxy_set_queue(reinterpret_cast<wl_proxy*>(wrapper), queue);
    Globals globals;
    wl_registry* registry = wl_display_get_registry(wrapper);
    wl_registry_add_listener(registry, &registryListener, &globals);
    wl_display_roundtrip_queue(display, queue);
    wl_proxy_wrapper_destroy(wrapper);
    if (!globals.shell) {
        wl_registry_destroy(registry);
        wl_event_queue_destroy(queue);
        // Qt reads the variable as it makes each window: without it they are ordinary ones.
        qunsetenv(bareSurfacesVariable);
        return false;
    }
    if (void* plugin = dlopen("libQt6WaylandClient.so.6", RTLD_LAZY | RTLD_NOLOAD)) {
        if (auto* fixedPositions = static_cast<bool*>(dlsym(plugin, fixedPositionsSymbol)))
            *fixedPositions = false;
        dlclose(plugin);
    }
    qApp->installEventFilter(new Placer(display, queue, globals));
    installed = true;
    return true;
}

bool active() {
    return installed;
}

} // namespace platform::wayland::LayerShell
