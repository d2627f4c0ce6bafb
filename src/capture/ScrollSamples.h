#pragma once

#include <QImage>

#include <cstdint>
#include <vector>

// The grey samples of one grabbed frame, laid out along the scroll axis: one "line" per
// row of a vertical capture, one per column of a horizontal one, so that the offset search
// and the stitching read both the same way.
class ScrollSamples {
public:
    ScrollSamples() = default;
    // `sideMargin` samples at each end of a line are kept but left out of comparisons:
    // that is where scroll bars are drawn, whose knobs move against the content.
    static ScrollSamples of(const QImage& frame, bool horizontal, int sideMargin = 0);

    int length() const { return m_length; } // lines along the scroll axis
    int width() const { return m_width; }   // samples in one line
    const uint8_t* line(int index) const { return m_data.data() + size_t(index) * size_t(m_width); }
    uint64_t lineHash(int index) const { return m_hashes[size_t(index)]; }
    // The compared samples of a line: [from(), to()).
    int from() const { return m_from; }
    int to() const { return m_to; }
    // How often the samples at one position change by 11 levels or more from one line to the
    // next: text crosses it many times; a scroll bar's track and knob, or a blank margin,
    // only a few.
    int transitions(int position) const { return m_transitions[size_t(position)]; }

    // Whether two lines differ between the side margins: at least two positions differ by
    // 11 grey levels or more, so one odd pixel (noise, a caret's edge) does not count.
    bool linesDiffer(int index, const ScrollSamples& other, int otherIndex) const;

private:
    int m_length = 0;
    int m_width = 0;
    int m_from = 0; // the compared samples of a line: [m_from, m_to)
    int m_to = 0;
    std::vector<uint8_t> m_data;
    std::vector<uint64_t> m_hashes; // of each line's compared samples: equal lines are found at once
    std::vector<int> m_transitions;
};

// Whether two runs of grey samples differ: at least two positions by 11 levels or more.
bool greyRunsDiffer(const uint8_t* a, const uint8_t* b, int count);

// Positions with no more than this many transitions carry no content: bars and blank space.
inline constexpr int structuralTransitions = 16;

uint64_t greyHash(const uint8_t* data, int count);
