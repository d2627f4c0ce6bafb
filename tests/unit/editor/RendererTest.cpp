#include "editor/AnnotationRenderer.h"
#include "editor/Beautifier.h"

#include <QPainter>
#include <gtest/gtest.h>

namespace {

QImage transparentCanvas(QSize size = {160, 100}) {
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    return image;
}

QImage grey(QSize size) {
    QImage image(size, QImage::Format_RGB32);
    image.fill(QColor(128, 128, 128));
    return image;
}

Annotation arrow(QPointF from, QPointF to, double lineWidth) {
    Annotation a;
    a.tool = EditorTool::Arrow;
    a.p1 = from;
    a.p2 = to;
    a.lineWidth = lineWidth;
    a.shadow = false;
    return a;
}

// Draws one annotation over a transparent canvas the size of the scene's image.
QImage drawn(const Annotation& a, const EditorScene& scene, BlurCache& blurs) {
    QImage canvas = transparentCanvas(scene.baseImage.size());
    QPainter painter(&canvas);
    painter.setRenderHint(QPainter::Antialiasing);
    AnnotationRenderer::draw(painter, a, scene, blurs);
    return canvas;
}

int alphaAt(const QImage& image, int x, int y) {
    return qAlpha(image.pixel(x, y));
}

TEST(RendererArrow, TooShortDrawsNothingAndThinArrowsKeepAFullHead) {
    EditorScene scene;
    scene.baseImage = grey({160, 100});
    BlurCache blurs;
    EXPECT_EQ(drawn(arrow({50, 50}, {51.5, 51}, 4), scene, blurs), transparentCanvas());
    EXPECT_EQ(drawn(arrow({50, 50}, {52, 50}, 4), scene, blurs), transparentCanvas());

    // Width 1, tip at x 80: the head is 12 long and 10.8 wide, its base at x 68.
    const QImage thin = drawn(arrow({20, 50.5}, {80, 50.5}, 1), scene, blurs);
    EXPECT_GT(alphaAt(thin, 70, 53), 200);
    EXPECT_GT(alphaAt(thin, 70, 47), 200);
    EXPECT_EQ(alphaAt(thin, 66, 53), 0); // the shaft alone is 1 wide
    EXPECT_GT(alphaAt(thin, 40, 50), 200);
    EXPECT_GT(alphaAt(thin, 78, 50), 100);
    EXPECT_EQ(alphaAt(thin, 82, 50), 0);
}

TEST(RendererArrow, TranslucentArrowIsEvenWhereShaftMeetsHead) {
    EditorScene scene;
    scene.baseImage = grey({160, 100});
    BlurCache blurs;
    Annotation a = arrow({20, 50.5}, {120, 50.5}, 6);
    a.opacity = 0.5;
    const QImage image = drawn(a, scene, blurs);
    // The shaft runs on under the head; nothing there may be painted twice.
    EXPECT_NEAR(alphaAt(image, 50, 50), 128, 2);
    EXPECT_NEAR(alphaAt(image, 105, 50), 128, 2);
}

TEST(RendererShadow, FallsBelowAndOnlyWhenAsked) {
    EditorScene scene;
    scene.baseImage = grey({160, 100});
    BlurCache blurs;
    Annotation rect;
    rect.tool = EditorTool::Rect;
    rect.p1 = {40, 30};
    rect.p2 = {120, 60};
    rect.lineWidth = 4;
    const QImage shadowed = drawn(rect, scene, blurs);
    // Below the bottom edge more than above the top one.
    EXPECT_GT(alphaAt(shadowed, 80, 64), alphaAt(shadowed, 80, 26) + 10);
    EXPECT_GT(alphaAt(shadowed, 80, 64), 20);
    EXPECT_LT(alphaAt(shadowed, 80, 64), 110); // 0.38 at most, blurred

    rect.shadow = false;
    const QImage plain = drawn(rect, scene, blurs);
    EXPECT_EQ(alphaAt(plain, 80, 64), 0);
    // The shadow sits under the body and does not change it.
    EXPECT_EQ(plain.pixel(80, 30), shadowed.pixel(80, 30));

    // A cached shadow moves with its annotation.
    rect.shadow = true;
    rect.p1 += QPointF(10, 5);
    rect.p2 += QPointF(10, 5);
    const QImage moved = drawn(rect, scene, blurs);
    EXPECT_EQ(moved.pixel(90, 69), shadowed.pixel(80, 64));
}

TEST(RendererBlur, PatchesFollowTheirRectangleOnly) {
    EditorScene scene;
    scene.baseImage = grey({160, 100});
    for (int x = 0; x < 160; x += 2)
        for (int y = 0; y < 100; ++y)
            scene.baseImage.setPixel(x, y, 0xFFFFFFFF);
    BlurCache blurs;

    Annotation tiny;
    tiny.tool = EditorTool::Blur;
    tiny.p1 = {20.2, 20};
    tiny.p2 = {20.9, 80};
    EXPECT_EQ(drawn(tiny, scene, blurs), transparentCanvas());

    Annotation blur = tiny;
    blur.p2 = {100, 80};
    Annotation rect;
    rect.tool = EditorTool::Rect;
    rect.p1 = {10, 10};
    rect.p2 = {60, 60};
    scene.annotations = {blur, rect};
    QImage canvas = transparentCanvas();
    const auto redraw = [&] {
        QPainter painter(&canvas);
        AnnotationRenderer::drawScene(painter, scene, blurs);
    };
    redraw();
    const qint64 first = blurs.patch(scene.annotations[0], scene.baseImage).cacheKey();

    scene.annotations[1].color = Qt::blue;
    scene.annotations[1].p2 = {70, 70};
    redraw();
    EXPECT_EQ(blurs.patch(scene.annotations[0], scene.baseImage).cacheKey(), first);

    scene.annotations[0].p1 += QPointF(5, 0);
    redraw();
    EXPECT_NE(blurs.patch(scene.annotations[0], scene.baseImage).cacheKey(), first);
}

TEST(RendererScene, RenderSizesOpacityAndNullImage) {
    EditorScene scene;
    BlurCache blurs;
    EXPECT_TRUE(AnnotationRenderer::render(scene, blurs).isNull());

    scene.baseImage = grey({100, 60});
    scene.padding = 20;
    scene.background = BackgroundStyle::White;
    Annotation rect;
    rect.tool = EditorTool::Rect;
    rect.p1 = {-15, 10};
    rect.p2 = {50, 50};
    rect.lineWidth = 6;
    rect.opacity = 0.5;
    rect.shadow = false;
    rect.color = Qt::black;
    scene.annotations = {rect};
    const QImage out = AnnotationRenderer::render(scene, blurs);
    EXPECT_EQ(out.size(), QSize(140, 100));
    EXPECT_EQ(out.pixelColor(2, 2), QColor(Qt::white));
    EXPECT_EQ(out.pixelColor(40, 40), QColor(128, 128, 128));
    // Annotations are placed in image coordinates and may reach into the padding.
    EXPECT_NEAR(qRed(out.pixel(5, 50)), 128, 3);
}

TEST(Beautifier, PaddingRadiusAndStyleFromPreset) {
    BeautifyPreset preset;
    preset.style = "black";
    preset.padding = 10;
    preset.radius = 12;
    const QImage image = grey({100, 60});

    const QImage out = Beautifier::apply(image, 2.0, preset);
    ASSERT_EQ(out.size(), QSize(140, 100));
    EXPECT_EQ(out.pixelColor(5, 5), QColor(Qt::black));
    EXPECT_EQ(out.pixelColor(70, 50), QColor(128, 128, 128));
    EXPECT_EQ(out.pixelColor(21, 21), QColor(Qt::black)); // the rounded-off corner

    // A subject with its own outline keeps its corners; an unknown style draws nothing.
    preset.style = "plaid";
    const QImage subject = Beautifier::apply(image, 1.0, preset, true);
    ASSERT_EQ(subject.size(), QSize(120, 80));
    EXPECT_EQ(qAlpha(subject.pixel(3, 3)), 0);
    EXPECT_EQ(subject.pixelColor(10, 10), QColor(128, 128, 128));
    EXPECT_TRUE(Beautifier::apply(QImage(), 1.0, preset).isNull());
}

// The window shadow fades evenly into the padding: no line where its pieces meet, above
// the window or beside it, at any scale.
TEST(RendererScene, WindowShadowHasNoStrayLines) {
    for (const double scale : {1.0, 1.5, 2.0}) {
        EditorScene scene;
        scene.baseImage = QImage(QSize(400, 300) * scale, QImage::Format_ARGB32_Premultiplied);
        scene.baseImage.fill(QColor(240, 240, 240));
        scene.scale = scale;
        scene.padding = 48 * scale;
        scene.cornerRadius = 12 * scale;
        scene.isWindowCapture = true;
        scene.windowShadow = true;
        scene.background = BackgroundStyle::White;
        BlurCache blurs;
        const QImage out = AnnotationRenderer::render(scene, blurs).convertToFormat(QImage::Format_RGB32);
        const int window = int(scene.padding);
        const auto grey = [&](int x, int y) { return qGray(out.pixel(x, y)); };
        // Down a column above the window the shadow only darkens.
        const int middle = out.width() / 2;
        for (int y = 1; y < window; ++y)
            ASSERT_LE(grey(middle, y), grey(middle, y - 1) + 1) << "scale " << scale << ", row " << y;
        // Along the padding beside the window, no row stands out from both its neighbours.
        for (const int x : {window / 2, window - 4, out.width() - window / 2}) {
            for (int y = window + 1; y < out.height() - window - 1; ++y) {
                const int above = grey(x, y - 1), here = grey(x, y), below = grey(x, y + 1);
                ASSERT_FALSE(std::abs(here - above) > 2 && std::abs(here - below) > 2 &&
                             (here - above > 0) == (here - below > 0))
                    << "scale " << scale << ", column " << x << ", row " << y;
            }
        }
    }
}

} // namespace
