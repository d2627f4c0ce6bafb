#pragma once

#include <QByteArray>
#include <QImage>

namespace platform::codecs {

// A PNG writer tuned for screenshots: one fixed row filter, fast zlib, and the rows split
// across cores as independent deflate chunks that join into one valid zlib stream.
class PngEncoder {
public:
    enum class Filter { None, Sub, Up, Average, Paeth };
    enum class Strategy { Default, Rle, Filtered };

    // zlib's match-search limits (deflateTune); zero keeps the level's own.
    struct Tuning {
        int goodLength = 0;
        int maxLazy = 0; // at levels 1 to 3: the longest match whose strings are all hashed
        int niceLength = 0;
        int maxChain = 0;
    };

    struct Options {
        // No filter keeps repeated glyphs byte-identical for deflate to match, and predicting
        // grainy photo pixels only adds noise: it measured smallest on screenshots of text over
        // photos as well as flat desktops, and it is the cheapest (bench/png_encode_bench.cpp).
        Filter filter = Filter::None;
        Strategy strategy = Strategy::Default;
        int level = 1;
        // Level 1's fast matcher with more strings hashed and longer chains: 3% smaller than
        // plain level 1 for 10% more time, where level 3 costs 35% more for 4%.
        Tuning tuning{4, 32, 32, 8};
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
