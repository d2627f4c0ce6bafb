#include "platform/wayland/pipewire/ScreenPixels.h"

#include <QByteArray>

#include <gtest/gtest.h>

namespace {

using platform::wayland::PixelLayout;
using platform::wayland::screenPixels;

// A 3×2 picture in `layout`, rows padded to 16 bytes, with the unused (or alpha) byte set
// to `fourth`: red, green, blue over white, black, grey.
QByteArray picture(PixelLayout layout, uchar fourth) {
    const bool bgr = layout == PixelLayout::bgrx || layout == PixelLayout::bgra;
    const QList<QRgb> colours = {qRgb(255, 0, 0),     qRgb(0, 255, 0), qRgb(0, 0, 255),
                                 qRgb(255, 255, 255), qRgb(0, 0, 0),   qRgb(10, 20, 30)};
    QByteArray bytes(2 * 16, char(0x5a));
    for (int i = 0; i < colours.size(); ++i) {
        char* p = bytes.data() + (i / 3) * 16 + (i % 3) * 4;
        const QRgb c = colours[i];
        p[0] = char(bgr ? qBlue(c) : qRed(c));
        p[1] = char(qGreen(c));
        p[2] = char(bgr ? qRed(c) : qBlue(c));
        p[3] = char(fourth);
    }
    return bytes;
}

const uchar* bytesOf(const QByteArray& bytes) {
    return reinterpret_cast<const uchar*>(bytes.constData());
}

TEST(ScreenPixelsTest, EveryLayoutGivesOpaqueColoursWhateverItsFourthByte) {
    for (const PixelLayout layout :
         {PixelLayout::bgrx, PixelLayout::bgra, PixelLayout::rgbx, PixelLayout::rgba}) {
        for (const uchar fourth : {uchar(0), uchar(0x80), uchar(0xff)}) {
            const QByteArray bytes = picture(layout, fourth);
            const QImage image = screenPixels(bytesOf(bytes), QSize(3, 2), 16, layout, QRect(0, 0, 3, 2));
            SCOPED_TRACE(::testing::Message() << "layout " << int(layout) << ", fourth byte " << int(fourth));
            ASSERT_EQ(image.size(), QSize(3, 2));
            EXPECT_EQ(image.format(), QImage::Format_RGB32);
            EXPECT_EQ(image.pixel(0, 0), qRgb(255, 0, 0));
            EXPECT_EQ(image.pixel(1, 0), qRgb(0, 255, 0));
            EXPECT_EQ(image.pixel(2, 0), qRgb(0, 0, 255));
            EXPECT_EQ(image.pixel(0, 1), qRgb(255, 255, 255));
            EXPECT_EQ(image.pixel(1, 1), qRgb(0, 0, 0));
            EXPECT_EQ(image.pixel(2, 1), qRgb(10, 20, 30));
            // Stored opaque, so that encoders and painters that read the word see it so.
            EXPECT_EQ(reinterpret_cast<const quint32*>(image.constScanLine(1))[2], 0xff0a141eu);
        }
    }
}

TEST(ScreenPixelsTest, ACropIsCutFromItsPlaceAndNothingOutsideIsRead) {
    const QByteArray bytes = picture(PixelLayout::rgbx, 0);
    const QImage corner = screenPixels(bytesOf(bytes), QSize(3, 2), 16, PixelLayout::rgbx, QRect(1, 1, 2, 1));
    ASSERT_EQ(corner.size(), QSize(2, 1));
    EXPECT_EQ(corner.pixel(0, 0), qRgb(0, 0, 0));
    EXPECT_EQ(corner.pixel(1, 0), qRgb(10, 20, 30));

    EXPECT_TRUE(screenPixels(bytesOf(bytes), QSize(3, 2), 16, PixelLayout::bgrx, QRect(2, 0, 2, 1)).isNull());
    EXPECT_TRUE(screenPixels(bytesOf(bytes), QSize(3, 2), 8, PixelLayout::bgrx, QRect(0, 0, 3, 2)).isNull());
    EXPECT_TRUE(screenPixels(nullptr, QSize(3, 2), 16, PixelLayout::bgrx, QRect(0, 0, 3, 2)).isNull());
}

TEST(ScreenPixelsTest, APointerShapeKeepsItsTransparency) {
    const QByteArray bytes = picture(PixelLayout::bgra, 0x80);
    const QImage shape =
        screenPixels(bytesOf(bytes), QSize(3, 2), 16, PixelLayout::bgra, QRect(0, 0, 3, 2), true);
    ASSERT_EQ(shape.format(), QImage::Format_ARGB32_Premultiplied);
    const QRgb red = qUnpremultiply(shape.pixel(0, 0));
    EXPECT_EQ(qAlpha(red), 0x80);
    EXPECT_NEAR(qRed(red), 255, 2);
    EXPECT_EQ(qBlue(red), 0);
    const QByteArray clear = picture(PixelLayout::rgba, 0);
    EXPECT_EQ(qAlpha(screenPixels(bytesOf(clear), QSize(3, 2), 16, PixelLayout::rgba, QRect(0, 0, 3, 2), true)
                         .pixel(1, 0)),
              0);
}

} // namespace
