#include "capture/ScrollOffset.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

namespace ScrollOffset {

namespace {

// Frames where no more than this share of lines changed in place did not move: a
// blinking caret or a ticking clock is not a scroll.
constexpr double stillShare = 0.02;
// A match leaves at most this share of the overlapping lines different (an animation,
// a caret, a hover highlight that followed the pointer).
constexpr double matchedShare = 0.08;
// Offsets whose mismatch is within this of the best are equally good.
constexpr double tieShare = 0.004;

struct Candidate {
    int offset = 0;
    double mismatch = 1.0;
};

// Differing lines between current[lead, lead + overlap) and previous[lead + d, ...),
// counting no further than `limit`.
int differingLines(const ScrollSamples& previous, const ScrollSamples& current, int lead, int offset,
                   int overlap, int limit) {
    int differing = 0;
    for (int k = 0; k < overlap; ++k)
        if (current.linesDiffer(lead + k, previous, lead + offset + k) && ++differing > limit) break;
    return differing;
}

// Every offset whose overlap, between the edges, mostly matches.
std::vector<Candidate> search(const ScrollSamples& previous, const ScrollSamples& current, int lead,
                              int trail) {
    const int region = std::min(previous.length(), current.length()) - lead - trail;
    const int minOverlap = std::max(8, region / 5);
    std::vector<Candidate> candidates;
    for (int offset = 1; offset <= region - minOverlap; ++offset) {
        const int overlap = region - offset;
        const int limit = int(overlap * matchedShare);
        const int differing = differingLines(previous, current, lead, offset, overlap, limit);
        if (differing <= limit) candidates.push_back({offset, double(differing) / overlap});
    }
    return candidates;
}

Candidate bestOf(const std::vector<Candidate>& candidates) {
    Candidate best;
    for (const Candidate& c : candidates)
        if (c.mismatch < best.mismatch) best = c;
    return best;
}

} // namespace

Measurement measure(const ScrollSamples& previous, const ScrollSamples& current, int expected) {
    Measurement result;
    const int length = std::min(previous.length(), current.length());
    if (length < 4 || previous.width() != current.width()) return result;

    // Lines that stay in place: at the edges they are fixed headers and footers.
    std::vector<bool> inPlace(static_cast<size_t>(length));
    int changed = 0;
    for (int i = 0; i < length; ++i) {
        inPlace[size_t(i)] = !current.linesDiffer(i, previous, i);
        if (!inPlace[size_t(i)]) ++changed;
    }
    if (changed <= std::max(1, int(length * stillShare))) {
        result.kind = Measurement::Kind::still;
        result.mismatch = double(changed) / length;
        return result;
    }
    int lead = 0;
    while (lead < length && inPlace[size_t(lead)])
        ++lead;
    int trail = 0;
    while (trail < length - lead && inPlace[size_t(length - 1 - trail)])
        ++trail;
    // Most of the frame in place and a sliver changed is no scroll of the whole area; the
    // edges are then not trusted and the whole frame is compared.
    if (length - lead - trail < length / 4) lead = trail = 0;
    std::vector<Candidate> candidates = search(previous, current, lead, trail);
    // Lines in place at an edge are a fixed header or footer, or content that happens to
    // look the same after the scroll (identical rows moved by whole rows): when the frames
    // match no better with the edges left out, they are compared whole.
    if ((lead > 0 || trail > 0) && bestOf(candidates).mismatch > tieShare) {
        std::vector<Candidate> whole = search(previous, current, 0, 0);
        if (bestOf(whole).mismatch < bestOf(candidates).mismatch) {
            candidates = std::move(whole);
            lead = trail = 0;
        }
    }
    result.frozenLead = lead;
    result.frozenTrail = trail;
    const Candidate best = bestOf(candidates);

    // A change in place (a caret, a hover) that matches better than any movement is none.
    const double inPlaceShare = double(changed) / length;
    if (inPlaceShare <= matchedShare && (candidates.empty() || inPlaceShare <= best.mismatch + tieShare)) {
        result.kind = Measurement::Kind::still;
        result.mismatch = inPlaceShare;
        return result;
    }
    if (candidates.empty()) return result;

    // Of equal matches the one nearest the expected offset: in a list of identical rows every
    // multiple of the row height matches, and the smallest (the naive choice) is usually
    // wrong. A match outside the accepted range around the expected offset stands only when
    // nothing near the expected one matches as well: the end of the page moves less.
    Candidate chosen = best;
    const auto distance = [expected](const Candidate& c) {
        return expected > 0 ? std::abs(c.offset - expected) : c.offset;
    };
    for (const Candidate& c : candidates)
        if (c.mismatch <= best.mismatch + tieShare && distance(c) < distance(chosen)) chosen = c;
    result.kind = Measurement::Kind::moved;
    result.offset = chosen.offset;
    result.mismatch = chosen.mismatch;
    return result;
}

} // namespace ScrollOffset
