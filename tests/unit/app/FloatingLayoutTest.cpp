#include "app/FloatingLayout.h"

#include <gtest/gtest.h>

namespace {

using namespace FloatingLayout;

TEST(FloatingLayoutTest, RootPixelsAndScreenCoordinates) {
    // A 2x screen to the right of a 1920-pixel one: Qt keeps its corner at 1920.
    const QPointF origin(1920, 0);
    EXPECT_EQ(toLogical(QRectF(2020, 100, 400, 200), origin, 2.0), QRectF(1970, 50, 200, 100));
    EXPECT_EQ(toRoot(QRectF(1970, 50, 200, 100), origin, 2.0), QRect(2020, 100, 400, 200));
    EXPECT_EQ(toRoot(QRectF(1970.5, 50, 200, 100), origin, 2.0), QRect(2021, 100, 400, 200));

    EXPECT_EQ(centredSquare(QRect(1920, 0, 3840, 2160), 2.0, 200), QRect(3640, 880, 400, 400));
    EXPECT_EQ(centredSquare(QRect(0, 0, 1920, 1080), 1.0, 200), QRect(860, 440, 200, 200));

    const QRectF area(0, 0, 1000, 800);
    EXPECT_EQ(keptInside(QRectF(900, 700, 200, 200), area), QRectF(800, 600, 200, 200));
    EXPECT_EQ(keptInside(QRectF(-50, -10, 200, 200), area), QRectF(0, 0, 200, 200));
    EXPECT_EQ(keptInside(QRectF(100, 100, 1200, 900), area).topLeft(), QPointF(0, 0));

    // Nine-part stretching: outer parts keep their size, or shrink evenly when there is no room.
    EXPECT_EQ(slices(10, 110, 20, 30), (std::array<double, 4>{10, 30, 80, 110}));
    EXPECT_EQ(slices(0, 25, 20, 30), (std::array<double, 4>{0, 10, 10, 25}));
    EXPECT_EQ(slices(0, 0, 0, 0), (std::array<double, 4>{0, 0, 0, 0}));
}

TEST(FloatingLayoutTest, CardSizesFollowThePreferenceAndKeepButtonsUsable) {
    EXPECT_EQ(card::width(QAOSize::small), 160);
    EXPECT_EQ(card::width(QAOSize::medium), 240);
    EXPECT_EQ(card::width(QAOSize::large), 320);

    EXPECT_EQ(card::size(QSize(1920, 1080), QAOSize::medium), QSizeF(240, 135));
    EXPECT_EQ(card::size(QSize(1920, 1080), QAOSize::large), QSizeF(320, 180));
    EXPECT_EQ(card::size(QSize(1000, 1000), QAOSize::medium), QSizeF(180, 180)); // capped at 3/4 of the width
    // Very tall or very wide images never make a card too small for two rows of buttons.
    const QSizeF least = card::minimumSize();
    EXPECT_EQ(card::size(QSize(300, 1200), QAOSize::medium), QSizeF(least.width(), 180));
    EXPECT_EQ(card::size(QSize(3000, 100), QAOSize::small), QSizeF(160, least.height()));
    EXPECT_EQ(card::size(QSize(), QAOSize::small), QSizeF(160, 120));

    // Four buttons: one row on a large card, two by two on a small one; always inside.
    for (const QSizeF card : {QSizeF(320, 180), least}) {
        const auto rects = card::buttonRects(card, 4);
        ASSERT_EQ(rects.size(), 4);
        for (const QRectF& rect : rects)
            EXPECT_TRUE(QRectF(QPointF(), card).adjusted(7.9, 7.9, -7.9, -7.9).contains(rect)) << rect.x();
        EXPECT_EQ(rects[0].top() == rects[3].top(), card.width() == 320);
    }
    // Three: one row on a medium card; on a narrow one two, then one centred under them.
    EXPECT_EQ(card::buttonRects(QSizeF(240, 135), 3)[2].top(),
              card::buttonRects(QSizeF(240, 135), 3)[0].top());
    const auto three = card::buttonRects(QSizeF(160, 120), 3);
    EXPECT_EQ(three[0].top(), three[1].top());
    EXPECT_GT(three[2].top(), three[0].top());
    EXPECT_DOUBLE_EQ(three[2].center().x(), 80);
    EXPECT_DOUBLE_EQ((three[0].top() + three[2].bottom()) / 2, 60);
}

TEST(FloatingLayoutTest, CardsStackUpFromTheCornerOfTheirDisplay) {
    const QRectF left(0, 0, 1920, 1050);
    const QRectF right(1920, 0, 1280, 800);
    const QSizeF wide(240, 135);

    auto stack = card::stack({{left, wide}, {left, QSizeF(180, 180)}, {right, wide}});
    EXPECT_EQ(stack.dropped, 0);
    ASSERT_EQ(stack.positions.size(), 3);
    EXPECT_EQ(stack.positions[0], QPointF(1920 - 24 - 240, 1050 - 24 - 135)); // oldest in the corner
    EXPECT_EQ(stack.positions[1], QPointF(1920 - 24 - 180, 1050 - 24 - 135 - 12 - 180));
    EXPECT_EQ(stack.positions[2], QPointF(3200 - 24 - 240, 800 - 24 - 135)); // its own display

    // At most four; the oldest go first.
    stack = card::stack(QList<card::Placed>(6, {left, wide}));
    EXPECT_EQ(stack.dropped, 2);
    EXPECT_EQ(stack.positions.size(), 4);
    EXPECT_EQ(stack.positions[0].y(), 1050 - 24 - 135);

    // Tall cards on a short display: only as many as fit, and the newest always.
    const QRectF shortArea(0, 0, 800, 600);
    const QSizeF tall(240, 300);
    stack = card::stack({{shortArea, tall}, {shortArea, tall}, {shortArea, wide}});
    EXPECT_EQ(stack.dropped, 1);
    stack = card::stack({{shortArea, QSizeF(240, 700)}});
    EXPECT_EQ(stack.dropped, 0);
    EXPECT_TRUE(card::stack({}).positions.isEmpty());
}

TEST(FloatingLayoutTest, AutoDismissPausesWhileHovered) {
    AutoDismiss never(0, 1000);
    EXPECT_FALSE(never.deadline());
    never.setHovered(true, 2000);
    never.setHovered(false, 3000);
    EXPECT_FALSE(never.deadline());

    AutoDismiss card(5, 1000);
    EXPECT_EQ(card.deadline(), 6000);
    card.setHovered(true, 2000); // 4 s left
    EXPECT_FALSE(card.deadline());
    card.setHovered(true, 9000); // still hovered: nothing changes
    card.setHovered(false, 20000);
    EXPECT_EQ(card.deadline(), 24000);
    card.setHovered(false, 21000); // a second leave does not restart the clock
    EXPECT_EQ(card.deadline(), 24000);

    AutoDismiss late(2, 0);
    late.setHovered(true, 1900); // 0.1 s left when the pointer arrives
    late.setHovered(false, 5000);
    EXPECT_EQ(late.deadline(), 5000 + AutoDismiss::grace);
}

TEST(FloatingLayoutTest, PinZoomPlacementAndAnchor) {
    EXPECT_NEAR(pin::zoomed(1.0, 1), 1.1, 1e-9);
    EXPECT_NEAR(pin::zoomed(1.0, -1), 1 / 1.1, 1e-9);
    EXPECT_NEAR(pin::zoomed(1.0, 0.5), std::sqrt(1.1), 1e-9); // touchpads turn by fractions
    EXPECT_EQ(pin::zoomed(pin::zoomed(1.0, 3), -3), 1.0);
    EXPECT_EQ(pin::zoomed(0.95, 1), 1.0); // passing 100 % stops there
    EXPECT_EQ(pin::zoomed(1.05, -1), 1.0);
    EXPECT_EQ(pin::zoomed(7.9, 5), 8.0);
    EXPECT_EQ(pin::zoomed(0.11, -5), 0.1);
    EXPECT_EQ(pin::zoomed(2.0, 5, 2.5), 2.5);

    // The window's buffer stays bounded: a large image zooms in less far.
    EXPECT_EQ(pin::zoomLimit(QSizeF(400, 300), 1.0), 8.0);
    EXPECT_NEAR(pin::zoomLimit(QSizeF(1920, 1080), 1.0), std::sqrt(24e6 / (1920.0 * 1080)), 1e-9);
    EXPECT_EQ(pin::zoomLimit(QSizeF(8000, 8000), 2.0), 1.0);

    // The point under the pointer stays under it.
    const QRectF rect(100, 100, 200, 100);
    const QPointF anchor(150, 125);
    const QRectF zoomedRect = pin::scaledAround(rect, anchor, 2.0);
    EXPECT_EQ(zoomedRect, QRectF(50, 75, 400, 200));
    EXPECT_EQ(zoomedRect.topLeft() + (anchor - rect.topLeft()) * 2.0, anchor);

    const QRectF screen(0, 0, 1920, 1040);
    auto placed = pin::place(QSizeF(300, 200), QRectF(400, 300, 300, 200), screen);
    EXPECT_EQ(placed.rect, QRectF(400, 300, 300, 200)); // exactly over the area it came from
    EXPECT_EQ(placed.zoom, 1.0);
    placed = pin::place(QSizeF(300, 200), QRectF(1800, 1000, 300, 200), screen);
    EXPECT_EQ(placed.rect, QRectF(1620, 840, 300, 200));
    placed = pin::place(QSizeF(3840, 2080), QRectF(0, 0, 1920, 1080), screen);
    EXPECT_EQ(placed.zoom, 0.5);
    EXPECT_EQ(placed.rect, screen);

    EXPECT_EQ(pin::fitting(QSizeF(400, 300), QSizeF(800, 600)), 1.0);
    EXPECT_EQ(pin::fitting(QSizeF(1600, 300), QSizeF(800, 600)), 0.5);
    EXPECT_EQ(pin::fitting(QSizeF(100000, 10), QSizeF(800, 600)), pin::minZoom);

    // The window sits on whole points around the frame; the image keeps its half point.
    const auto frame = pin::frame(QRectF(100.5, 50, 300, 200.5), QMarginsF(15, 12, 15, 18));
    EXPECT_EQ(frame.window, QRect(85, 38, 331, 231));
    EXPECT_EQ(frame.image, QRectF(15.5, 12, 300, 200.5));
    EXPECT_TRUE(QRectF(frame.window.translated(-frame.window.topLeft()))
                    .contains(frame.image.marginsAdded(QMarginsF(15, 12, 15, 18))));
}

TEST(FloatingLayoutTest, RecordingControlsStayOutOfTheRecordedArea) {
    using FloatingLayout::hud::place;
    const QRect display(1920, 0, 2560, 1440); // a 2x display right of another
    const QSize panel(600, 80);
    const auto outside = [&](const QRect& area) {
        const QRect placed = place(area, display, panel, 2.0);
        EXPECT_TRUE(display.contains(placed)) << placed.x() << "," << placed.y();
        EXPECT_FALSE(placed.intersects(area)) << placed.x() << "," << placed.y();
        return placed;
    };
    // Below, centred under the area, with 12 points to spare.
    EXPECT_EQ(outside(QRect(2420, 200, 800, 600)), QRect(2520, 824, 600, 80));
    // An area reaching the bottom: above it; one near the left edge slides right to stay on.
    EXPECT_EQ(outside(QRect(1920, 600, 300, 840)).bottom(), 600 - 24 - 1);
    EXPECT_EQ(outside(QRect(1920, 600, 300, 840)).left(), 1920 + 24);
    // As tall as the display: beside it.
    EXPECT_EQ(outside(QRect(1920, 0, 1200, 1440)).left(), 1920 + 1200 + 24);
    EXPECT_EQ(outside(QRect(3400, 0, 1080, 1440)).right(), 3400 - 24 - 1);
    // The whole display: nowhere outside it, so the bottom centre of the display.
    EXPECT_EQ(place(display, display, panel, 2.0), QRect(2900, 1440 - 24 - 80, 600, 80));
}

} // namespace
