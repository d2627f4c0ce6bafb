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

// The 8-connected components of a plane's non-zero pixels: each such pixel gets the number
// of its component, from 0 to count - 1, the others -1.
struct Components {
    std::vector<int32_t> label;
    int32_t count = 0;
};

Components components(const Plane& mask) {
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
    // Every pixel pointed at its root, which comes before its members: one pass in order
    // numbers the roots and hands their numbers on.
    for (size_t i = 0; i < parent.size(); ++i)
        if (parent[i] >= 0) parent[i] = find(int32_t(i));
    Components out;
    for (size_t i = 0; i < parent.size(); ++i)
        if (parent[i] >= 0) parent[i] = parent[i] == int32_t(i) ? out.count++ : parent[size_t(parent[i])];
    out.label = std::move(parent);
    return out;
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
    // Minimum and maximum over each row's window first, then over the column's; the inner
    // loops run along rows, which the compiler vectorises.
    Plane low(w, h), high(w, h), flat(w, h);
    for (int y = 0; y < h; ++y) {
        const uchar* row = gray.constScanLine(y);
        uint8_t* mn = &low(0, y);
        uint8_t* mx = &high(0, y);
        std::copy_n(row, w, mn);
        std::copy_n(row, w, mx);
        for (int d = 1; d <= radius && d < w; ++d) {
            const auto take = [&](int x, uchar left, uchar right) {
                mn[x] = std::min({mn[x], left, right});
                mx[x] = std::max({mx[x], left, right});
            };
            for (int x = 0; x < std::min(d, w); ++x)
                take(x, row[0], row[std::min(w - 1, x + d)]);
            for (int x = d; x < w - d; ++x)
                take(x, row[x - d], row[x + d]);
            for (int x = std::max(d, w - d); x < w; ++x)
                take(x, row[x - d], row[w - 1]);
        }
    }
    std::vector<uint8_t> mn(size_t(w), 255), mx(size_t(w), 0);
    for (int y = 0; y < h; ++y) {
        std::fill(mn.begin(), mn.end(), uint8_t(255));
        std::fill(mx.begin(), mx.end(), uint8_t(0));
        for (int yy = std::max(0, y - radius); yy <= std::min(h - 1, y + radius); ++yy) {
            const uint8_t* l = &low(0, yy);
            const uint8_t* u = &high(0, yy);
            for (int x = 0; x < w; ++x)
                mn[size_t(x)] = std::min(mn[size_t(x)], l[x]), mx[size_t(x)] = std::max(mx[size_t(x)], u[x]);
        }
        uint8_t* out = &flat(0, y);
        for (int x = 0; x < w; ++x)
            out[x] = mx[size_t(x)] - mn[size_t(x)] <= 6 ? 1 : 0;
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
    const Components flatAreas = components(flat);
    std::vector<int32_t> area(size_t(flatAreas.count), 0);
    std::vector<uint8_t> hasSolid(size_t(flatAreas.count), 0);
    for (size_t i = 0; i < flatAreas.label.size(); ++i)
        if (const int32_t c = flatAreas.label[i]; c >= 0) {
            ++area[size_t(c)];
            if (solid.values[i]) hasSolid[size_t(c)] = 1;
        }
    Plane background(w, h);
    for (size_t i = 0; i < flatAreas.label.size(); ++i)
        if (const int32_t c = flatAreas.label[i]; c >= 0)
            background.values[i] = area[size_t(c)] >= 400 || hasSolid[size_t(c)];
    return background;
}

// Makes every background white and the text on it dark. Each pixel takes the level of the
// nearest background pixel (by two chamfer passes): when that is dark, the pixel is
// inverted; then it is stretched so that its background becomes white. A light glyph on a
// dark row is inverted with its row, whose edges the decision follows exactly.
void normaliseBackgrounds(QImage& gray) {
    const int w = gray.width(), h = gray.height();
    const Plane background = backgroundPixels(gray);
    // Distances and levels with a border of one pixel that never passes anything on, so that
    // the passes need no bounds checks.
    constexpr uint16_t far = 0xffff;
    const int stride = w + 2;
    std::vector<uint16_t> distance(size_t(stride) * size_t(h + 2), far);
    std::vector<uint8_t> level(distance.size(), 0);
    const auto at = [&](int x, int y) { return size_t(y + 1) * size_t(stride) + size_t(x + 1); };
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            if (background(x, y)) {
                distance[at(x, y)] = 0;
                level[at(x, y)] = gray.constScanLine(y)[x];
            }
    const auto relax = [&](size_t to, size_t from, int step) {
        if (distance[from] == far || distance[from] + step >= distance[to]) return;
        distance[to] = uint16_t(std::min<int>(far - 1, distance[from] + step));
        level[to] = level[from];
    };
    const size_t up = size_t(stride);
    for (int y = 0; y < h; ++y)
        for (size_t i = at(0, y), end = i + size_t(w); i < end; ++i) {
            relax(i, i - 1, 3), relax(i, i - up - 1, 4);
            relax(i, i - up, 3), relax(i, i - up + 1, 4);
        }
    for (int y = h - 1; y >= 0; --y)
        for (size_t i = at(w - 1, y), end = at(0, y); i + 1 > end; --i) {
            relax(i, i + 1, 3), relax(i, i + up + 1, 4);
            relax(i, i + up, 3), relax(i, i + up - 1, 4);
        }
    const bool anyBackground = distance[at(0, 0)] != far;
    const bool darkImage = meanLevel(gray) < darkLevel;
    for (int y = 0; y < h; ++y) {
        uchar* row = gray.scanLine(y);
        for (int x = 0; x < w; ++x) {
            int p = row[x];
            // Without any background (a crop of a single word) the image's mean decides.
            int b = anyBackground ? level[at(x, y)] : (darkImage ? 0 : 255);
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
    std::vector<int32_t> label; // per pixel: the number of its mark, or -1
    std::vector<Mark> marks;    // by number
};

Marks findMarks(const QImage& gray, int below) {
    const int w = gray.width(), h = gray.height();
    Plane ink(w, h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            ink(x, y) = gray.constScanLine(y)[x] < below ? 1 : 0;
    Components found = components(ink);
    Marks out{std::move(found.label), std::vector<Mark>(size_t(found.count))};
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const int32_t r = out.label[size_t(y) * size_t(w) + size_t(x)];
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
        if (m.height() >= 4 && m.height() <= 120 && m.width() <= 3 * m.height())
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
            const int32_t r = found.label[size_t(y) * size_t(w) + size_t(x)];
            if (r < 0 || !erase[size_t(r)]) continue;
            for (int ny = std::max(0, y - 1); ny <= std::min(h - 1, y + 1); ++ny)
                for (int nx = std::max(0, x - 1); nx <= std::min(w - 1, x + 1); ++nx) {
                    const int32_t n = found.label[size_t(ny) * size_t(w) + size_t(nx)];
                    if (n < 0 || n == r) gray.scanLine(ny)[nx] = 255;
                }
        }
}

} // namespace

std::vector<QRect> inkMarks(const QImage& gray, int below) {
    std::vector<QRect> boxes;
    if (gray.isNull()) return boxes;
    for (const Mark& m : findMarks(gray, below).marks)
        boxes.emplace_back(QPoint(m.left, m.top), QPoint(m.right, m.bottom));
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
