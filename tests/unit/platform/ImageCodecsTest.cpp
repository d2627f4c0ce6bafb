#include "platform/codecs/StandardImageCodecs.h"

#include "CodecTestImages.h"

#include <QBuffer>
#include <QPainter>

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

using platform::codecs::StandardImageCodecs;
namespace ImageType = platform::ImageType;

namespace {

// Peak signal-to-noise ratio over the premultiplied colour and alpha: how closely a lossy
// round trip reproduces what a viewer would show.
double psnr(const QImage& a, const QImage& b) {
    const QImage x = a.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    const QImage y = b.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    double sum = 0;
    for (int row = 0; row < x.height(); ++row)
        for (int col = 0; col < x.width(); ++col) {
            const QRgb p = x.pixel(col, row), q = y.pixel(col, row);
            for (const int d :
                 {qRed(p) - qRed(q), qGreen(p) - qGreen(q), qBlue(p) - qBlue(q), qAlpha(p) - qAlpha(q)})
                sum += double(d) * d;
        }
    const double mse = sum / (4.0 * x.width() * x.height());
    return mse == 0 ? 99.0 : 10.0 * std::log10(255.0 * 255.0 / mse);
}

// JPEG has no alpha: what it should give back is the picture composited onto black.
QImage onBlack(const QImage& image) {
    QImage flat(image.size(), QImage::Format_RGB32);
    flat.fill(Qt::black);
    QPainter(&flat).drawImage(0, 0, image);
    return flat;
}

struct LossyCase {
    QString type;
    bool keepsAlpha;
    double minPsnr; // at quality 0.9 on grainy thin strips; swapped channels or shifted rows score below 20
};

std::vector<LossyCase> lossyTypes() {
    return {{ImageType::jpeg, false, 27.0}, {ImageType::webp, true, 27.0}, {ImageType::heic, true, 27.0}};
}

std::string name(const QString& type) {
    return type.toStdString();
}

} // namespace

TEST(ImageCodecs, PngRoundTripsExactlyAtEverySize) {
    const StandardImageCodecs codecs;
    ASSERT_TRUE(codecs.canEncode(ImageType::png));
    for (const QSize size : {QSize(1, 1), QSize(3, 1000), QSize(1000, 3), QSize(1279, 721)}) {
        SCOPED_TRACE(std::to_string(size.width()) + "x" + std::to_string(size.height()));
        for (const QImage& image : {codec_test::screenshotLike(size.width(), size.height()),
                                    codec_test::translucent(size.width(), size.height())}) {
            const QImage decoded = codecs.decode(codecs.encode(image, ImageType::png, 1.0));
            EXPECT_EQ(decoded.convertToFormat(QImage::Format_ARGB32),
                      image.convertToFormat(QImage::Format_ARGB32));
        }
    }
}

TEST(ImageCodecs, LossyFormatsRoundTripWithinTolerance) {
    const StandardImageCodecs codecs;
    for (const LossyCase& lossy : lossyTypes()) {
        SCOPED_TRACE(name(lossy.type));
        if (!codecs.canEncode(lossy.type)) {
            EXPECT_TRUE(codecs.encode(codec_test::screenshotLike(8, 8), lossy.type, 0.9).isEmpty());
            continue;
        }
        for (const QSize size : {QSize(1, 1), QSize(3, 1000), QSize(1000, 3), QSize(321, 239)}) {
            SCOPED_TRACE(std::to_string(size.width()) + "x" + std::to_string(size.height()));
            const QImage opaque = codec_test::screenshotLike(size.width(), size.height());
            const QImage decodedOpaque = codecs.decode(codecs.encode(opaque, lossy.type, 0.9));
            ASSERT_EQ(decodedOpaque.size(), size);
            EXPECT_FALSE(decodedOpaque.hasAlphaChannel());
            EXPECT_GE(psnr(decodedOpaque, opaque), lossy.minPsnr);

            const QImage alpha = codec_test::smoothTranslucent(size.width(), size.height());
            const QImage decodedAlpha = codecs.decode(codecs.encode(alpha, lossy.type, 0.9));
            ASSERT_EQ(decodedAlpha.size(), size);
            EXPECT_EQ(decodedAlpha.hasAlphaChannel(), lossy.keepsAlpha);
            EXPECT_GE(psnr(decodedAlpha, lossy.keepsAlpha ? alpha : onBlack(alpha)), lossy.minPsnr);
        }
    }
}

