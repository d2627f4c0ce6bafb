#pragma once

#include <QByteArray>
#include <QImage>

namespace platform::codecs {

// JPEG through libjpeg-turbo, 4:2:0. Transparent pixels are flattened onto black: that is
// what premultiplied pixels already hold, and what most screenshot tools produce.
class JpegCodec {
public:
    // `quality` 0...1 maps to libjpeg's 1...100. A scale above 1 is recorded as the JFIF
    // density (scale * 96 dpi).
    static QByteArray encode(const QImage& image, double quality, double scale);

    // Null when the bytes are not a decodable JPEG.
    static QImage decode(const QByteArray& bytes);
};

} // namespace platform::codecs
