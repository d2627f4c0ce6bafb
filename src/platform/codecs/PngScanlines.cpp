#include "platform/codecs/PngScanlines.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#if defined(__SSE2__)
#include <immintrin.h>
#endif

namespace platform::codecs {

namespace {

// Byte offsets of the channels inside a 32-bit QImage pixel (0xAARRGGBB in native order).
#if Q_BYTE_ORDER == Q_LITTLE_ENDIAN
constexpr int kR = 2, kG = 1, kB = 0, kA = 3;
#else
constexpr int kR = 1, kG = 2, kB = 3, kA = 0;
#endif

uint8_t paeth(uint8_t a, uint8_t b, uint8_t c) {
    const int pa = std::abs(int(b) - int(c));
    const int pb = std::abs(int(a) - int(c));
    const int pc = std::abs(int(a) + int(b) - 2 * int(c));
    return (pa <= pb && pa <= pc) ? a : (pb <= pc ? b : c);
}

// Photographic rows: fewer than one pixel in five repeats its left neighbour exactly.
bool looksPhotographic(const PngPixels& pixels, int y) {
    const auto* row = reinterpret_cast<const uint32_t*>(pixels.row(y));
    const uint32_t mask = pixels.alpha ? 0xffffffffu : 0x00ffffffu; // RGB32's padding byte is no colour
    const int w = pixels.width;
    int repeats = 0;
    int x = 1;
#if defined(__SSE2__)
    const __m128i lanes = _mm_set1_epi32(int(mask));
    __m128i counts = _mm_setzero_si128();
    for (; x + 4 <= w; x += 4) {
        const __m128i here = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + x));
        const __m128i left = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + x - 1));
        const __m128i same =
            _mm_cmpeq_epi32(_mm_and_si128(_mm_xor_si128(here, left), lanes), _mm_setzero_si128());
        counts = _mm_sub_epi32(counts, same); // a match is -1
    }
    alignas(16) int32_t lane[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(lane), counts);
    repeats = lane[0] + lane[1] + lane[2] + lane[3];
#endif
    for (; x < w; ++x)
        repeats += ((row[x] ^ row[x - 1]) & mask) == 0;
    return repeats * 5 < w;
}

// Average's prediction, floor((left + up) / 2), for n bytes from offset `from`.
void averageResidual(const uint8_t* cur, const uint8_t* prev, size_t from, size_t n, uint8_t* out) {
    size_t i = from;
#if defined(__SSE2__)
    const __m128i one = _mm_set1_epi8(1);
    for (; i + 16 <= n; i += 16) {
        const __m128i left = _mm_loadu_si128(reinterpret_cast<const __m128i*>(cur + i - 4));
        const __m128i up = _mm_loadu_si128(reinterpret_cast<const __m128i*>(prev + i));
        const __m128i here = _mm_loadu_si128(reinterpret_cast<const __m128i*>(cur + i));
        // pavgb rounds up; take the odd sums back down.
        const __m128i mean =
            _mm_sub_epi8(_mm_avg_epu8(left, up), _mm_and_si128(_mm_xor_si128(left, up), one));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_sub_epi8(here, mean));
    }
#endif
    for (; i < n; ++i)
        out[i] = uint8_t(cur[i] - ((cur[i - 4] + prev[i]) >> 1));
}

void subResidual(const uint8_t* cur, size_t n, uint8_t* out) {
    std::memcpy(out, cur, 4);
    size_t i = 4;
#if defined(__SSE2__)
    for (; i + 16 <= n; i += 16) {
        const __m128i here = _mm_loadu_si128(reinterpret_cast<const __m128i*>(cur + i));
        const __m128i left = _mm_loadu_si128(reinterpret_cast<const __m128i*>(cur + i - 4));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_sub_epi8(here, left));
    }
#endif
    for (; i < n; ++i)
        out[i] = uint8_t(cur[i] - cur[i - 4]);
}

void upResidual(const uint8_t* cur, const uint8_t* prev, size_t n, uint8_t* out) {
    size_t i = 0;
#if defined(__SSE2__)
    for (; i + 16 <= n; i += 16) {
        const __m128i here = _mm_loadu_si128(reinterpret_cast<const __m128i*>(cur + i));
        const __m128i up = _mm_loadu_si128(reinterpret_cast<const __m128i*>(prev + i));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_sub_epi8(here, up));
    }
#endif
    for (; i < n; ++i)
        out[i] = uint8_t(cur[i] - prev[i]);
}

unsigned magnitude(uint8_t residual) {
    return std::min<unsigned>(residual, 256u - residual);
}

// Whether Up predicts the row better than Sub, by the sum of the residuals' magnitudes with
// each byte read as signed (the measure libpng's adaptive filtering uses). One pass, nothing
// written.
bool upPredictsBetter(const uint8_t* cur, const uint8_t* prev, size_t n) {
    uint64_t sub = 0, up = 0;
    size_t i = 4;
    for (size_t k = 0; k < 4; ++k) {
        sub += magnitude(cur[k]);
        up += magnitude(uint8_t(cur[k] - prev[k]));
    }
#if defined(__SSE2__)
    const __m128i zero = _mm_setzero_si128();
    __m128i subSums = zero, upSums = zero;
    const auto magnitudes = [&](__m128i r) {
        return _mm_sad_epu8(_mm_min_epu8(r, _mm_sub_epi8(zero, r)), zero);
    };
    for (; i + 16 <= n; i += 16) {
        const __m128i here = _mm_loadu_si128(reinterpret_cast<const __m128i*>(cur + i));
        const __m128i left = _mm_loadu_si128(reinterpret_cast<const __m128i*>(cur + i - 4));
        const __m128i above = _mm_loadu_si128(reinterpret_cast<const __m128i*>(prev + i));
        subSums = _mm_add_epi64(subSums, magnitudes(_mm_sub_epi8(here, left)));
        upSums = _mm_add_epi64(upSums, magnitudes(_mm_sub_epi8(here, above)));
    }
    const auto total = [](__m128i sums) {
        return uint64_t(_mm_cvtsi128_si64(sums)) +
               uint64_t(_mm_cvtsi128_si64(_mm_unpackhi_epi64(sums, sums)));
    };
    sub += total(subSums);
    up += total(upSums);
#endif
    for (; i < n; ++i) {
        sub += magnitude(uint8_t(cur[i] - cur[i - 4]));
        up += magnitude(uint8_t(cur[i] - prev[i]));
    }
    return up < sub;
}

