#include "platform/ocr/ImagePreparation.h"

#include <QPainter>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <vector>

namespace platform::ocr {
namespace {

constexpr int darkLevel = 128;

// One byte per pixel, row after row.
class Plane {
public:
    Plane(int width, int height, uint8_t value = 0)
        : w(width), h(height), values(size_t(width) * size_t(height), value) {}
    uint8_t& operator()(int x, int y) { return values[size_t(y) * size_t(w) + size_t(x)]; }
    uint8_t operator()(int x, int y) const { return values[size_t(y) * size_t(w) + size_t(x)]; }
    const int w, h;
    std::vector<uint8_t> values;
};

// Labels the 8-connected components of a plane's non-zero pixels: each gets the index of
// its component's root pixel, the others -1.
std::vector<int32_t> components(const Plane& mask) {
    const int w = mask.w, h = mask.h;
    std::vector<int32_t> parent(mask.values.size(), -1);
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
            if (!mask(x, y)) continue;
            const int32_t i = y * w + x;
            parent[size_t(i)] = i;
            if (x > 0 && mask(x - 1, y)) unite(i, i - 1);
            if (y == 0) continue;
            for (int nx = std::max(0, x - 1); nx <= std::min(w - 1, x + 1); ++nx)
                if (mask(nx, y - 1)) unite(i, (y - 1) * w + nx);
        }
    for (size_t i = 0; i < parent.size(); ++i)
        if (parent[i] >= 0) parent[i] = find(int32_t(i));
    return parent;
}

QImage toGray(const QImage& image) {
    if (image.format() == QImage::Format_Grayscale8) return image.copy();
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

double meanLevel(const QImage& gray) {
    uint64_t sum = 0;
    for (int y = 0; y < gray.height(); ++y) {
        const uchar* row = gray.constScanLine(y);
        sum += std::accumulate(row, row + gray.width(), uint64_t(0));
    }
    return double(sum) / std::max<double>(1, double(gray.width()) * gray.height());
}

// Pixels whose square neighbourhood of the given radius is one level.
Plane flatPixels(const QImage& gray, int radius) {
    const int w = gray.width(), h = gray.height();
    Plane low(w, h), high(w, h), flat(w, h);
    for (int y = 0; y < h; ++y) {
        const uchar* row = gray.constScanLine(y);
        for (int x = 0; x < w; ++x) {
            const uchar* first = row + std::max(0, x - radius);
            const uchar* last = row + std::min(w - 1, x + radius) + 1;
            const auto [mn, mx] = std::minmax_element(first, last);
            low(x, y) = *mn, high(x, y) = *mx;
        }
    }
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            int mn = 255, mx = 0;
            for (int yy = std::max(0, y - radius); yy <= std::min(h - 1, y + radius); ++yy)
                mn = std::min<int>(mn, low(x, yy)), mx = std::max<int>(mx, high(x, yy));
            flat(x, y) = mx - mn <= 6 ? 1 : 0;
        }
    return flat;
}

// The pixels of backgrounds: flat pixels (the antialiased strokes of text are hardly ever
// flat) in connected areas too large to be the inside of a bold glyph: at least 400 pixels,
// or holding a flat 7x7 square, which the strokes of interface text are too thin to hold
// (bold 16 px at 2x included; a 5x5 square hollowed those out, a 9x9 one missed the insides
// of small buttons, measured by bench/ocr_bench.cpp).
Plane backgroundPixels(const QImage& gray) {
    const int w = gray.width(), h = gray.height();
    const Plane flat = flatPixels(gray, 1), solid = flatPixels(gray, 3);
    const std::vector<int32_t> root = components(flat);
    std::vector<int32_t> area(root.size(), 0);
    std::vector<uint8_t> hasSolid(root.size(), 0);
    for (size_t i = 0; i < root.size(); ++i)
        if (root[i] >= 0) {
            ++area[size_t(root[i])];
            if (solid.values[i]) hasSolid[size_t(root[i])] = 1;
        }
    Plane background(w, h);
    for (size_t i = 0; i < root.size(); ++i)
        if (root[i] >= 0) background.values[i] = area[size_t(root[i])] >= 400 || hasSolid[size_t(root[i])];
    return background;
}

// Makes every background white and the text on it dark. Each pixel takes the level of the
// nearest background pixel (by two chamfer passes): when that is dark, the pixel is
// inverted; then it is stretched so that its background becomes white. A light glyph on a
// dark row is inverted with its row, whose edges the decision follows exactly.
void normaliseBackgrounds(QImage& gray) {
    const int w = gray.width(), h = gray.height();
    const Plane background = backgroundPixels(gray);
    constexpr uint16_t far = 0xffff;
    std::vector<uint16_t> distance(size_t(w) * size_t(h), far);
    Plane level(w, h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            if (background(x, y)) {
                distance[size_t(y) * size_t(w) + size_t(x)] = 0;
                level(x, y) = gray.constScanLine(y)[x];
            }
    const auto relax = [&](int x, int y, int nx, int ny, int step) {
        if (nx < 0 || nx >= w || ny < 0 || ny >= h) return;
        const size_t from = size_t(ny) * size_t(w) + size_t(nx), to = size_t(y) * size_t(w) + size_t(x);
        if (distance[from] == far || distance[from] + step >= distance[to]) return;
        distance[to] = uint16_t(std::min<int>(far - 1, distance[from] + step));
        level(x, y) = level(nx, ny);
    };
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            relax(x, y, x - 1, y, 3), relax(x, y, x - 1, y - 1, 4);
            relax(x, y, x, y - 1, 3), relax(x, y, x + 1, y - 1, 4);
        }
    for (int y = h - 1; y >= 0; --y)
        for (int x = w - 1; x >= 0; --x) {
            relax(x, y, x + 1, y, 3), relax(x, y, x + 1, y + 1, 4);
            relax(x, y, x, y + 1, 3), relax(x, y, x - 1, y + 1, 4);
        }
    const bool anyBackground = distance[0] != far;
    const bool darkImage = meanLevel(gray) < darkLevel;
    for (int y = 0; y < h; ++y) {
        uchar* row = gray.scanLine(y);
        for (int x = 0; x < w; ++x) {
            int p = row[x];
            // Without any background (a crop of a single word) the image's mean decides.
            int b = anyBackground ? level(x, y) : (darkImage ? 0 : 255);
            if (b < darkLevel) p = 255 - p, b = 255 - b;
            row[x] = uchar(std::min(255, p * 255 / std::max(1, b)));
        }
    }
}

} // namespace

