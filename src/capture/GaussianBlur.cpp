#include "capture/GaussianBlur.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace GaussianBlur {

namespace {

// Widths of three successive box blurs whose combination has the given standard deviation.
std::array<int, 3> boxRadii(double sigma) {
    constexpr int passes = 3;
    const double ideal = std::sqrt(12.0 * sigma * sigma / passes + 1.0);
    int lower = static_cast<int>(std::floor(ideal));
    if (lower % 2 == 0) --lower;
    const int upper = lower + 2;
    const double m = (12.0 * sigma * sigma - passes * lower * lower - 4.0 * passes * lower - 3.0 * passes) /
                     (-4.0 * lower - 4.0);
    const int lowerCount = static_cast<int>(std::lround(m));
    std::array<int, 3> radii{};
    for (int i = 0; i < passes; ++i)
        radii[i] = ((i < lowerCount ? lower : upper) - 1) / 2;
    return radii;
}

// One box blur along lines of `length` samples, `step` bytes apart, for each of `lines`
// lines `lineStride` bytes apart, with `channels` interleaved bytes per sample.
void boxPass(uchar* data, int lines, qsizetype lineStride, int length, qsizetype step, int channels,
             int radius, std::vector<uchar>& scratch) {
    if (radius <= 0 || length <= 1) return;
    const int window = 2 * radius + 1;
    scratch.resize(static_cast<size_t>(length) * channels);
    for (int line = 0; line < lines; ++line) {
        uchar* base = data + line * lineStride;
        for (int c = 0; c < channels; ++c) {
            const auto at = [&](int i) { return base[std::clamp(i, 0, length - 1) * step + c]; };
            int sum = 0;
            for (int i = -radius; i <= radius; ++i)
                sum += at(i);
            for (int i = 0; i < length; ++i) {
                scratch[static_cast<size_t>(i) * channels + c] =
                    static_cast<uchar>((sum + window / 2) / window);
                sum += at(i + radius + 1) - at(i - radius);
            }
        }
        for (int i = 0; i < length; ++i)
            for (int c = 0; c < channels; ++c)
                base[i * step + c] = scratch[static_cast<size_t>(i) * channels + c];
    }
}

} // namespace

QImage blurred(const QImage& image, double sigma) {
    if (image.isNull() || sigma <= 0.0) return image;
    const bool singleChannel =
        image.format() == QImage::Format_Alpha8 || image.format() == QImage::Format_Grayscale8;
    QImage out = singleChannel ? image.copy() : image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    const int channels = singleChannel ? 1 : 4;
    std::vector<uchar> scratch;
    for (const int radius : boxRadii(sigma)) {
        boxPass(out.bits(), out.height(), out.bytesPerLine(), out.width(), channels, channels, radius,
                scratch);
        boxPass(out.bits(), out.width(), channels, out.height(), out.bytesPerLine(), channels, radius,
                scratch);
    }
    return out;
}

} // namespace GaussianBlur
