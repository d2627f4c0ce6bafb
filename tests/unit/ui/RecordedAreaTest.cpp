#include "ui/RecordedArea.h"

#include <gtest/gtest.h>

namespace {

using namespace ui;

std::optional<QRect> at(const QRect& rect) {
    return rect;
}

// A still taken through a screen-cast stream while a recording runs begins and ends inside it:
// its end must not bring our windows back onto what the recording still copies.
TEST(RecordedArea, OverlappingStreamsKeepOurWindowsOutUntilTheLastEnds) {
    const int recording = recordedArea::begin([] { return at(QRect(0, 0, 100, 100)); });
    const int still = recordedArea::begin([] { return at(QRect(200, 0, 100, 100)); });
    EXPECT_TRUE(recordedArea::covers(QRect(90, 90, 20, 20)));
    EXPECT_TRUE(recordedArea::covers(QRect(250, 50, 10, 10)));
    EXPECT_FALSE(recordedArea::covers(QRect(120, 50, 10, 10)));
    bool shown = false;
    recordedArea::afterwards([&] { shown = true; });

    recordedArea::end(still);
    EXPECT_TRUE(recordedArea::active());
    EXPECT_FALSE(recordedArea::covers(QRect(250, 50, 10, 10)));
    EXPECT_FALSE(shown);

    recordedArea::end(recording);
    EXPECT_FALSE(recordedArea::active());
    EXPECT_TRUE(shown);
    EXPECT_FALSE(recordedArea::covers(QRect(50, 50, 10, 10)));
}

TEST(RecordedArea, AWindowWhosePlaceIsNotKnownMayBeAnywhereAndNothingWaitsWithoutARecording) {
    const int recording = recordedArea::begin([] { return std::optional<QRect>(); });
    EXPECT_TRUE(recordedArea::covers(QRect(5000, 5000, 1, 1)));
    recordedArea::end(recording);

    bool ran = false;
    recordedArea::afterwards([&] { ran = true; });
    EXPECT_TRUE(ran);
}

} // namespace