QRectF PreparedImage::toOriginal(const QRect& prepared, const QSize& original) const {
    const QRectF r((prepared.x() - padding) / scale, (prepared.y() - padding) / scale,
                   prepared.width() / scale, prepared.height() / scale);
    return r.intersected(QRectF(QPointF(0, 0), QSizeF(original)));
}

namespace {

// Ink for measuring glyphs, and anything visible at all for finding frames, which are often
// drawn faint.
constexpr int inkLevel = 160, visibleLevel = 224;

// A connected mark of ink: a glyph (or a few touching ones), a frame, a rule.
struct Mark {
    int top = INT32_MAX, bottom = -1, left = INT32_MAX, right = -1;
    int pixels = 0;
    int width() const { return right - left + 1; }
    int height() const { return bottom - top + 1; }
};

struct Marks {
    std::vector<int32_t> root; // per pixel: the index of its mark, or -1
    std::vector<Mark> marks;   // indexed by root; unused entries have bottom < 0
};

Marks findMarks(const QImage& gray, int below) {
    const int w = gray.width(), h = gray.height();
    Plane ink(w, h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            ink(x, y) = gray.constScanLine(y)[x] < below ? 1 : 0;
    Marks out{components(ink), {}};
    out.marks.resize(out.root.size());
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const int32_t r = out.root[size_t(y) * size_t(w) + size_t(x)];
            if (r < 0) continue;
            Mark& m = out.marks[size_t(r)];
            m.top = std::min(m.top, y), m.bottom = std::max(m.bottom, y);
            m.left = std::min(m.left, x), m.right = std::max(m.right, x);
            ++m.pixels;
        }
    return out;
}

double medianGlyphHeight(const Marks& found) {
    std::vector<int> heights;
    for (const Mark& m : found.marks) {
        // Glyph-like: not a dot or a rule, not a panel.
        if (m.bottom >= 0 && m.height() >= 4 && m.height() <= 120 && m.width() <= 3 * m.height())
            heights.push_back(m.height());
    }
    if (heights.size() < 3) return 0;
    std::nth_element(heights.begin(), heights.begin() + qsizetype(heights.size() / 2), heights.end());
    return heights[heights.size() / 2];
}

// Erases what Tesseract would read as letters but is not text: the outlines of buttons, fields
// and pictures (taller and wider than glyphs, and mostly hollow), and rules (long and thin).
// Text touching a frame makes one mark with it, too full to be taken for an outline.
void eraseFramesAndRules(QImage& gray, const Marks& found, double glyph) {
    const int w = gray.width(), h = gray.height();
    std::vector<uint8_t> erase(found.marks.size(), 0);
    bool any = false;
    for (size_t i = 0; i < found.marks.size(); ++i) {
        const Mark& m = found.marks[i];
        if (m.bottom < 0) continue;
        const double mw = m.width(), mh = m.height(), thin = std::max(2.0, glyph / 4);
        const bool outline = mh >= 1.6 * glyph && mw >= 1.6 * glyph && m.pixels < 0.2 * mw * mh;
        const bool rule = (mh <= thin && mw >= 3 * glyph) || (mw <= thin && mh >= 2.5 * glyph);
        erase[i] = outline || rule;
        any = any || erase[i];
    }
    if (!any) return;
    // The mark and the antialiased pixels around it.
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const int32_t r = found.root[size_t(y) * size_t(w) + size_t(x)];
            if (r < 0 || !erase[size_t(r)]) continue;
            for (int ny = std::max(0, y - 1); ny <= std::min(h - 1, y + 1); ++ny)
                for (int nx = std::max(0, x - 1); nx <= std::min(w - 1, x + 1); ++nx) {
                    const int32_t n = found.root[size_t(ny) * size_t(w) + size_t(nx)];
                    if (n < 0 || n == r) gray.scanLine(ny)[nx] = 255;
                }
        }
}

} // namespace

