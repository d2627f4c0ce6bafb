#include "platform/modules/LazyPipeWire.h"

#include "platform/modules/LazyInstance.h"

namespace platform::modules {

Result<wayland::PipeWireStreams*> pipeWireStreams() {
    static LazyInstance<wayland::PipeWireStreams> streams{
        "pictavia-pipewire.so", "pictavia_create_pipewire_streams",
        QStringLiteral("Screen recording on Wayland is not available")};
    return streams.get();
}

} // namespace platform::modules
