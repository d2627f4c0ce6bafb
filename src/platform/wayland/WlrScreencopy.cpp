#include "platform/wayland/WlrScreencopy.h"

#include "platform/wayland/WaylandConnection.h"
#include "platform/wayland/WaylandOutputs.h"

#include "screencopy-client.h"
#include <wayland-client.h>

#include <QMutex>
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

// A wl_buffer in shared memory, unmapped and released with this object.
class ShmBuffer {
public:
    ShmBuffer(wl_shm* shm, const Frame& frame) {
        m_bytes = size_t(frame.stride) * size_t(frame.size.height());
        m_fd = memfd_create("pictavia-screencopy", MFD_CLOEXEC);
        if (m_fd < 0 || ftruncate(m_fd, off_t(m_bytes)) != 0) return;
        void* memory = mmap(nullptr, m_bytes, PROT_READ | PROT_WRITE, MAP_SHARED, m_fd, 0);
        if (memory == MAP_FAILED) return;
        m_memory = static_cast<uchar*>(memory);
        wl_shm_pool* pool = wl_shm_create_pool(shm, m_fd, int32_t(m_bytes));
        m_buffer = wl_shm_pool_create_buffer(pool, 0, frame.size.width(), frame.size.height(),
                                             int32_t(frame.stride), frame.format);
        wl_shm_pool_destroy(pool);
    }
    ~ShmBuffer() {
        if (m_buffer) wl_buffer_destroy(m_buffer);
        if (m_memory) munmap(m_memory, m_bytes);
        if (m_fd >= 0) close(m_fd);
    }
    ShmBuffer(const ShmBuffer&) = delete;
    ShmBuffer& operator=(const ShmBuffer&) = delete;

    wl_buffer* buffer() const { return m_buffer; }
    const uchar* memory() const { return m_memory; }

private:
    int m_fd = -1;
    size_t m_bytes = 0;
    uchar* m_memory = nullptr;
    wl_buffer* m_buffer = nullptr;
};

// The compositor draws into an output's buffer with the output's transform applied, so
// that a rotated or mirrored monitor shows it upright: undone here.
QImage asSeen(const QImage& buffer, int transform) {
    if (transform == WL_OUTPUT_TRANSFORM_NORMAL) return buffer;
    const QImage turned =
        transform % 4 == 0 ? buffer : buffer.transformed(QTransform().rotate(90 * (transform % 4)));
    return transform >= WL_OUTPUT_TRANSFORM_FLIPPED ? turned.mirrored(true, false) : turned;
}

} // namespace

struct WlrScreencopy::State {
    QMutex mutex;
    std::unique_ptr<WaylandConnection> connection;
    std::unique_ptr<WaylandOutputs> outputs;
    zwlr_screencopy_manager_v1* manager = nullptr;
    wl_shm* shm = nullptr;

    ~State() {
        outputs.reset();
        if (manager) zwlr_screencopy_manager_v1_destroy(manager);
        if (shm) wl_shm_destroy(shm);
    }

    // One frame of `output`, or of `logicalRegion` of it, copied into shared memory.
    Result<QImage> copy(const WaylandOutput& output, std::optional<QRect> logicalRegion) {
        Frame frame;
        zwlr_screencopy_frame_v1* proxy =
            logicalRegion ? zwlr_screencopy_manager_v1_capture_output_region(
                                manager, 0, output.proxy, logicalRegion->x(), logicalRegion->y(),
                                logicalRegion->width(), logicalRegion->height())
                          : zwlr_screencopy_manager_v1_capture_output(manager, 0, output.proxy);
        zwlr_screencopy_frame_v1_add_listener(proxy, &frameListener, &frame);
        const bool listsAll = zwlr_screencopy_frame_v1_get_version(proxy) >= 3;
        Result<QImage> result = [&]() -> Result<QImage> {
            auto offered = connection->dispatchUntil(
                [&] { return frame.failed || (listsAll ? frame.described : frame.shmOffered); });
            if (!offered) return offered.error();
            if (frame.failed || !frame.shmOffered)
                return Error{QStringLiteral("The compositor offers no shared-memory copy of output %1.")
                                 .arg(output.name)};
            const auto format = qtFormat(frame.format);
            if (!format)
                return Error{
                    QStringLiteral("The compositor copies output %1 in a pixel format (0x%2) Pictavia "
                                   "does not read.")
                        .arg(output.name)
                        .arg(frame.format, 0, 16)};
            const ShmBuffer buffer(shm, frame);
            if (!buffer.buffer())
                return Error{QStringLiteral("No shared memory for a copy of output %1.").arg(output.name)};
            zwlr_screencopy_frame_v1_copy(proxy, buffer.buffer());
            auto copied = connection->dispatchUntil([&] { return frame.ready || frame.failed; });
            if (!copied) return copied.error();
            if (frame.failed)
                return Error{QStringLiteral("The compositor could not copy output %1.").arg(output.name)};
            const QImage shared(buffer.memory(), frame.size.width(), frame.size.height(), int(frame.stride),
                                *format);
            // The conversion is also the copy out of the shared memory.
            QImage pixels = shared.convertToFormat(QImage::Format_RGB32);
            if (frame.inverted) pixels = pixels.mirrored(false, true);
            return pixels;
        }();
        zwlr_screencopy_frame_v1_destroy(proxy);
        return result;
    }
};