std::vector<QRect> inkMarks(const QImage& gray, int below) {
    std::vector<QRect> boxes;
    if (gray.isNull()) return boxes;
    for (const Mark& m : findMarks(gray, below).marks)
        if (m.bottom >= 0) boxes.emplace_back(QPoint(m.left, m.top), QPoint(m.right, m.bottom));
    return boxes;
}

double medianGlyphHeight(const QImage& gray) {
    if (gray.width() < 3 || gray.height() < 3) return 0;
    return medianGlyphHeight(findMarks(gray, inkLevel));
}

PreparedImage prepareImage(const QImage& image, const Preparation& how) {
    PreparedImage out;
    QImage gray = toGray(image);
    if (gray.isNull()) return out;
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
    double glyph = 0;
    if (gray.width() >= 3 && gray.height() >= 3 && (how.scale <= 0 || how.eraseFrames)) {
        glyph = medianGlyphHeight(findMarks(gray, inkLevel));
        if (how.eraseFrames && glyph > 0 && how.inversion == Preparation::Inversion::local)
            eraseFramesAndRules(gray, findMarks(gray, visibleLevel), glyph);
    }
    double scale = how.scale;
    if (scale <= 0 && glyph > 0) scale = std::clamp(how.targetGlyphHeight / glyph, 1.0, how.maxScale);
    // Too few glyphs to measure (a word or two): 1x captures are doubled, 2x ones kept.
    if (scale <= 0) scale = std::clamp(image.devicePixelRatio() >= 1.5 ? 1.0 : 2.0, 1.0, how.maxScale);
    const double side = std::max(gray.width(), gray.height()) + 2.0 * how.padding;
    const double area = double(gray.width()) * gray.height();
    scale = std::min({scale, 30000.0 / side, std::sqrt(how.maxPixels / std::max(1.0, area))});
    out.scale = scale;
    out.padding = how.padding;
    out.glyphHeight = glyph * scale;
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
