#pragma once

#include <QImage>
#include <QPoint>
#include <QRect>
#include <QString>

namespace testsupport {

// How many pixels of `image` inside `area` differ from the test pattern by more than
// `tolerance` in some channel; the pattern is drawn in `area` at the area's size.
int patternMismatches(const QImage& image, const QRect& area, const QString& pattern, int tolerance = 2);

// How a stitched image compares with the page rendered whole, row by row.
struct RowComparison {
    bool sameSize = false;
    int differingRows = 0;
    double psnr = 0;
};

// Rows differ where a pixel of columns [0, width) is off by more than `tolerance` in a channel.
RowComparison compareRows(const QImage& result, const QImage& reference, int width, int tolerance = 8);

// Expects a scrolling capture to be the page rendered whole: the same size, every row alike in
// columns [0, width), and close in PSNR. Call through ASSERT_NO_FATAL_FAILURE.
void expectWholePage(const QImage& stitched, const QImage& page, int width);

// Where `subject` (in root coordinates) lies within an image of `captured` (also root
// coordinates): the rectangle to compare.
inline QRect within(const QRect& subject, const QRect& captured) {
    return subject.translated(-captured.topLeft());
}

} // namespace testsupport
