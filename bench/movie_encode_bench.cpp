// Encodes raw BGRA frames from stdin with Pictavia's movie writer, as a recording would:
// for bench/record.sh, which compares its quality with ffmpeg's on the same frames.
//
//   ffmpeg -i REF -f rawvideo -pix_fmt bgra - | movie_encode_bench WIDTH HEIGHT FPS OUT.mov

#include "platform/media/FfmpegMovieWriter.h"
#include "recording/RecordingOptions.h"

#include <QImage>

#include <cstdio>
#include <cstdlib>
#include <vector>

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fprintf(stderr, "usage: movie_encode_bench WIDTH HEIGHT FPS OUT.mov < frames.bgra\n");
        return 2;
    }
    const int width = std::atoi(argv[1]);
    const int height = std::atoi(argv[2]);
    const int fps = std::atoi(argv[3]);
    platform::MovieSettings settings;
    settings.size = QSize(width, height);
    settings.fps = fps;
    // The bit rate and key frames of a recording.
    RecordingOptions options;
    options.fps = fps;
    settings.bitRate = options.videoBitRate(settings.size);
    settings.keyFrameInterval = options.keyFrameInterval();
    platform::media::FfmpegMovieWriter writer;
    auto movie = writer.create(QString::fromLocal8Bit(argv[4]), settings);
    if (!movie) {
        std::fprintf(stderr, "movie_encode_bench: %s\n", qPrintable(movie.error().message));
        return 1;
    }
    QImage frame(width, height, QImage::Format_RGB32);
    const size_t bytes = size_t(frame.sizeInBytes());
    for (qint64 index = 0; std::fread(frame.bits(), 1, bytes, stdin) == bytes; ++index) {
        if (const auto added = (*movie)->addVideo(frame, index * 1'000'000 / fps); !added) {
            std::fprintf(stderr, "movie_encode_bench: %s\n", qPrintable(added.error().message));
            return 1;
        }
    }
    if (const auto finished = (*movie)->finish(); !finished) {
        std::fprintf(stderr, "movie_encode_bench: %s\n", qPrintable(finished.error().message));
        return 1;
    }
    return 0;
}
