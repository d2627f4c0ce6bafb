#pragma once

#include "common/Result.h"

#include <QString>

#include <memory>
#include <vector>

namespace platform::media {

// Suppresses the noise around a voice in a stream of mono 48 kHz float samples. What comes
// out may lag behind what goes in; `finish` gives the rest. The whole output is as long as
// the input and in step with it.
class VoiceDenoiser {
public:
    virtual ~VoiceDenoiser() = default;
    // Appends what is ready to `out`.
    virtual Result<bool> add(const float* samples, qsizetype count, std::vector<float>& out) = 0;
    virtual Result<bool> finish(std::vector<float>& out) = 0;
};

// FFmpeg's spectral denoiser (afftdn), following the noise as it changes.
inline constexpr const char* spectralFilter = "afftdn=nr=20:nf=-40:tn=1";
// `filter` is the filter chain, for trying other settings.
Result<std::unique_ptr<VoiceDenoiser>> spectralDenoiser(const char* filter = spectralFilter);
// SpeexDSP's preprocessor with only its noise suppression on.
Result<std::unique_ptr<VoiceDenoiser>> speexDenoiser();

} // namespace platform::media
