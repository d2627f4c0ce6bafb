#include "platform/media/LayeredComposer.h"

extern "C" {
#include <libavutil/frame.h>
}

#include <libyuv/convert.h>
#include <libyuv/convert_argb.h>
#include <libyuv/convert_from_argb.h>

#include <QPainter>
#include <QRegion>

#include <algorithm>
#include <cstring>

namespace platform::media {

namespace {

// `area` grown to even edges, so that it covers whole 2 × 2 blocks of the chroma planes.
QRect evenOut(const QRect& area) {
    const int left = area.left() & ~1;
    const int top = area.top() & ~1;
    const int right = (area.right() + 2) & ~1; // exclusive
    const int bottom = (area.bottom() + 2) & ~1;
    return {left, top, right - left, bottom - top};
}

// Copies columns [left, right) of rows [top, bottom) between two planes.
void copyBlock(const uint8_t* from, int fromStride, uint8_t* to, int toStride, int left, int top, int right,
               int bottom) {
    if (left >= right || top >= bottom) return;
    for (int y = top; y < bottom; ++y)
        std::memcpy(to + ptrdiff_t(y) * toStride + left, from + ptrdiff_t(y) * fromStride + left,
                    size_t(right - left));
}

// Copies what lies outside `inside` of a `size` plane.
void copyAround(const uint8_t* from, int fromStride, uint8_t* to, int toStride, QSize size,
                const QRect& inside) {
    const int w = size.width();
    const int h = size.height();
    copyBlock(from, fromStride, to, toStride, 0, 0, w, inside.top());
    copyBlock(from, fromStride, to, toStride, 0, inside.bottom() + 1, w, h);
    copyBlock(from, fromStride, to, toStride, 0, inside.top(), inside.left(), inside.bottom() + 1);
    copyBlock(from, fromStride, to, toStride, inside.right() + 1, inside.top(), w, inside.bottom() + 1);
}

// The area covered by `areas`, as rectangles that do not overlap (a part painted over twice
// would get its half-transparent edges twice). Their edges are theirs, so even ones stay even.
QList<QRect> disjoint(const QList<QRect>& areas) {
    QRegion region;
    for (const QRect& area : areas)
        region += area;
    return {region.begin(), region.end()};
}

} // namespace

LayeredComposer::LayeredComposer(const FrameLayers& layers, QSize frame) : m_layers(layers), m_size(frame) {
    m_card = layers.card(frame) & QRect(QPoint(0, 0), frame);
    m_chromaCard =
        QRect(QPoint(m_card.left() / 2, m_card.top() / 2), QPoint(m_card.right() / 2, m_card.bottom() / 2));
    m_baseRgb = layers.base(frame);
    if (m_baseRgb.size() != frame || m_baseRgb.format() != QImage::Format_RGB32) {
        const QImage given = m_baseRgb;
        m_baseRgb = QImage(frame, QImage::Format_RGB32);
        m_baseRgb.fill(Qt::black);
        if (!given.isNull()) {
            QPainter painter(&m_baseRgb);
            painter.drawImage(0, 0, given);
        }
    }
    const int chromaWidth = (frame.width() + 1) / 2;
    const int chromaHeight = (frame.height() + 1) / 2;
    m_baseStrides = {frame.width(), chromaWidth, chromaWidth};
    m_basePlanes[0].resize(size_t(frame.width()) * size_t(frame.height()));
    m_basePlanes[1].resize(size_t(chromaWidth) * size_t(chromaHeight));
    m_basePlanes[2].resize(size_t(chromaWidth) * size_t(chromaHeight));
    libyuv::ARGBToI420(m_baseRgb.constBits(), int(m_baseRgb.bytesPerLine()), m_basePlanes[0].data(),
                       m_baseStrides[0], m_basePlanes[1].data(), m_baseStrides[1], m_basePlanes[2].data(),
                       m_baseStrides[2], frame.width(), frame.height());
}

void LayeredComposer::compose(AVFrame* target, const AVFrame* picture, double time, const QImage& camera) {
    copyBaseAround(target);
    scalePicture(target, picture, time);
    for (const QRect& tile : tiles(time, !camera.isNull()))
        paintTile(target, tile, time, camera);
}

void LayeredComposer::copyBaseAround(AVFrame* target) const {
    const QSize chroma((m_size.width() + 1) / 2, (m_size.height() + 1) / 2);
    copyAround(m_basePlanes[0].data(), m_baseStrides[0], target->data[0], target->linesize[0], m_size,
               m_card);
    for (int plane = 1; plane < 3; ++plane)
        copyAround(m_basePlanes[size_t(plane)].data(), m_baseStrides[size_t(plane)], target->data[plane],
                   target->linesize[plane], chroma, m_chromaCard);
}

void LayeredComposer::scalePicture(AVFrame* target, const AVFrame* picture, double time) {
    const QSize size(picture->width, picture->height);
    const QRectF view = m_layers.view(m_size, time, size);
    if (view.isEmpty()) return;
    // The chroma planes hold a sample for each 2 × 2 block: the same places at half scale.
    const auto half = [](const QRectF& r) { return QRectF(r.topLeft() / 2, r.size() / 2); };
    m_scalers[0].scale({picture->data[0], picture->linesize[0], size.width(), size.height()}, view,
                       target->data[0], target->linesize[0], QRectF(m_card), m_card);
    const int chromaWidth = (size.width() + 1) / 2;
    const int chromaHeight = (size.height() + 1) / 2;
    for (int plane = 1; plane < 3; ++plane)
        m_scalers[size_t(plane)].scale(
            {picture->data[plane], picture->linesize[plane], chromaWidth, chromaHeight}, half(view),
            target->data[plane], target->linesize[plane], half(QRectF(m_card)), m_chromaCard);
}

QList<QRect> LayeredComposer::tiles(double time, bool camera) const {
    QList<QRect> areas = m_layers.paintedAreas(m_size, time, camera);
    // Where the card's edge splits a 2 × 2 block, its chroma holds the picture's colour alone:
    // those blocks are redone from both sides' pixels.
    if (m_card.left() % 2 != 0) areas.append(QRect(m_card.left() - 1, m_card.top(), 2, m_card.height()));
    if (m_card.right() % 2 == 0) areas.append(QRect(m_card.right(), m_card.top(), 2, m_card.height()));
    if (m_card.top() % 2 != 0) areas.append(QRect(m_card.left(), m_card.top() - 1, m_card.width(), 2));
    if (m_card.bottom() % 2 == 0) areas.append(QRect(m_card.left(), m_card.bottom(), m_card.width(), 2));
    const QRect frame(QPoint(0, 0), QSize(m_size.width() & ~1, m_size.height() & ~1));
    for (QRect& area : areas)
        area = evenOut(area) & frame;
    areas.removeIf([](const QRect& area) { return area.isEmpty(); });
    return disjoint(areas);
}

void LayeredComposer::paintTile(AVFrame* target, const QRect& tile, double time, const QImage& camera) {
    if (m_tile.width() < tile.width() || m_tile.height() < tile.height())
        m_tile = QImage(std::max(m_tile.width(), tile.width()), std::max(m_tile.height(), tile.height()),
                        QImage::Format_RGB32);
    // A view of the tile's size on the kept buffer.
    QImage rgb(m_tile.bits(), tile.width(), tile.height(), m_tile.bytesPerLine(), QImage::Format_RGB32);
    const int x = tile.left();
    const int y = tile.top();
    const auto at = [&](int plane, int col, int row) {
        return target->data[plane] + ptrdiff_t(row) * target->linesize[plane] + col;
    };
    libyuv::I420ToARGB(at(0, x, y), target->linesize[0], at(1, x / 2, y / 2), target->linesize[1],
                       at(2, x / 2, y / 2), target->linesize[2], rgb.bits(), int(rgb.bytesPerLine()),
                       tile.width(), tile.height());
    // Outside the card the base's own pixels, not their 4:2:0 approximation.
    const QRect picturePart = m_card.translated(-x, -y);
    for (int row = 0; row < tile.height(); ++row) {
        const auto* from = reinterpret_cast<const uint32_t*>(m_baseRgb.constScanLine(y + row)) + x;
        auto* to = reinterpret_cast<uint32_t*>(rgb.scanLine(row));
        if (row < picturePart.top() || row > picturePart.bottom()) {
            std::memcpy(to, from, size_t(tile.width()) * 4);
            continue;
        }
        const int left = std::clamp(picturePart.left(), 0, tile.width());
        const int right = std::clamp(picturePart.right() + 1, 0, tile.width());
        std::memcpy(to, from, size_t(left) * 4);
        std::memcpy(to + right, from + right, size_t(tile.width() - right) * 4);
    }
    {
        QPainter painter(&rgb);
        painter.translate(-x, -y);
        m_layers.paintOver(painter, m_size, time, camera);
    }
    libyuv::ARGBToI420(rgb.constBits(), int(rgb.bytesPerLine()), at(0, x, y), target->linesize[0],
                       at(1, x / 2, y / 2), target->linesize[1], at(2, x / 2, y / 2), target->linesize[2],
                       tile.width(), tile.height());
}

} // namespace platform::media
