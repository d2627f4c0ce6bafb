#pragma once

#include <QByteArray>
#include <QImage>

namespace platform::codecs {

// Lossy WebP through libwebp, keeping alpha.
class WebpCodec {
public:
    // `quality` 0...1 maps to libwebp's 0...100. WebP has no resolution field.
    static QByteArray encode(const QImage& image, double quality);

    // Null when the bytes are not a decodable (still) WebP.
    static QImage decode(const QByteArray& bytes);
};

} // namespace platform::codecs
