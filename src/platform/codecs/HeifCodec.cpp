#include "platform/codecs/HeifCodec.h"

#include "platform/codecs/DecodeLimit.h"
#include "platform/codecs/HeifItemGraph.h"
#include "platform/codecs/HeifLibrary.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

namespace platform::codecs {

namespace {

template <typename T, typename Release> std::unique_ptr<T, Release> owned(T* object, Release release) {
    return std::unique_ptr<T, Release>(object, release);
}

bool ok(const heif_error& error) {
    return error.code == heif_error_Ok;
}

// Copies `rows` of `rowBytes` between two strided buffers.
void copyRows(const uint8_t* from, int fromStride, uint8_t* to, int toStride, int rows, size_t rowBytes) {
    for (int y = 0; y < rows; ++y)
        std::memcpy(to + qsizetype(y) * toStride, from + qsizetype(y) * fromStride, rowBytes);
}

heif_error appendTo(heif_context*, const void* data, size_t size, void* userdata) {
    static_cast<QByteArray*>(userdata)->append(static_cast<const char*>(data), qsizetype(size));
    return {heif_error_Ok, heif_suberror_Unspecified, ""};
}

} // namespace

bool HeifCodec::canEncode() {
    const HeifLibrary* heif = HeifLibrary::get();
    return heif && heif->haveEncoderForFormat(heif_compression_HEVC) != 0;
}

QByteArray HeifCodec::encode(const QImage& image, double quality) {
    const HeifLibrary* heif = HeifLibrary::get();
    if (image.isNull() || !canEncode()) return {};
    auto context = owned(heif->contextAlloc(), heif->contextFree);
    if (!context) return {};
    heif_encoder* rawEncoder = nullptr;
    if (!ok(heif->contextGetEncoderForFormat(context.get(), heif_compression_HEVC, &rawEncoder))) return {};
    auto encoder = owned(rawEncoder, heif->encoderRelease);
    heif->encoderSetLossyQuality(encoder.get(), int(std::lround(std::clamp(quality, 0.0, 1.0) * 100.0)));

    const bool alpha = image.hasAlphaChannel();
    const QImage pixels = image.convertToFormat(alpha ? QImage::Format_RGBA8888 : QImage::Format_RGB888);
    if (pixels.isNull()) return {};
    heif_image* rawImage = nullptr;
    if (!ok(heif->imageCreate(pixels.width(), pixels.height(), heif_colorspace_RGB,
                              alpha ? heif_chroma_interleaved_RGBA : heif_chroma_interleaved_RGB, &rawImage)))
        return {};
    auto heifImage = owned(rawImage, heif->imageRelease);
    if (!ok(heif->imageAddPlane(heifImage.get(), heif_channel_interleaved, pixels.width(), pixels.height(),
                                8)))
        return {};
    int stride = 0;
    uint8_t* plane = heif->imageGetPlane(heifImage.get(), heif_channel_interleaved, &stride);
    if (!plane) return {};
    copyRows(pixels.constBits(), int(pixels.bytesPerLine()), plane, stride, pixels.height(),
             size_t(pixels.width()) * (alpha ? 4 : 3));

    if (!ok(heif->contextEncodeImage(context.get(), heifImage.get(), encoder.get(), nullptr, nullptr)))
        return {};
    QByteArray bytes;
    heif_writer writer{1, &appendTo};
    if (!ok(heif->contextWrite(context.get(), &writer, &bytes))) return {};
    return bytes;
}

QImage HeifCodec::decode(const QByteArray& bytes) {
    const HeifLibrary* heif = HeifLibrary::get();
    if (!heif || !heifItemGraphIsSound(bytes)) return {};
    auto context = owned(heif->contextAlloc(), heif->contextFree);
    if (!context) return {};
    // libheif 1.15 sizes a grid by what the grid says, not by the image's declared size, and
    // overflows an int past 2 GiB of pixels: 16384 per side keeps any grid below that.
    heif->contextSetMaximumImageSizeLimit(context.get(), 16384);
    if (!ok(heif->contextReadFromMemoryWithoutCopy(context.get(), bytes.constData(), size_t(bytes.size()),
                                                   nullptr)))
        return {};
    heif_image_handle* rawHandle = nullptr;
    if (!ok(heif->contextGetPrimaryImageHandle(context.get(), &rawHandle))) return {};
    auto handle = owned(rawHandle, heif->imageHandleRelease);
    if (!withinDecodeLimit(heif->imageHandleGetWidth(handle.get()), heif->imageHandleGetHeight(handle.get())))
        return {};

    const bool alpha = heif->imageHandleHasAlphaChannel(handle.get()) != 0;
    heif_image* rawImage = nullptr;
    if (!ok(heif->decodeImage(handle.get(), &rawImage, heif_colorspace_RGB,
                              alpha ? heif_chroma_interleaved_RGBA : heif_chroma_interleaved_RGB, nullptr)))
        return {};
    auto decoded = owned(rawImage, heif->imageRelease);
    // Transformations (rotation, crop) may change the size from what the handle said.
    const int width = heif->imageGetWidth(decoded.get(), heif_channel_interleaved);
    const int height = heif->imageGetHeight(decoded.get(), heif_channel_interleaved);
    int stride = 0;
    const uint8_t* plane = heif->imageGetPlaneReadonly(decoded.get(), heif_channel_interleaved, &stride);
    if (!plane || !withinDecodeLimit(width, height) ||
        heif->imageGetBitsPerPixelRange(decoded.get(), heif_channel_interleaved) != 8)
        return {};

    QImage image(width, height, alpha ? QImage::Format_RGBA8888 : QImage::Format_RGB888);
    if (image.isNull()) return {};
    copyRows(plane, stride, image.bits(), int(image.bytesPerLine()), height, size_t(width) * (alpha ? 4 : 3));
    return image.convertToFormat(alpha ? QImage::Format_ARGB32 : QImage::Format_RGB32);
}

} // namespace platform::codecs
