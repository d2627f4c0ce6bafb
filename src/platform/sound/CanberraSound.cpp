#include "platform/sound/CanberraSound.h"

#include <canberra.h>

#include <QFileInfo>

#include <dlfcn.h>
#include <mutex>
#include <thread>

namespace platform::sound {

namespace {

// libcanberra, opened by the first sound rather than at start-up, where it and the
// libraries it links (Vorbis, Ogg, tdb, ltdl) would delay every command line run.
struct Canberra {
    decltype(&ca_context_create) contextCreate = nullptr;
    decltype(&ca_context_set_driver) contextSetDriver = nullptr;
    decltype(&ca_context_play) contextPlay = nullptr;

    bool open() {
        // The soname of the ABI the header describes; never closed.
        void* handle = dlopen("libcanberra.so.0", RTLD_NOW | RTLD_LOCAL);
        if (!handle) return false;
        contextCreate = reinterpret_cast<decltype(contextCreate)>(dlsym(handle, "ca_context_create"));
        contextSetDriver =
            reinterpret_cast<decltype(contextSetDriver)>(dlsym(handle, "ca_context_set_driver"));
        contextPlay = reinterpret_cast<decltype(contextPlay)>(dlsym(handle, "ca_context_play"));
        return contextCreate && contextSetDriver && contextPlay;
    }
};

// One connection to the sound server for the whole run. Never destroyed: a sound may
// still be starting on its thread when the program exits.
struct Connection {
    std::mutex mutex;
    Canberra library;
    ca_context* ca = nullptr;
    bool failed = false;
};

Connection& connection() {
    static auto* c = new Connection;
    return *c;
}

// Whether a PulseAudio (or PipeWire-Pulse) server is there to play to. Without one,
// libcanberra's fallbacks probe sound cards and print their failures.
bool soundServerRunning() {
    if (!qEnvironmentVariableIsEmpty("PULSE_SERVER")) return true;
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    return !runtime.isEmpty() && QFileInfo::exists(runtime + QStringLiteral("/pulse/native"));
}

} // namespace

void CanberraSound::playShutter() {
    if (!soundServerRunning()) return;
    // Connecting to the sound server can take a moment; a capture never waits for it.
    std::thread([] {
        Connection& c = connection();
        std::lock_guard lock(c.mutex);
        if (c.failed) return;
        if (!c.ca && (!c.library.open() || c.library.contextCreate(&c.ca) != CA_SUCCESS ||
                      c.library.contextSetDriver(c.ca, "pulse") != CA_SUCCESS)) {
            c.failed = true;
            return;
        }
        c.library.contextPlay(c.ca, 0, CA_PROP_EVENT_ID, "screen-capture", CA_PROP_EVENT_DESCRIPTION,
                              "Screenshot taken", nullptr);
    }).detach();
}

} // namespace platform::sound
