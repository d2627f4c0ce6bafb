#include "platform/x11/X11AreaGrabber.h"

#include "platform/x11/X11Log.h"

#include <xcb/shm.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace platform::x11 {

namespace {

constexpr int kBytesPerPixel = 4;

// GetImage replies are built whole in the server's memory; strips keep that bounded.
constexpr qsizetype kGetImageStripBytes = 4 * 1024 * 1024;

Error readFailed(uint8_t errorCode) {
    return Error{QStringLiteral("Could not read the screen pixels (X error %1)").arg(errorCode)};
}

void makeOpaque(QImage& image) {
    // The buffer is contiguous (stride == width * 4), so one flat loop the compiler vectorises.
    auto* pixels = reinterpret_cast<uint32_t*>(image.bits());
    const qsizetype count = image.sizeInBytes() / kBytesPerPixel;
    for (qsizetype i = 0; i < count; ++i)
        pixels[i] |= 0xff000000u;
}

} // namespace

X11AreaGrabber::X11AreaGrabber(const X11Connection& connection, bool allowShm)
    : m_connection(connection), m_shmUsable(allowShm && connection.hasExtension(&xcb_shm_id)),
      m_segments(X11ShmSegments::create(connection)) {
    if (m_shmUsable)
        qCDebug(lcX11) << "Reading pixels through MIT-SHM";
    else if (!allowShm)
        qCDebug(lcX11) << "Reading pixels with GetImage: shared memory is turned off";
    else
        qCDebug(lcX11) << "Reading pixels with GetImage: the server has no MIT-SHM";
}

X11AreaGrabber::~X11AreaGrabber() {
    m_segments->close();
}

Result<QImage> X11AreaGrabber::grab(xcb_drawable_t drawable, const QRect& rect, const PixelFormat& format) {
    if (rect.isEmpty()) return Error{QStringLiteral("Cannot capture an empty area")};
    if (m_shmUsable.load(std::memory_order_relaxed)) {
        if (std::optional<Result<QImage>> image = grabWithShm(drawable, rect, format))
            return std::move(*image);
    }
    return grabWithGetImage(drawable, rect, format);
}

std::optional<Result<QImage>> X11AreaGrabber::grabWithShm(xcb_drawable_t drawable, const QRect& rect,
                                                          const PixelFormat& format) {
    xcb_connection_t* c = m_connection.raw();
    const qsizetype stride = qsizetype(rect.width()) * kBytesPerPixel;
    std::optional<X11ShmSegments::Segment> segment = m_segments->take(size_t(stride) * size_t(rect.height()));
    if (!segment) return std::nullopt; // out of shared memory: GetImage still works

    const bool fresh = !segment->attached;
    xcb_void_cookie_t attach{};
    if (fresh) {
        segment->xid = xcb_generate_id(c);
        attach = xcb_shm_attach_checked(c, segment->xid, static_cast<uint32_t>(segment->shmId), 0);
    }
    const xcb_shm_get_image_cookie_t cookie =
        xcb_shm_get_image(c, drawable, static_cast<int16_t>(rect.x()), static_cast<int16_t>(rect.y()),
                          static_cast<uint16_t>(rect.width()), static_cast<uint16_t>(rect.height()), ~0u,
                          XCB_IMAGE_FORMAT_Z_PIXMAP, segment->xid, 0);
    xcb_generic_error_t* rawError = nullptr;
    Reply<xcb_shm_get_image_reply_t> reply{xcb_shm_get_image_reply(c, cookie, &rawError)};
    Reply<xcb_generic_error_t> error{rawError};

    if (fresh) {
        // The reply above came after the attach, so this check needs no extra round trip.
        Reply<xcb_generic_error_t> attachError{xcb_request_check(c, attach)};
        if (attachError) {
            // Typically a remote display, which cannot see our memory.
            m_segments->recycle(*segment);
            m_shmUsable.store(false, std::memory_order_relaxed);
            qCDebug(lcX11) << "Reading pixels with GetImage from now on: the server cannot attach our "
                              "shared memory (X error"
                           << attachError->error_code << ")";
            return std::nullopt;
        }
        X11ShmSegments::markAttached(*segment);
    }
    if (!reply) {
        m_segments->recycle(*segment);
        return Result<QImage>(readFailed(error ? error->error_code : 0));
    }
    QImage image = m_segments->wrap(*segment, rect.width(), rect.height(), stride, format.format);
    if (format.needsOpaqueAlpha) makeOpaque(image);
    return Result<QImage>(std::move(image));
}

Result<QImage> X11AreaGrabber::grabWithGetImage(xcb_drawable_t drawable, const QRect& rect,
                                                const PixelFormat& format) {
    xcb_connection_t* c = m_connection.raw();
    QImage image(rect.size(), format.format);
    if (image.isNull())
        return Error{
            QStringLiteral("Not enough memory for a %1×%2 image").arg(rect.width()).arg(rect.height())};
    const qsizetype stride = image.bytesPerLine();
    const int rowsPerStrip = int(std::max<qsizetype>(1, kGetImageStripBytes / stride));

    // Ask for every strip before reading any reply: one round trip for the lot.
    struct Strip {
        int firstRow;
        int rows;
        xcb_get_image_cookie_t cookie;
    };
    std::vector<Strip> strips;
    for (int row = 0; row < rect.height(); row += rowsPerStrip) {
        const int rows = std::min(rowsPerStrip, rect.height() - row);
        strips.push_back(
            {row, rows,
             xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, drawable, static_cast<int16_t>(rect.x()),
                           static_cast<int16_t>(rect.y() + row), static_cast<uint16_t>(rect.width()),
                           static_cast<uint16_t>(rows), ~0u)});
    }

    std::optional<Error> failure;
    for (const Strip& strip : strips) {
        if (failure) {
            xcb_discard_reply(c, strip.cookie.sequence);
            continue;
        }
        xcb_generic_error_t* rawError = nullptr;
        Reply<xcb_get_image_reply_t> reply{xcb_get_image_reply(c, strip.cookie, &rawError)};
        Reply<xcb_generic_error_t> error{rawError};
        const qsizetype expected = stride * strip.rows;
        if (!reply || xcb_get_image_data_length(reply.get()) < expected) {
            failure = readFailed(error ? error->error_code : 0);
            continue;
        }
        std::memcpy(image.scanLine(strip.firstRow), xcb_get_image_data(reply.get()), size_t(expected));
    }
    if (failure) return *failure;
    if (format.needsOpaqueAlpha) makeOpaque(image);
    return image;
}

} // namespace platform::x11
