#pragma once

#include <QColor>
#include <QRect>
#include <QSize>
#include <QString>

#include <array>

// The pictures test_window paints, shared with the tests that check captured pixels.
// "quadrants": red, green, blue and white quarters (top-left, top-right, bottom-left,
// bottom-right); "#rrggbb": one solid colour.
namespace testpattern {

inline bool isValid(const QString& pattern) {
    return pattern == QLatin1String("quadrants") || (pattern.startsWith('#') && QColor(pattern).isValid());
}

// The areas of a widget of this size and their colours.
struct Region {
    QRect rect;
    QColor color;
};

inline std::array<Region, 4> regions(const QString& pattern, QSize size) {
    const int w = size.width();
    const int h = size.height();
    const int left = w / 2;
    const int top = h / 2;
    if (pattern != QLatin1String("quadrants")) {
        const QColor solid(pattern);
        return {{{QRect(0, 0, w, h), solid}, {QRect(), solid}, {QRect(), solid}, {QRect(), solid}}};
    }
    return {{
        {QRect(0, 0, left, top), QColor(255, 0, 0)},
        {QRect(left, 0, w - left, top), QColor(0, 255, 0)},
        {QRect(0, top, left, h - top), QColor(0, 0, 255)},
        {QRect(left, top, w - left, h - top), QColor(255, 255, 255)},
    }};
}

inline QColor colorAt(const QString& pattern, QSize size, int x, int y) {
    for (const Region& region : regions(pattern, size)) {
        if (region.rect.contains(x, y)) return region.color;
    }
    return {};
}

} // namespace testpattern
