#pragma once

#include <QtGlobal>

#include <vector>

namespace platform::media {

// A filter that works on whole frames of mono float samples and hands its output back some
// samples late (a noise suppressor, say), made into a stream: the output is as long as the input
// and in step with it.
class FrameFilter {
public:
    virtual ~FrameFilter() = default;
    FrameFilter(const FrameFilter&) = delete;
    FrameFilter& operator=(const FrameFilter&) = delete;

    // Appends what is ready to `out`.
    void add(const float* samples, qsizetype count, std::vector<float>& out);
    // Appends the rest.
    void finish(std::vector<float>& out);

protected:
    FrameFilter(qsizetype frameSize, qint64 lag);
    // Filters one frame of `frameSize` samples in place.
    virtual void process(std::vector<float>& frame) = 0;

private:
    void run(std::vector<float>& out);

    qsizetype m_frameSize;
    std::vector<float> m_frame;
    qint64 m_taken = 0; // samples handed in
    qint64 m_given;     // samples handed out; it starts at minus the lag, which is left out
};

} // namespace platform::media
