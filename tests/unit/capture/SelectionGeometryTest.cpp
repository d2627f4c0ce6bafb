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

// Two displays side by side: 1920 x 1080 at 1x, then 2560 x 1440 pixels at 2x.
QList<platform::DisplayInfo> twoDisplays() {
    platform::DisplayInfo left;
    left.id = 1;
    left.geometry = QRect(0, 0, 1920, 1080);
    platform::DisplayInfo right;
    right.id = 2;
    right.geometry = QRect(1920, 0, 2560, 1440);
    right.scale = 2.0;
    return {left, right};
}

using Kind = SelectionOutcome::Kind;
using End = std::optional<SelectionFlow::End>;

End drag(SelectionFlow& flow, QPointF from, QPointF to) {
    flow.press(Qt::LeftButton, from, -1, false);
    flow.move((from + to) / 2);
    return flow.release(Qt::LeftButton, to, -1);
}

TEST(SelectionFlowTest, PlainSelectionEndsOnReleaseAndRightClickCancels) {
    SelectionFlow flow(twoDisplays(), SelectionParameters{});
    EXPECT_FALSE(drag(flow, {100, 100}, {101, 100})); // a click
    EXPECT_EQ(flow.active(), -1);

    // Right-clicking during a drag drops it; with nothing selected it cancels.
    flow.press(Qt::LeftButton, {100, 100}, -1, false);
    flow.move({300, 300});
    EXPECT_TRUE(flow.wantsLoupe());
    EXPECT_FALSE(flow.showsHandles(0));
    EXPECT_FALSE(flow.press(Qt::RightButton, {300, 300}, -1, false));
    EXPECT_FALSE(flow.release(Qt::RightButton, {300, 300}, -1));
    EXPECT_FALSE(flow.release(Qt::LeftButton, {300, 300}, -1));
    EXPECT_FALSE(flow.geometry(0).hasSelection());
    flow.press(Qt::RightButton, {2000, 50}, -1, false);
    const End cancelled = flow.release(Qt::RightButton, {2000, 50}, -1);
    ASSERT_TRUE(cancelled);
    EXPECT_EQ(cancelled->kind, Kind::cancelled);
    EXPECT_EQ(cancelled->display, 1);

    // On the 2x display, in its points; a drag leaving it stops at its edge.
    const End selected = drag(flow, {2020, 100}, {1500, 301});
    ASSERT_TRUE(selected);
    EXPECT_EQ(selected->kind, Kind::selected);
    EXPECT_EQ(selected->display, 1);
    EXPECT_EQ(selected->rect, QRectF(QPointF(0, 50), QPointF(50, 150.5)));

    EXPECT_EQ(flow.key(Qt::Key_Escape, {})->kind, Kind::cancelled);
    EXPECT_FALSE(flow.key(Qt::Key_Return, {})); // nothing to confirm
    EXPECT_FALSE(flow.key(Qt::Key_W, {}));      // not offered
}

