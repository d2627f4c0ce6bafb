// Encodes a folder of GIF-recording frames with Pictavia's GIF encoder, for bench/gif.sh:
//   gif_bench FRAMES_DIR FPS OUT.gif small|balanced|sharp
// Prints the milliseconds the encoding took.
#include "platform/Platform.h"
#include "platform/media/GiflibWriter.h"
#include "recording/GIFEncoder.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <cstdio>

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const std::optional<GIFQuality> quality = gifQualityValues.parse(args.value(4));
    if (args.size() != 5 || !quality) {
        std::fprintf(stderr, "usage: gif_bench FRAMES_DIR FPS OUT.gif small|balanced|sharp\n");
        return 2;
    }
    platform::Services services;
    services.gifs = std::make_unique<platform::media::GiflibWriter>();
    platform::install(std::move(services));
    QElapsedTimer timer;
    timer.start();
    if (!GIFEncoder::encode(args[1], args[2].toInt(), args[3], *quality)) {
        std::fprintf(stderr, "gif_bench: no GIF written\n");
        return 1;
    }
    std::printf("%.0f\n", double(timer.nsecsElapsed()) / 1e6);
    return 0;
}
