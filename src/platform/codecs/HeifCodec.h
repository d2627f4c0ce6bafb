#pragma once

#include <QByteArray>
#include <QImage>

namespace platform::codecs {

// HEIC (HEVC in HEIF) through libheif, loaded when first needed; whether it can encode
// depends on the HEVC encoder it was built with.
class HeifCodec {
public:
    // Whether libheif has an HEVC encoder on this system.
    static bool canEncode();

    // `quality` 0...1 maps to libheif's 0...100. Empty when no encoder is available.
    static QByteArray encode(const QImage& image, double quality);

    // The primary image; null when the bytes are not a decodable HEIF.
    static QImage decode(const QByteArray& bytes);
};

} // namespace platform::codecs
