#include "platform/wayland/pipewire/ScreenPixels.h"

namespace platform::wayland {

namespace {

// On little-endian machines B,G,R,A in memory is Qt's 0xAARRGGBB; R,G,B,A is its RGBA8888.
QImage::Format formatOf(PixelLayout layout) {
    switch (layout) {
    case PixelLayout::bgrx:
        return QImage::Format_RGB32;
    case PixelLayout::bgra:
        return QImage::Format_ARGB32;
    case PixelLayout::rgbx:
        return QImage::Format_RGBX8888;
    case PixelLayout::rgba:
        return QImage::Format_RGBA8888;
    }
    return QImage::Format_Invalid;
}

} // namespace

QImage screenPixels(const uchar* data, QSize size, qsizetype stride, PixelLayout layout, QRect crop,
                    bool keepAlpha) {
    static_assert(Q_BYTE_ORDER == Q_LITTLE_ENDIAN, "the pixel layouts are read as little-endian words");
    if (!data || size.isEmpty() || stride < qsizetype(size.width()) * 4 ||
        !QRect(QPoint(), size).contains(crop))
        return {};
    const uchar* first = data + crop.y() * stride + qsizetype(crop.x()) * 4;
    const QImage view(first, crop.width(), crop.height(), stride, formatOf(layout));
    if (keepAlpha) return view.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    // The unused byte may hold anything: every pixel is made opaque on the way.
    QImage frame(crop.size(), QImage::Format_RGB32);
    const bool swapped = layout == PixelLayout::rgbx || layout == PixelLayout::rgba;
    for (int y = 0; y < crop.height(); ++y) {
        const auto* from = reinterpret_cast<const quint32*>(first + y * stride);
        auto* to = reinterpret_cast<quint32*>(frame.scanLine(y));
        if (swapped) {
            for (int x = 0; x < crop.width(); ++x) {
                const quint32 p = from[x];
                to[x] = 0xff000000u | ((p & 0xffu) << 16) | (p & 0xff00u) | ((p >> 16) & 0xffu);
            }
        } else {
            for (int x = 0; x < crop.width(); ++x)
                to[x] = from[x] | 0xff000000u;
        }
    }
    return frame;
}

} // namespace platform::wayland
