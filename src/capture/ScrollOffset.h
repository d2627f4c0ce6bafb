#pragma once

#include "capture/ScrollSamples.h"

// How far the content moved between two frames of a scrolling capture.
namespace ScrollOffset {

// Offsets measured within this share of the expected one are taken as they are.
inline constexpr double acceptedLow = 0.5;
inline constexpr double acceptedHigh = 1.15;

struct Measurement {
    enum class Kind {
        moved, // the content moved forward by `offset`
        still, // the two frames show the same: the content did not move
        lost,  // no offset explains the second frame: something else changed
    };
    Kind kind = Kind::lost;
    int offset = 0;
    int frozenLead = 0;    // lines at the leading edge (top, or left) that stayed in place
    int frozenTrail = 0;   // the same at the trailing edge: fixed headers and footers
    double mismatch = 1.0; // share of the overlapping lines that differ at `offset`
};

// Compares `current` with `previous` shifted by every offset along the axis, leaving out
// the lines that did not move at either edge. `expected` is how far the scroll should have
// moved the content, 0 when that is not known yet. Of several offsets that match equally
// well (a list of identical rows, a blank stretch) the one nearest the expected is taken.
Measurement measure(const ScrollSamples& previous, const ScrollSamples& current, int expected);

} // namespace ScrollOffset
