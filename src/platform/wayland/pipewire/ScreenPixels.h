#pragma once

#include <QImage>
#include <QRect>
#include <QSize>

namespace platform::wayland {

// The byte orders in which screen casts send their 32-bit pixels, named as PipeWire names
// them: in memory order, x an unused byte.
enum class PixelLayout { bgrx, bgra, rgbx, rgba };

// `crop` of a picture of `size` pixels at `data`, rows `stride` bytes apart, as a picture of
// its own in Format_RGB32 (the screen is opaque) or, with `keepAlpha`, in
// Format_ARGB32_Premultiplied (a pointer's shape). Null when the crop leaves the picture.
QImage screenPixels(const uchar* data, QSize size, qsizetype stride, PixelLayout layout, QRect crop,
                    bool keepAlpha = false);

} // namespace platform::wayland
