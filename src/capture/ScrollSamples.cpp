#include "capture/ScrollSamples.h"

#include <algorithm>
#include <cstdlib>

namespace {

constexpr int differingLevels = 11;
constexpr int differingPositions = 2;

} // namespace

uint64_t greyHash(const uint8_t* data, int count) {
    uint64_t hash = 1469598103934665603ull; // FNV-1a
    for (int i = 0; i < count; ++i) {
        hash ^= data[i];
        hash *= 1099511628211ull;
    }
    return hash;
}

namespace {

uint8_t grey(QRgb pixel) {
    return uint8_t((qRed(pixel) * 77 + qGreen(pixel) * 151 + qBlue(pixel) * 28) >> 8);
}

} // namespace

bool greyRunsDiffer(const uint8_t* a, const uint8_t* b, int count) {
    int differing = 0;
    for (int i = 0; i < count; ++i)
        if (std::abs(int(a[i]) - int(b[i])) >= differingLevels && ++differing >= differingPositions)
            return true;
    return false;
}

ScrollSamples ScrollSamples::of(const QImage& frame, bool horizontal, int sideMargin) {
    const QImage rgb = frame.format() == QImage::Format_RGB32 || frame.format() == QImage::Format_ARGB32 ||
                               frame.format() == QImage::Format_ARGB32_Premultiplied
                           ? frame
                           : frame.convertToFormat(QImage::Format_RGB32);
    ScrollSamples samples;
    samples.m_length = horizontal ? rgb.width() : rgb.height();
    samples.m_width = horizontal ? rgb.height() : rgb.width();
    samples.m_data.resize(size_t(samples.m_length) * size_t(samples.m_width));
    for (int y = 0; y < rgb.height(); ++y) {
        const auto* row = reinterpret_cast<const QRgb*>(rgb.constScanLine(y));
        for (int x = 0; x < rgb.width(); ++x) {
            const size_t at = horizontal ? size_t(x) * size_t(samples.m_width) + size_t(y)
                                         : size_t(y) * size_t(samples.m_width) + size_t(x);
            samples.m_data[at] = grey(row[x]);
        }
    }
    const int margin = std::clamp(sideMargin, 0, std::max(0, (samples.m_width - 1) / 2));
    samples.m_from = margin;
    samples.m_to = samples.m_width - margin;
    samples.m_hashes.resize(size_t(samples.m_length));
    for (int i = 0; i < samples.m_length; ++i)
        samples.m_hashes[size_t(i)] =
            greyHash(samples.line(i) + samples.m_from, samples.m_to - samples.m_from);
    samples.m_transitions.assign(size_t(samples.m_width), 0);
    for (int i = 1; i < samples.m_length; ++i) {
        const uint8_t* a = samples.line(i - 1);
        const uint8_t* b = samples.line(i);
        for (int p = 0; p < samples.m_width; ++p)
            if (std::abs(int(a[p]) - int(b[p])) >= differingLevels) ++samples.m_transitions[size_t(p)];
    }
    return samples;
}

bool ScrollSamples::linesDiffer(int index, const ScrollSamples& other, int otherIndex) const {
    if (lineHash(index) == other.lineHash(otherIndex)) return false;
    return greyRunsDiffer(line(index) + m_from, other.line(otherIndex) + m_from, m_to - m_from);
}
