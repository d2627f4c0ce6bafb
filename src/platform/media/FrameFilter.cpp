#include "platform/media/FrameFilter.h"

namespace platform::media {

FrameFilter::FrameFilter(qsizetype frameSize, qint64 lag) : m_frameSize(frameSize), m_given(-lag) {
    m_frame.reserve(size_t(frameSize));
}

void FrameFilter::add(const float* samples, qsizetype count, std::vector<float>& out) {
    for (qsizetype i = 0; i < count; ++i) {
        m_frame.push_back(samples[i]);
        if (qsizetype(m_frame.size()) == m_frameSize) run(out);
    }
    m_taken += count;
}

void FrameFilter::finish(std::vector<float>& out) {
    // Silence pushes the last samples through the lag.
    while (m_given < m_taken) {
        m_frame.resize(size_t(m_frameSize), 0.0f);
        run(out);
    }
    out.resize(out.size() - size_t(m_given - m_taken));
    m_given = m_taken;
}

void FrameFilter::run(std::vector<float>& out) {
    process(m_frame);
    for (const float sample : m_frame) {
        if (m_given++ < 0) continue;
        out.push_back(sample);
    }
    m_frame.clear();
}

} // namespace platform::media
