// The life of a click ripple.

#include "support/EventLoop.h"

#include "recording/ClickHighlighter.h"

#include <gtest/gtest.h>

namespace {

TEST(ClickHighlighterTest, RipplesStartFullAndFadeWhileGrowingThenGo) {
    qint64 now = 1000;
    ClickHighlighter highlighter([&now] { return now; });
    int changes = 0;
    QObject::connect(&highlighter, &ClickHighlighter::ripplesChanged, [&changes] { ++changes; });

    highlighter.showRipple(QPoint(10, 10)); // before start: nothing
    EXPECT_TRUE(highlighter.ripples().empty());

    highlighter.start();
    highlighter.showRipple(QPoint(100, 200));
    ASSERT_EQ(highlighter.ripples().size(), 1u);
    EXPECT_EQ(highlighter.ripples()[0].center, QPoint(100, 200));
    EXPECT_EQ(changes, 1);
    ClickHighlighter::Look look = highlighter.lookOf(highlighter.ripples()[0]);
    EXPECT_DOUBLE_EQ(look.diameter, 44.0);
    EXPECT_DOUBLE_EQ(look.opacity, 1.0);

    now += 250;
    highlighter.showRipple(QPoint(300, 40));
    look = highlighter.lookOf(highlighter.ripples()[0]);
    EXPECT_DOUBLE_EQ(look.opacity, 0.5);
    EXPECT_GT(look.diameter, 44.0);

    // Past half a second the first has gone and the second, younger one is still there.
    now += 300;
    ASSERT_TRUE(testsupport::waitUntil([&] { return highlighter.ripples().size() == 1; }));
    EXPECT_EQ(highlighter.ripples()[0].center, QPoint(300, 40));
    now += 300;
    ASSERT_TRUE(testsupport::waitUntil([&] { return highlighter.ripples().empty(); }));
}

TEST(ClickHighlighterTest, StopDropsLiveRipples) {
    qint64 now = 0;
    ClickHighlighter highlighter([&now] { return now; });
    highlighter.start();
    highlighter.showRipple(QPoint(5, 5));
    highlighter.showRipple(QPoint(6, 6));
    highlighter.stop();
    EXPECT_TRUE(highlighter.ripples().empty());
    highlighter.showRipple(QPoint(7, 7));
    EXPECT_TRUE(highlighter.ripples().empty());
}

} // namespace
