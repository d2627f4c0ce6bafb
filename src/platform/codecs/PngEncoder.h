#pragma once

#include <QByteArray>
#include <QImage>

namespace platform::codecs {

// A PNG writer tuned for screenshots: one fixed row filter, fast zlib, and the rows split
// across cores as independent deflate chunks that join into one valid zlib stream.
class PngEncoder {
public:
    // The row filter. NoneOrAverage decides per row: None where pixels repeat their left
    // neighbour (UI and text, whose glyphs then stay byte-identical for deflate to match),
    // Average where they hardly do (photographs, whose grain two neighbours predict better
    // than one).
    enum class Filter { None, Sub, Up, Average, Paeth, NoneOrAverage };
    enum class Strategy { Default, Rle, Filtered };

    struct Options {
        // Measured on screenshots of text windows over a photo by bench/png_encode_bench.cpp:
        // NoneOrAverage is 2-4% smaller than the best fixed filter (None at 1080p, Up at 4K)
        // and as fast as None. Level 2 is 2% smaller than level 1 for 6-8% more time, enough to
        // stay within the median size of other tools' PNGs at 4K; level 3 gains 2% for 35%.
        Filter filter = Filter::NoneOrAverage;
        Strategy strategy = Strategy::Default;
        int level = 2;
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
