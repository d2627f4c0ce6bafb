#pragma once

#include "platform/media/FfmpegHandles.h"

#include <QImage>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>

namespace platform::media {

// One decoded picture on its way from the reading thread to the encoding one.
struct QueuedPicture {
    QImage image;      // RGB32 at the source's size, when the frames are drawn
    FrameHandle frame; // 4:2:0 at the written size, when they are not
    QImage camera;     // the camera movie's picture at the same time, or null
    double time = 0;   // seconds of the source
    int64_t pts = 0;   // in the source's video time base, 0 at the first picture written
};

// A short queue between the two threads of an export. Its pictures' buffers go back to the
// reader once written, so a 1080p export does not fault in fresh megabytes every frame.
class PictureQueue {
public:
    explicit PictureQueue(size_t capacity) : m_capacity(capacity) {}

    // Waits for room; false once the reader should stop (the export was given up).
    bool push(QueuedPicture picture) {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_aborted || m_pictures.size() < m_capacity; });
        if (m_aborted) return false;
        m_pictures.push_back(std::move(picture));
        m_changed.notify_all();
        return true;
    }
    // Waits for a picture; none once the reader closed the queue and all were taken, or the
    // export was given up.
    std::optional<QueuedPicture> pop() {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_aborted || m_closed || !m_pictures.empty(); });
        if (m_aborted || m_pictures.empty()) return std::nullopt;
        QueuedPicture picture = std::move(m_pictures.front());
        m_pictures.pop_front();
        m_changed.notify_all();
        return picture;
    }
    // The reader is done.
    void close() {
        const std::lock_guard lock(m_mutex);
        m_closed = true;
        m_changed.notify_all();
    }
    // The writer is done: the reader's next push fails.
    void abort() {
        const std::lock_guard lock(m_mutex);
        m_aborted = true;
        m_changed.notify_all();
    }

    void recycle(QueuedPicture picture) {
        const std::lock_guard lock(m_mutex);
        picture.camera = QImage();
        m_spare.push_back(std::move(picture));
    }
    // A written picture whose buffers can be filled again, or a new one.
    QueuedPicture spare() {
        const std::lock_guard lock(m_mutex);
        if (m_spare.empty()) {
            QueuedPicture fresh;
            fresh.frame.reset(av_frame_alloc());
            return fresh;
        }
        QueuedPicture picture = std::move(m_spare.back());
        m_spare.pop_back();
        return picture;
    }

private:
    const size_t m_capacity;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<QueuedPicture> m_pictures;
    std::deque<QueuedPicture> m_spare;
    bool m_closed = false;
    bool m_aborted = false;
};

} // namespace platform::media
