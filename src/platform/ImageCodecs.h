#pragma once

#include <QByteArray>
#include <QImage>
#include <QString>

namespace platform {

// Type identifiers of the image formats Pictavia writes.
namespace ImageType {
inline const QString png = QStringLiteral("public.png");
inline const QString jpeg = QStringLiteral("public.jpeg");
inline const QString heic = QStringLiteral("public.heic");
inline const QString webp = QStringLiteral("org.webmproject.webp");
} // namespace ImageType

// Encoders and decoders for image file bytes.
class ImageCodecs {
public:
    virtual ~ImageCodecs() = default;

    virtual bool canEncode(const QString& type) const = 0;

    // File bytes of `image` in `type`; empty on failure. `quality` (0...1) applies to lossy
    // types. `scale` is the image's backing scale, recorded as resolution where the format can.
    virtual QByteArray encode(const QImage& image, const QString& type, double quality,
                              double scale = 1.0) const = 0;

    // Any of the formats above (sniffed from the bytes); a null image when unreadable.
    virtual QImage decode(const QByteArray& bytes) const = 0;
};

} // namespace platform
