#include "video/Captions.h"

#include "../support/CaptionLines.h"

#include <gtest/gtest.h>

namespace {

using platform::HeardWord;
using testsupport::captionLine;

// Words of `length` letters, one after another, each `duration` long with `gap` between them.
QList<HeardWord> words(int count, double start, double duration, double gap, int length = 3) {
    QList<HeardWord> out;
    for (int i = 0; i < count; ++i)
        out.append({QString(length, QChar(u'a' + i % 26)), start + i * (duration + gap), duration});
    return out;
}

QStringList texts(const QList<CaptionLine>& lines) {
    QStringList out;
    for (const CaptionLine& line : lines)
        out << line.text;
    return out;
}

TEST(CaptionsGroupTest, APauseLongerThanSevenTenthsOfASecondStartsANewLine) {
    EXPECT_EQ(Captions::group({{"one", 0, 0.3}, {"two", 1.1, 0.3}}).size(), 2); // 0.8 s apart
    const auto joined = Captions::group({{"one", 0, 0.3}, {"two", 1.0, 0.3}});  // 0.7 s apart
    ASSERT_EQ(joined.size(), 1);
    EXPECT_EQ(joined[0].text, "one two");
}

TEST(CaptionsGroupTest, NineWordsMakeEightAndATailThatJoinsOnlyWithinFortyNineCharacters) {
    // Two-letter words: 8 words are 23 characters, so the ninth joins back (26 ≤ 49).
    const auto short_ = Captions::group(words(9, 0, 0.2, 0.05, 2));
    ASSERT_EQ(short_.size(), 1);
    EXPECT_EQ(short_[0].text.split(' ').size(), 9);

    // Four-letter words: 8 words are 39 characters, and a ten-letter ninth would make 50.
    QList<HeardWord> long_ = words(8, 0, 0.2, 0.05, 4);
    long_.append({QStringLiteral("abcdefghij"), 8 * 0.25, 0.2});
    const auto lines = Captions::group(long_);
    ASSERT_EQ(lines.size(), 2);
    EXPECT_EQ(lines[0].text.split(' ').size(), 8);
    EXPECT_EQ(lines[1].text, "abcdefghij");
}

TEST(CaptionsGroupTest, LinesBreakAtFortyTwoCharactersAndAtFourSeconds) {
    // Ten-letter words: four of them with spaces are 43 characters. The pauses keep the one-word
    // tail from joining back.
    const auto wide = Captions::group(words(4, 0, 0.3, 0.45, 10));
    ASSERT_EQ(wide.size(), 2);
    EXPECT_EQ(wide[0].text.size(), 32);

    // Slow words: the fifth would end 4.3 s after the line began.
    const auto slow = Captions::group(words(5, 0, 0.5, 0.45));
    ASSERT_GE(slow.size(), 2);
    EXPECT_EQ(slow[0].text.split(' ').size(), 4);
}

TEST(CaptionsGroupTest, AZeroLengthWordLastsLongEnoughToRead) {
    const auto lines = Captions::group({{"hello", 5, 0}});
    ASSERT_EQ(lines.size(), 1);
    EXPECT_DOUBLE_EQ(lines[0].start, 5);
    EXPECT_NEAR(lines[0].end - lines[0].start, 0.12 + 0.6, 1e-9);
}

TEST(CaptionsGroupTest, EndsStretchUpToTheNextLineAndEmptyWordsAreSkipped) {
    const auto lines = Captions::group({{"first", 0, 0.5}, {"", 0.6, 0.1}, {"second", 1.5, 0.5}});
    ASSERT_EQ(lines.size(), 2);
    EXPECT_EQ(texts(lines), QStringList({"first", "second"}));
    EXPECT_DOUBLE_EQ(lines[0].end, 1.1); // 0.5 + 0.6, before the next line
    EXPECT_DOUBLE_EQ(lines[1].end, 2.6); // the last line: + 0.6

    const auto close = Captions::group({{"one", 0, 0.5}, {"two", 1.3, 0.5}, {"three", 1.4, 0.5}});
    EXPECT_GT(close[0].end, 0.5);
    EXPECT_LE(close[0].end, close[1].start);
    EXPECT_TRUE(Captions::group({}).isEmpty());
}

TEST(CaptionsTextTest, TheTranscriptStampsEachLineWithMinutesAndSeconds) {
    const CaptionLine a = captionLine(75.9, 75.9, QStringLiteral("Welcome back"));
    const CaptionLine b = captionLine(3, 3, QStringLiteral("again"));
    EXPECT_EQ(Captions::transcript({a, b}), "[1:15] Welcome back\n[0:03] again");
    EXPECT_EQ(Captions::transcript({}), "");
}

TEST(CaptionsTextTest, SubRipCoversOnlyTheRangeAndTimesFromItsStart) {
    const CaptionLine before = captionLine(58, 61, QStringLiteral("before"));
    const CaptionLine inside = captionLine(62.5, 64.0, QStringLiteral("inside"));
    const CaptionLine after = captionLine(63.5, 65, QStringLiteral("after"));
    const CaptionLine gone = captionLine(10, 20, QStringLiteral("gone"));
    EXPECT_EQ(Captions::srt({gone, before, inside, after}, 60, 63),
              "1\n00:00:00,000 --> 00:00:01,000\nbefore\n\n"
              "2\n00:00:02,500 --> 00:00:03,000\ninside\n\n");
    EXPECT_EQ(Captions::srt({gone}, 60, 63), "");

    const CaptionLine hour = captionLine(3723.0004, 3724.9996, QStringLiteral("late"));
    EXPECT_EQ(Captions::srt({hour}, 0, 1e9), "1\n01:02:03,000 --> 01:02:05,000\nlate\n\n");
}

} // namespace
