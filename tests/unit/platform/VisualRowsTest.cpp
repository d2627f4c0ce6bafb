#include "platform/ocr/VisualRows.h"

#include <gtest/gtest.h>

using platform::RecognizedLine;
using platform::ocr::joinVisualRows;

namespace {

// A piece of a row as Tesseract gives it: characters 0.01 wide from `left`, between `bottom`
// and `bottom + height` (normalised, origin at the bottom), spaces without a box.
RecognizedLine piece(const QString& text, double left, double bottom, double height = 0.04,
                     float confidence = 0.9f) {
    RecognizedLine line{text, confidence, {}, {}};
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QRectF box(left + 0.01 * double(i), bottom, 0.01, height);
        line.characterBoxes << (text[i] == QLatin1Char(' ') ? QRectF() : box);
        if (text[i] != QLatin1Char(' ')) line.box = line.box.isEmpty() ? box : line.box.united(box);
    }
    return line;
}

TEST(VisualRowsTest, PiecesOfOneRowJoinLeftToRightAndRowsStayApart) {
    // A status bar read right part first, a menu bar below it, a line of its own at the bottom.
    const QList<RecognizedLine> rows = joinVisualRows({
        piece("Volume 35%", 0.70, 0.90),
        piece("Brightness 70%", 0.40, 0.902, 0.036, 0.5f),
        piece("Ready", 0.02, 0.895, 0.045),
        piece("Edit View", 0.20, 0.80),
        piece("File", 0.02, 0.80),
        piece("Quit", 0.02, 0.70),
    });
    ASSERT_EQ(rows.size(), 3);
    const RecognizedLine& status = rows[0];
    EXPECT_EQ(status.text, "Ready Brightness 70% Volume 35%");
    EXPECT_EQ(rows[1].text, "File Edit View");
    EXPECT_EQ(rows[2].text, "Quit");
    // Every character keeps its box; the joining spaces have none.
    ASSERT_EQ(status.characterBoxes.size(), status.text.size());
    EXPECT_TRUE(status.characterBoxes[5].isEmpty());
    EXPECT_EQ(status.characterBoxes[6], QRectF(0.40, 0.902, 0.01, 0.036)); // the B of Brightness
    EXPECT_EQ(*status.boxFor(21, 6), piece("Volume", 0.70, 0.90).box);
    EXPECT_DOUBLE_EQ(status.box.left(), 0.02);
    EXPECT_DOUBLE_EQ(status.box.top(), 0.895);
    EXPECT_DOUBLE_EQ(status.box.right(), piece("Volume 35%", 0.70, 0.90).box.right());
    // The confidence is the pieces' weighted by their characters: 5 + 13 + 9 of them.
    EXPECT_NEAR(status.confidence, (5 * 0.9 + 13 * 0.5 + 9 * 0.9) / 27, 1e-6);
}

TEST(VisualRowsTest, NeighbouringAndOverlappingLinesAreNotJoined) {
    // Rows a little closer than their height, as tight terminal lines are, and a piece that
    // covers another sideways (a line read twice) stay lines of their own.
    const QList<RecognizedLine> rows = joinVisualRows({
        piece("$ ls -la", 0.02, 0.50, 0.04),
        piece("total 48", 0.02, 0.475, 0.04),
        piece("total", 0.03, 0.48, 0.04),
    });
    ASSERT_EQ(rows.size(), 3);
    EXPECT_TRUE(joinVisualRows({}).isEmpty());
}

} // namespace
