#pragma once

#include "platform/codecs/PngEncoder.h"

#include <QtGlobal>

#include <cstddef>
#include <cstdint>

namespace platform::codecs {

// The rows of a 32-bit QImage (RGB32 or straight ARGB32) to be written as PNG scanlines.
struct PngPixels {
    const uchar* bits = nullptr;
    qsizetype stride = 0;
    int width = 0;
    int height = 0;
    bool alpha = false; // RGBA scanlines; RGB otherwise

    const uint8_t* row(int y) const { return bits + y * stride; }
    // The filter type byte and the samples.
    size_t scanlineBytes() const { return 1 + size_t(width) * (alpha ? 4 : 3); }
};

// Writes row `y` as a filtered scanline to `out` (scanlineBytes() long), converting from
// QImage's pixel layout on the way. `scratch` holds width * 4 bytes.
void writeScanline(const PngPixels& pixels, int y, PngEncoder::Filter filter, uint8_t* scratch, uint8_t* out);

} // namespace platform::codecs
