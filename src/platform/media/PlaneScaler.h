#pragma once

#include <QRect>
#include <QRectF>

#include <array>
#include <cstdint>
#include <vector>

namespace platform::media {

// One plane of a picture: bytes, rows `stride` apart.
struct PlaneView {
    const uint8_t* data = nullptr;
    int stride = 0;
    int width = 0;
    int height = 0;
};

// Scales part of one 8-bit plane into part of another with bilinear filtering, mapping
// pixel centres the way QPainter's smooth drawImage() does, so that a view moving by a
// fraction of a pixel moves smoothly. Source rows are filtered across once each, eight
// output pixels at a time with byte shuffles where the processor has them. The tables are
// kept between calls: one scaler for each plane of a stream of pictures.
class PlaneScaler {
public:
    // Fills `fill` (whole pixels of `to`) with `from`'s `source` area shown at `place` (both in
    // plane pixels, `place` may reach past `fill`). Samples never come from outside
    // `source`'s whole pixels.
    void scale(const PlaneView& from, const QRectF& source, uint8_t* to, int toStride, const QRectF& place,
               const QRect& fill);

    // Positions are kept in 1/64ths of a pixel: the byte multiply-add takes weights up to 127,
    // and both of a pair's weights must fit.
    static constexpr int weightOne = 64;

private:
    // Where each output column or row samples: the first of two neighbouring source pixels and
    // the second one's weight (0...weightOne).
    struct Taps {
        std::vector<int> first;
        std::vector<uint8_t> weight;
    };
    // Eight output columns read from the 16 source bytes at `start`: which bytes, and their weights.
    struct Block {
        int start = 0;
        std::array<uint8_t, 16> pick{};    // pairs of byte indices
        std::array<uint8_t, 16> weights{}; // pairs of weights
    };
    static void makeTaps(Taps& taps, double sourceStart, double scale, double placeStart, int from, int count,
                         int lowest, int highest);
    void makeBlocks(int rowEnd);
    void filterRow(const uint8_t* row, uint16_t* out) const;

    Taps m_columns;
    Taps m_rows;
    std::vector<Block> m_blocks;           // the columns done eight at a time, from the first
    int m_blockColumns = 0;                // how many columns the blocks cover
    std::vector<uint16_t> m_rowBuffers[2]; // source rows filtered across, in 1/64ths
};

} // namespace platform::media
