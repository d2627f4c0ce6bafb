#pragma once

#include "platform/x11/X11Connection.h"

#include <QImage>

#include <xcb/shm.h>

#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>

namespace platform::x11 {

// MIT-SHM segments that the server writes pixels into and that QImages then use as their
// buffer, so the pixels are never copied on our side. One spare segment stays attached for
// the next grab: a fresh segment costs a page fault per 4 KiB on both sides of the
// connection, which for a full screen takes several times longer than the grab itself.
// Thread-safe; images may be freed on any thread, also after the connection closed.
class X11ShmSegments : public std::enable_shared_from_this<X11ShmSegments> {
public:
    struct Segment {
        int shmId = -1;
        uchar* address = nullptr;
        size_t size = 0;
        xcb_shm_seg_t xid = 0;
        bool attached = false; // the server has it
    };

    static std::shared_ptr<X11ShmSegments> create(const X11Connection& connection);

    // At least `size` bytes: the spare when it is large enough, else a new segment that
    // the caller must attach. nullopt when the system has no shared memory to give.
    std::optional<Segment> take(size_t size);

    // Call once the server has confirmed attaching a new segment.
    static void markAttached(Segment& segment);

    // The segment as the buffer of an image; it comes back here when the image is freed.
    QImage wrap(const Segment& segment, int width, int height, qsizetype stride, QImage::Format format);

    // Done with a segment: it becomes the spare or is released.
    void recycle(Segment segment);

    // Releases the spare; segments coming back later are only unmapped. Call before the
    // connection closes.
    void close();

private:
    explicit X11ShmSegments(const X11Connection& connection) : m_connection(connection) {}
    void release(const Segment& segment); // with m_mutex held
    static void imageFreed(void* lease);

    const X11Connection& m_connection;
    std::mutex m_mutex;
    bool m_closed = false;
    std::optional<Segment> m_spare;
};

} // namespace platform::x11
