// A mouse for a headless wlroots desktop, which has none: a pointer device of its own through
// the compositor's virtual-pointer protocol, driven from stdin. While it exists the seat has
// a pointer, so clients get pointer events as from a real mouse.
//
//   wayland_pointer WIDTH HEIGHT
//
// WIDTH and HEIGHT are the compositor's layout in logical units (the union of its outputs,
// from its top-left corner). Commands, one a line; each prints "ok" once the compositor has
// handled it:
//   move X Y          puts the pointer at (X, Y) of the layout, logical units (fractions too)
//   press BUTTON      presses "left" or "right"
//   release BUTTON
//   click BUTTON      presses and releases
//   remove            takes the device away: the seat has no pointer again and the compositor
//                     draws none, until the next command brings a new one
//   click-remove BUTTON   clicks and takes the device away at once, so that nothing the
//                     click starts sees the pointer on screen
// Exits 2 when the compositor has no virtual-pointer protocol.

#include "virtual-pointer-client.h"
#include <wayland-client.h>

#include <linux/input-event-codes.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <sstream>
#include <string>

namespace {

// Positions go to the compositor in hundredths of a logical unit: a pixel of an output at
// scale 2 is half a unit.
constexpr double steps = 100.0;

struct Globals {
    wl_seat* seat = nullptr;
    zwlr_virtual_pointer_manager_v1* manager = nullptr;
};

void global(void* data, wl_registry* registry, uint32_t name, const char* interface, uint32_t) {
    auto* globals = static_cast<Globals*>(data);
    if (std::strcmp(interface, wl_seat_interface.name) == 0 && !globals->seat)
        globals->seat = static_cast<wl_seat*>(wl_registry_bind(registry, name, &wl_seat_interface, 1));
    if (std::strcmp(interface, zwlr_virtual_pointer_manager_v1_interface.name) == 0)
        globals->manager = static_cast<zwlr_virtual_pointer_manager_v1*>(
            wl_registry_bind(registry, name, &zwlr_virtual_pointer_manager_v1_interface, 1));
}

void globalRemoved(void*, wl_registry*, uint32_t) {}

const wl_registry_listener registryListener{global, globalRemoved};

uint32_t now() {
    using namespace std::chrono;
    return uint32_t(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: wayland_pointer WIDTH HEIGHT\n");
        return 1;
    }
    const double width = std::atof(argv[1]);
    const double height = std::atof(argv[2]);
    wl_display* display = wl_display_connect(nullptr);
    if (!display) {
        std::fprintf(stderr, "wayland_pointer: no compositor at WAYLAND_DISPLAY\n");
        return 1;
    }
    Globals globals;
    wl_registry* registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &registryListener, &globals);
    wl_display_roundtrip(display);
    if (!globals.manager) {
        std::fprintf(stderr, "wayland_pointer: the compositor has no virtual-pointer protocol\n");
        return 2;
    }
    zwlr_virtual_pointer_v1* pointer = nullptr;
    const auto device = [&] {
        if (!pointer)
            pointer = zwlr_virtual_pointer_manager_v1_create_virtual_pointer(globals.manager, globals.seat);
        return pointer;
    };
    const auto remove = [&] {
        if (pointer) zwlr_virtual_pointer_v1_destroy(pointer);
        pointer = nullptr;
    };
    device();
    wl_display_roundtrip(display);
    std::printf("ready\n");
    std::fflush(stdout);

    const uint32_t extentX = uint32_t(width * steps);
    const uint32_t extentY = uint32_t(height * steps);
    const auto button = [&](const std::string& name, bool down) {
        const uint32_t code = name == "right" ? BTN_RIGHT : BTN_LEFT;
        zwlr_virtual_pointer_v1_button(
            device(), now(), code, down ? WL_POINTER_BUTTON_STATE_PRESSED : WL_POINTER_BUTTON_STATE_RELEASED);
        zwlr_virtual_pointer_v1_frame(pointer);
    };
    std::string line;
    while (std::getline(std::cin, line)) {
        std::istringstream words(line);
        std::string command, argument;
        words >> command;
        if (command == "move") {
            double x = 0, y = 0;
            words >> x >> y;
            zwlr_virtual_pointer_v1_motion_absolute(device(), now(), uint32_t(x * steps), uint32_t(y * steps),
                                                    extentX, extentY);
            zwlr_virtual_pointer_v1_frame(pointer);
        } else if (command == "press" || command == "release") {
            words >> argument;
            button(argument, command == "press");
        } else if (command == "click") {
            words >> argument;
            button(argument, true);
            button(argument, false);
        } else if (command == "remove") {
            remove();
        } else if (command == "click-remove") {
            words >> argument;
            button(argument, true);
            button(argument, false);
            remove();
        } else if (command.empty()) {
            continue;
        } else {
            std::fprintf(stderr, "wayland_pointer: unknown command %s\n", command.c_str());
            continue;
        }
        if (wl_display_roundtrip(display) < 0) {
            std::fprintf(stderr, "wayland_pointer: the compositor closed the connection\n");
            return 1;
        }
        std::printf("ok\n");
        std::fflush(stdout);
    }
    remove();
    zwlr_virtual_pointer_manager_v1_destroy(globals.manager);
    wl_display_roundtrip(display);
    wl_display_disconnect(display);
    return 0;
}
