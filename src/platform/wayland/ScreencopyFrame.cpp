#include "platform/wayland/ScreencopyFrame.h"

#include "platform/wayland/WaylandConnection.h"
#include "platform/wayland/WaylandOutputs.h"
#include "platform/wayland/pipewire/ScreenPixels.h"

#include "screencopy-client.h"
#include <wayland-client.h>

#include <QTransform>

#include <sys/mman.h>
#include <unistd.h>

namespace platform::wayland {

namespace {

// What the compositor says about one frame, filled in by its events.
struct Frame {
    uint32_t format = 0;
    QSize size;
    uint32_t stride = 0;
    bool shmOffered = false;
    bool described = false; // every buffer type is listed: the copy can be asked for
    bool inverted = false;
    bool ready = false;
    bool failed = false;
};

Frame& frameOf(void* data) {
    return *static_cast<Frame*>(data);
}

void offerShm(void* data, zwlr_screencopy_frame_v1*, uint32_t format, uint32_t width, uint32_t height,
              uint32_t stride) {
    Frame& frame = frameOf(data);
    frame.format = format;
    frame.size = QSize(int(width), int(height));
    frame.stride = stride;
    frame.shmOffered = true;
}

void flags(void* data, zwlr_screencopy_frame_v1*, uint32_t bits) {
    frameOf(data).inverted = bits & ZWLR_SCREENCOPY_FRAME_V1_FLAGS_Y_INVERT;
}

void ready(void* data, zwlr_screencopy_frame_v1*, uint32_t, uint32_t, uint32_t) {
    frameOf(data).ready = true;
}

void failed(void* data, zwlr_screencopy_frame_v1*) {
    frameOf(data).failed = true;
}

void damage(void*, zwlr_screencopy_frame_v1*, uint32_t, uint32_t, uint32_t, uint32_t) {}

// GPU buffers are not used: shared memory is what every compositor offers.
void offerDmabuf(void*, zwlr_screencopy_frame_v1*, uint32_t, uint32_t, uint32_t) {}

void bufferDone(void* data, zwlr_screencopy_frame_v1*) {
    frameOf(data).described = true;
}

const zwlr_screencopy_frame_v1_listener frameListener{offerShm, flags,       ready,     failed,
                                                      damage,   offerDmabuf, bufferDone};

// The Qt format that reads the compositor's bytes as they lie in memory (little-endian).
// The fourth byte of the "X" formats is undefined: read as alpha, it is dropped again by the
// conversion to Format_RGB32 (the screen is opaque).
std::optional<QImage::Format> qtFormat(uint32_t format) {
    switch (format) {
    case WL_SHM_FORMAT_XRGB8888:
    case WL_SHM_FORMAT_ARGB8888:
        return QImage::Format_ARGB32;
    case WL_SHM_FORMAT_XBGR8888:
        return QImage::Format_RGBX8888;
    case WL_SHM_FORMAT_ABGR8888:
        return QImage::Format_RGBA8888;
    default:
        return std::nullopt;
    }
}

// The compositor draws into an output's buffer with the output's transform applied, so
// that a rotated or mirrored monitor shows it upright: undone here.
QImage asSeen(const QImage& buffer, int transform) {
    if (transform == WL_OUTPUT_TRANSFORM_NORMAL) return buffer;
    const QImage turned =
        transform % 4 == 0 ? buffer : buffer.transformed(QTransform().rotate(90 * (transform % 4)));
    return transform >= WL_OUTPUT_TRANSFORM_FLIPPED ? turned.mirrored(true, false) : turned;
}

} // namespace

// A wl_buffer in shared memory of one size and format, unmapped and released with this object.
class ScreencopyCopier::Buffer {
public:
    Buffer(wl_shm* shm, uint32_t format, QSize size, uint32_t stride)
        : m_format(format), m_size(size), m_stride(stride) {
        m_bytes = size_t(stride) * size_t(size.height());
        m_fd = memfd_create("pictavia-screencopy", MFD_CLOEXEC);
        if (m_fd < 0 || ftruncate(m_fd, off_t(m_bytes)) != 0) return;
        void* memory = mmap(nullptr, m_bytes, PROT_READ | PROT_WRITE, MAP_SHARED, m_fd, 0);
        if (memory == MAP_FAILED) return;
        m_memory = static_cast<uchar*>(memory);
        wl_shm_pool* pool = wl_shm_create_pool(shm, m_fd, int32_t(m_bytes));
        m_buffer = wl_shm_pool_create_buffer(pool, 0, size.width(), size.height(), int32_t(stride), format);
        wl_shm_pool_destroy(pool);
    }
    ~Buffer() {
        if (m_buffer) wl_buffer_destroy(m_buffer);
        if (m_memory) munmap(m_memory, m_bytes);
        if (m_fd >= 0) close(m_fd);
    }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;

