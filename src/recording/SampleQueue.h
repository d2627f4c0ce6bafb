#pragma once

#include <QImage>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <vector>

// Frames and sound on their way from the grab and audio threads to the encoding thread, in
// the order they came. Frames are bounded: when the encoder falls behind, a new frame is
// dropped and counted, and the grabs never wait. Sound is never dropped; it is small.
class SampleQueue {
public:
    struct Item {
        QImage frame;               // null for sound
        std::vector<float> samples; // interleaved, for sound
        int track = -1;             // the sound's track; -1 for a frame
        qint64 time = 0;            // microseconds of the steady clock
        bool afterPause = false;    // the first frame after a pause

        bool isFrame() const { return track < 0; }
    };

    explicit SampleQueue(std::size_t frameCapacity) : m_capacity(frameCapacity) {}

    // False when the item was dropped (too many frames waiting, or closed).
    bool push(Item item) {
        {
            std::lock_guard lock(m_mutex);
            if (m_closed || (item.isFrame() && m_frames >= m_capacity)) {
                if (item.isFrame()) ++m_dropped;
                return false;
            }
            if (item.isFrame()) ++m_frames;
            m_items.push_back(std::move(item));
        }
        m_ready.notify_one();
        return true;
    }

    // The next item; none once the queue is closed and empty.
    std::optional<Item> pop() {
        std::unique_lock lock(m_mutex);
        m_ready.wait(lock, [this] { return m_closed || !m_items.empty(); });
        if (m_items.empty()) return std::nullopt;
        Item item = std::move(m_items.front());
        m_items.pop_front();
        if (item.isFrame()) --m_frames;
        return item;
    }

    // Nothing more comes: pop() returns what is left, then none.
    void close() {
        {
            std::lock_guard lock(m_mutex);
            m_closed = true;
        }
        m_ready.notify_all();
    }

    int dropped() const {
        std::lock_guard lock(m_mutex);
        return m_dropped;
    }

private:
    const std::size_t m_capacity;
    mutable std::mutex m_mutex;
    std::condition_variable m_ready;
    std::deque<Item> m_items;
    std::size_t m_frames = 0;
    bool m_closed = false;
    int m_dropped = 0;
};
