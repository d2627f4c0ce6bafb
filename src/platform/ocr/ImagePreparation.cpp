#include "platform/ocr/ImagePreparation.h"

#include <QPainter>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <vector>

namespace platform::ocr {
namespace {

// Sums over rectangles of a per-pixel value in constant time.
class IntegralImage {
public:
    template <typename ValueOf> IntegralImage(int width, int height, ValueOf valueOf) : w_(width + 1) {
        sums_.assign(size_t(w_) * size_t(height + 1), 0);
        for (int y = 0; y < height; ++y) {
            uint32_t rowSum = 0;
            for (int x = 0; x < width; ++x) {
                rowSum += valueOf(x, y);
                at(x + 1, y + 1) = at(x + 1, y) + rowSum;
            }
        }
    }
    // Sum over [x0, x1) x [y0, y1).
    uint32_t sum(int x0, int y0, int x1, int y1) const {
        return at(x1, y1) - at(x0, y1) - at(x1, y0) + at(x0, y0);
    }

private:
    uint32_t& at(int x, int y) { return sums_[size_t(y) * size_t(w_) + size_t(x)]; }
    uint32_t at(int x, int y) const { return sums_[size_t(y) * size_t(w_) + size_t(x)]; }
    int w_;
    std::vector<uint32_t> sums_;
};

constexpr int darkLevel = 128;

QImage toGray(const QImage& image) {
    if (image.format() == QImage::Format_Grayscale8) return image;
    if (!image.hasAlphaChannel()) return image.convertToFormat(QImage::Format_Grayscale8);
    // Transparent pixels count as white, the usual canvas.
    QImage flat(image.size(), QImage::Format_RGB32);
    flat.fill(Qt::white);
    QPainter(&flat).drawImage(0, 0, image);
    return flat.convertToFormat(QImage::Format_Grayscale8);
}

void invertAll(QImage& gray) {
    for (int y = 0; y < gray.height(); ++y) {
        uchar* row = gray.scanLine(y);
        for (int x = 0; x < gray.width(); ++x)
            row[x] = uchar(255 - row[x]);
    }
}

// Pixels whose 3x3 neighbourhood is one level: the backgrounds of panels, rows and buttons,
// hardly ever the antialiased strokes of small text.
std::vector<uint8_t> flatPixels(const QImage& gray) {
    const int w = gray.width(), h = gray.height();
    std::vector<uint8_t> rowMin(size_t(w) * size_t(h)), rowMax(rowMin.size()), flat(rowMin.size());
    for (int y = 0; y < h; ++y) {
        const uchar* row = gray.constScanLine(y);
        for (int x = 0; x < w; ++x) {
            const int x0 = std::max(0, x - 1), x1 = std::min(w - 1, x + 1);
            rowMin[size_t(y) * size_t(w) + size_t(x)] = std::min({row[x0], row[x], row[x1]});
            rowMax[size_t(y) * size_t(w) + size_t(x)] = std::max({row[x0], row[x], row[x1]});
        }
    }
    for (int y = 0; y < h; ++y) {
        const int y0 = std::max(0, y - 1), y1 = std::min(h - 1, y + 1);
        for (int x = 0; x < w; ++x) {
            const auto at = [&](int yy) { return size_t(yy) * size_t(w) + size_t(x); };
            const int low = std::min({rowMin[at(y0)], rowMin[at(y)], rowMin[at(y1)]});
            const int high = std::max({rowMax[at(y0)], rowMax[at(y)], rowMax[at(y1)]});
            flat[at(y)] = high - low <= 6 ? 1 : 0;
        }
    }
    return flat;
}

// Makes every background light and stretches it to white, leaving text dark. A pixel's
// background is what most of the nearest flat pixels are: dark or light, and at which mean
// level. Text hardly counts (its antialiased strokes are not flat), so the decision follows
// the edges of rows, panels and buttons, and a light glyph on a dark row is inverted with it.
void normaliseBackgrounds(QImage& gray) {
    const int w = gray.width(), h = gray.height();
    const std::vector<uint8_t> flat = flatPixels(gray);
    const auto level = [&](int x, int y) { return gray.constScanLine(y)[x]; };
    const auto isFlat = [&](int x, int y) { return flat[size_t(y) * size_t(w) + size_t(x)] != 0; };
    const IntegralImage darkCount(
        w, h, [&](int x, int y) { return isFlat(x, y) && level(x, y) < darkLevel ? 1u : 0u; });
    const IntegralImage lightCount(
        w, h, [&](int x, int y) { return isFlat(x, y) && level(x, y) >= darkLevel ? 1u : 0u; });
    const IntegralImage darkSum(
        w, h, [&](int x, int y) { return isFlat(x, y) && level(x, y) < darkLevel ? level(x, y) : 0u; });
    const IntegralImage lightSum(w, h, [&](int x, int y) {
        return isFlat(x, y) && level(x, y) >= darkLevel ? uint32_t(level(x, y)) : 0u;
    });
    QImage out(w, h, QImage::Format_Grayscale8);
    for (int y = 0; y < h; ++y) {
        uchar* row = out.scanLine(y);
        for (int x = 0; x < w; ++x) {
            uint32_t dark = 0, light = 0;
            int x0 = 0, y0 = 0, x1 = 0, y1 = 0;
            // The nearest background decides: the pixel itself when flat, else the smallest
            // window around it with a few flat pixels.
            for (const int radius : {0, 2, 4, 8, 16, 32, 64}) {
                x0 = std::max(0, x - radius), x1 = std::min(w, x + radius + 1);
                y0 = std::max(0, y - radius), y1 = std::min(h, y + radius + 1);
                dark = darkCount.sum(x0, y0, x1, y1), light = lightCount.sum(x0, y0, x1, y1);
                if (dark + light >= (radius == 0 ? 1u : 4u)) break;
            }
            const int p = level(x, y);
            if (dark + light == 0) {
                row[x] = uchar(p);
            } else if (dark > light) {
                const int background = 255 - int(darkSum.sum(x0, y0, x1, y1) / dark);
                row[x] = uchar(std::min(255, (255 - p) * 255 / std::max(1, background)));
            } else {
                const int background = int(lightSum.sum(x0, y0, x1, y1) / light);
                row[x] = uchar(std::min(255, p * 255 / std::max(1, background)));
            }
        }
    }
    gray = out;
}

double meanLevel(const QImage& gray) {
    uint64_t sum = 0;
    for (int y = 0; y < gray.height(); ++y) {
        const uchar* row = gray.constScanLine(y);
        sum += std::accumulate(row, row + gray.width(), uint64_t(0));
    }
    return double(sum) / std::max<double>(1, double(gray.width()) * gray.height());
}

} // namespace

QRectF PreparedImage::toOriginal(const QRect& prepared, const QSize& original) const {
    const QRectF r((prepared.x() - padding) / scale, (prepared.y() - padding) / scale,
                   prepared.width() / scale, prepared.height() / scale);
    return r.intersected(QRectF(QPointF(0, 0), QSizeF(original)));
}

double medianGlyphHeight(const QImage& gray) {
    const int w = gray.width(), h = gray.height();
    if (w < 3 || h < 3) return 0;
    // Ink: clearly darker than the mean of its surroundings.
    const IntegralImage level(w, h, [&](int x, int y) { return uint32_t(gray.constScanLine(y)[x]); });
    const int radius = 12;
    std::vector<uint8_t> ink(size_t(w) * size_t(h));
    for (int y = 0; y < h; ++y) {
        const uchar* row = gray.constScanLine(y);
        const int y0 = std::max(0, y - radius), y1 = std::min(h, y + radius + 1);
        for (int x = 0; x < w; ++x) {
            const int x0 = std::max(0, x - radius), x1 = std::min(w, x + radius + 1);
            const double mean = double(level.sum(x0, y0, x1, y1)) / double((x1 - x0) * (y1 - y0));
            ink[size_t(y) * size_t(w) + size_t(x)] = row[x] + 40 < mean ? 1 : 0;
        }
    }
    // 8-connected components by union-find over the pixels, tracking their vertical extent.
    std::vector<int32_t> parent(ink.size(), -1);
    const auto find = [&](int32_t i) {
        while (parent[size_t(i)] != i) {
            parent[size_t(i)] = parent[size_t(parent[size_t(i)])];
            i = parent[size_t(i)];
        }
        return i;
    };
    const auto unite = [&](int32_t a, int32_t b) {
        a = find(a), b = find(b);
        if (a != b) parent[size_t(std::max(a, b))] = std::min(a, b);
    };
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const int32_t i = y * w + x;
            if (!ink[size_t(i)]) continue;
            parent[size_t(i)] = i;
            if (x > 0 && ink[size_t(i - 1)]) unite(i, i - 1);
            if (y > 0) {
                for (int dx = -1; dx <= 1; ++dx) {
                    const int nx = x + dx;
                    if (nx >= 0 && nx < w && ink[size_t(i - w + dx)]) unite(i, i - w + dx);
                }
            }
        }
    struct Extent {
        int top = INT32_MAX, bottom = -1, left = INT32_MAX, right = -1;
    };
    std::vector<Extent> extents(ink.size());
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const int32_t i = y * w + x;
            if (!ink[size_t(i)]) continue;
            Extent& e = extents[size_t(find(i))];
            e.top = std::min(e.top, y), e.bottom = std::max(e.bottom, y);
            e.left = std::min(e.left, x), e.right = std::max(e.right, x);
        }
    std::vector<int> heights;
    for (size_t i = 0; i < extents.size(); ++i) {
        const Extent& e = extents[i];
        if (e.bottom < 0) continue;
        const int eh = e.bottom - e.top + 1, ew = e.right - e.left + 1;
        // Glyph-like: not a dot or a rule, not a panel.
        if (eh >= 4 && eh <= 120 && ew <= 3 * eh) heights.push_back(eh);
    }
    if (heights.size() < 3) return 0;
    std::nth_element(heights.begin(), heights.begin() + qsizetype(heights.size() / 2), heights.end());
    return heights[heights.size() / 2];
}

