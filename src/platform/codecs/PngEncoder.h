#pragma once

#include <QByteArray>
#include <QImage>

namespace platform::codecs {

// A PNG writer tuned for screenshots: one fixed row filter, fast zlib, and the rows split
// across cores as independent deflate chunks that join into one valid zlib stream.
class PngEncoder {
public:
    enum class Filter { None, Sub, Up, Paeth };
    enum class Strategy { Default, Rle, Filtered };

    struct Options {
        // Up with zlib's default strategy at level 1 measured smallest and fastest on
        // screenshots of text over photos (see bench/png_encode_bench.cpp).
        Filter filter = Filter::Up;
        Strategy strategy = Strategy::Default;
        int level = 1;
        // 0 means QThread::idealThreadCount(); small images always use one.
        int threads = 0;
    };

    PngEncoder() = default;
    explicit PngEncoder(Options options) : options_(options) {}

    // The PNG file bytes: RGB when every pixel is opaque, non-premultiplied RGBA otherwise.
    // A scale above 1 is recorded as a pHYs chunk of scale * 96 dpi. Empty for a null image.
    QByteArray encode(const QImage& image, double scale = 1.0) const;

private:
    Options options_;
};

} // namespace platform::codecs
