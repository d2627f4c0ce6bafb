#include "platform/media/PlaneScaler.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define PLANE_SCALER_SHUFFLES 1
#endif

namespace platform::media {

namespace {

#ifdef PLANE_SCALER_SHUFFLES
bool hasShuffles() {
    static const bool has = __builtin_cpu_supports("ssse3");
    return has;
}

// out[i] = a * (64 - w) + b * w for eight columns a block, the pairs picked by a byte shuffle
// and multiplied and added pairwise.
__attribute__((target("ssse3"))) void filterBlocks(const uint8_t* row, const void* blocks, size_t count,
                                                   size_t blockSize, uint16_t* out) {
    const auto* bytes = static_cast<const uint8_t*>(blocks);
    for (size_t i = 0; i < count; ++i, bytes += blockSize, out += 8) {
        int start;
        std::memcpy(&start, bytes, sizeof start);
        const __m128i source = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + start));
        const __m128i pick = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + sizeof(int)));
        const __m128i weights = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + sizeof(int) + 16));
        const __m128i pairs = _mm_shuffle_epi8(source, pick);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_maddubs_epi16(pairs, weights));
    }
}
#endif

// Rows a and b (values 64 times too large) weighed (64 - down) : down, rounded to bytes.
// Vectorised twice as wide where AVX2 is there.
#if defined(PLANE_SCALER_SHUFFLES) && defined(__GNUC__) && !defined(__clang__)
__attribute__((target_clones("avx2", "default")))
#endif
void blendRows(const uint16_t* a, const uint16_t* b, uint32_t down, uint8_t* out, int width) {
    constexpr int shift = 12;
    constexpr uint32_t half = 1u << (shift - 1);
    const uint32_t up = PlaneScaler::weightOne - down;
    for (int x = 0; x < width; ++x)
        out[x] = uint8_t((a[x] * up + b[x] * down + half) >> shift);
}

} // namespace

void PlaneScaler::makeTaps(Taps& taps, double sourceStart, double scale, double placeStart, int from,
                           int count, int lowest, int highest) {
    taps.first.resize(size_t(count));
    taps.weight.resize(size_t(count));
    for (int i = 0; i < count; ++i) {
        // The output pixel's centre in source pixels, less half a pixel: the first pixel's
        // index and how far the sample lies toward the next.
        const double at = sourceStart + (from + i + 0.5 - placeStart) * scale - 0.5;
        const double whole = std::floor(at);
        int first = int(whole);
        int weight = int(std::lround((at - whole) * weightOne));
        if (weight == weightOne) {
            ++first;
            weight = 0;
        }
        // Past the edges the edge pixel alone, with both neighbours inside the bounds.
        if (first < lowest) {
            first = lowest;
            weight = 0;
        } else if (first >= highest) {
            first = std::max(highest - 1, lowest);
            weight = highest > lowest ? weightOne : 0;
        }
        taps.first[size_t(i)] = first;
        taps.weight[size_t(i)] = uint8_t(weight);
    }
}

void PlaneScaler::makeBlocks(int rowEnd) {
    m_blocks.clear();
    m_blockColumns = 0;
#ifdef PLANE_SCALER_SHUFFLES
    if (!hasShuffles()) return;
    const size_t count = m_columns.first.size();
    for (size_t i = 0; i + 8 <= count; i += 8) {
        Block block;
        block.start = m_columns.first[i];
        // Eight columns fit in one load when they span 16 bytes at most, and the load must
        // stay within the row.
        if (m_columns.first[i + 7] + 1 - block.start >= 16 || block.start + 16 > rowEnd) break;
        for (size_t j = 0; j < 8; ++j) {
            const int offset = m_columns.first[i + j] - block.start;
            block.pick[2 * j] = uint8_t(offset);
            block.pick[2 * j + 1] = uint8_t(offset + 1);
            block.weights[2 * j] = uint8_t(weightOne - m_columns.weight[i + j]);
            block.weights[2 * j + 1] = m_columns.weight[i + j];
        }
        m_blocks.push_back(block);
        m_blockColumns += 8;
    }
#else
    (void)rowEnd;
#endif
}

void PlaneScaler::filterRow(const uint8_t* row, uint16_t* out) const {
#ifdef PLANE_SCALER_SHUFFLES
    static_assert(sizeof(Block) == sizeof(int) + 32);
    if (!m_blocks.empty()) filterBlocks(row, m_blocks.data(), m_blocks.size(), sizeof(Block), out);
#endif
    const size_t count = m_columns.first.size();
    const int* first = m_columns.first.data();
    const uint8_t* weight = m_columns.weight.data();
    for (size_t i = size_t(m_blockColumns); i < count; ++i) {
        const int a = row[first[i]];
        const int b = weight[i] != 0 ? row[first[i] + 1] : a; // a lone column has no right neighbour
        out[i] = uint16_t(a * (weightOne - weight[i]) + b * weight[i]);
    }
}

void PlaneScaler::scale(const PlaneView& from, const QRectF& source, uint8_t* to, int toStride,
                        const QRectF& place, const QRect& fill) {
    if (fill.isEmpty() || place.isEmpty() || source.isEmpty() || from.width <= 0 || from.height <= 0) return;
    const QRect bounds = source.toAlignedRect() & QRect(0, 0, from.width, from.height);
    if (bounds.isEmpty()) return;
    const int width = fill.width();
    makeTaps(m_columns, source.left(), source.width() / place.width(), place.left(), fill.left(), width,
             bounds.left(), bounds.right());
    makeTaps(m_rows, source.top(), source.height() / place.height(), place.top(), fill.top(), fill.height(),
             bounds.top(), bounds.bottom());
    makeBlocks(from.width);
    for (auto& buffer : m_rowBuffers)
        buffer.resize(size_t(width));

    // Source rows filtered across, kept while consecutive output rows use them.
    int held[2] = {-1, -1};
    const auto filtered = [&](int row, int keep) -> const uint16_t* {
        for (int i = 0; i < 2; ++i)
            if (held[i] == row) return m_rowBuffers[i].data();
        const int slot = held[0] == keep ? 1 : 0;
        filterRow(from.data + ptrdiff_t(row) * from.stride, m_rowBuffers[slot].data());
        held[slot] = row;
        return m_rowBuffers[slot].data();
    };
    for (int y = 0; y < fill.height(); ++y) {
        uint8_t* out = to + ptrdiff_t(fill.top() + y) * toStride + fill.left();
        const int top = m_rows.first[size_t(y)];
        const uint32_t down = m_rows.weight[size_t(y)];
        const uint16_t* a = filtered(top, top + 1);
        blendRows(a, down == 0 ? a : filtered(top + 1, top), down, out, width);
    }
}

} // namespace platform::media
