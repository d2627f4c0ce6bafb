#pragma once

#include <QImageReader>

namespace platform::codecs {

// Whether a decoded image of this size stays within the allocation limit Qt applies to its
// own readers, so a forged header cannot make any of our decoders allocate without bound.
inline bool withinDecodeLimit(qint64 width, qint64 height) {
    if (width <= 0 || height <= 0 || width > 0x7fffffff || height > 0x7fffffff) return false;
    const int limitMiB = QImageReader::allocationLimit();
    if (limitMiB <= 0) return true;
    return width * height * 4 <= qint64(limitMiB) * 1024 * 1024;
}

} // namespace platform::codecs
