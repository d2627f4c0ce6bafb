#pragma once

#include "platform/AudioSource.h"

namespace platform::pulse {

// Sound from a PulseAudio server (or PipeWire's Pulse server): the default output's monitor
// for system audio, the default input for the microphone.
class PulseAudioSources final : public AudioSources {
public:
    Result<std::unique_ptr<AudioSource>> create() override;
};

} // namespace platform::pulse