WlrScreencopy::WlrScreencopy(std::unique_ptr<State> state) : m_state(std::move(state)) {}

WlrScreencopy::~WlrScreencopy() = default;

Result<std::unique_ptr<WlrScreencopy>> WlrScreencopy::connect() {
    auto connection = WaylandConnection::open();
    if (!connection) return connection.error();
    auto state = std::make_unique<State>();
    state->connection = std::move(connection).value();
    const auto manager = state->connection->global(zwlr_screencopy_manager_v1_interface.name);
    const auto shm = state->connection->global(wl_shm_interface.name);
    if (!manager || !shm)
        return Error{QStringLiteral("The Wayland compositor does not offer wlroots' screencopy protocol.")};
    state->manager = static_cast<zwlr_screencopy_manager_v1*>(
        state->connection->bind(*manager, &zwlr_screencopy_manager_v1_interface, 3));
    state->shm = static_cast<wl_shm*>(state->connection->bind(*shm, &wl_shm_interface, 1));
    state->outputs = std::make_unique<WaylandOutputs>(*state->connection);
    if (auto described = state->outputs->update(); !described) return described.error();
    return std::unique_ptr<WlrScreencopy>(new WlrScreencopy(std::move(state)));
}

Result<QImage> WlrScreencopy::grab(const QString& outputName, const QSize& laidOut,
                                   std::optional<QRect> region) {
    const QMutexLocker lock(&m_state->mutex);
    State& state = *m_state;
    if (auto current = state.outputs->update(); !current) return current.error();
    const WaylandOutput* output = state.outputs->named(outputName);
    if (!output) {
        // An output plugged in a moment ago: its global may not have been read yet.
        if (auto listed = state.connection->roundtrip(); !listed) return listed.error();
        if (auto current = state.outputs->update(); !current) return current.error();
        output = state.outputs->named(outputName);
    }
    if (!output) return Error{QStringLiteral("The compositor has no output named %1.").arg(outputName)};
    // The output's pixels as they are seen: a rotated output's mode is the other way round.
    const bool turned = output->transform % 2 == 1;
    const QRect whole(QPoint(0, 0), turned ? output->pixels.transposed() : output->pixels);
    // Where the compositor scales by a fraction (1.5), Qt 6.4 lays the output out at the next
    // whole scale: areas in those pixels are not the output's.
    if (whole.size() != laidOut)
        return Error{QStringLiteral("Output %1 has %2×%3 pixels, but Qt lays it out as %4×%5.")
                         .arg(outputName)
                         .arg(whole.width())
                         .arg(whole.height())
                         .arg(laidOut.width())
                         .arg(laidOut.height())};
    if (region && !whole.contains(*region))
        return Error{QStringLiteral("That area is not inside output %1.").arg(outputName)};
    // The compositor takes a region in logical units: where the area falls on whole units,
    // only it is copied; elsewhere the whole output is, and the area cut from it.
    const int scale = std::max(1, output->scale);
    const bool partial = region && *region != whole;
    const bool onUnits = partial && region->x() % scale == 0 && region->y() % scale == 0 &&
                         region->width() % scale == 0 && region->height() % scale == 0;
    if (onUnits && output->transform == WL_OUTPUT_TRANSFORM_NORMAL) {
        const QRect logical(region->x() / scale, region->y() / scale, region->width() / scale,
                            region->height() / scale);
        Result<QImage> part = state.copy(*output, logical);
        if (!part) return part;
        if (part->size() == region->size()) return part;
    }
    Result<QImage> copied = state.copy(*output, std::nullopt);
    if (!copied) return copied;
    const QImage all = asSeen(*copied, output->transform);
    if (all.size() != whole.size())
        return Error{QStringLiteral("The copy of output %1 is %2×%3 pixels, not the %4×%5 it shows.")
                         .arg(outputName)
                         .arg(all.width())
                         .arg(all.height())
                         .arg(whole.width())
                         .arg(whole.height())};
    if (!partial) return all;
    return all.copy(*region);
}

} // namespace platform::wayland
