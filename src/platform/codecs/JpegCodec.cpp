#include "platform/codecs/JpegCodec.h"

#include "platform/codecs/DecodeLimit.h"

#include <QtEndian>

#include <turbojpeg.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

namespace platform::codecs {

namespace {

// The 32-bit QImage pixel in memory order, alpha ignored.
#if Q_BYTE_ORDER == Q_LITTLE_ENDIAN
constexpr int kPixelFormat = TJPF_BGRX;
#else
constexpr int kPixelFormat = TJPF_XRGB;
#endif

struct HandleDeleter {
    void operator()(void* handle) const { tjDestroy(handle); }
};
using Handle = std::unique_ptr<void, HandleDeleter>;

// Opaque colour as 32-bit pixels; premultiplied pixels with their alpha ignored are the
// image composited onto black.
QImage flattenedOntoBlack(const QImage& image) {
    switch (image.format()) {
    case QImage::Format_RGB32:
    case QImage::Format_ARGB32_Premultiplied:
        return image;
    default:
        return image.convertToFormat(image.hasAlphaChannel() ? QImage::Format_ARGB32_Premultiplied
                                                             : QImage::Format_RGB32);
    }
}

// libjpeg-turbo writes a JFIF header with an aspect ratio only; make it say dots per inch.
void setDensity(QByteArray& jpeg, double scale) {
    static constexpr char jfif[] = "\xff\xd8\xff\xe0\0\x10JFIF";
    if (jpeg.size() < 20 || std::memcmp(jpeg.constData(), jfif, 11) != 0) return;
    const auto dpi = uint16_t(std::clamp(std::lround(scale * 96.0), 1L, 65535L));
    auto* p = reinterpret_cast<uchar*>(jpeg.data());
    p[13] = 1; // units: dots per inch
    qToBigEndian(dpi, p + 14);
    qToBigEndian(dpi, p + 16);
}

} // namespace

QByteArray JpegCodec::encode(const QImage& image, double quality, double scale) {
    if (image.isNull()) return {};
    const QImage pixels = flattenedOntoBlack(image);
    if (pixels.isNull()) return {};

    Handle handle(tjInitCompress());
    if (!handle) return {};
    const int q = 1 + int(std::lround(std::clamp(quality, 0.0, 1.0) * 99.0));
    unsigned char* out = nullptr;
    unsigned long size = 0;
    const int result =
        tjCompress2(handle.get(), pixels.constBits(), pixels.width(), int(pixels.bytesPerLine()),
                    pixels.height(), kPixelFormat, &out, &size, TJSAMP_420, q, 0);
    QByteArray bytes;
    if (result == 0) bytes = QByteArray(reinterpret_cast<const char*>(out), qsizetype(size));
    tjFree(out);
    if (!bytes.isEmpty() && scale > 1.0) setDensity(bytes, scale);
    return bytes;
}

QImage JpegCodec::decode(const QByteArray& bytes) {
    Handle handle(tjInitDecompress());
    if (!handle || bytes.isEmpty()) return {};
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.constData());
    const auto size = static_cast<unsigned long>(bytes.size());

    int width = 0, height = 0, subsampling = 0, colorspace = 0;
    if (tjDecompressHeader3(handle.get(), data, size, &width, &height, &subsampling, &colorspace) != 0)
        return {};
    if (!withinDecodeLimit(width, height)) return {};

    QImage image(width, height, QImage::Format_RGB32);
    if (image.isNull()) return {};
    // Scan limiting keeps a hostile progressive file from taking minutes. A truncated file
    // still yields what was decoded, as other readers do; only fatal errors give up.
    const int result = tjDecompress2(handle.get(), data, size, image.bits(), width, int(image.bytesPerLine()),
                                     height, kPixelFormat, TJFLAG_LIMITSCANS);
    if (result != 0 && tjGetErrorCode(handle.get()) == TJERR_FATAL) return {};
    return image;
}

} // namespace platform::codecs
