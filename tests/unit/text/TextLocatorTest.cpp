#include "text/TextLocator.h"
#include "text/TextRecognizer.h"

#include "support/FakePlatform.h"

namespace {

const QSize imageSize(1000, 500);

// A recognised line whose characters sit on a grid of 10 x 20 pixels from `topLeft`,
// with boxes normalised and measured from the bottom as recognisers report them.
platform::RecognizedLine line(const QString& text, QPoint topLeft, float confidence = 0.9f) {
    const auto normalised = [](const QRectF& r) {
        return QRectF(r.x() / imageSize.width(), 1.0 - r.bottom() / imageSize.height(),
                      r.width() / imageSize.width(), r.height() / imageSize.height());
    };
    platform::RecognizedLine l{
        text, confidence, normalised(QRectF(topLeft, QSizeF(10.0 * text.size(), 20))), {}};
    for (qsizetype i = 0; i < text.size(); ++i)
        l.characterBoxes << (text[i].isSpace()
                                 ? QRectF()
                                 : normalised(QRectF(topLeft.x() + 10.0 * i, topLeft.y(), 10, 20)));
    return l;
}

class TextLocatorTest : public testsupport::PlatformTest {
protected:
    QImage image{imageSize, QImage::Format_RGB32};
};

TEST_F(TextLocatorTest, RecognizeReadsTopToBottomAndAnEmptyImageIsEmptyText) {
    textRecognition->lines = {line("second", {0, 100}), line("", {0, 50}), line("first", {400, 10})};
    EXPECT_EQ(*TextRecognizer::recognize(image), "first\nsecond");
    ASSERT_EQ(textRecognition->requests.size(), 1);
    EXPECT_EQ(textRecognition->requests[0], std::pair(platform::RecognitionLevel::accurate, true));

    textRecognition->lines.clear();
    ASSERT_TRUE(TextRecognizer::recognize(image));
    EXPECT_EQ(*TextRecognizer::recognize(image), "");
    textRecognition->failure = Error{"The model is missing"};
    EXPECT_EQ(TextRecognizer::recognize(image).error().message, "The model is missing");
    EXPECT_TRUE(TextLocator::find("x", image).isEmpty()); // never fails
}

TEST_F(TextLocatorTest, WordBoxesAreInImagePixels) {
    textRecognition->lines = {line("ab  cde", {100, 40})};
    EXPECT_EQ(TextRecognizer::wordBoxes(image),
              (QList<QRectF>{QRectF(100, 40, 20, 20), QRectF(140, 40, 30, 20)}));
    EXPECT_EQ(textRecognition->requests.last(), std::pair(platform::RecognitionLevel::fast, false));
}

TEST_F(TextLocatorTest, FindTriesTheLiteralTextBeforeTheFoldedText) {
    textRecognition->lines = {line("Total lnvoice IO due", {0, 0}),
                              line("see invoice 10 and INVOICE 10", {0, 100})};
    QList<TextBox> found = TextLocator::find("Invoice 10", image);
    ASSERT_EQ(found.size(), 2); // the literal occurrences only, twice on one line
    EXPECT_EQ(found[0].rect, QRectF(40, 100, 100, 20));
    EXPECT_EQ(found[1].text, "INVOICE 10");
    EXPECT_EQ(found[0].line, found[1].line);
    EXPECT_EQ(found[0].line, QRectF(0, 100, 290, 20));
    EXPECT_FLOAT_EQ(found[0].confidence, 0.9f);

    textRecognition->lines.removeLast();
    found = TextLocator::find("Invoice 10", image);
    ASSERT_EQ(found.size(), 1);
    EXPECT_EQ(found[0].text, "lnvoice IO"); // as recognised
    EXPECT_EQ(found[0].rect, QRectF(60, 0, 100, 20));

    textRecognition->lines = {line(QString::fromUtf8("it\u2019s \u201Cdone\u201D"), {0, 0})};
    EXPECT_EQ(TextLocator::find("it's \"done\"", image).size(), 1);
    EXPECT_TRUE(TextLocator::find("", image).isEmpty());
    EXPECT_EQ(TextLocator::folded(QString::fromUtf8("Il1|\u00ED\u00ECO0o`\u2018\u201CÄB")),
              QString::fromUtf8("llllllooo''\"äb"));
}

TEST_F(TextLocatorTest, ReadSortsLinesAndWordsByTopThenLeft) {
    textRecognition->lines = {line("lower", {0, 200}), line("right", {500, 10}), line("left side", {0, 10})};
    const TextLocator::Reading reading = TextLocator::read(image);
    QStringList lines, words;
    for (const TextBox& b : reading.lines)
        lines << b.text;
    for (const TextBox& b : reading.words)
        words << b.text;
    EXPECT_EQ(lines, (QStringList{"left side", "right", "lower"}));
    EXPECT_EQ(words, (QStringList{"left", "side", "right", "lower"}));
    EXPECT_EQ(reading.words[1].rect, QRectF(50, 10, 40, 20));
    EXPECT_EQ(reading.words[1].line, QRectF(0, 10, 90, 20));
}

} // namespace
