#include "editor/BackgroundStyle.h"

#include <QImage>
#include <QPainter>
#include <gtest/gtest.h>

namespace {

TEST(BackgroundStyles, RawValuesLabelsAndPicker) {
    const QList<BackgroundStyle> all = Backgrounds::allCases();
    ASSERT_EQ(all.size(), 17);
    for (BackgroundStyle style : all)
        EXPECT_EQ(Backgrounds::parse(Backgrounds::raw(style)), style);
    EXPECT_EQ(Backgrounds::raw(BackgroundStyle::GlassCorvanta), "glassCorvanta");
    EXPECT_EQ(Backgrounds::label(BackgroundStyle::GlassCorvanta), "Corvanta Glass");
    EXPECT_EQ(Backgrounds::label(BackgroundStyle::CustomImage), "Image");
    EXPECT_FALSE(Backgrounds::parse(u"Ocean"));

    const QList<BackgroundStyle> picker = Backgrounds::pickerCases();
    EXPECT_EQ(picker.size(), 15);
    EXPECT_FALSE(picker.contains(BackgroundStyle::Desktop));
    EXPECT_FALSE(picker.contains(BackgroundStyle::CustomImage));
    EXPECT_EQ(picker.first(), BackgroundStyle::None);
    EXPECT_EQ(picker.last(), BackgroundStyle::GlassCorvanta);
}

TEST(BackgroundStyles, Swatches) {
    EXPECT_EQ(Backgrounds::swatchColors(BackgroundStyle::White), QList<QColor>{Qt::white});
    EXPECT_EQ(Backgrounds::swatchColors(BackgroundStyle::Black), QList<QColor>{Qt::black});
    for (BackgroundStyle style : Backgrounds::pickerCases())
        EXPECT_EQ(Backgrounds::swatchColors(style).isEmpty(), style == BackgroundStyle::None);
    EXPECT_EQ(Backgrounds::swatchColors(BackgroundStyle::GlassOcean),
              Backgrounds::swatchColors(BackgroundStyle::Ocean));
    EXPECT_EQ(Backgrounds::swatchColors(BackgroundStyle::Corvanta), Backgrounds::brandColors());
    EXPECT_TRUE(Backgrounds::isGlass(BackgroundStyle::GlassCandy));
    EXPECT_FALSE(Backgrounds::isGlass(BackgroundStyle::Candy));
}

// With one colour every blob takes it: all four blob centres are tinted by blue alone.
TEST(BackgroundStyles, GlassWithOneColour) {
    QImage canvas(200, 100, QImage::Format_ARGB32_Premultiplied);
    canvas.fill(Qt::black);
    QPainter painter(&canvas);
    Backgrounds::drawGlassLayers(painter, canvas.rect(), {QColor(0, 0, 255)});
    painter.end();
    for (const QPointF& at :
         {QPointF(0.18, 0.22), QPointF(0.86, 0.18), QPointF(0.72, 0.85), QPointF(0.08, 0.88)}) {
        const QColor c = canvas.pixelColor(int(at.x() * 200), int(at.y() * 100));
        EXPECT_GT(c.blue(), c.red() + 40) << at.x() << "," << at.y();
        EXPECT_NEAR(c.red(), c.green(), 2);
    }
}

TEST(BackgroundStyles, ImageBackedCoversTheRectangle) {
    QImage picture(40, 10, QImage::Format_RGB32);
    picture.fill(Qt::red);
    for (int y = 0; y < 10; ++y)
        for (int x = 15; x < 25; ++x)
            picture.setPixelColor(x, y, Qt::green);
    QImage canvas(50, 50, QImage::Format_ARGB32_Premultiplied);
    canvas.fill(Qt::transparent);
    QPainter painter(&canvas);
    Backgrounds::paint(painter, canvas.rect(), BackgroundStyle::Desktop, picture);
    Backgrounds::paint(painter, QRectF(0, 0, 10, 10), BackgroundStyle::CustomImage, QImage());
    painter.end();
    // The centre square of the picture fills the canvas; nothing is left transparent.
    EXPECT_EQ(canvas.pixelColor(25, 25), QColor(Qt::green));
    EXPECT_EQ(canvas.pixelColor(2, 2), QColor(Qt::green));
    EXPECT_EQ(canvas.pixelColor(47, 47), QColor(Qt::green));
}

} // namespace
