#include "platform/codecs/StandardImageCodecs.h"

#include "platform/codecs/HeifCodec.h"
#include "platform/codecs/ImageFormatSniffer.h"
#include "platform/codecs/JpegCodec.h"
#include "platform/codecs/PngEncoder.h"
#include "platform/codecs/WebpCodec.h"

namespace platform::codecs {

bool StandardImageCodecs::canEncode(const QString& type) const {
    if (type == ImageType::png || type == ImageType::jpeg || type == ImageType::webp) return true;
    if (type == ImageType::heic) return HeifCodec::canEncode();
    return false;
}

QByteArray StandardImageCodecs::encode(const QImage& image, const QString& type, double quality,
                                       double scale) const {
    if (type == ImageType::png) return PngEncoder().encode(image, scale);
    if (type == ImageType::jpeg) return JpegCodec::encode(image, quality, scale);
    if (type == ImageType::webp) return WebpCodec::encode(image, quality);
    if (type == ImageType::heic) return HeifCodec::encode(image, quality);
    return {};
}

QImage StandardImageCodecs::decode(const QByteArray& bytes) const {
    switch (sniffImageFormat(bytes)) {
    case SniffedFormat::Png:
        return QImage::fromData(bytes, "PNG");
    case SniffedFormat::Jpeg:
        return JpegCodec::decode(bytes);
    case SniffedFormat::Webp:
        return WebpCodec::decode(bytes);
    case SniffedFormat::Heif:
        return HeifCodec::decode(bytes);
    case SniffedFormat::Unknown:
        break;
    }
    return {};
}

} // namespace platform::codecs
