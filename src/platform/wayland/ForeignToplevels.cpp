#include "platform/wayland/ForeignToplevels.h"

#include "platform/wayland/WaylandConnection.h"

#include "foreign-toplevel-client.h"
#include <wayland-client.h>

#include <memory>
#include <mutex>
#include <vector>

namespace platform::wayland {

namespace {

// A window as its events come in; what a `done` event confirms is kept.
struct Toplevel {
    zwlr_foreign_toplevel_handle_v1* handle = nullptr;
    ForeignToplevel pending;
    ForeignToplevel shown;
    bool done = false;
    bool closed = false;
};

void onTitle(void* data, zwlr_foreign_toplevel_handle_v1*, const char* title) {
    static_cast<Toplevel*>(data)->pending.title = QString::fromUtf8(title);
}

void onAppId(void* data, zwlr_foreign_toplevel_handle_v1*, const char* appId) {
    static_cast<Toplevel*>(data)->pending.appId = QString::fromUtf8(appId);
}

void onOutputEnter(void*, zwlr_foreign_toplevel_handle_v1*, wl_output*) {}
void onOutputLeave(void*, zwlr_foreign_toplevel_handle_v1*, wl_output*) {}

void onState(void* data, zwlr_foreign_toplevel_handle_v1*, wl_array* states) {
    auto* toplevel = static_cast<Toplevel*>(data);
    toplevel->pending.activated = false;
    toplevel->pending.minimized = false;
    const auto* state = static_cast<const uint32_t*>(states->data);
    for (size_t i = 0; i < states->size / sizeof(uint32_t); ++i) {
        if (state[i] == ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_ACTIVATED) toplevel->pending.activated = true;
        if (state[i] == ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_MINIMIZED) toplevel->pending.minimized = true;
    }
}

void onDone(void* data, zwlr_foreign_toplevel_handle_v1*) {
    auto* toplevel = static_cast<Toplevel*>(data);
    toplevel->shown = toplevel->pending;
    toplevel->done = true;
}

void onClosed(void* data, zwlr_foreign_toplevel_handle_v1*) {
    static_cast<Toplevel*>(data)->closed = true;
}

const zwlr_foreign_toplevel_handle_v1_listener toplevelListener{
    onTitle, onAppId, onOutputEnter, onOutputLeave, onState, onDone, onClosed};

struct Listing {
    std::vector<std::unique_ptr<Toplevel>> toplevels; // the listeners keep their addresses
    bool finished = false;
};

void onToplevel(void* data, zwlr_foreign_toplevel_manager_v1*, zwlr_foreign_toplevel_handle_v1* handle) {
    auto* listing = static_cast<Listing*>(data);
    auto toplevel = std::make_unique<Toplevel>();
    toplevel->handle = handle;
    zwlr_foreign_toplevel_handle_v1_add_listener(handle, &toplevelListener, toplevel.get());
    listing->toplevels.push_back(std::move(toplevel));
}

void onFinished(void* data, zwlr_foreign_toplevel_manager_v1* manager) {
    static_cast<Listing*>(data)->finished = true;
    zwlr_foreign_toplevel_manager_v1_destroy(manager);
}

const zwlr_foreign_toplevel_manager_v1_listener managerListener{onToplevel, onFinished};

Error notOffered() {
    return Error{QStringLiteral("The Wayland compositor does not offer wlroots' foreign toplevel list.")};
}

} // namespace

bool foreignToplevelsOffered() {
    static std::once_flag asked;
    static bool offered = false;
    std::call_once(asked, [] {
        auto connection = WaylandConnection::open();
        offered = connection && (*connection)->global(zwlr_foreign_toplevel_manager_v1_interface.name);
    });
    return offered;
}

Result<QList<ForeignToplevel>> listForeignToplevels() {
    auto opened = WaylandConnection::open();
    if (!opened) return opened.error();
    WaylandConnection& connection = **opened;
    const auto global = connection.global(zwlr_foreign_toplevel_manager_v1_interface.name);
    if (!global) return notOffered();
    auto* manager = static_cast<zwlr_foreign_toplevel_manager_v1*>(
        connection.bind(*global, &zwlr_foreign_toplevel_manager_v1_interface, 1));
    Listing listing;
    zwlr_foreign_toplevel_manager_v1_add_listener(manager, &managerListener, &listing);
    // The first round trip brings the windows, the second what each of them is.
    Result<bool> answered = connection.roundtrip();
    if (answered) answered = connection.roundtrip();

    QList<ForeignToplevel> windows;
    for (const auto& toplevel : listing.toplevels) {
        if (toplevel->done && !toplevel->closed) windows.append(toplevel->shown);
        zwlr_foreign_toplevel_handle_v1_destroy(toplevel->handle);
    }
    // Nothing more is wanted; the compositor answers with `finished`, which lets the manager go.
    if (!listing.finished) {
        zwlr_foreign_toplevel_manager_v1_stop(manager);
        if (answered) answered = connection.dispatchUntil([&] { return listing.finished; });
    }
    if (!answered) return answered.error();
    return windows;
}

} // namespace platform::wayland
