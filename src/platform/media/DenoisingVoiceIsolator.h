#pragma once

#include "platform/MovieSound.h"

namespace platform::media {

// Suppresses the noise around a recorded voice.
class DenoisingVoiceIsolator : public VoiceIsolator {
public:
    Result<bool> isolate(const QString& source, const QString& destination,
                         const Progress& progress) override;
};

} // namespace platform::media
