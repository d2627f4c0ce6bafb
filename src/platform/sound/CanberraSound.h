#pragma once

#include "platform/SoundPlayer.h"

namespace platform::sound {

// The freedesktop sound theme's "screen-capture" event through libcanberra.
class CanberraSound : public SoundPlayer {
public:
    void playShutter() override;
};

} // namespace platform::sound
