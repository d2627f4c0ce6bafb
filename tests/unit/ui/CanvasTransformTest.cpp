#include "ui/editor/CanvasTransform.h"

#include <gtest/gtest.h>

using ui::editor::CanvasTransform;

namespace {

void expectNear(QPointF actual, QPointF expected) {
    EXPECT_NEAR(actual.x(), expected.x(), 1e-9);
    EXPECT_NEAR(actual.y(), expected.y(), 1e-9);
}

CanvasTransform view(QSizeF content, QSize viewport, double zoom, QPointF scroll = {}) {
    CanvasTransform t;
    t.contentSize = content;
    t.viewportSize = viewport;
    t.zoom = zoom;
    t.scroll = scroll;
    return t;
}

} // namespace

TEST(CanvasTransformTest, ACanvasSmallerThanTheViewIsCentredAndIgnoresScrolling) {
    const CanvasTransform t = view({200, 100}, {800, 600}, 2.0, {50, 50});
    expectNear(t.origin(), {200, 200});
    expectNear(t.toView(QPointF(10, 10)), {220, 220});
    expectNear(t.toCanvas(QPointF(220, 220)), {10, 10});
    expectNear(t.maxScroll(), {0, 0});
}

TEST(CanvasTransformTest, ALargerCanvasScrollsWithinItsLimits) {
    const CanvasTransform t = view({1000, 1000}, {400, 300}, 1.0, {100, 5000});
    expectNear(t.maxScroll(), {600, 700});
    expectNear(t.origin(), {-100, -700}); // clamped to the bottom edge
    expectNear(t.toCanvas(QPointF(0, 0)), {100, 700});
    const QRectF mapped = t.toView(QRectF(100, 700, 50, 20));
    EXPECT_EQ(mapped, QRectF(0, 0, 50, 20));
    EXPECT_EQ(t.toCanvas(mapped), QRectF(100, 700, 50, 20));
    expectNear(t.painterTransform().map(QPointF(150, 710)), t.toView(QPointF(150, 710)));
}

TEST(CanvasTransformTest, ZoomingKeepsThePointUnderTheAnchor) {
    const CanvasTransform t = view({2000, 1500}, {800, 600}, 0.5, {100, 40});
    const QPointF anchor(300, 200);
    const QPointF under = t.toCanvas(anchor);
    const CanvasTransform zoomed = t.zoomedAround(2.0, anchor);
    EXPECT_DOUBLE_EQ(zoomed.zoom, 2.0);
    expectNear(zoomed.toView(under), anchor);
    // Out again past the point where the canvas fits: centred, nothing to keep in place.
    const CanvasTransform out = zoomed.zoomedAround(0.1, anchor);
    expectNear(out.origin(), {(800 - 200) / 2.0, (600 - 150) / 2.0});
    EXPECT_DOUBLE_EQ(t.zoomedAround(1000, anchor).zoom, CanvasTransform::maxZoom);
}

TEST(CanvasTransformTest, FitLeavesAMarginAndNeverEnlargesPastTheCap) {
    const CanvasTransform big = view({2048, 1024}, {1048, 1048}, 1.0);
    EXPECT_DOUBLE_EQ(big.fitZoom(), (1048 - 2 * CanvasTransform::fitMargin) / 2048.0);
    EXPECT_DOUBLE_EQ(view({100, 50}, {800, 600}, 1.0).fitZoom(), 1.0);
    EXPECT_DOUBLE_EQ(view({100, 50}, {800, 600}, 1.0).fitZoom(0.5), 0.5);
}

TEST(CanvasTransformTest, ZoomStepsMoveToTheNextLevel) {
    EXPECT_DOUBLE_EQ(ui::editor::nextZoomStep(1.0, true), 1.25);
    EXPECT_DOUBLE_EQ(ui::editor::nextZoomStep(1.0, false), 0.75);
    EXPECT_DOUBLE_EQ(ui::editor::nextZoomStep(0.6, true), 0.67);
    EXPECT_DOUBLE_EQ(ui::editor::nextZoomStep(0.6, false), 0.5);
    EXPECT_DOUBLE_EQ(ui::editor::nextZoomStep(16, true), 16);
    EXPECT_DOUBLE_EQ(ui::editor::nextZoomStep(0.05, false), 0.05);
}
