#pragma once

#include "common/Result.h"
#include "platform/x11/X11Connection.h"
#include "platform/x11/X11ShmSegments.h"

#include <QImage>
#include <QRect>

#include <atomic>
#include <memory>
#include <optional>

namespace platform::x11 {

// Reads the pixels of a rectangle of a drawable (the root window or a window's pixmap).
// Through MIT-SHM into a segment that becomes the QImage's own buffer; with plain GetImage
// when shared memory is unavailable (no extension, or a server that cannot attach ours).
class X11AreaGrabber {
public:
    // With allowShm false, always uses GetImage (what a remote display gets).
    X11AreaGrabber(const X11Connection& connection, bool allowShm);
    ~X11AreaGrabber();

    X11AreaGrabber(const X11AreaGrabber&) = delete;
    X11AreaGrabber& operator=(const X11AreaGrabber&) = delete;

    // `rect` is in the drawable's coordinates and must lie inside it.
    Result<QImage> grab(xcb_drawable_t drawable, const QRect& rect, const PixelFormat& format);

private:
    // nullopt when shared memory turned out to be unusable with this server.
    std::optional<Result<QImage>> grabWithShm(xcb_drawable_t drawable, const QRect& rect,
                                              const PixelFormat& format);
    Result<QImage> grabWithGetImage(xcb_drawable_t drawable, const QRect& rect, const PixelFormat& format);

    const X11Connection& m_connection;
    std::atomic<bool> m_shmUsable;
    std::shared_ptr<X11ShmSegments> m_segments;
};

} // namespace platform::x11
