// Any bytes through the decoder that reads files users drop or paste: it must not crash,
// hang or read out of bounds, whatever the header claims.
#include "platform/codecs/StandardImageCodecs.h"

#include <QByteArray>

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const platform::codecs::StandardImageCodecs codecs;
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size));
    const QImage image = codecs.decode(bytes);
    if (!image.isNull()) (void)image.pixel(image.width() - 1, image.height() - 1);
    return 0;
}
