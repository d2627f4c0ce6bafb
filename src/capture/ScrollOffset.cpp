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

// Compares lines of two frames over the positions that carry content in either and changed
// between them. A scroll bar's knob, wherever the bar is in the area, moves against the
// content; a fixed sidebar (or a fixed bar across a sideways page) stays where it is while
// the content moves past it. Either would make every line it crosses differ.
class LineComparer {
public:
    LineComparer(const ScrollSamples& previous, const ScrollSamples& current)
        : m_previous(previous), m_current(current) {
        const int from = current.from(), to = current.to();
        const int length = std::min(previous.length(), current.length());
        std::vector<int> changes(size_t(current.width()), 0);
        for (int i = 0; i < length; ++i) {
            const uint8_t* a = current.line(i);
            const uint8_t* b = previous.line(i);
            for (int p = from; p < to; ++p)
                if (std::abs(int(a[p]) - int(b[p])) >= 11) ++changes[size_t(p)];
        }
        const int staticLimit = std::max(1, length / 100);
        for (int p = from; p < to; ++p)
            if ((previous.transitions(p) > structuralTransitions ||
                 current.transitions(p) > structuralTransitions) &&
                changes[size_t(p)] > staticLimit)
                m_kept.push_back(p);
        // Too little content to leave anything out: a blank page, a single short line.
        if (int(m_kept.size()) < (to - from) / 4) {
            m_kept.clear();
            return;
        }
        m_previousHashes = hashes(previous);
        m_currentHashes = hashes(current);
    }

    bool differ(int currentLine, int previousLine) const {
        if (m_kept.empty()) return m_current.linesDiffer(currentLine, m_previous, previousLine);
        if (m_currentHashes[size_t(currentLine)] == m_previousHashes[size_t(previousLine)]) return false;
        const uint8_t* a = m_current.line(currentLine);
        const uint8_t* b = m_previous.line(previousLine);
        int differing = 0;
        for (int p : m_kept)
            if (std::abs(int(a[p]) - int(b[p])) >= 11 && ++differing >= 2) return true;
        return false;
    }

private:
    std::vector<uint64_t> hashes(const ScrollSamples& samples) const {
        std::vector<uint64_t> result(size_t(samples.length()));
        std::vector<uint8_t> gathered(m_kept.size());
        for (int i = 0; i < samples.length(); ++i) {
            const uint8_t* line = samples.line(i);
            for (size_t k = 0; k < m_kept.size(); ++k)
                gathered[k] = line[m_kept[k]];
            result[size_t(i)] = greyHash(gathered.data(), int(gathered.size()));
        }
        return result;
    }

    const ScrollSamples& m_previous;
    const ScrollSamples& m_current;
    std::vector<int> m_kept;
    std::vector<uint64_t> m_previousHashes, m_currentHashes;
};

struct Candidate {
    int offset = 0;
    double mismatch = 1.0;
};

// Differing lines between current[lead, lead + overlap) and previous[lead + d, ...),
// counting no further than `limit`.
int differingLines(const LineComparer& lines, int lead, int offset, int overlap, int limit) {
    int differing = 0;
    for (int k = 0; k < overlap; ++k)
        if (lines.differ(lead + k, lead + offset + k) && ++differing > limit) break;
    return differing;
}

// Every offset whose overlap, between the edges, mostly matches.
std::vector<Candidate> search(const LineComparer& lines, int length, int lead, int trail) {
    const int region = length - lead - trail;
    const int minOverlap = std::max(8, region / 5);
    std::vector<Candidate> candidates;
    for (int offset = 1; offset <= region - minOverlap; ++offset) {
        const int overlap = region - offset;
        const int limit = int(overlap * matchedShare);
        const int differing = differingLines(lines, lead, offset, overlap, limit);
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
    const LineComparer lines(previous, current);
    for (int i = 0; i < length; ++i) {
        inPlace[size_t(i)] = !lines.differ(i, i);
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
    std::vector<Candidate> candidates = search(lines, length, lead, trail);
    // Lines in place at an edge are a fixed header or footer, or content that happens to
    // look the same after the scroll (identical rows moved by whole rows): when the frames
    // match no better with the edges left out, they are compared whole.
    if ((lead > 0 || trail > 0) && bestOf(candidates).mismatch > tieShare) {
        std::vector<Candidate> whole = search(lines, length, 0, 0);
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
