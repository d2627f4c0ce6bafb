#pragma once

#include <QByteArray>
#include <QImage>

namespace platform::codecs {

// A PNG writer tuned for screenshots: a cheap per-row filter choice, ISA-L's fast deflate, and
// the rows split across cores as independent deflate chunks that join into one valid zlib stream.
class PngEncoder {
public:
    // The row filter. NoneOrAverage decides per row: None where pixels repeat their left
    // neighbour (UI and text), Average where they hardly do (photographs, whose grain two
    // neighbours predict better than one). SubOrUpOrAverage keeps Average for photographic
    // rows and takes whichever of Sub and Up leaves the smaller residuals on the others: a
    // deflate that looks for matches as little as ISA-L's does well on the runs of zeros they
    // leave, where None's repeats would need long matches.
    enum class Filter { None, Sub, Up, Average, Paeth, NoneOrAverage, SubOrUpOrAverage };

    struct Options {
        // Measured on screenshots of text windows over a photo by bench/png_encode_bench.cpp.
        Filter filter = Filter::SubOrUpOrAverage;
        // ISA-L's levels, 0 (fastest) to 3.
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
