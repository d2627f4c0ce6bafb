#include "platform/wayland/ScreencopyFrame.h"
#include "platform/wayland/WaylandOutputs.h"

#include <wayland-client-protocol.h>

#include <QByteArray>

#include <gtest/gtest.h>

namespace {

using platform::wayland::screencopyArea;
using platform::wayland::ScreencopyPicture;
using platform::wayland::screencopyPixels;
using platform::wayland::WaylandOutput;

WaylandOutput output(QSize pixels, int scale, int transform = WL_OUTPUT_TRANSFORM_NORMAL) {
    WaylandOutput o;
    o.name = QStringLiteral("HEADLESS-1");
    o.pixels = pixels;
    o.scale = scale;
    o.transform = transform;
    return o;
}

TEST(ScreencopyAreaTest, AreasOnWholeUnitsOfAnUprightOutputAreCopiedAloneOthersCutFromTheWhole) {
    const WaylandOutput doubled = output(QSize(800, 600), 2);
    const auto whole = screencopyArea(doubled, QSize(800, 600), std::nullopt);
    ASSERT_TRUE(whole);
    EXPECT_FALSE(whole->logical);
    EXPECT_FALSE(whole->crop);
    EXPECT_EQ(whole->size, QSize(800, 600));
    // The whole output named as an area is still the whole output.
    EXPECT_FALSE(screencopyArea(doubled, QSize(800, 600), QRect(0, 0, 800, 600))->crop);

    const auto even = screencopyArea(doubled, QSize(800, 600), QRect(300, 200, 200, 180));
    ASSERT_TRUE(even);
    EXPECT_EQ(even->logical, QRect(150, 100, 100, 90));
    EXPECT_FALSE(even->crop);
    EXPECT_EQ(even->size, QSize(200, 180));

    const auto odd = screencopyArea(doubled, QSize(800, 600), QRect(301, 200, 200, 180));
    ASSERT_TRUE(odd);
    EXPECT_FALSE(odd->logical);
    EXPECT_EQ(odd->crop, QRect(301, 200, 200, 180));

    // A turned output is seen the other way round, and always cut from the whole.
    const WaylandOutput turned = output(QSize(800, 600), 1, WL_OUTPUT_TRANSFORM_90);
    const auto upright = screencopyArea(turned, QSize(600, 800), QRect(0, 0, 600, 700));
    ASSERT_TRUE(upright);
    EXPECT_FALSE(upright->logical);
    EXPECT_EQ(upright->crop, QRect(0, 0, 600, 700));
}

TEST(ScreencopyAreaTest, AnotherLayoutOrAnAreaOutsideIsRefusedWithASentence) {
    const WaylandOutput plain = output(QSize(640, 480), 1);
    const auto laidOut = screencopyArea(plain, QSize(480, 640), std::nullopt);
    ASSERT_FALSE(laidOut);
    EXPECT_EQ(laidOut.error().message,
              "Output HEADLESS-1 has 640×480 pixels, but Qt lays it out as 480×640.");
    const auto outside = screencopyArea(plain, QSize(640, 480), QRect(600, 0, 100, 100));
    ASSERT_FALSE(outside);
    EXPECT_EQ(outside.error().message, "That area is not inside output HEADLESS-1.");
    EXPECT_FALSE(screencopyArea(plain, QSize(640, 480), QRect(10, 10, 0, 5)));
}

// A picture as the compositor leaves it: every pixel different, the unused byte random,
// rows padded.
QByteArray compositorBytes(QSize size, int stride) {
    QByteArray bytes(stride * size.height(), char(0x77));
    for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x) {
            uchar* p = reinterpret_cast<uchar*>(bytes.data()) + y * stride + x * 4;
            p[0] = uchar(x * 7 + y);
            p[1] = uchar(y * 13);
            p[2] = uchar(x * 3 + y * 5);
            p[3] = uchar((x * 31 + y * 17) & 0xff);
        }
    return bytes;
}

TEST(ScreencopyPixelsTest, ACropOfAnUprightPictureIsTheSameCutOfTheWholeEvenStoredBottomUp) {
    const QSize size(37, 23);
    const int stride = 37 * 4 + 12;
    const QByteArray bytes = compositorBytes(size, stride);
    for (const QImage::Format format : {QImage::Format_ARGB32, QImage::Format_RGBX8888})
        for (const bool inverted : {false, true}) {
            const ScreencopyPicture picture{QImage(reinterpret_cast<const uchar*>(bytes.constData()),
                                                   size.width(), size.height(), stride, format),
                                            inverted};
            const QImage whole = screencopyPixels(picture, WL_OUTPUT_TRANSFORM_NORMAL, std::nullopt);
            ASSERT_EQ(whole.size(), size);
            EXPECT_EQ(whole.format(), QImage::Format_RGB32);
            // Opaque whatever the unused byte held, and the right way up.
            QImage expected = picture.shared.convertToFormat(QImage::Format_RGB32);
            if (inverted) expected = expected.mirrored(false, true);
            EXPECT_EQ(whole, expected) << "format " << format << ", inverted " << inverted;
            for (const QRect crop : {QRect(0, 0, 1, 1), QRect(5, 3, 20, 11), QRect(36, 22, 1, 1)})
                EXPECT_EQ(screencopyPixels(picture, WL_OUTPUT_TRANSFORM_NORMAL, crop), expected.copy(crop))
                    << "format " << format << ", inverted " << inverted;
            EXPECT_TRUE(screencopyPixels(picture, WL_OUTPUT_TRANSFORM_NORMAL, QRect(30, 0, 10, 5)).isNull());
        }
}

TEST(ScreencopyPixelsTest, ATurnedOutputIsCutWhereItIsSeen) {
    const QSize size(8, 4);
    const QByteArray bytes = compositorBytes(size, 32);
    const ScreencopyPicture picture{
        QImage(reinterpret_cast<const uchar*>(bytes.constData()), 8, 4, 32, QImage::Format_ARGB32), false};
    const QImage turned = screencopyPixels(picture, WL_OUTPUT_TRANSFORM_90, std::nullopt);
    ASSERT_EQ(turned.size(), QSize(4, 8));
    const QImage part = screencopyPixels(picture, WL_OUTPUT_TRANSFORM_90, QRect(1, 2, 3, 5));
    EXPECT_EQ(part, turned.copy(1, 2, 3, 5));
    EXPECT_TRUE(screencopyPixels(picture, WL_OUTPUT_TRANSFORM_90, QRect(0, 0, 8, 4)).isNull());
}

} // namespace
