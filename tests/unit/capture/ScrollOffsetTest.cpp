// The offset search, the stitching and the scroll bar's removal on synthetic frames.

#include "capture/ScrollOffset.h"
#include "capture/ScrollStitch.h"
#include "capture/ScrollerRemoval.h"
#include "capture/ScrollingCaptureController.h"

#include "ScrollPages.h"

#include <gtest/gtest.h>

namespace {

using namespace testsupport;
using Kind = ScrollOffset::Measurement::Kind;

ScrollOffset::Measurement measure(const QImage& previous, const QImage& current, int expected,
                                  int margin = 0) {
    return ScrollOffset::measure(ScrollSamples::of(previous, false, margin),
                                 ScrollSamples::of(current, false, margin), expected);
}

TEST(ScrollStepTest, StepsFollowTheAreaTheScaleAndTheFixedEdges) {
    EXPECT_EQ(ScrollingCaptureController::stepPoints(1000, 1, false, 0, 0, 0), 600);
    EXPECT_EQ(ScrollingCaptureController::stepPoints(1000, 2, false, 120, 80, 0), 600);
    EXPECT_EQ(ScrollingCaptureController::stepPoints(100, 2, true, 0, 0, 0), 44);
    // A fixed header of 40 pixels at scale 2 is 20 points the step does not cover.
    EXPECT_EQ(ScrollingCaptureController::stepPoints(100, 2, true, 40, 0, 0), 34);
    // Window corners larger than the footer's allowance replace it; tiny areas still move.
    EXPECT_EQ(ScrollingCaptureController::stepPoints(100, 1, true, 0, 0, 30), 33);
    EXPECT_EQ(ScrollingCaptureController::stepPoints(30, 2, true, 0, 0, 0), 20);
}

TEST(ScrollOffsetTest, PlainTextIsFoundWhereverTheScrollPutIt) {
    const QImage page = textPage(480, 3000);
    for (const int offset : {1, 17, 51, 120, 240, 299}) {
        const auto measured = measure(framed(page, 100, 400), framed(page, 100 + offset, 400), 240);
        EXPECT_EQ(measured.kind, Kind::moved) << offset;
        EXPECT_EQ(measured.offset, offset);
    }
    // Without an expectation (the wheel's first notch) the same.
    EXPECT_EQ(measure(framed(page, 0, 400), framed(page, 53, 400), 0).offset, 53);
    // The end of the page moves less than asked; that is what is measured.
    EXPECT_EQ(measure(framed(page, 2500, 400), framed(page, 2600, 400), 240).offset, 100);
}

TEST(ScrollOffsetTest, IdenticalRowsTakeTheMultipleNearestTheScroll) {
    const QImage page = repeatedRows(480, 3000, 40);
    // Every multiple of 40 matches (and 20, 60, ... against a scroll of 300); the scroll decides.
    const auto measured = measure(framed(page, 40, 500), framed(page, 340, 500), 300);
    EXPECT_EQ(measured.kind, Kind::moved);
    EXPECT_EQ(measured.offset, 300);
    EXPECT_EQ(measure(framed(page, 40, 500), framed(page, 330, 500), 300).offset, 290);
}

TEST(ScrollOffsetTest, FixedHeadersAndFootersStayOutOfTheMeasureAndAreReported) {
    const QImage page = textPage(480, 3000);
    const QImage header = band(480, 60, QColor(30, 40, 120));
    const QImage footer = band(480, 36, QColor(90, 90, 90));
    const auto measured =
        measure(framed(page, 0, 500, header, footer), framed(page, 230, 500, header, footer), 240);
    EXPECT_EQ(measured.kind, Kind::moved);
    EXPECT_EQ(measured.offset, 230);
    EXPECT_GE(measured.frozenLead, 60);
    EXPECT_LE(measured.frozenLead, 66);
    EXPECT_GE(measured.frozenTrail, 36);
    EXPECT_LE(measured.frozenTrail, 42);
}

TEST(ScrollOffsetTest, ACaretThatBlinksNeitherMovesTheContentNorHidesAMove) {
    const QImage page = textPage(480, 3000);
    const QImage before = framed(page, 300, 400);
    QImage blinked = before;
    QPainter(&blinked).fillRect(QRect(200, 150, 2, 18), Qt::black);
    EXPECT_EQ(measure(before, blinked, 240).kind, Kind::still);
    QImage moved = framed(page, 540, 400);
    QPainter(&moved).fillRect(QRect(200, 150, 2, 18), Qt::black);
    const auto measured = measure(before, moved, 240);
    EXPECT_EQ(measured.kind, Kind::moved);
    EXPECT_EQ(measured.offset, 240);
}

TEST(ScrollOffsetTest, AnotherPageIsNoScroll) {
    EXPECT_EQ(
        measure(framed(textPage(480, 3000, 1), 0, 400), framed(textPage(480, 3000, 2), 0, 400), 240).kind,
        Kind::lost);
}

// A frame with a scroll bar at its right edge: a light track and a dark knob where the
// page's `top` puts it.
QImage withBar(const QImage& page, int top, int height) {
    QImage frame = framed(page, top, height);
    QPainter painter(&frame);
    const int knob = height * height / page.height();
    const int at = (height - knob) * top / (page.height() - height);
    painter.fillRect(QRect(frame.width() - 14, 0, 14, height), QColor(235, 235, 235));
    painter.fillRect(QRect(frame.width() - 12, at, 10, knob), QColor(120, 120, 120));
    return frame;
}

TEST(ScrollOffsetTest, AMovingScrollBarKnobIsFoundAndLeftOutOfTheResult) {
    const QImage page = textPage(480, 1600);
    const int height = 400;
    QList<QImage> frames;
    QList<ScrollSamples> samples;
    QList<int> offsets;
    for (const int top : {0, 240, 480, 720, 960, 1200}) {
        frames.append(withBar(page, top, height));
        samples.append(ScrollSamples::of(frames.last(), false, 20));
        if (samples.size() < 2) continue;
        const auto measured = ScrollOffset::measure(samples[samples.size() - 2], samples.last(), 240);
        ASSERT_EQ(measured.kind, Kind::moved);
        EXPECT_EQ(measured.offset, 240);
        offsets.append(measured.offset);
    }
    const auto bar = ScrollerRemoval::findBar(samples[0], samples[1], 240, 0, 0, 20);
    ASSERT_TRUE(bar);
    EXPECT_GE(bar->from, 480 - 14);
    EXPECT_LE(bar->from, 480 - 10);
    EXPECT_EQ(bar->to, 480 - 2);

    const auto pieces = ScrollStitch::pieces(offsets, height, 0, 24000);
    auto stitched = ScrollStitch::stitch(frames, pieces, false);
    ASSERT_TRUE(stitched);
    QList<ScrollerRemoval::Band> bands;
    for (const ScrollSamples& s : samples)
        bands.append(ScrollerRemoval::bandOf(s, *bar));
    ScrollerRemoval::apply(*stitched, frames, ScrollerRemoval::patches(bands, pieces), *bar, false);
    // The content is the page; the bar is a bare track from top to bottom.
    EXPECT_TRUE(alike(stitched->copy(0, 0, 480 - 14, 1600), page.copy(0, 0, 480 - 14, 1600)));
    QImage track(bar->to - bar->from, 1600, QImage::Format_RGB32);
    track.fill(QColor(235, 235, 235));
    EXPECT_TRUE(alike(stitched->copy(bar->from, 0, bar->to - bar->from, 1600), track));
}

TEST(ScrollStitchTest, PiecesKeepHeaderAndFooterOnceAndLeaveNoGaps) {
    const QImage page = textPage(300, 2000);
    const QImage header = band(300, 50, QColor(30, 40, 120));
    const QImage footer = band(300, 30, QColor(90, 90, 90));
    // The content scrolls under the header: page line y shows at frame line y - top.
    QList<QImage> frames;
    const QList<int> tops{0, 200, 400, 410};
    for (int top : tops)
        frames.append(framed(page, top, 400, header, footer));
    const QList<int> offsets{200, 200, 10};
    const auto pieces = ScrollStitch::pieces(offsets, 400, 30, 24000);
    const auto stitched = ScrollStitch::stitch(frames, pieces, false);
    ASSERT_TRUE(stitched);
    ASSERT_EQ(stitched->height(), 400 + 410);
    EXPECT_TRUE(alike(stitched->copy(0, 0, 300, 50), header));
    EXPECT_TRUE(alike(stitched->copy(0, 50, 300, 780 - 50), page.copy(0, 50, 300, 780 - 50)));
    EXPECT_TRUE(alike(stitched->copy(0, 780, 300, 30), footer));

    // Pieces of no length are skipped without a gap; no pieces give the first frame.
    const QList<ScrollStitch::Piece> withEmpty{{0, 0, 100}, {1, 0, 0}, {1, 300, 100}, {2, 0, -5}};
    const auto joined = ScrollStitch::stitch(frames, withEmpty, false);
    ASSERT_TRUE(joined);
    EXPECT_EQ(joined->height(), 200);
    EXPECT_TRUE(alike(joined->copy(0, 100, 300, 100), frames[1].copy(0, 300, 300, 100)));
    EXPECT_EQ(ScrollStitch::stitch(frames, {}, false)->size(), frames[0].size());
    EXPECT_FALSE(ScrollStitch::stitch({}, withEmpty, false));
    // The length limit cuts the last piece.
    int total = 0;
    for (const auto& piece : ScrollStitch::pieces(offsets, 400, 30, 500))
        total += piece.length;
    EXPECT_EQ(total, 500);
}

TEST(ScrollStitchTest, SidewaysFramesAreJoinedLeftToRight) {
    const QImage wide = textPage(200, 1200).transformed(QTransform().rotate(90));
    QList<QImage> frames{wide.copy(0, 0, 300, wide.height()), wide.copy(180, 0, 300, wide.height())};
    const auto measured =
        ScrollOffset::measure(ScrollSamples::of(frames[0], true), ScrollSamples::of(frames[1], true), 180);
    ASSERT_EQ(measured.kind, Kind::moved);
    EXPECT_EQ(measured.offset, 180);
    const auto stitched = ScrollStitch::stitch(frames, ScrollStitch::pieces({180}, 300, 0, 24000), true);
    ASSERT_TRUE(stitched);
    EXPECT_TRUE(alike(*stitched, wide.copy(0, 0, 480, wide.height())));
}

} // namespace
