// The factory of pictavia-pulse.so: sound recorded from the PulseAudio (or PipeWire) server.

#include "platform/modules/ModuleExport.h"
#include "platform/pulse/PulseAudioSource.h"

PICTAVIA_MODULE_EXPORT platform::AudioSources* pictavia_create_audio_sources() {
    return new platform::pulse::PulseAudioSources;
}
