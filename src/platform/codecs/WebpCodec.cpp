#include "platform/codecs/WebpCodec.h"

#include "platform/codecs/DecodeLimit.h"

#include <webp/decode.h>
#include <webp/encode.h>

#include <algorithm>

namespace platform::codecs {

QByteArray WebpCodec::encode(const QImage& image, double quality) {
    if (image.isNull()) return {};
    const float q = float(std::clamp(quality, 0.0, 1.0) * 100.0);
    // Byte-ordered formats keep this independent of the machine's endianness; the alpha
    // plane is only written when the image can have one.
    const bool alpha = image.hasAlphaChannel();
    const QImage pixels = image.convertToFormat(alpha ? QImage::Format_RGBA8888 : QImage::Format_RGB888);
    if (pixels.isNull()) return {};

    uint8_t* out = nullptr;
    const size_t size = alpha ? WebPEncodeRGBA(pixels.constBits(), pixels.width(), pixels.height(),
                                               int(pixels.bytesPerLine()), q, &out)
                              : WebPEncodeRGB(pixels.constBits(), pixels.width(), pixels.height(),
                                              int(pixels.bytesPerLine()), q, &out);
    QByteArray bytes;
    if (size > 0) bytes = QByteArray(reinterpret_cast<const char*>(out), qsizetype(size));
    WebPFree(out);
    return bytes;
}

QImage WebpCodec::decode(const QByteArray& bytes) {
    const auto* data = reinterpret_cast<const uint8_t*>(bytes.constData());
    const auto size = size_t(bytes.size());
    WebPBitstreamFeatures features;
    if (WebPGetFeatures(data, size, &features) != VP8_STATUS_OK) return {};
    if (features.has_animation || !withinDecodeLimit(features.width, features.height)) return {};

    QImage image(features.width, features.height,
                 features.has_alpha ? QImage::Format_RGBA8888 : QImage::Format_RGBX8888);
    if (image.isNull()) return {};
    const size_t bufferSize = size_t(image.sizeInBytes());
    if (!WebPDecodeRGBAInto(data, size, image.bits(), bufferSize, int(image.bytesPerLine()))) return {};
    return image.convertToFormat(features.has_alpha ? QImage::Format_ARGB32 : QImage::Format_RGB32);
}

} // namespace platform::codecs
