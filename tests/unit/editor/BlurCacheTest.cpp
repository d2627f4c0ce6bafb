#include "editor/BlurCache.h"

#include <gtest/gtest.h>

namespace {

QImage stripes(int width, int height) {
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            image.setPixel(x, y, (x / 3 + y / 3) % 2 ? 0xFFFFFFFF : 0xFF000000);
    return image;
}

Annotation blurOver(QPointF p1, QPointF p2, BlurStyle style = BlurStyle::Pixelate) {
    Annotation blur;
    blur.tool = EditorTool::Blur;
    blur.p1 = p1;
    blur.p2 = p2;
    blur.blurStyle = style;
    return blur;
}

TEST(BlurCache, PixelRectRoundsOutAndClips) {
    const QSize size(100, 80);
    EXPECT_EQ(BlurCache::pixelRect(blurOver({10.4, 20.6}, {30.2, 40.5}), size), QRect(10, 20, 21, 21));
    EXPECT_EQ(BlurCache::pixelRect(blurOver({120, 90}, {90, 70}), size), QRect(90, 70, 10, 10));
    // Under 2 pixels in either direction, after clipping, is nothing.
    EXPECT_TRUE(BlurCache::pixelRect(blurOver({10.2, 10}, {10.9, 50}), size).isEmpty());
    EXPECT_TRUE(BlurCache::pixelRect(blurOver({99, 10}, {140, 50}), size).isEmpty());
    EXPECT_TRUE(BlurCache::pixelRect(blurOver({-20, -20}, {-5, -5}), size).isEmpty());
}

TEST(BlurCache, PatchesHideDetailInBothStyles) {
    const QImage base = stripes(200, 100);
    BlurCache cache;
    for (BlurStyle style : {BlurStyle::Pixelate, BlurStyle::Gaussian}) {
        const QImage patch = cache.patch(blurOver({20, 10}, {180, 90}, style), base);
        ASSERT_EQ(patch.size(), QSize(160, 80));
        // The 3-pixel stripes are gone: neighbouring pixels are nearly alike.
        int steps = 0;
        for (int x = 1; x < patch.width(); ++x)
            steps += std::abs(qGray(patch.pixel(x, 40)) - qGray(patch.pixel(x - 1, 40))) > 60;
        EXPECT_LE(steps, 20) << int(style);
    }
    EXPECT_TRUE(cache.patch(blurOver({5, 5}, {6, 50}), base).isNull());
}

TEST(BlurCache, RecomputesOnlyWhenRectOrStyleChanges) {
    const QImage base = stripes(200, 100);
    BlurCache cache;
    Annotation blur = blurOver({20, 10}, {120, 60});
    const qint64 first = cache.patch(blur, base).cacheKey();
    blur.opacity = 0.5;
    blur.color = Qt::blue;
    EXPECT_EQ(cache.patch(blur, base).cacheKey(), first);

    blur.p1 += QPointF(10, 0);
    blur.p2 += QPointF(10, 0);
    const qint64 moved = cache.patch(blur, base).cacheKey();
    EXPECT_NE(moved, first);
    blur.blurStyle = BlurStyle::Gaussian;
    EXPECT_NE(cache.patch(blur, base).cacheKey(), moved);
    EXPECT_EQ(cache.size(), 1);
}

} // namespace
