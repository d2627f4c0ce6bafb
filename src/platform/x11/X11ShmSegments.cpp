#include "platform/x11/X11ShmSegments.h"

#include <xcb/shm.h>

#include <sys/ipc.h>
#include <sys/shm.h>

#include <utility>

namespace platform::x11 {

namespace {

// What an image holds on to until it is freed.
struct Lease {
    std::weak_ptr<X11ShmSegments> owner;
    X11ShmSegments::Segment segment;
};

} // namespace

std::shared_ptr<X11ShmSegments> X11ShmSegments::create(const X11Connection& connection) {
    return std::shared_ptr<X11ShmSegments>(new X11ShmSegments(connection));
}

std::optional<X11ShmSegments::Segment> X11ShmSegments::take(size_t size) {
    {
        std::lock_guard lock(m_mutex);
        if (m_spare && m_spare->size >= size) return std::exchange(m_spare, std::nullopt);
    }
    Segment segment;
    segment.size = size;
    segment.shmId = shmget(IPC_PRIVATE, size, IPC_CREAT | 0600);
    if (segment.shmId < 0) return std::nullopt;
    void* address = shmat(segment.shmId, nullptr, 0);
    if (address == reinterpret_cast<void*>(-1)) {
        shmctl(segment.shmId, IPC_RMID, nullptr);
        return std::nullopt;
    }
    segment.address = static_cast<uchar*>(address);
    return segment;
}

void X11ShmSegments::markAttached(Segment& segment) {
    // Both sides have it mapped now. Marked for removal, the kernel frees it once both have
    // let go, even if we crash.
    shmctl(segment.shmId, IPC_RMID, nullptr);
    segment.attached = true;
}

QImage X11ShmSegments::wrap(const Segment& segment, int width, int height, qsizetype stride,
                            QImage::Format format) {
    auto* lease = new Lease{weak_from_this(), segment};
    return QImage(segment.address, width, height, stride, format, &X11ShmSegments::imageFreed, lease);
}

void X11ShmSegments::imageFreed(void* info) {
    const std::unique_ptr<Lease> lease(static_cast<Lease*>(info));
    if (const std::shared_ptr<X11ShmSegments> owner = lease->owner.lock())
        owner->recycle(lease->segment);
    else
        shmdt(lease->segment.address); // the connection is gone, and the server's mapping with it
}

void X11ShmSegments::recycle(Segment segment) {
    std::lock_guard lock(m_mutex);
    if (m_closed || !segment.attached) {
        release(segment);
        return;
    }
    // Keep the larger one: it serves every smaller grab too.
    if (!m_spare) {
        m_spare = segment;
        return;
    }
    if (segment.size > m_spare->size) std::swap(segment, *m_spare);
    release(segment);
}

void X11ShmSegments::close() {
    std::lock_guard lock(m_mutex);
    if (m_spare) release(*m_spare);
    m_spare.reset();
    m_closed = true;
}

void X11ShmSegments::release(const Segment& segment) {
    if (segment.attached && !m_closed) {
        xcb_connection_t* c = m_connection.raw();
        m_connection.ignoreErrors(xcb_shm_detach_checked(c, segment.xid));
        xcb_flush(c);
    }
    if (!segment.attached) shmctl(segment.shmId, IPC_RMID, nullptr);
    shmdt(segment.address);
}

} // namespace platform::x11
