#include "video/ZoomTrack.h"
#include "video/ExportResolution.h"

#include <gtest/gtest.h>

namespace {

TEST(ZoomTrackTest, NoClicksMakeNoZoomAndTheScaleStaysOne) {
    const ZoomTrack track = ZoomTrack::automatic({}, 2.0, 1.6, 30);
    EXPECT_TRUE(track.keyframes.isEmpty());
    for (double t : {0.0, 1.0, 29.9}) {
        EXPECT_DOUBLE_EQ(track.state(t).scale, 1.0);
        EXPECT_DOUBLE_EQ(track.state(t).progress, 0.0);
    }
}

TEST(ZoomTrackTest, ClicksCloseTogetherShareOneLongerZoomAimedBetweenThem) {
    const ZoomTrack track = ZoomTrack::automatic({{1.5, 0.8, 0.6}, {1.0, 0.2, 0.4}}, 2.0, 1.6, 30);
    ASSERT_EQ(track.keyframes.size(), 1);
    const ZoomKeyframe& frame = track.keyframes.first();
    EXPECT_NEAR(frame.time, 0.64, 1e-9);
    EXPECT_NEAR(frame.hold, 2.01, 1e-9);
    EXPECT_NEAR(frame.center.x(), 0.5, 1e-9);
    EXPECT_NEAR(frame.center.y(), 0.5, 1e-9);
    EXPECT_DOUBLE_EQ(frame.level, 2.0);
}

TEST(ZoomTrackTest, ClicksFarApartZoomEachOnTheirOwn) {
    const ZoomTrack track = ZoomTrack::automatic({{1.0, 0.1, 0.1}, {6.0, 0.9, 0.9}}, 1.5, 1.0, 30);
    ASSERT_EQ(track.keyframes.size(), 2);
    EXPECT_NEAR(track.keyframes[1].time, 5.64, 1e-9);
    EXPECT_EQ(track.keyframes[1].center, QPointF(0.9, 0.9));
    EXPECT_NE(track.keyframes[0].id, track.keyframes[1].id);
}

TEST(ZoomTrackTest, NoZoomRunsOnPastTheEndOfTheMovie) {
    EXPECT_TRUE(ZoomTrack::automatic({{9.9, 0.5, 0.5}}, 2.0, 1.6, 10).keyframes.isEmpty());
    const ZoomTrack late = ZoomTrack::automatic({{9.0, 0.5, 0.5}}, 2.0, 1.6, 10);
    ASSERT_EQ(late.keyframes.size(), 1);
    EXPECT_NEAR(late.keyframes.first().hold, 0.1, 1e-9);
    const ZoomTrack early = ZoomTrack::automatic({{1.0, 0.5, 0.5}}, 2.0, 1.6, 10);
    EXPECT_NEAR(early.keyframes.first().hold, 1.6, 1e-9);
}

TEST(ZoomTrackTest, StateEasesInHoldsAndEasesOut) {
    ZoomTrack track;
    ZoomKeyframe frame;
    frame.time = 2.0;
    frame.hold = 1.0;
    frame.level = 2.5;
    frame.center = {0.25, 0.75};
    track.keyframes = {frame};

    const auto full = track.state(2.0 + ZoomTrack::ramp);
    EXPECT_DOUBLE_EQ(full.progress, 1.0);
    EXPECT_DOUBLE_EQ(full.scale, 2.5);
    EXPECT_EQ(full.center, QPointF(0.25, 0.75));

    const auto half = track.state(2.0 + ZoomTrack::ramp / 2);
    EXPECT_NEAR(half.progress, 0.5, 1e-9);
    EXPECT_NEAR(half.scale, 1.75, 1e-9);
    EXPECT_LT(track.state(2.1).progress, 0.1); // slow at the start
    EXPECT_NEAR(track.state(2.0 + 2 * ZoomTrack::ramp + 1.0 - ZoomTrack::ramp / 2).progress, 0.5, 1e-9);
    EXPECT_DOUBLE_EQ(track.state(1.99).scale, 1.0);
    EXPECT_DOUBLE_EQ(track.state(3.95).scale, 1.0);
    EXPECT_EQ(track.state(3.95).center, QPointF(0.5, 0.5));
}

TEST(ExportResolutionTest, HevcOnlyWhereTheSizeAllowsIt) {
    const ExportPreset small = ExportResolutions::preset(ExportResolution::r720, RecordingCodec::hevc);
    EXPECT_EQ(small.box, QSize(1280, 720));
    EXPECT_FALSE(small.hevc);
    EXPECT_TRUE(ExportResolutions::preset(ExportResolution::r1080, RecordingCodec::hevc).hevc);
    EXPECT_EQ(ExportResolutions::preset(ExportResolution::r480, RecordingCodec::h264).box, QSize(640, 480));
}

TEST(ExportResolutionTest, OutputSizesFitTheBoxUprightNeverGrowAndStayEven) {
    const ExportPreset p1080 = ExportResolutions::preset(ExportResolution::r1080, RecordingCodec::h264);
    EXPECT_EQ(ExportResolutions::outputSize({1080, 1920}, p1080), QSize(1080, 1920));
    EXPECT_EQ(ExportResolutions::outputSize({1440, 2560}, p1080), QSize(1080, 1920));
    const ExportPreset p720 = ExportResolutions::preset(ExportResolution::r720, RecordingCodec::h264);
    EXPECT_EQ(ExportResolutions::outputSize({1080, 2400}, p720), QSize(576, 1280));
    EXPECT_EQ(ExportResolutions::outputSize({800, 601}, p720), QSize(800, 600));
    const ExportPreset original = ExportResolutions::preset(ExportResolution::original, RecordingCodec::h264);
    EXPECT_EQ(ExportResolutions::outputSize({3001, 1999}, original), QSize(3000, 1998));
}

} // namespace
