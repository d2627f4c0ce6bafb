#include "ui/editor/CropGeometry.h"

#include <gtest/gtest.h>

using ui::editor::cropRectForDrag;
using ui::editor::pixelAligned;

namespace {
const QSizeF image(800, 600);
}

TEST(CropGeometryTest, FreeCropFollowsTheDragInAnyDirectionWithinTheImage) {
    EXPECT_EQ(cropRectForDrag({100, 100}, {300, 250}, 0, image), QRectF(100, 100, 200, 150));
    EXPECT_EQ(cropRectForDrag({300, 250}, {100, 100}, 0, image), QRectF(100, 100, 200, 150));
    EXPECT_EQ(cropRectForDrag({700, 500}, {900, -50}, 0, image), QRectF(700, 0, 100, 500));
}

TEST(CropGeometryTest, AnAspectFollowsTheLongerSideOfTheDrag) {
    // Wider than 16:9: the width leads.
    QRectF rect = cropRectForDrag({0, 0}, {320, 10}, 16.0 / 9, image);
    EXPECT_DOUBLE_EQ(rect.width(), 320);
    EXPECT_DOUBLE_EQ(rect.height(), 180);
    // Taller than square: the height leads, growing up and left from the anchor.
    rect = cropRectForDrag({400, 400}, {390, 100}, 1.0, image);
    EXPECT_EQ(rect, QRectF(100, 100, 300, 300));
}

TEST(CropGeometryTest, AnAspectRectangleShrinksToStayInsideTheImage) {
    // Room for 200 to the right, but the drag asks for 500 wide at 1:1.
    const QRectF rect = cropRectForDrag({600, 0}, {1100, 500}, 1.0, image);
    EXPECT_EQ(rect, QRectF(600, 0, 200, 200));
    const QRectF portrait = cropRectForDrag({0, 0}, {800, 600}, 9.0 / 16, image);
    EXPECT_DOUBLE_EQ(portrait.height(), 600);
    EXPECT_NEAR(portrait.width() / portrait.height(), 9.0 / 16, 1e-9);
}

TEST(CropGeometryTest, PixelAlignmentRoundsAndClips) {
    EXPECT_EQ(pixelAligned(QRectF(10.4, 20.6, 100.2, 50.1), image), QRectF(10, 21, 101, 50));
    EXPECT_EQ(pixelAligned(QRectF(-5, -5, 2000, 2000), image), QRectF(0, 0, 800, 600));
    EXPECT_TRUE(pixelAligned(QRectF(900, 0, 10, 10), image).isEmpty());
}
