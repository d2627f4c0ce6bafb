#pragma once

#include <chrono>

namespace platform {

// The frame rate's slots for a stream's own thread: the time frames are due at and how many
// were missed. A frame taken late (the machine was busy for a moment) leaves the next slot due
// at once, so one hiccup costs no frame; slots gone by more than a whole interval are counted
// and skipped, not made up for with a burst of frames.
class FrameSlots {
public:
    using Clock = std::chrono::steady_clock;

    explicit FrameSlots(int fps, Clock::time_point start = Clock::now())
        : m_interval(std::chrono::microseconds(1'000'000 / (fps > 0 ? fps : 1))), m_due(start) {}

    // After a frame: the time the next one is due (in the past: take it at once), and the
    // missed slots counted.
    Clock::time_point next(Clock::time_point now = Clock::now()) {
        m_due += m_interval;
        while (m_due + m_interval <= now) {
            m_due += m_interval;
            ++m_missed;
        }
        return m_due;
    }

    int missed() const { return m_missed; }

private:
    std::chrono::microseconds m_interval;
    Clock::time_point m_due;
    int m_missed = 0;
};

} // namespace platform
