#include "platform/sound/CanberraSound.h"

#include <canberra.h>

#include <QFileInfo>

#include <mutex>
#include <thread>

namespace platform::sound {

namespace {

// One connection to the sound server for the whole run. Never destroyed: a sound may
// still be starting on its thread when the program exits.
struct Connection {
    std::mutex mutex;
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
        if (!c.ca &&
            (ca_context_create(&c.ca) != CA_SUCCESS || ca_context_set_driver(c.ca, "pulse") != CA_SUCCESS)) {
            c.failed = true;
            return;
        }
        ca_context_play(c.ca, 0, CA_PROP_EVENT_ID, "screen-capture", CA_PROP_EVENT_DESCRIPTION,
                        "Screenshot taken", nullptr);
    }).detach();
}

} // namespace platform::sound