TEST(ImageCodecs, HigherQualityCostsBytesAndGainsFidelity) {
    const StandardImageCodecs codecs;
    const QImage image = codec_test::screenshotLike(320, 240);
    for (const LossyCase& lossy : lossyTypes()) {
        if (!codecs.canEncode(lossy.type)) continue;
        SCOPED_TRACE(name(lossy.type));
        const QByteArray low = codecs.encode(image, lossy.type, 0.2);
        const QByteArray high = codecs.encode(image, lossy.type, 0.95);
        EXPECT_LT(low.size(), high.size());
        EXPECT_LT(psnr(codecs.decode(low), image), psnr(codecs.decode(high), image));
    }
}

TEST(ImageCodecs, JpegRecordsScaleAsDensity) {
    const StandardImageCodecs codecs;
    const QImage image = codec_test::screenshotLike(64, 48);
    QImage read = QImage::fromData(codecs.encode(image, ImageType::jpeg, 0.8, 2.0), "JPEG");
    ASSERT_FALSE(read.isNull());
    EXPECT_NEAR(read.dotsPerMeterX(), 7559, 1);
}

TEST(ImageCodecs, UnknownTypesAndNullImagesEncodeToNothing) {
    const StandardImageCodecs codecs;
    for (const QString& type :
         {QStringLiteral("public.tiff"), QStringLiteral("com.compuserve.gif"), QString()}) {
        EXPECT_FALSE(codecs.canEncode(type));
        EXPECT_TRUE(codecs.encode(codec_test::screenshotLike(8, 8), type, 1.0).isEmpty());
    }
    for (const QString& type : {ImageType::png, ImageType::jpeg, ImageType::webp, ImageType::heic})
        EXPECT_TRUE(codecs.encode(QImage(), type, 1.0).isEmpty()) << name(type);
}

TEST(ImageCodecs, UnreadableBytesDecodeToNull) {
    const StandardImageCodecs codecs;
    EXPECT_TRUE(codecs.decode({}).isNull());
    EXPECT_TRUE(codecs.decode("not an image at all").isNull());
    EXPECT_TRUE(codecs.decode(QByteArray(4096, '\xff')).isNull());
    EXPECT_TRUE(codecs.decode(QByteArray("\x89PNG\r\n\x1a\n", 8)).isNull());
    EXPECT_TRUE(codecs.decode(QByteArray("RIFF\0\0\0\0WEBPVP8 ", 16)).isNull());
    EXPECT_TRUE(codecs
                    .decode(QByteArray("\0\0\0\x18"
                                       "ftypheic\0\0\0\0",
                                       16))
                    .isNull());

    // A GIF or BMP is a real image, but not one of ours.
    QImage small = codec_test::screenshotLike(16, 16);
    QByteArray bmp;
    QBuffer buffer(&bmp);
    buffer.open(QIODevice::WriteOnly);
    small.save(&buffer, "BMP");
    EXPECT_TRUE(codecs.decode(bmp).isNull());
}

TEST(ImageCodecs, DamagedFilesNeverCrash) {
    const StandardImageCodecs codecs;
    const QImage image = codec_test::screenshotLike(97, 61);
    uint32_t state = 12345;
    for (const QString& type : {ImageType::png, ImageType::jpeg, ImageType::webp, ImageType::heic}) {
        if (!codecs.canEncode(type)) continue;
        SCOPED_TRACE(name(type));
        const QByteArray bytes = codecs.encode(image, type, 0.8);
        ASSERT_FALSE(bytes.isEmpty());
        for (const qsizetype length : {qsizetype(0), qsizetype(12), bytes.size() / 3, bytes.size() - 1}) {
            const QImage decoded = codecs.decode(bytes.left(length));
            if (!decoded.isNull()) {
                EXPECT_EQ(decoded.size(), image.size());
            }
        }
        for (int round = 0; round < 50; ++round) {
            QByteArray damaged = bytes;
            for (int flips = 0; flips < 8; ++flips)
                damaged[qsizetype(codec_test::nextRandom(state) % uint32_t(damaged.size()))] =
                    char(codec_test::nextRandom(state));
            (void)codecs.decode(damaged);
        }
    }
}

TEST(ImageCodecs, HeicEncodesExactlyWhenAnEncoderIsAvailable) {
    const StandardImageCodecs codecs;
    const QByteArray bytes = codecs.encode(codec_test::screenshotLike(64, 64), ImageType::heic, 0.8);
    EXPECT_EQ(bytes.isEmpty(), !codecs.canEncode(ImageType::heic));
}
