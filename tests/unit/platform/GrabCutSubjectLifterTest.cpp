#include "platform/vision/GrabCutSubjectLifter.h"

#include <QPainter>
#include <QRandomGenerator>
#include <gtest/gtest.h>

using platform::SubjectLifter;
using platform::vision::GrabCutSubjectLifter;

namespace {

// A saturated disc on a vertical gradient with a little sensor noise.
QImage discOnGradient(int width, int height) {
    QImage image(width, height, QImage::Format_RGB32);
    QPainter painter(&image);
    QLinearGradient gradient(0, 0, 0, height);
    gradient.setColorAt(0, QColor(40, 90, 190));
    gradient.setColorAt(1, QColor(150, 180, 230));
    painter.fillRect(image.rect(), gradient);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(230, 40, 30));
    const double radius = std::min(width, height) / 4.0;
    painter.drawEllipse(QPointF(width / 2.0, height / 2.0), radius, radius);
    painter.end();

    QRandomGenerator random(3);
    for (int y = 0; y < height; ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < width; ++x) {
            const int n = int(random.bounded(9)) - 4;
            line[x] = qRgb(std::clamp(qRed(line[x]) + n, 0, 255), std::clamp(qGreen(line[x]) + n, 0, 255),
                           std::clamp(qBlue(line[x]) + n, 0, 255));
        }
    }
    return image;
}

void expectDiscCutOut(const QImage& source) {
    const auto lifted = GrabCutSubjectLifter().lift(source);
    ASSERT_TRUE(lifted.ok()) << lifted.error().message.toStdString();
    const QImage& cut = *lifted;
    EXPECT_EQ(cut.size(), source.size());
    EXPECT_EQ(cut.format(), QImage::Format_ARGB32_Premultiplied);

    const int w = source.width();
    const int h = source.height();
    const double radius = std::min(w, h) / 4.0;
    EXPECT_EQ(qAlpha(cut.pixel(w / 2, h / 2)), 255);
    EXPECT_EQ(qAlpha(cut.pixel(int(w / 2 + radius * 0.8), h / 2)), 255);
    // The subject keeps its colours.
    EXPECT_EQ(QColor(cut.pixel(w / 2, h / 2)).red(), QColor(source.pixel(w / 2, h / 2)).red());
    for (const QPoint corner : {QPoint(0, 0), QPoint(w - 1, 0), QPoint(0, h - 1), QPoint(w - 1, h - 1)})
        EXPECT_EQ(qAlpha(cut.pixel(corner)), 0);
    // Backdrop inside the initial rectangle, beside the disc, is removed too.
    EXPECT_EQ(qAlpha(cut.pixel(w / 2, int(h / 2 - radius * 1.5))), 0);
    EXPECT_EQ(qAlpha(cut.pixel(int(w / 2 + radius * 1.5), h / 2)), 0);
}

} // namespace

TEST(GrabCutSubjectLifterTest, CutsAShapeOutOfAGradient) {
    expectDiscCutOut(discOnGradient(320, 200));
}

// Above the working size the mask is computed smaller and scaled back up.
TEST(GrabCutSubjectLifterTest, CutsOutOfLargePicturesAtFullSize) {
    expectDiscCutOut(discOnGradient(1500, 1000));
}

TEST(GrabCutSubjectLifterTest, PicturesWithoutASubjectSaySo) {
    QImage flat(300, 200, QImage::Format_RGB32);
    flat.fill(QColor(200, 200, 205));
    for (const QImage& image :
         {flat, discOnGradient(300, 200).copy(0, 0, 60, 40), QImage(8, 8, QImage::Format_RGB32)}) {
        const auto lifted = GrabCutSubjectLifter().lift(image);
        ASSERT_FALSE(lifted.ok());
        EXPECT_EQ(lifted.error().code, SubjectLifter::NoSubject);
        EXPECT_EQ(lifted.error().message, "No subject found to cut out");
    }
    const auto empty = GrabCutSubjectLifter().lift(QImage());
    ASSERT_FALSE(empty.ok());
    EXPECT_EQ(empty.error().code, SubjectLifter::Failed);
    EXPECT_TRUE(empty.error().message.startsWith("Background removal failed: "));
}
