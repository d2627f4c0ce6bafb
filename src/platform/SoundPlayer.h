#pragma once

namespace platform {

// Event sounds of the desktop's sound theme.
class SoundPlayer {
public:
    virtual ~SoundPlayer() = default;
    // The shutter sound; returns at once, silent where no sound server runs.
    virtual void playShutter() = 0;
};

} // namespace platform