TEST(SelectionFlowTest, ActionBar) {
    SelectionParameters parameters;
    parameters.showActions = true;
    parameters.actions = {SelectionAction::copy, SelectionAction::pin};
    SelectionFlow flow(twoDisplays(), parameters);
    EXPECT_TRUE(flow.wantsLoupe());
    EXPECT_FALSE(drag(flow, {100, 100}, {400, 300}));
    EXPECT_EQ(flow.active(), 0);
    EXPECT_TRUE(flow.showsActionBar(0));
    EXPECT_TRUE(flow.showsHandles(0));
    EXPECT_FALSE(flow.wantsLoupe());

    // A button counts when pressed and released on it; a press on the bar between
    // buttons does nothing.
    flow.press(Qt::LeftButton, {250, 330}, 0, true);
    EXPECT_EQ(flow.pressedButton(), 0);
    EXPECT_FALSE(flow.release(Qt::LeftButton, {250, 400}, -1));
    flow.press(Qt::LeftButton, {250, 330}, -1, true);
    EXPECT_EQ(flow.dragging(), -1);
    EXPECT_FALSE(flow.release(Qt::LeftButton, {250, 330}, -1));
    EXPECT_EQ(*flow.geometry(0).selection(), QRectF(100, 100, 300, 200));

    // Adjusted from inside; the bar hides while a handle is dragged.
    flow.press(Qt::LeftButton, {400, 300}, -1, false);
    flow.move({450, 320});
    EXPECT_FALSE(flow.showsActionBar(0));
    EXPECT_TRUE(flow.wantsLoupe());
    flow.release(Qt::LeftButton, {450, 320}, -1);
    EXPECT_EQ(*flow.geometry(0).selection(), QRectF(100, 100, 350, 220));

    // Drawing on the other display replaces the selection.
    EXPECT_FALSE(drag(flow, {2120, 200}, {2320, 400}));
    EXPECT_FALSE(flow.geometry(0).hasSelection());
    EXPECT_EQ(flow.active(), 1);
    EXPECT_FALSE(flow.showsActionBar(0));

    flow.press(Qt::LeftButton, {2200, 500}, 1, true);
    const End pinned = flow.release(Qt::LeftButton, {2200, 500}, 1);
    ASSERT_TRUE(pinned);
    EXPECT_EQ(pinned->kind, Kind::action);
    EXPECT_EQ(pinned->action, SelectionAction::pin);
    EXPECT_EQ(pinned->display, 1);
    EXPECT_EQ(pinned->rect, QRectF(100, 100, 100, 100));

    const End entered = flow.key(Qt::Key_Enter, {});
    ASSERT_TRUE(entered);
    EXPECT_EQ(entered->kind, Kind::action);
    EXPECT_EQ(entered->action, SelectionAction::capture);

    // A right click clears the selection first.
    flow.press(Qt::RightButton, {10, 10}, -1, false);
    EXPECT_FALSE(flow.release(Qt::RightButton, {10, 10}, -1));
    EXPECT_EQ(flow.active(), -1);
    EXPECT_FALSE(flow.key(Qt::Key_Return, {}));
}

TEST(SelectionFlowTest, AdjustableWithInitialSelection) {
    SelectionParameters parameters;
    parameters.adjustable = true;
    parameters.allowWindowSwitch = true;
    parameters.initialSelection = Prefs::Area{QRectF(10, 20, 300, 200), 2};
    SelectionFlow flow(twoDisplays(), parameters);
    EXPECT_EQ(flow.active(), 1);
    EXPECT_TRUE(flow.showsHandles(1));
    EXPECT_FALSE(flow.showsActionBar(1));

    flow.key(Qt::Key_Right, Qt::ShiftModifier);
    flow.key(Qt::Key_Down, {});
    flow.key(Qt::Key_Left, Qt::AltModifier); // narrower by a point
    const End confirmed = flow.key(Qt::Key_Return, {});
    ASSERT_TRUE(confirmed);
    EXPECT_EQ(confirmed->kind, Kind::selected);
    EXPECT_EQ(confirmed->display, 1);
    EXPECT_EQ(confirmed->rect, QRectF(20, 21, 299, 200));

    flow.move({500, 500});
    EXPECT_EQ(flow.key(Qt::Key_W, {})->kind, Kind::switchToWindowPicker);
    EXPECT_EQ(flow.key(Qt::Key_W, {})->display, 0);

    // Without a selection Enter takes the whole display under the pointer.
    flow.press(Qt::RightButton, {2500, 500}, -1, false);
    flow.release(Qt::RightButton, {2500, 500}, -1);
    EXPECT_EQ(flow.active(), -1);
    const End whole = flow.key(Qt::Key_Enter, {});
    ASSERT_TRUE(whole);
    EXPECT_EQ(whole->display, 1);
    EXPECT_EQ(whole->rect, QRectF(0, 0, 1280, 720));

    // An initial selection on a display that is gone is dropped.
    parameters.initialSelection->displayID = 9;
    EXPECT_EQ(SelectionFlow(twoDisplays(), parameters).active(), -1);
}

