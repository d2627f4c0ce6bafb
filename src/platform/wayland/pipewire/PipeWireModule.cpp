// The factory of pictavia-pipewire.so: screen recordings on Wayland, from the PipeWire
// streams the desktop's screen-cast portal shares.

#include "platform/modules/ModuleExport.h"
#include "platform/wayland/pipewire/PipeWireFrameStream.h"

PICTAVIA_MODULE_EXPORT platform::wayland::PipeWireStreams* pictavia_create_pipewire_streams() {
    return new platform::wayland::PipeWireFrameStreams;
}