PreparedImage prepareImage(const QImage& image, const Preparation& how) {
    PreparedImage out;
    QImage gray = toGray(image);
    if (gray.isNull()) return out;
    if (gray.format() == image.format()) gray = gray.copy(); // detached from the caller's pixels
    gray.setDevicePixelRatio(1);
    switch (how.inversion) {
    case Preparation::Inversion::none:
        break;
    case Preparation::Inversion::wholeImage:
        if (meanLevel(gray) < darkLevel) invertAll(gray);
        break;
    case Preparation::Inversion::local:
        normaliseBackgrounds(gray);
        break;
    }
    double scale = how.scale;
    if (scale <= 0) {
        const double glyph = medianGlyphHeight(gray);
        scale = glyph > 0 ? std::clamp(how.targetGlyphHeight / glyph, 1.0, how.maxScale) : 1.0;
    }
    out.scale = scale;
    out.padding = how.padding;
    const QSize scaled(int(std::lround(gray.width() * scale)), int(std::lround(gray.height() * scale)));
    if (scaled != gray.size()) gray = gray.scaled(scaled, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    if (how.padding > 0) {
        // The padding takes the level of the image's top-left corner, its likely background.
        const uchar background = gray.constScanLine(0)[0];
        QImage padded(gray.width() + 2 * how.padding, gray.height() + 2 * how.padding,
                      QImage::Format_Grayscale8);
        for (int y = 0; y < padded.height(); ++y) {
            uchar* row = padded.scanLine(y);
            std::fill(row, row + padded.width(), background);
            const int source = y - how.padding;
            if (source >= 0 && source < gray.height())
                std::copy_n(gray.constScanLine(source), gray.width(), row + how.padding);
        }
        gray = padded;
    }
    out.gray = gray;
    return out;
}

} // namespace platform::ocr