TEST(SelectionFlowTest, EnterTakesTheDisplayWhenNoAreaWasDrawn) {
    // The recording overlay without a previous area: a drawn area ends at release, as
    // always, and Enter before drawing takes the whole display under the pointer.
    SelectionParameters parameters;
    parameters.enterTakesDisplay = true;
    SelectionFlow flow(twoDisplays(), parameters);
    flow.move({100, 100});
    const End whole = flow.key(Qt::Key_Return, {});
    ASSERT_TRUE(whole);
    EXPECT_EQ(whole->kind, Kind::selected);
    EXPECT_EQ(whole->display, 0);
    EXPECT_EQ(whole->rect, flow.geometry(0).bounds());
    const End drawn = drag(flow, {100, 100}, {400, 300});
    ASSERT_TRUE(drawn);
    EXPECT_EQ(drawn->rect, QRectF(100, 100, 300, 200));
}

TEST(SelectionLayoutTest, PanelsAroundTheSelection) {
    using namespace SelectionLayout;
    const QRectF bounds(0, 0, 1280, 720);
    const QSizeF bar(400, 40);
    bool above = true;

    // Under the selection, centred, kept on the display.
    EXPECT_EQ(underSelection(bar, QRectF(500, 100, 200, 100), bounds, 10, &above), QRectF(400, 210, 400, 40));
    EXPECT_FALSE(above);
    EXPECT_EQ(underSelection(bar, QRectF(0, 100, 100, 100), bounds, 10, &above).left(), margin);
    EXPECT_EQ(underSelection(bar, QRectF(1200, 100, 80, 100), bounds, 10, &above).right(), 1280 - margin);
    // Above it when the bottom is near, inside it when it fills the display.
    EXPECT_EQ(underSelection(bar, QRectF(500, 400, 200, 280), bounds, 10, &above).top(), 400 - 10 - 40);
    EXPECT_TRUE(above);
    EXPECT_EQ(underSelection(bar, bounds, bounds, 10, &above).bottom(), 710);
    EXPECT_FALSE(above);

    // The readout over the top-left corner, else inside it.
    const QSizeF label(80, 20);
    EXPECT_EQ(overCorner(label, QRectF(500, 100, 200, 100), bounds, 6, false), QRectF(500, 74, 80, 20));
    EXPECT_EQ(overCorner(label, QRectF(500, 100, 200, 100), bounds, 6, true), QRectF(506, 106, 80, 20));
    EXPECT_EQ(overCorner(label, QRectF(500, 10, 200, 100), bounds, 6, false).topLeft(), QPointF(506, 16));
    EXPECT_EQ(overCorner(label, QRectF(1250, 300, 30, 30), bounds, 6, false).right(), 1276);
}

TEST(SelectionLayoutTest, LoupeAndHintGiveWay) {
    using namespace SelectionLayout;
    const QRectF bounds(0, 0, 1280, 720);
    const QSizeF loupe(128, 166);
    EXPECT_EQ(besidePointer(loupe, {100, 100}, bounds, 24).topLeft(), QPointF(124, 124));
    // Flipped to the left and above near the bottom-right corner.
    EXPECT_EQ(besidePointer(loupe, {1270, 710}, bounds, 24).topLeft(),
              QPointF(1270 - 24 - 128, 710 - 24 - 166));
    // Never off the display, even where neither side has room.
    const QRectF squeezed = besidePointer(loupe, {60, 60}, QRectF(0, 0, 200, 200), 24);
    EXPECT_TRUE(QRectF(0, 0, 200, 200).contains(squeezed));

    const QSizeF hint(300, 32);
    EXPECT_EQ(clearOf(hint, bounds, {}, 48, 24), QRectF(490, 48, 300, 32));
    EXPECT_EQ(clearOf(hint, bounds, {QRectF(600, 105, 50, 50)}, 48, 24), QRectF(490, 48, 300, 32));
    EXPECT_EQ(clearOf(hint, bounds, {QRectF(600, 95, 50, 50)}, 48, 24), QRectF(490, 720 - 48 - 32, 300, 32));
    EXPECT_FALSE(clearOf(hint, bounds, {QRectF(600, 95, 50, 50), QRectF(700, 620, 1, 1)}, 48, 24));
}

} // namespace
