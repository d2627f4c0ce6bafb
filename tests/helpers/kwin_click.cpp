// Clicks on a KWin session as its pointer would, through KWin's fake input protocol: for
// tests that answer a dialog of the desktop's own. KWin offers the protocol only to programs
// it knows, or to all where it runs with KWIN_WAYLAND_NO_PERMISSION_CHECKS=1.
//
//   kwin_click X,Y      a left click at X,Y of the desktop (logical units)
//
// Exits 1 with one sentence on stderr where the compositor has no fake input.

#include "fake-input-client.h"

#include <wayland-client.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>

namespace {

constexpr uint32_t leftButton = 0x110; // BTN_LEFT

org_kde_kwin_fake_input* fakeInput = nullptr;

void announced(void*, wl_registry* registry, uint32_t name, const char* interface, uint32_t version) {
    if (std::strcmp(interface, org_kde_kwin_fake_input_interface.name) == 0 && version >= 3)
        fakeInput = static_cast<org_kde_kwin_fake_input*>(
            wl_registry_bind(registry, name, &org_kde_kwin_fake_input_interface, 3));
}

void removed(void*, wl_registry*, uint32_t) {}

const wl_registry_listener registryListener = {announced, removed};

} // namespace

int main(int argc, char** argv) {
    double x = 0, y = 0;
    if (argc != 2 || std::sscanf(argv[1], "%lf,%lf", &x, &y) != 2) {
        std::fprintf(stderr, "kwin_click: give the spot as X,Y\n");
        return 2;
    }
    wl_display* display = wl_display_connect(nullptr);
    if (!display) {
        std::fprintf(stderr, "kwin_click: there is no Wayland compositor to connect to\n");
        return 1;
    }
    wl_registry* registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &registryListener, nullptr);
    wl_display_roundtrip(display);
    if (!fakeInput) {
        std::fprintf(stderr, "kwin_click: the compositor offers no fake input (version 3)\n");
        return 1;
    }
    org_kde_kwin_fake_input_authenticate(fakeInput, "kwin_click", "tests answer the desktop's dialogs");
    org_kde_kwin_fake_input_pointer_motion_absolute(fakeInput, wl_fixed_from_double(x),
                                                    wl_fixed_from_double(y));
    wl_display_roundtrip(display);
    // The pointer is over the spot before the press, as a hand would have it.
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    org_kde_kwin_fake_input_button(fakeInput, leftButton, WL_POINTER_BUTTON_STATE_PRESSED);
    wl_display_roundtrip(display);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    org_kde_kwin_fake_input_button(fakeInput, leftButton, WL_POINTER_BUTTON_STATE_RELEASED);
    wl_display_roundtrip(display);
    wl_display_disconnect(display);
    return 0;
}