#if defined(__SSE2__) && Q_BYTE_ORDER == Q_LITTLE_ENDIAN
// BGRX to RGB, four pixels per shuffle. Each 16-byte store runs 4 bytes into the next group,
// which is written afterwards, so it stops two pixels short of the end.
__attribute__((target("ssse3"))) int packRgbSsse3(const uint8_t* d, uint8_t* o, int w) {
    const __m128i order = _mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1);
    int x = 0;
    for (; x + 6 <= w; x += 4)
        _mm_storeu_si128(
            reinterpret_cast<__m128i*>(o + 3 * x),
            _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(d + 4 * x)), order));
    return x;
}

__attribute__((target("ssse3"))) int packRgbaSsse3(const uint8_t* d, uint8_t* o, int w) {
    const __m128i order = _mm_setr_epi8(2, 1, 0, 3, 6, 5, 4, 7, 10, 9, 8, 11, 14, 13, 12, 15);
    int x = 0;
    for (; x + 4 <= w; x += 4)
        _mm_storeu_si128(
            reinterpret_cast<__m128i*>(o + 4 * x),
            _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(d + 4 * x)), order));
    return x;
}

bool hasSsse3() {
    static const bool supported = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("ssse3") != 0;
    }();
    return supported;
}
#endif

// QImage's 32-bit pixels to PNG's RGB or RGBA byte order.
void pack(const uint8_t* d, uint8_t* o, int w, bool alpha) {
    int x = 0;
#if defined(__SSE2__) && Q_BYTE_ORDER == Q_LITTLE_ENDIAN
    if (hasSsse3()) x = alpha ? packRgbaSsse3(d, o, w) : packRgbSsse3(d, o, w);
#endif
    if (alpha) {
        for (d += 4 * x, o += 4 * x; x < w; ++x, d += 4, o += 4) {
            o[0] = d[kR];
            o[1] = d[kG];
            o[2] = d[kB];
            o[3] = d[kA];
        }
    } else {
        for (d += 4 * x, o += 3 * x; x < w; ++x, d += 4, o += 3) {
            o[0] = d[kR];
            o[1] = d[kG];
            o[2] = d[kB];
        }
    }
}

} // namespace

// Filtering is per channel, so it runs on the 32-bit pixels as they are in memory and the
// result is then packed to PNG's channel order; both passes stay in cache for one row.
void writeScanline(const PngPixels& pixels, int y, PngEncoder::Filter filter, uint8_t* scratch,
                   uint8_t* out) {
    const size_t n = size_t(pixels.width) * 4;
    const uint8_t* cur = pixels.row(y);
    const uint8_t* prev = y > 0 ? pixels.row(y - 1) : nullptr;
    const uint8_t* d = scratch;
    if (filter == PngEncoder::Filter::NoneOrAverage)
        filter = looksPhotographic(pixels, y) ? PngEncoder::Filter::Average : PngEncoder::Filter::None;
    if (filter == PngEncoder::Filter::SubOrUpOrAverage) {
        if (looksPhotographic(pixels, y))
            filter = PngEncoder::Filter::Average;
        else
            filter =
                prev && upPredictsBetter(cur, prev, n) ? PngEncoder::Filter::Up : PngEncoder::Filter::Sub;
    }
    switch (filter) {
    case PngEncoder::Filter::None:
    case PngEncoder::Filter::NoneOrAverage:
    case PngEncoder::Filter::SubOrUpOrAverage:
        out[0] = 0;
        d = cur;
        break;
    case PngEncoder::Filter::Sub:
        out[0] = 1;
        subResidual(cur, n, scratch);
        break;
    case PngEncoder::Filter::Up:
        out[0] = 2;
        if (!prev) {
            d = cur;
            break;
        }
        upResidual(cur, prev, n, scratch);
        break;
    case PngEncoder::Filter::Average:
        out[0] = 3;
        if (!prev) { // the row above counts as zero
            std::memcpy(scratch, cur, 4);
            for (size_t i = 4; i < n; ++i)
                scratch[i] = uint8_t(cur[i] - (cur[i - 4] >> 1));
            break;
        }
        for (size_t i = 0; i < 4; ++i)
            scratch[i] = uint8_t(cur[i] - (prev[i] >> 1));
        averageResidual(cur, prev, 4, n, scratch);
        break;
    case PngEncoder::Filter::Paeth:
        out[0] = 4;
        if (!prev) { // with no row above, Paeth predicts from the left: Sub
            subResidual(cur, n, scratch);
            break;
        }
        for (size_t i = 0; i < 4; ++i)
            scratch[i] = uint8_t(cur[i] - prev[i]);
        for (size_t i = 4; i < n; ++i)
            scratch[i] = uint8_t(cur[i] - paeth(cur[i - 4], prev[i], prev[i - 4]));
        break;
    }
    pack(d, out + 1, pixels.width, pixels.alpha);
}

} // namespace platform::codecs
