#pragma once

#include <QImage>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>

// Frames on their way from the grab thread to the encoding thread. Bounded: when the
// encoder falls behind, a new frame is dropped and counted, and the grabs never wait.
class FrameQueue {
public:
    struct Item {
        QImage frame;
        qint64 time = 0;         // microseconds since the stream started
        bool afterPause = false; // the first frame after a pause
    };

    explicit FrameQueue(std::size_t capacity) : m_capacity(capacity) {}

    // False when the frame was dropped (full, or closed).
    bool push(Item item) {
        {
            std::lock_guard lock(m_mutex);
            if (m_closed || m_items.size() >= m_capacity) {
                ++m_dropped;
                return false;
            }
            m_items.push_back(std::move(item));
        }
        m_ready.notify_one();
        return true;
    }

    // The next frame; none once the queue is closed and empty.
    std::optional<Item> pop() {
        std::unique_lock lock(m_mutex);
        m_ready.wait(lock, [this] { return m_closed || !m_items.empty(); });
        if (m_items.empty()) return std::nullopt;
        Item item = std::move(m_items.front());
        m_items.pop_front();
        return item;
    }

    // No more frames: pop() returns what is left, then none.
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
    bool m_closed = false;
    int m_dropped = 0;
};
