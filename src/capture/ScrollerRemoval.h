#pragma once

#include "capture/ScrollSamples.h"

#include <QImage>
#include <QList>

#include <cstdint>
#include <optional>
#include <vector>

// The scroll bar of a scrolling capture: its knob sits elsewhere in every frame, so the
// band that holds the bar is rebuilt from clean stretches of other frames before the
// pieces are composed, and the result shows the bare track once.
namespace ScrollerRemoval {

// The grey samples of the bar in one frame: `length` lines along the scroll axis of
// `width` samples each.
struct Band {
    std::vector<uint8_t> data;
    int length = 0;
    int width = 0;
};

// Lines [start, start + length) of frame `frame`, placed one after another in the output.
struct Piece {
    int frame = 0;
    int start = 0;
    int length = 0;
};

// Lines of a clean frame copied over the band where a knob was drawn in the output.
struct Patch {
    int source = 0;      // frame index
    int sourceStart = 0; // first line in that frame
    int outputStart = 0; // first line in the output
    int length = 0;
};

// Where the bar is across the axis: samples [from, to) of every line.
struct Bar {
    int from = 0;
    int to = 0;
};

// The bar between two frames whose content moved by `offset`: a narrow run of positions,
// no wider than `edgeZone`, drawn alike all along the axis in both frames but disagreeing
// with the moved content along much of the overlap, as a knob does.
std::optional<Bar> findBar(const ScrollSamples& previous, const ScrollSamples& current, int offset, int lead,
                           int trail, int edgeZone);

Band bandOf(const ScrollSamples& frame, const Bar& bar);

// For every line of the output's band, the frame whose band is cleanest there (the knob
// absent), as patches; lines no frame shows clean are left as they are.
QList<Patch> patches(const QList<Band>& bands, const QList<Piece>& pieces);

// Copies the patches' band lines from the frames into the stitched output.
void apply(QImage& output, const QList<QImage>& frames, const QList<Patch>& patches, const Bar& bar,
           bool horizontal);

} // namespace ScrollerRemoval
