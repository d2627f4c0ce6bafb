#include "capture/ImageUtils.h"

#include "support/FakePlatform.h"

#include <QColorSpace>
#include <QPainter>

namespace {

using ImageUtilsTest = testsupport::PlatformTest;

QImage solid(int w, int h, QColor color) {
    QImage image(w, h, QImage::Format_RGB32);
    image.fill(color);
    return image;
}

platform::DisplayInfo notchedDisplay(int topInset) {
    platform::DisplayInfo d;
    d.geometry = QRect(0, 0, 3024, 1964);
    d.scale = 2.0;
    d.topInset = topInset;
    return d;
}

bool isPng(const QByteArray& bytes) {
    return bytes.startsWith("\x89PNG");
}

TEST_F(ImageUtilsTest, NotchCrop) {
    const QImage image = solid(3024, 1964, Qt::red);
    // 37 points of a 982-point-high screen, in a 1964-pixel image: 74 rows.
    EXPECT_EQ(ImageUtils::croppingNotch(image, notchedDisplay(37)).height(), 1964 - 74);
    EXPECT_EQ(ImageUtils::croppingNotch(image, notchedDisplay(0)).height(), 1964);
    EXPECT_EQ(ImageUtils::croppingNotch(image, std::nullopt).height(), 1964);

    // A 20-point inset on a 200-point screen is a tenth of the image: with only 40 rows
    // below the strip the image is left alone, with 41 it is cropped.
    platform::DisplayInfo small;
    small.geometry = QRect(0, 0, 300, 200);
    small.topInset = 20;
    EXPECT_EQ(ImageUtils::croppingNotch(solid(100, 44, Qt::red), small).height(), 44);
    EXPECT_EQ(ImageUtils::croppingNotch(solid(100, 46, Qt::red), small).height(), 41);

    Prefs::setValue("cropNotch", false);
    EXPECT_EQ(ImageUtils::croppingNotch(image, notchedDisplay(37)).height(), 1964);
}

TEST_F(ImageUtilsTest, DropShadowGeometry) {
    const QImage window = solid(200, 100, Qt::white);
    const QImage shadowed = ImageUtils::withDropShadow(window, 2.0);
    ASSERT_EQ(shadowed.size(), QSize(200 + 192, 100 + 192));
    EXPECT_TRUE(shadowed.hasAlphaChannel());
    // The window itself is untouched at the margin.
    EXPECT_EQ(shadowed.pixelColor(96 + 100, 96 + 50), QColor(Qt::white));
    // The shadow falls downward: darker just below the window than just above it.
    const int below = shadowed.pixelColor(96 + 100, 96 + 100 + 10).alpha();
    const int above = shadowed.pixelColor(96 + 100, 96 - 10).alpha();
    EXPECT_GT(below, above);
    EXPECT_LT(below, 0.4 * 255 + 1); // never darker than 40 %
    // Corners far away are clear.
    EXPECT_EQ(shadowed.pixelColor(0, 0).alpha(), 0);
}

TEST_F(ImageUtilsTest, EncodingFallsBackToPng) {
    const QImage image = solid(64, 48, QColor(10, 200, 30));
    EXPECT_TRUE(isPng(ImageUtils::data(image, "png")));
    EXPECT_TRUE(isPng(ImageUtils::data(image, "tiff")));
    EXPECT_TRUE(ImageUtils::data(image, "jpg").startsWith("\xff\xd8"));
    EXPECT_EQ(ImageUtils::encode(image, "tiff").format, "png");

    const ImageUtils::Encoded webp = ImageUtils::encode(image, "webp");
    EXPECT_EQ(webp.format, ImageUtils::canEncode(platform::ImageType::webp) ? "webp" : "png");

    const ImageUtils::Encoded heic = ImageUtils::encode(image, "heic");
    EXPECT_EQ(heic.format, ImageUtils::canEncode(platform::ImageType::heic) ? "heic" : "png");
    EXPECT_EQ(isPng(heic.bytes), heic.format == "png");
}

// A platform that can write nothing but PNG.
class PngOnlyCodecs : public platform::ImageCodecs {
public:
    bool canEncode(const QString& type) const override { return type == platform::ImageType::png; }
    QByteArray encode(const QImage& image, const QString& type, double quality, double scale) const override {
        return canEncode(type) ? m_real.encode(image, type, quality, scale) : QByteArray();
    }
    QImage decode(const QByteArray& bytes) const override { return m_real.decode(bytes); }

private:
    platform::codecs::StandardImageCodecs m_real;
};

TEST_F(ImageUtilsTest, LossyFormatThatCannotBeWrittenGivesPng) {
    platform::Services pngOnly;
    pngOnly.codecs = std::make_unique<PngOnlyCodecs>();
    platform::install(std::move(pngOnly));
    const QImage image = solid(16, 16, Qt::blue);
    for (const char* format : {"webp", "heic", "jpg"}) {
        const ImageUtils::Encoded encoded = ImageUtils::encode(image, format);
        EXPECT_EQ(encoded.format, "png") << format;
        EXPECT_TRUE(isPng(encoded.bytes)) << format;
    }
}

TEST_F(ImageUtilsTest, PixelUtilities) {
    QImage image = solid(4, 2, Qt::black);
    image.setPixelColor(0, 0, Qt::red);

    const QImage cw = ImageUtils::rotated90(image, true);
    EXPECT_EQ(cw.size(), QSize(2, 4));
    EXPECT_EQ(cw.pixelColor(1, 0), QColor(Qt::red)); // top-left goes to top-right
    EXPECT_EQ(ImageUtils::rotated90(image, false).pixelColor(0, 3), QColor(Qt::red));
    EXPECT_EQ(ImageUtils::flipped(image, true).pixelColor(3, 0), QColor(Qt::red));
    EXPECT_EQ(ImageUtils::flipped(image, false).pixelColor(0, 1), QColor(Qt::red));
    EXPECT_EQ(ImageUtils::scaled(image, QSize(8, 4)).size(), QSize(8, 4));

    // Pixelation: every 4x4 block is one colour, and the size is kept.
    QImage gradient(10, 10, QImage::Format_RGB32);
    for (int y = 0; y < 10; ++y)
        for (int x = 0; x < 10; ++x)
            gradient.setPixelColor(x, y, QColor(x * 25, y * 25, 0));
    const QImage blocks = ImageUtils::pixelate(gradient, 4);
    EXPECT_EQ(blocks.size(), gradient.size());
    EXPECT_EQ(blocks.pixel(0, 0), blocks.pixel(3, 3));
    EXPECT_NE(blocks.pixel(0, 0), blocks.pixel(4, 0));
}

TEST_F(ImageUtilsTest, GaussianBlurSpreadsButKeepsFlatAreas) {
    EXPECT_EQ(ImageUtils::gaussianBlur(solid(50, 50, QColor(90, 120, 150)), 10).pixelColor(25, 25),
              QColor(90, 120, 150));

    QImage line = solid(101, 21, Qt::black);
    QPainter(&line).fillRect(50, 0, 1, 21, Qt::white);
    const QImage blurred = ImageUtils::gaussianBlur(line, 8);
    EXPECT_EQ(blurred.format(), line.format());
    const int centre = qRed(blurred.pixel(50, 10));
    const int near = qRed(blurred.pixel(53, 10));
    EXPECT_LT(centre, 255);
    EXPECT_GT(near, 0);
    EXPECT_GE(centre, near);
    EXPECT_EQ(qRed(blurred.pixel(0, 10)), 0);
    EXPECT_EQ(qRed(blurred.pixel(47, 10)), qRed(blurred.pixel(53, 10))); // symmetric
}

TEST_F(ImageUtilsTest, ConvertedToSRGBTagsUntaggedPixels) {
    const QImage image = solid(2, 2, Qt::gray);
    EXPECT_EQ(ImageUtils::convertedToSRGB(image).colorSpace(), QColorSpace(QColorSpace::SRgb));
    QImage p3 = image;
    p3.setColorSpace(QColorSpace::DisplayP3);
    const QImage converted = ImageUtils::convertedToSRGB(p3);
    EXPECT_EQ(converted.colorSpace(), QColorSpace(QColorSpace::SRgb));
}

} // namespace
