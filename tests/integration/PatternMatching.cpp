#include "PatternMatching.h"

#include "../helpers/TestPattern.h"

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

} // namespace testsupport
