// Cleans a voice with one of the noise suppressors, for bench/voice_cleaning.sh: mono 48 kHz
// 32-bit float samples from stdin to stdout.
//   voice_cleaning_bench [webrtc LEVEL | speex SUPPRESSION_DB]
// Without arguments, what the voice cleaner uses (WebRTC's at its default level).

#include "platform/media/SpeexDenoiser.h"
#include "platform/media/WebRtcDenoiser.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

void clean(platform::media::FrameFilter& denoiser) {
    std::vector<float> in(48'000);
    std::vector<float> out;
    size_t count = 0;
    while ((count = std::fread(in.data(), sizeof(float), in.size(), stdin)) > 0) {
        denoiser.add(in.data(), qsizetype(count), out);
        std::fwrite(out.data(), sizeof(float), out.size(), stdout);
        out.clear();
    }
    denoiser.finish(out);
    std::fwrite(out.data(), sizeof(float), out.size(), stdout);
}

} // namespace

int main(int argc, char** argv) {
    using platform::media::SpeexDenoiser;
    using platform::media::WebRtcDenoiser;
    if (argc > 1 && std::strcmp(argv[1], "speex") == 0) {
        SpeexDenoiser denoiser(argc > 2 ? std::atoi(argv[2]) : SpeexDenoiser::defaultSuppression);
        clean(denoiser);
    } else if (argc == 1 || std::strcmp(argv[1], "webrtc") == 0) {
        WebRtcDenoiser denoiser(argc > 2 ? std::atoi(argv[2]) : WebRtcDenoiser::defaultLevel);
        clean(denoiser);
    } else {
        std::fprintf(stderr, "usage: voice_cleaning_bench [webrtc LEVEL | speex SUPPRESSION_DB]\n");
        return 2;
    }
    return 0;
}
