#include "platform/codecs/PngEncoder.h"

#include "CodecTestImages.h"

#include <QtEndian>

#include <gtest/gtest.h>
#include <png.h>

#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

using platform::codecs::PngEncoder;

namespace {

// Decodes with libpng's simplified API into straight ARGB32, independently of Qt. Its row stride
// counts samples, four per pixel here.
QImage decodeWithLibpng(const QByteArray& bytes) {
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_memory(&png, bytes.constData(), size_t(bytes.size()))) {
        ADD_FAILURE() << "libpng: " << png.message;
        return {};
    }
    png.format = PNG_FORMAT_BGRA;
    QImage image(int(png.width), int(png.height), QImage::Format_ARGB32);
    if (!png_image_finish_read(&png, nullptr, image.bits(), png_int_32(image.bytesPerLine()), nullptr)) {
        ADD_FAILURE() << "libpng: " << png.message;
        png_image_free(&png);
        return {};
    }
    return image;
}

struct PngChunk {
    std::string type;
    QByteArray data;
};

std::optional<PngChunk> findChunk(const QByteArray& png, const std::string& type) {
    qsizetype at = 8;
    while (at + 12 <= png.size()) {
        const auto length = qFromBigEndian<quint32>(png.constData() + at);
        PngChunk chunk{std::string(png.constData() + at + 4, 4), png.mid(at + 8, qsizetype(length))};
        if (chunk.type == type) return chunk;
        at += 12 + qsizetype(length);
    }
    return std::nullopt;
}

int colourType(const QByteArray& png) {
    return uchar(findChunk(png, "IHDR").value().data.at(9));
}

// Both decoders must give back exactly the pixels that went in.
void expectExactRoundTrip(const QImage& source, const QByteArray& png) {
    ASSERT_FALSE(png.isEmpty());
    const QImage expected = source.convertToFormat(QImage::Format_ARGB32);
    const QImage byQt = QImage::fromData(png, "PNG").convertToFormat(QImage::Format_ARGB32);
    const QImage byLibpng = decodeWithLibpng(png);
    ASSERT_FALSE(byQt.isNull());
    ASSERT_FALSE(byLibpng.isNull());
    EXPECT_EQ(byQt, expected);
    EXPECT_EQ(byLibpng, expected);
}

} // namespace

TEST(PngEncoder, OpaqueScreenshotIsLosslessRgb) {
    const QImage image = codec_test::screenshotLike(640, 400);
    const QByteArray png = PngEncoder().encode(image);
    expectExactRoundTrip(image, png);
    EXPECT_EQ(colourType(png), 2);
}

TEST(PngEncoder, AlphaIsKeptStraight) {
    const QImage image = codec_test::translucent(300, 200);
    const QByteArray png = PngEncoder().encode(image);
    expectExactRoundTrip(image, png);
    EXPECT_EQ(colourType(png), 6);

    // Premultiplied input is divided out before writing; multiplying back gives the input
    // (to rounding).
    const QImage premultiplied = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    const QImage decoded = decodeWithLibpng(PngEncoder().encode(premultiplied))
                               .convertToFormat(QImage::Format_ARGB32_Premultiplied);
    ASSERT_EQ(decoded.size(), premultiplied.size());
    for (int y = 0; y < decoded.height(); ++y)
        for (int x = 0; x < decoded.width(); ++x) {
            const QRgb a = premultiplied.pixel(x, y), b = decoded.pixel(x, y);
            ASSERT_LE(std::abs(qRed(a) - qRed(b)) + std::abs(qGreen(a) - qGreen(b)) +
                          std::abs(qBlue(a) - qBlue(b)),
                      3)
                << x << "," << y;
            ASSERT_EQ(qAlpha(a), qAlpha(b));
        }
}

TEST(PngEncoder, OpaqueImagesInOtherFormatsAreWrittenAsRgb) {
    const QImage screenshot = codec_test::screenshotLike(120, 80);
    for (const QImage::Format format :
         {QImage::Format_ARGB32, QImage::Format_ARGB32_Premultiplied, QImage::Format_RGB888,
          QImage::Format_RGBA8888, QImage::Format_Grayscale8}) {
        const QImage image = screenshot.convertToFormat(format);
        const QByteArray png = PngEncoder().encode(image);
        expectExactRoundTrip(image, png);
        EXPECT_EQ(colourType(png), 2) << format;
    }
}

TEST(PngEncoder, RecordsScaleAsPhysicalPixelDensity) {
    const QImage image = codec_test::screenshotLike(64, 48);
    EXPECT_FALSE(findChunk(PngEncoder().encode(image, 1.0), "pHYs").has_value());

    const QByteArray png = PngEncoder().encode(image, 2.0);
    const auto phys = findChunk(png, "pHYs");
    ASSERT_TRUE(phys.has_value());
    EXPECT_EQ(qFromBigEndian<quint32>(phys->data.constData()), 7560u);
    EXPECT_EQ(qFromBigEndian<quint32>(phys->data.constData() + 4), 7560u);
    EXPECT_EQ(phys->data.at(8), 1);
    EXPECT_EQ(QImage::fromData(png, "PNG").dotsPerMeterX(), 7560);
}

TEST(PngEncoder, NullImageGivesNoBytes) {
    EXPECT_TRUE(PngEncoder().encode(QImage()).isEmpty());
}

// Sizes that are tiny, thin, or split into uneven chunks: one row per chunk, chunks shorter
// than the dictionary window, more threads than cores.
const std::vector<std::pair<QImage, QImage>>& awkwardImages() {
    static const auto images = [] {
        std::vector<std::pair<QImage, QImage>> result;
        for (const QSize size :
             {QSize(1, 1), QSize(3, 1000), QSize(1000, 3), QSize(997, 677), QSize(3, 60000), QSize(60000, 3)})
            result.emplace_back(codec_test::screenshotLike(size.width(), size.height()),
                                codec_test::translucent(size.width(), size.height()));
        return result;
    }();
    return images;
}

void expectRoundTripsAtAwkwardSizes(const PngEncoder& encoder) {
    for (const auto& [opaque, alpha] : awkwardImages()) {
        SCOPED_TRACE(std::to_string(opaque.width()) + "x" + std::to_string(opaque.height()));
        expectExactRoundTrip(opaque, encoder.encode(opaque));
        expectExactRoundTrip(alpha, encoder.encode(alpha));
    }
}

class PngEncoderFilters : public ::testing::TestWithParam<std::tuple<PngEncoder::Filter, int>> {};

TEST_P(PngEncoderFilters, RoundTripExactlyAtAwkwardSizes) {
    const auto [filter, threads] = GetParam();
    expectRoundTripsAtAwkwardSizes(PngEncoder({.filter = filter, .threads = threads}));
}

INSTANTIATE_TEST_SUITE_P(
    FiltersAndThreads, PngEncoderFilters,
    ::testing::Combine(::testing::Values(PngEncoder::Filter::None, PngEncoder::Filter::Sub,
                                         PngEncoder::Filter::Up, PngEncoder::Filter::Average,
                                         PngEncoder::Filter::Paeth, PngEncoder::Filter::NoneOrAverage,
                                         PngEncoder::Filter::SubOrUpOrAverage),
                       ::testing::Values(1, 3)));

TEST(PngEncoder, EveryLevelRoundTrips) {
    for (const int level : {0, 1, 3})
        expectRoundTripsAtAwkwardSizes(PngEncoder({.level = level, .threads = 3}));
}
