// Cleans a voice with the voice isolator's denoiser, for bench/voice_cleaning.sh: mono 48 kHz
// 32-bit float samples from stdin to stdout.
//   voice_cleaning_bench [SUPPRESSION_DB]

#include "platform/media/SpeexDenoiser.h"

#include <cstdio>
#include <cstdlib>
#include <vector>

int main(int argc, char** argv) {
    using platform::media::SpeexDenoiser;
    SpeexDenoiser denoiser(argc > 1 ? std::atoi(argv[1]) : SpeexDenoiser::defaultSuppression);
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
    return 0;
}
