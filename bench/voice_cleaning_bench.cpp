// Cleans a voice with one of the denoisers the voice isolator can use, for
// bench/voice_cleaning.sh: mono 48 kHz 32-bit float samples from stdin to stdout.
//   voice_cleaning_bench spectral [FILTER]   FFmpeg's afftdn (or another filter chain)
//   voice_cleaning_bench speex

#include "platform/media/VoiceDenoiser.h"

#include <cstdio>
#include <cstring>
#include <vector>

int main(int argc, char** argv) {
    using namespace platform::media;
    if (argc < 2) {
        std::fprintf(stderr, "usage: voice_cleaning_bench spectral [FILTER] | speex\n");
        return 2;
    }
    auto denoiser = std::strcmp(argv[1], "speex") == 0
                        ? speexDenoiser()
                        : spectralDenoiser(argc > 2 ? argv[2] : spectralFilter);
    if (!denoiser) {
        std::fprintf(stderr, "%s\n", qPrintable(denoiser.error().message));
        return 1;
    }
    std::vector<float> in(48'000);
    std::vector<float> out;
    size_t count = 0;
    while ((count = std::fread(in.data(), sizeof(float), in.size(), stdin)) > 0) {
        if (auto added = (*denoiser)->add(in.data(), qsizetype(count), out); !added) {
            std::fprintf(stderr, "%s\n", qPrintable(added.error().message));
            return 1;
        }
        std::fwrite(out.data(), sizeof(float), out.size(), stdout);
        out.clear();
    }
    if (auto finished = (*denoiser)->finish(out); !finished) return 1;
    std::fwrite(out.data(), sizeof(float), out.size(), stdout);
    return 0;
}