    bool fits(uint32_t format, QSize size, uint32_t stride) const {
        return m_buffer && format == m_format && size == m_size && stride == m_stride;
    }
    wl_buffer* buffer() const { return m_buffer; }
    const uchar* memory() const { return m_memory; }

private:
    uint32_t m_format;
    QSize m_size;
    uint32_t m_stride;
    int m_fd = -1;
    size_t m_bytes = 0;
    uchar* m_memory = nullptr;
    wl_buffer* m_buffer = nullptr;
};

Result<ScreencopyArea> screencopyArea(const WaylandOutput& output, const QSize& laidOut,
                                      std::optional<QRect> region) {
    // The output's pixels as they are seen: a rotated output's mode is the other way round.
    const bool turned = output.transform % 2 == 1;
    const QRect whole(QPoint(0, 0), turned ? output.pixels.transposed() : output.pixels);
    // Where the compositor scales by a fraction (1.5), Qt 6.4 lays the output out at the next
    // whole scale: areas in those pixels are not the output's.
    if (whole.size() != laidOut)
        return Error{QStringLiteral("Output %1 has %2×%3 pixels, but Qt lays it out as %4×%5.")
                         .arg(output.name)
                         .arg(whole.width())
                         .arg(whole.height())
                         .arg(laidOut.width())
                         .arg(laidOut.height())};
    if (region && (region->isEmpty() || !whole.contains(*region)))
        return Error{QStringLiteral("That area is not inside output %1.").arg(output.name)};
    const bool partial = region && *region != whole;
    if (!partial) return ScreencopyArea{std::nullopt, std::nullopt, whole.size()};
    // The compositor takes a region in logical units: where the area falls on whole units,
    // only it is copied; elsewhere the whole output is, and the area cut from it.
    const int scale = std::max(1, output.scale);
    const bool onUnits = region->x() % scale == 0 && region->y() % scale == 0 &&
                         region->width() % scale == 0 && region->height() % scale == 0;
    if (onUnits && output.transform == WL_OUTPUT_TRANSFORM_NORMAL)
        return ScreencopyArea{QRect(region->x() / scale, region->y() / scale, region->width() / scale,
                                    region->height() / scale),
                              std::nullopt, region->size()};
    return ScreencopyArea{std::nullopt, region, region->size()};
}

QImage screencopyPixels(const ScreencopyPicture& picture, int transform, std::optional<QRect> crop) {
    const QImage& shared = picture.shared;
    if (transform == WL_OUTPUT_TRANSFORM_NORMAL) {
        const QRect rect = crop.value_or(shared.rect());
        if (rect.isEmpty() || !shared.rect().contains(rect)) return {};
        // Rows stored bottom-up hold the crop as many rows from the end.
        const QRect stored = picture.inverted ? QRect(rect.x(), shared.height() - rect.y() - rect.height(),
                                                      rect.width(), rect.height())
                                              : rect;
        // Only the crop is read, and made opaque on the way out of the shared memory.
        const PixelLayout layout =
            shared.format() == QImage::Format_ARGB32 ? PixelLayout::bgrx : PixelLayout::rgbx;
        const QImage pixels =
            screenPixels(shared.constBits(), shared.size(), shared.bytesPerLine(), layout, stored);
        return picture.inverted ? pixels.mirrored(false, true) : pixels;
    }
    QImage pixels = shared.convertToFormat(QImage::Format_RGB32);
    if (picture.inverted) pixels = pixels.mirrored(false, true);
    const QImage all = asSeen(pixels, transform);
    if (!crop) return all;
    if (!all.rect().contains(*crop)) return {};
    return all.copy(*crop);
}

ScreencopyCopier::ScreencopyCopier(WaylandConnection& connection, zwlr_screencopy_manager_v1* manager,
                                   wl_shm* shm)
    : m_connection(connection), m_manager(manager), m_shm(shm) {}

ScreencopyCopier::~ScreencopyCopier() = default;

Result<ScreencopyPicture> ScreencopyCopier::copy(const WaylandOutput& output, std::optional<QRect> logical,
                                                 bool withPointer) {
    m_refused = false;
    Frame frame;
    const int32_t pointer = withPointer ? 1 : 0;
    zwlr_screencopy_frame_v1* proxy =
        logical ? zwlr_screencopy_manager_v1_capture_output_region(m_manager, pointer, output.proxy,
                                                                   logical->x(), logical->y(),
                                                                   logical->width(), logical->height())
                : zwlr_screencopy_manager_v1_capture_output(m_manager, pointer, output.proxy);
    zwlr_screencopy_frame_v1_add_listener(proxy, &frameListener, &frame);
    const bool listsAll = zwlr_screencopy_frame_v1_get_version(proxy) >= 3;
    Result<ScreencopyPicture> result = [&]() -> Result<ScreencopyPicture> {
        auto offered = m_connection.dispatchUntil(
            [&] { return frame.failed || (listsAll ? frame.described : frame.shmOffered); });
        if (!offered) return offered.error();
        if (frame.failed || !frame.shmOffered) {
            m_refused = frame.failed;
            return Error{
                QStringLiteral("The compositor offers no shared-memory copy of output %1.").arg(output.name)};
        }
        const auto format = qtFormat(frame.format);
        if (!format)
            return Error{QStringLiteral("The compositor copies output %1 in a pixel format (0x%2) Pictavia "
                                        "does not read.")
                             .arg(output.name)
                             .arg(frame.format, 0, 16)};
        if (!m_buffer || !m_buffer->fits(frame.format, frame.size, frame.stride)) {
            m_buffer.reset();
            m_buffer = std::make_unique<Buffer>(m_shm, frame.format, frame.size, frame.stride);
        }
        if (!m_buffer->buffer())
            return Error{QStringLiteral("No shared memory for a copy of output %1.").arg(output.name)};
        zwlr_screencopy_frame_v1_copy(proxy, m_buffer->buffer());
        auto copied = m_connection.dispatchUntil([&] { return frame.ready || frame.failed; });
        if (!copied) return copied.error();
        if (frame.failed) {
            m_refused = true;
            return Error{QStringLiteral("The compositor could not copy output %1.").arg(output.name)};
        }
        return ScreencopyPicture{
            QImage(m_buffer->memory(), frame.size.width(), frame.size.height(), int(frame.stride), *format),
            frame.inverted};
    }();
    zwlr_screencopy_frame_v1_destroy(proxy);
    return result;
}

ScreencopyConnection::~ScreencopyConnection() {
    copier.reset();
    outputs.reset();
    if (manager) zwlr_screencopy_manager_v1_destroy(manager);
    if (shm) wl_shm_destroy(shm);
}

Result<bool> ScreencopyConnection::open() {
    auto opened = WaylandConnection::open();
    if (!opened) return opened.error();
    wayland = std::move(opened).value();
    const auto managerGlobal = wayland->global(zwlr_screencopy_manager_v1_interface.name);
    const auto shmGlobal = wayland->global(wl_shm_interface.name);
    if (!managerGlobal || !shmGlobal)
        return Error{QStringLiteral("The Wayland compositor does not offer wlroots' screencopy protocol.")};
    manager = static_cast<zwlr_screencopy_manager_v1*>(
        wayland->bind(*managerGlobal, &zwlr_screencopy_manager_v1_interface, 3));
    shm = static_cast<wl_shm*>(wayland->bind(*shmGlobal, &wl_shm_interface, 1));
    outputs = std::make_unique<WaylandOutputs>(*wayland);
    copier = std::make_unique<ScreencopyCopier>(*wayland, manager, shm);
    return outputs->update();
}

} // namespace platform::wayland
