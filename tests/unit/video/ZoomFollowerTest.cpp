#include "video/ZoomFollower.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

const QSize video(1000, 600);

// One zoom to 2x from 1 s, held 6 s.
ZoomTrack oneZoom() {
    ZoomTrack track;
    ZoomKeyframe frame;
    frame.time = 1;
    frame.hold = 6;
    frame.level = 2;
    track.keyframes = {frame};
    return track;
}

} // namespace

TEST(ZoomFollowerTest, TheViewHoldsStillWhileThePointerWandersAboutItsMiddle) {
    // A pointer trembling ±40 px around (500, 300): well inside the middle of a 500 × 300 view.
    const auto wandering = [](double time) {
        return std::optional(QPointF(500 + 40 * std::sin(time * 7), 300 + 30 * std::cos(time * 5)));
    };
    const ZoomFollower follower(oneZoom(), wandering, video, 10);
    // Unzoomed, the aim is the pointer itself, so a zoom starts where it is.
    EXPECT_EQ(follower.aim(0.5), wandering(0.5));
    const auto held = follower.aim(2.0);
    ASSERT_TRUE(held);
    for (double time = 2.0; time < 7.5; time += 1.0 / 30)
        EXPECT_EQ(follower.aim(time), held) << time; // exactly: the frames repeat
}

TEST(ZoomFollowerTest, ThePointerLeavingTheMiddleBringsTheViewAfterItUntilItSettles) {
    // The pointer dwells at (300, 300), then moves to (850, 500) at 3 s.
    const auto moving = [](double time) {
        return std::optional(time < 3 ? QPointF(300, 300) : QPointF(850, 500));
    };
    const ZoomFollower follower(oneZoom(), moving, video, 10);
    const QPointF before = *follower.aim(2.9);
    EXPECT_NEAR(before.x(), 300, 0.5);
    // It glides there without jumping: no step between frames is more than a share of the way.
    double largestStep = 0;
    QPointF last = before;
    for (double time = 3.0; time < 5.0; time += 1.0 / 30) {
        const QPointF now = *follower.aim(time);
        largestStep = std::max(largestStep, std::hypot(now.x() - last.x(), now.y() - last.y()));
        last = now;
    }
    EXPECT_LT(largestStep, 100);
    // ...and stops exactly where the whole view stays on the picture: a 500 × 300 view's middle
    // can go no further right than 750 nor lower than 450.
    EXPECT_EQ(follower.aim(5.0), QPointF(750, 450));
    EXPECT_EQ(follower.aim(6.0), QPointF(750, 450));
}

TEST(ZoomFollowerTest, WithoutAPointerTrackThereIsNothingToFollow) {
    const ZoomFollower none(
        oneZoom(), [](double) { return std::optional<QPointF>(); }, video, 10);
    EXPECT_FALSE(none.aim(2));
    EXPECT_FALSE(ZoomFollower().aim(2));
}
