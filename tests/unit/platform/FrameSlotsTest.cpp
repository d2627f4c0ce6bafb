#include "platform/FrameSlots.h"

#include <gtest/gtest.h>

using platform::FrameSlots;
using namespace std::chrono_literals;

TEST(FrameSlotsTest, AFrameTakenLateCostsNoFrameButALongStallSkipsWhatItMissed) {
    const FrameSlots::Clock::time_point start{};
    FrameSlots slots(25, start); // a frame every 40 ms

    // On time: the next slot follows the last by one interval.
    EXPECT_EQ(slots.next(start + 5ms), start + 40ms);
    // The frame of 40 ms was only done at 100 ms: the 80 ms slot is due already and taken at once.
    EXPECT_EQ(slots.next(start + 100ms), start + 80ms);
    EXPECT_EQ(slots.missed(), 0);
    // Back on the rate's grid after it.
    EXPECT_EQ(slots.next(start + 85ms), start + 120ms);

    // A stall to 250 ms: the slots of 160 and 200 ms are given up, 240 ms is taken at once.
    EXPECT_EQ(slots.next(start + 250ms), start + 240ms);
    EXPECT_EQ(slots.missed(), 2);
}
