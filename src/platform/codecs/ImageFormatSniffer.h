#pragma once

#include <QByteArray>

namespace platform::codecs {

enum class SniffedFormat { Unknown, Png, Jpeg, Webp, Heif };

// The format announced by the first bytes of a file.
SniffedFormat sniffImageFormat(const QByteArray& bytes);

} // namespace platform::codecs
