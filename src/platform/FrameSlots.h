#pragma once

#include <chrono>

namespace platform {

// The frame rate's slots for a stream's own thread: the time frames are due at and how many
// were missed. A slot that passed while a frame was being taken or handed on is counted and
// skipped, not made up for with a burst of frames.
class FrameSlots {
public:
    using Clock = std::chrono::steady_clock;

    explicit FrameSlots(int fps)
        : m_interval(std::chrono::microseconds(1'000'000 / (fps > 0 ? fps : 1))), m_due(Clock::now()) {}

    // After a frame: the time the next one is due, and the missed slots counted.
    Clock::time_point next() {
        m_due += m_interval;
        const Clock::time_point now = Clock::now();
        while (m_due < now) {
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
