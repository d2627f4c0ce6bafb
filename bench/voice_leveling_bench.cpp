// Levels the sound of a movie in place as a finished recording's is, and prints the 90th
// percentile of its speech blocks' RMS and its peak before and after, and how long it took.
//   voice_leveling_bench MOVIE [--clean] [--mono]

#include "platform/Platform.h"
#include "platform/media/DenoisingVoiceIsolator.h"
#include "platform/media/FfmpegMovieSound.h"
#include "video/VoiceLeveler.h"

#include <QElapsedTimer>
#include <QFile>
#include <QString>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace {

struct Loudness {
    float speech = 0; // 90th percentile of the blocks above the speech threshold
    float peak = 0;
};

Result<Loudness> measure(const QString& movie) {
    VoiceLeveler::BlockLevels blocks;
    Loudness loudness;
    const auto read = platform::services().movieSound->readSound(
        movie, -1, VoiceLeveler::sampleRate, 1, [&](const float* samples, qsizetype frames) {
            blocks.add(samples, frames);
            for (qsizetype i = 0; i < frames; ++i)
                loudness.peak = std::max(loudness.peak, std::fabs(samples[i]));
            return true;
        });
    if (!read) return read.error();
    std::vector<float> speech;
    for (const float level : blocks.levels())
        if (level > VoiceLeveler::speechThreshold) speech.push_back(level);
    std::sort(speech.begin(), speech.end());
    if (!speech.empty()) loudness.speech = speech[size_t(std::floor(double(speech.size() - 1) * 0.9))];
    return loudness;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: voice_leveling_bench MOVIE [--clean] [--mono]\n");
        return 2;
    }
    bool clean = false;
    bool mono = false;
    for (int i = 2; i < argc; ++i) {
        clean |= std::strcmp(argv[i], "--clean") == 0;
        mono |= std::strcmp(argv[i], "--mono") == 0;
    }
    platform::Services services;
    services.movieSound = std::make_unique<platform::media::FfmpegMovieSound>();
    services.voiceIsolator = std::make_unique<platform::media::DenoisingVoiceIsolator>();
    platform::install(std::move(services));

    const QString movie = QString::fromLocal8Bit(argv[1]);
    const auto before = measure(movie);
    if (!before) {
        std::fprintf(stderr, "%s\n", qPrintable(before.error().message));
        return 1;
    }
    QElapsedTimer timer;
    timer.start();
    const auto levelled = VoiceLeveler::process(movie, mono, clean);
    const double seconds = double(timer.elapsed()) / 1000.0;
    if (!levelled) {
        std::fprintf(stderr, "%s\n", qPrintable(levelled.error().message));
        return 1;
    }
    if (*levelled) QFile::remove(**levelled);
    const auto after = measure(movie);
    if (!after) return 1;
    std::printf("%-8s p90 speech RMS %.4f  peak %.3f\n", "before", double(before->speech),
                double(before->peak));
    std::printf("%-8s p90 speech RMS %.4f  peak %.3f\n", "after", double(after->speech), double(after->peak));
    std::printf("levelling%s took %.2f s\n", clean ? " and cleaning" : "", seconds);
    return 0;
}
