#include "capture/SelectionGeometry.h"

#include <gtest/gtest.h>

namespace {

using Part = SelectionGeometry::Part;
using Drag = SelectionGeometry::Drag;

// A 1920 x 1080 point display.
SelectionGeometry display(double scale = 1.0) {
    return SelectionGeometry(QSize(int(1920 * scale), int(1080 * scale)), scale);
}

SelectionGeometry::Part dragged(SelectionGeometry& g, QPointF from, QPointF to, bool adjust = true) {
    g.press(from, adjust);
    const Part held = g.heldPart();
    g.drag((from + to) / 2);
    g.drag(to);
    g.release();
    return held;
}

TEST(SelectionGeometryTest, DrawingNeedsADragAndStaysOnThePixelGrid) {
    SelectionGeometry g = display(2.0);
    // A click, or a wobble within the threshold, chooses nothing.
    g.press({100, 100}, false);
    g.drag({102, 101});
    EXPECT_EQ(g.dragState(), Drag::pending);
    EXPECT_FALSE(g.release());

    // Drawn from bottom-right to top-left; points snap to half points (whole pixels).
    g.press({500.3, 400.9}, false);
    g.drag({300, 300});
    EXPECT_EQ(g.dragState(), Drag::drawing);
    g.drag({100.2, 60.74});
    EXPECT_TRUE(g.release());
    EXPECT_EQ(*g.selection(), QRectF(QPointF(100, 60.5), QPointF(500.5, 401)));
    EXPECT_EQ(g.pixelSize(), QSize(801, 681));
    EXPECT_EQ(g.sizeText(), QStringLiteral("801 \u00D7 681"));

    // Past the display's edge the selection stops at it.
    g.press({1800, 1000}, false);
    g.drag({2500, -40});
    g.release();
    EXPECT_EQ(*g.selection(), QRectF(QPointF(1800, 0), QPointF(1920, 1000)));

    // A drag thinner than the minimum gives the previous selection back.
    g.press({10, 10}, false);
    g.drag({400, 11});
    EXPECT_TRUE(g.release());
    EXPECT_EQ(*g.selection(), QRectF(QPointF(1800, 0), QPointF(1920, 1000)));

    // setSelection clamps to the display and refuses a sliver.
    g.setSelection(QRectF(-50, 1000, 100.2, 200));
    EXPECT_EQ(*g.selection(), QRectF(0, 1000, 50, 80));
    g.setSelection(QRectF(10, 10, 1, 100));
    EXPECT_FALSE(g.hasSelection());
    EXPECT_EQ(g.sizeText(), QStringLiteral("0 \u00D7 0"));
}

TEST(SelectionGeometryTest, HitTesting) {
    SelectionGeometry g = display();
    EXPECT_EQ(g.hitTest({10, 10}), Part::none);
    g.setSelection(QRectF(100, 100, 200, 100));
    EXPECT_EQ(g.hitTest({95, 96}), Part::topLeft);
    EXPECT_EQ(g.hitTest({305, 100}), Part::topRight);
    EXPECT_EQ(g.hitTest({100, 200}), Part::bottomLeft);
    EXPECT_EQ(g.hitTest({300, 207}), Part::bottomRight);
    EXPECT_EQ(g.hitTest({160, 95}), Part::top); // anywhere along an edge
    EXPECT_EQ(g.hitTest({250, 204}), Part::bottom);
    EXPECT_EQ(g.hitTest({94, 150}), Part::left);
    EXPECT_EQ(g.hitTest({306, 150}), Part::right);
    EXPECT_EQ(g.hitTest({200, 150}), Part::inside);
    EXPECT_EQ(g.hitTest({200, 220}), Part::none);
    EXPECT_EQ(g.hitTest({80, 150}), Part::none);

    // A tiny selection keeps its middle for moving.
    g.setSelection(QRectF(100, 100, 8, 8));
    EXPECT_EQ(g.hitTest({104, 104}), Part::inside);
    EXPECT_EQ(g.hitTest({100.5, 100.5}), Part::topLeft);
    EXPECT_EQ(g.hitTest({112, 104}), Part::right);
}

TEST(SelectionGeometryTest, MovingAndResizing) {
    SelectionGeometry g = display();
    g.setSelection(QRectF(100, 100, 200, 100));

    // Moving from inside, stopped by the display's edges.
    EXPECT_EQ(dragged(g, {200, 150}, {150, 170}), Part::inside);
    EXPECT_EQ(*g.selection(), QRectF(50, 120, 200, 100));
    dragged(g, {100, 150}, {-500, 5000});
    EXPECT_EQ(*g.selection(), QRectF(0, 980, 200, 100));

    // Resizing by a corner, then by an edge past the opposite one: the selection flips.
    g.setSelection(QRectF(100, 100, 200, 100));
    EXPECT_EQ(dragged(g, {300, 200}, {400, 250}), Part::bottomRight);
    EXPECT_EQ(*g.selection(), QRectF(100, 100, 300, 150));
    EXPECT_EQ(dragged(g, {100, 175}, {450, 140}), Part::left);
    EXPECT_EQ(*g.selection(), QRectF(400, 100, 50, 150));
    // Onto the opposite edge: held at the minimum size.
    dragged(g, {450, 175}, {401, 175});
    EXPECT_EQ(*g.selection(), QRectF(400, 100, 3, 150));
    // A handle dragged off the display stops at its edge.
    dragged(g, {403, 100}, {800, -90});
    EXPECT_EQ(*g.selection(), QRectF(400, 0, 400, 250));

    // Without `adjust` a press on the selection draws a new one.
    g.press({500, 100}, false);
    EXPECT_EQ(g.dragState(), Drag::pending);
    g.drag({700, 300});
    g.release();
    EXPECT_EQ(*g.selection(), QRectF(500, 100, 200, 200));

    // A click outside keeps the selection; a drag outside replaces it.
    dragged(g, {1000, 1000}, {1001, 1001});
    EXPECT_EQ(*g.selection(), QRectF(500, 100, 200, 200));
    g.press({1000, 1000}, true);
    g.drag({1100, 1050});
    EXPECT_EQ(*g.selection(), QRectF(1000, 1000, 100, 50));
    g.release();
}

TEST(SelectionGeometryTest, Nudging) {
    SelectionGeometry g = display(1.5);
    g.nudge(1, 0, false); // nothing to nudge
    EXPECT_FALSE(g.hasSelection());

    g.setSelection(QRectF(QPointF(2, 2), QPointF(102, 52)));
    g.nudge(-10, 1, false);
    // One point is a pixel and a half; edges stay on whole pixels.
    EXPECT_EQ(g.selection()->topLeft(), QPointF(0, 2 + 2 / 1.5));
    EXPECT_EQ(g.pixelSize(), QSize(150, 75));

    g.nudge(10, -1, true);
    EXPECT_EQ(g.pixelSize(), QSize(165, 73));
    g.nudge(-1000, -1000, true); // held at the minimum size
    EXPECT_EQ(g.pixelSize(), QSize(5, 5));
    g.nudge(5000, 5000, true); // and at the display's edge
    EXPECT_EQ(g.selection()->bottomRight(), QPointF(1920, 1080));

    // Not while a drag is going on.
    const QRectF before = *g.selection();
    g.press({500, 500}, true);
    g.nudge(10, 10, false);
    EXPECT_EQ(*g.selection(), before);
}

} // namespace
