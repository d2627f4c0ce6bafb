#pragma once

#include "platform/ImageCodecs.h"

namespace platform::codecs {

// PNG, JPEG, WebP and (where libheif can encode HEVC) HEIC.
class StandardImageCodecs final : public ImageCodecs {
public:
    bool canEncode(const QString& type) const override;
    QByteArray encode(const QImage& image, const QString& type, double quality,
                      double scale = 1.0) const override;
    QImage decode(const QByteArray& bytes) const override;
};

} // namespace platform::codecs
