#include "platform/codecs/HeifCodec.h"

#include "platform/codecs/DecodeLimit.h"

#include <libheif/heif.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

namespace platform::codecs {

namespace {

// Loads libheif's codec plug-ins once for the life of the process.
void ensureInitialised() {
    static const bool initialised = heif_init(nullptr).code == heif_error_Ok;
    (void)initialised;
}

struct ContextDeleter {
    void operator()(heif_context* context) const { heif_context_free(context); }
};
struct HandleDeleter {
    void operator()(heif_image_handle* handle) const { heif_image_handle_release(handle); }
};
struct ImageDeleter {
    void operator()(heif_image* image) const { heif_image_release(image); }
};
struct EncoderDeleter {
    void operator()(heif_encoder* encoder) const { heif_encoder_release(encoder); }
};
using Context = std::unique_ptr<heif_context, ContextDeleter>;
using Handle = std::unique_ptr<heif_image_handle, HandleDeleter>;
using Image = std::unique_ptr<heif_image, ImageDeleter>;
using Encoder = std::unique_ptr<heif_encoder, EncoderDeleter>;

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
    ensureInitialised();
    return heif_have_encoder_for_format(heif_compression_HEVC) != 0;
}

QByteArray HeifCodec::encode(const QImage& image, double quality) {
    if (image.isNull() || !canEncode()) return {};
    Context context(heif_context_alloc());
    if (!context) return {};
    heif_encoder* rawEncoder = nullptr;
    if (heif_context_get_encoder_for_format(context.get(), heif_compression_HEVC, &rawEncoder).code !=
        heif_error_Ok)
        return {};
    Encoder encoder(rawEncoder);
    heif_encoder_set_lossy_quality(encoder.get(), int(std::lround(std::clamp(quality, 0.0, 1.0) * 100.0)));

    const bool alpha = image.hasAlphaChannel();
    const QImage pixels = image.convertToFormat(alpha ? QImage::Format_RGBA8888 : QImage::Format_RGB888);
    if (pixels.isNull()) return {};
    heif_image* rawImage = nullptr;
    if (heif_image_create(pixels.width(), pixels.height(), heif_colorspace_RGB,
                          alpha ? heif_chroma_interleaved_RGBA : heif_chroma_interleaved_RGB, &rawImage)
            .code != heif_error_Ok)
        return {};
    Image heifImage(rawImage);
    if (heif_image_add_plane(heifImage.get(), heif_channel_interleaved, pixels.width(), pixels.height(), 8)
            .code != heif_error_Ok)
        return {};
    int stride = 0;
    uint8_t* plane = heif_image_get_plane(heifImage.get(), heif_channel_interleaved, &stride);
    if (!plane) return {};
    copyRows(pixels.constBits(), int(pixels.bytesPerLine()), plane, stride, pixels.height(),
             size_t(pixels.width()) * (alpha ? 4 : 3));

    if (heif_context_encode_image(context.get(), heifImage.get(), encoder.get(), nullptr, nullptr).code !=
        heif_error_Ok)
        return {};
    QByteArray bytes;
    heif_writer writer{1, &appendTo};
    if (heif_context_write(context.get(), &writer, &bytes).code != heif_error_Ok) return {};
    return bytes;
}

QImage HeifCodec::decode(const QByteArray& bytes) {
    ensureInitialised();
    Context context(heif_context_alloc());
    if (!context) return {};
    heif_context_set_maximum_image_size_limit(context.get(), 65535);
    if (heif_context_read_from_memory_without_copy(context.get(), bytes.constData(), size_t(bytes.size()),
                                                   nullptr)
            .code != heif_error_Ok)
        return {};
    heif_image_handle* rawHandle = nullptr;
    if (heif_context_get_primary_image_handle(context.get(), &rawHandle).code != heif_error_Ok) return {};
    Handle handle(rawHandle);
    const int width = heif_image_handle_get_width(handle.get());
    const int height = heif_image_handle_get_height(handle.get());
    if (!withinDecodeLimit(width, height)) return {};

    const bool alpha = heif_image_handle_has_alpha_channel(handle.get()) != 0;
    heif_image* rawImage = nullptr;
    if (heif_decode_image(handle.get(), &rawImage, heif_colorspace_RGB,
                          alpha ? heif_chroma_interleaved_RGBA : heif_chroma_interleaved_RGB, nullptr)
            .code != heif_error_Ok)
        return {};
    Image decoded(rawImage);
    // Transformations (rotation, crop) may change the size from what the handle said.
    const int decodedWidth = heif_image_get_width(decoded.get(), heif_channel_interleaved);
    const int decodedHeight = heif_image_get_height(decoded.get(), heif_channel_interleaved);
    int stride = 0;
    const uint8_t* plane = heif_image_get_plane_readonly(decoded.get(), heif_channel_interleaved, &stride);
    if (!plane || !withinDecodeLimit(decodedWidth, decodedHeight) ||
        heif_image_get_bits_per_pixel_range(decoded.get(), heif_channel_interleaved) != 8)
        return {};

    QImage image(decodedWidth, decodedHeight, alpha ? QImage::Format_RGBA8888 : QImage::Format_RGB888);
    if (image.isNull()) return {};
    copyRows(plane, stride, image.bits(), int(image.bytesPerLine()), decodedHeight,
             size_t(decodedWidth) * (alpha ? 4 : 3));
    return image.convertToFormat(alpha ? QImage::Format_ARGB32 : QImage::Format_RGB32);
}

} // namespace platform::codecs
