// Our PNG encoder against QImage::save and libpng at level 1, on full screens of text windows
// over a photo, and the comparison of row filters and deflate levels that chose its defaults.
// Each result carries the PNG's size as the counter "bytes".
#include "SceneArt.h"

#include "platform/codecs/PngEncoder.h"

#include <QBuffer>
#include <QGuiApplication>
#include <QImageWriter>

#include <benchmark/benchmark.h>
#include <png.h>

#include <map>
#include <string>
#include <utility>

using platform::codecs::PngEncoder;

namespace {

const QImage& frame(int height, scene::Wallpaper wallpaper = scene::Wallpaper::Photo) {
    static std::map<std::pair<int, scene::Wallpaper>, QImage> frames;
    const auto key = std::make_pair(height, wallpaper);
    auto it = frames.find(key);
    if (it == frames.end())
        it = frames.emplace(key, scene::composedScreen(QSize(height * 16 / 9, height), wallpaper)).first;
    return it->second;
}

void report(benchmark::State& state, const QImage& image, qsizetype bytes) {
    state.counters["bytes"] = double(bytes);
    state.SetBytesProcessed(int64_t(state.iterations()) * image.width() * image.height() * 3);
}

void BM_Pictavia(benchmark::State& state) {
    const QImage& image = frame(int(state.range(0)));
    PngEncoder::Options options;
    options.threads = int(state.range(1));
    const PngEncoder encoder(options);
    qsizetype bytes = 0;
    for (auto _ : state)
        bytes = encoder.encode(image).size();
    report(state, image, bytes);
}

void BM_PictaviaFilter(benchmark::State& state) {
    const bool flat = state.range(3) != 0;
    const QImage& image = frame(int(state.range(0)), flat ? scene::Wallpaper::Flat : scene::Wallpaper::Photo);
    PngEncoder::Options options;
    options.filter = PngEncoder::Filter(state.range(1));
    options.level = int(state.range(2));
    const PngEncoder encoder(options);
    static const char* filters[] = {
        "None", "Sub", "Up", "Average", "Paeth", "NoneOrAverage", "SubOrUpOrAverage"};
    state.SetLabel(std::string(filters[state.range(1)]) + "/level " + std::to_string(state.range(2)) +
                   (flat ? "/flat desktop" : ""));
    qsizetype bytes = 0;
    for (auto _ : state)
        bytes = encoder.encode(image).size();
    report(state, image, bytes);
}

void BM_QImageSave(benchmark::State& state) {
    const QImage& image = frame(int(state.range(0)));
    qsizetype bytes = 0;
    for (auto _ : state) {
        QByteArray out;
        QBuffer buffer(&out);
        buffer.open(QIODevice::WriteOnly);
        image.save(&buffer, "PNG");
        bytes = out.size();
    }
    report(state, image, bytes);
}

void appendToBuffer(png_structp png, png_bytep data, size_t length) {
    static_cast<QByteArray*>(png_get_io_ptr(png))
        ->append(reinterpret_cast<const char*>(data), qsizetype(length));
}

// libpng at level 1 with its default adaptive filtering, reading the BGRX pixels directly.
QByteArray encodeWithLibpng(const QImage& image) {
    QByteArray out;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return {};
    }
    png_set_write_fn(png, &out, appendToBuffer, nullptr);
    png_set_compression_level(png, 1);
    png_set_IHDR(png, info, png_uint_32(image.width()), png_uint_32(image.height()), 8, PNG_COLOR_TYPE_RGB,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    png_set_bgr(png);
    png_set_filler(png, 0, PNG_FILLER_AFTER);
    for (int y = 0; y < image.height(); ++y)
        png_write_row(png, image.constScanLine(y));
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return out;
}

void BM_Libpng(benchmark::State& state) {
    const QImage& image = frame(int(state.range(0)));
    qsizetype bytes = 0;
    for (auto _ : state)
        bytes = encodeWithLibpng(image).size();
    report(state, image, bytes);
}

void registerAll() {
    constexpr int heights[] = {1080, 2160};
    for (const int h : heights) {
        benchmark::RegisterBenchmark("Pictavia/threads:all", BM_Pictavia)->Args({h, 0});
        benchmark::RegisterBenchmark("Pictavia/threads:1", BM_Pictavia)->Args({h, 1});
        benchmark::RegisterBenchmark("QImageSave", BM_QImageSave)->Args({h});
        benchmark::RegisterBenchmark("Libpng/level:1", BM_Libpng)->Args({h});
    }
    // Every filter at level 2, then the other levels for the chosen filter; last, every filter
    // on a desktop without a photo. Args: height, filter, level, flat.
    constexpr int filterCount = 7;
    for (const int h : heights) {
        for (int filter = 0; filter < filterCount; ++filter)
            benchmark::RegisterBenchmark("PictaviaFilter", BM_PictaviaFilter)->Args({h, filter, 2, 0});
        for (const int level : {0, 1, 3})
            benchmark::RegisterBenchmark("PictaviaFilter", BM_PictaviaFilter)->Args({h, 6, level, 0});
    }
    for (int filter = 0; filter < filterCount; ++filter)
        benchmark::RegisterBenchmark("PictaviaFilter", BM_PictaviaFilter)->Args({1080, filter, 2, 1});
}

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv); // fonts for the text windows
    if (argc > 2 && QByteArray(argv[1]) == "--write-frame") {
        // Saves the benchmark frame for a look: --write-frame FILE.png [HEIGHT]
        const int height = argc > 3 ? QByteArray(argv[3]).toInt() : 1080;
        return frame(height).save(QString::fromLocal8Bit(argv[2])) ? 0 : 1;
    }
    registerAll();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
