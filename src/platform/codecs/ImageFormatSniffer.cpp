#include "platform/codecs/ImageFormatSniffer.h"

#include <array>
#include <cstring>
#include <string_view>

namespace platform::codecs {

namespace {

bool hasAt(const QByteArray& bytes, qsizetype offset, std::string_view magic) {
    return bytes.size() >= offset + qsizetype(magic.size()) &&
           std::memcmp(bytes.constData() + offset, magic.data(), magic.size()) == 0;
}

} // namespace

SniffedFormat sniffImageFormat(const QByteArray& bytes) {
    using namespace std::string_view_literals;
    if (hasAt(bytes, 0, "\x89PNG\r\n\x1a\n"sv)) return SniffedFormat::Png;
    if (hasAt(bytes, 0, "\xff\xd8\xff"sv)) return SniffedFormat::Jpeg;
    if (hasAt(bytes, 0, "RIFF"sv) && hasAt(bytes, 8, "WEBP"sv)) return SniffedFormat::Webp;
    if (hasAt(bytes, 4, "ftyp"sv)) {
        static constexpr std::array brands = {"heic"sv, "heix"sv, "mif1"sv, "msf1"sv};
        for (std::string_view brand : brands)
            if (hasAt(bytes, 8, brand)) return SniffedFormat::Heif;
    }
    return SniffedFormat::Unknown;
}

} // namespace platform::codecs
