#include "PatternMatching.h"

#include "../helpers/TestPattern.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

namespace testsupport {

int patternMismatches(const QImage& image, const QRect& area, const QString& pattern, int tolerance) {
    if (!image.rect().contains(area)) return area.width() * area.height();
    int mismatches = 0;
    for (int y = 0; y < area.height(); ++y) {
        for (int x = 0; x < area.width(); ++x) {
            const QColor expected = testpattern::colorAt(pattern, area.size(), x, y);
            const QRgb actual = image.pixel(area.x() + x, area.y() + y);
            if (std::abs(qRed(actual) - expected.red()) > tolerance ||
                std::abs(qGreen(actual) - expected.green()) > tolerance ||
                std::abs(qBlue(actual) - expected.blue()) > tolerance)
                ++mismatches;
        }
    }
    return mismatches;
}

RowComparison compareRows(const QImage& result, const QImage& reference, int width, int tolerance) {
    RowComparison c;
    c.sameSize = result.size() == reference.size();
    if (!c.sameSize) return c;
    const QImage a = result.convertToFormat(QImage::Format_RGB32);
    const QImage b = reference.convertToFormat(QImage::Format_RGB32);
    double squared = 0;
    for (int y = 0; y < a.height(); ++y) {
        const auto* p = reinterpret_cast<const QRgb*>(a.constScanLine(y));
        const auto* q = reinterpret_cast<const QRgb*>(b.constScanLine(y));
        bool differs = false;
        for (int x = 0; x < width; ++x) {
            const int dr = qRed(p[x]) - qRed(q[x]), dg = qGreen(p[x]) - qGreen(q[x]),
                      db = qBlue(p[x]) - qBlue(q[x]);
            squared += dr * dr + dg * dg + db * db;
            if (std::abs(dr) > tolerance || std::abs(dg) > tolerance || std::abs(db) > tolerance)
                differs = true;
        }
        if (differs) ++c.differingRows;
    }
    const double mse = squared / (3.0 * width * a.height());
    c.psnr = mse == 0 ? 99 : 10 * std::log10(255.0 * 255.0 / mse);
    return c;
}

void expectWholePage(const QImage& stitched, const QImage& page, int width) {
    const RowComparison c = compareRows(stitched, page, width);
    ASSERT_TRUE(c.sameSize) << "stitched " << stitched.width() << "x" << stitched.height() << ", page "
                            << page.width() << "x" << page.height();
    EXPECT_EQ(c.differingRows, 0);
    EXPECT_GT(c.psnr, 40);
}

} // namespace testsupport
