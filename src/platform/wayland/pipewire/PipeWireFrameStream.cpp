#include "platform/wayland/pipewire/PipeWireFrameStream.h"

#include "platform/FrameSlots.h"
#include "platform/wayland/ScreenCastWords.h"
#include "platform/wayland/pipewire/ScreenPixels.h"

#include <pipewire/pipewire.h>
#include <spa/buffer/meta.h>
#include <spa/param/buffers.h>
#include <spa/param/video/format-utils.h>
#include <spa/pod/builder.h>

#include <QPainter>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <unistd.h>

// PipeWire's interface calls and parameter builders are C macros made of GNU statement
// expressions and compound literals, which GCC accepts from a system header and clang does
// not.
#ifdef __clang__
#pragma clang diagnostic ignored "-Wgnu-statement-expression"
#pragma clang diagnostic ignored "-Wc99-extensions"
#endif

namespace platform::wayland {

namespace {

using Clock = std::chrono::steady_clock;

// A desktop that shares the screen sends its first picture at once; one that sends none in
// this time is not going to.
constexpr auto firstPictureTimeout = std::chrono::seconds(5);
// The largest pointer shape the desktop may send along with a picture.
constexpr int largestPointer = 256;

constexpr uint32_t cursorMetaSize(int width, int height) {
    return uint32_t(sizeof(spa_meta_cursor) + sizeof(spa_meta_bitmap) + size_t(width) * size_t(height) * 4);
}

std::optional<PixelLayout> layoutOf(uint32_t format) {
    switch (format) {
    case SPA_VIDEO_FORMAT_BGRx:
        return PixelLayout::bgrx;
    case SPA_VIDEO_FORMAT_BGRA:
        return PixelLayout::bgra;
    case SPA_VIDEO_FORMAT_RGBx:
        return PixelLayout::rgbx;
    case SPA_VIDEO_FORMAT_RGBA:
        return PixelLayout::rgba;
    default:
        return std::nullopt;
    }
}

void initialisePipeWire() {
    static std::once_flag once;
    std::call_once(once, [] {
        pw_init(nullptr, nullptr);
        // PipeWire's own warnings stay off the terminal unless asked for with PIPEWIRE_DEBUG;
        // what goes wrong reaches the user as our sentences.
        if (qEnvironmentVariableIsEmpty("PIPEWIRE_DEBUG")) pw_log_set_level(SPA_LOG_LEVEL_NONE);
    });
}

struct Pointer {
    bool visible = false;
    QPoint position; // of the hotspot, in the output's pixels
    QPoint hotspot;
    QImage shape;
};

class PipeWireFrameStream final : public PipeWireStream {
public:
    ~PipeWireFrameStream() override { stop(); }

    Result<bool> start(const CastTarget& target, const FrameStreamSettings& settings,
                       FrameStream::FrameHandler onFrame, FrameStream::ErrorHandler onError) override {
        if (m_loop) {
            if (target.fd >= 0) close(target.fd);
            return Error{QStringLiteral("The recording already runs")};
        }
        m_target = target;
        m_settings = settings;
        m_onFrame = std::move(onFrame);
        m_onError = std::move(onError);
        m_stopping = false;
        m_failure.reset();
        m_running = false;
        m_latest = QImage();
        m_missed = 0;
        if (const auto connected = connect(); !connected) {
            teardown();
            return connected.error();
        }
        {
            std::unique_lock lock(m_mutex);
            m_changed.wait_for(lock, firstPictureTimeout, [&] { return !m_latest.isNull() || m_failure; });
            if (!m_failure && m_latest.isNull()) m_failure = Error{ScreenCastWords::noPicture()};
            if (m_failure) {
                const Error failure = *m_failure;
                lock.unlock();
                stop();
                return failure;
            }
            m_running = true;
        }
        m_pacer = std::thread([this] { pace(); });
        return true;
    }

    void stop() override {
        m_stopping = true;
        m_changed.notify_all();
        if (m_pacer.joinable() && m_pacer.get_id() != std::this_thread::get_id()) m_pacer.join();
        teardown();
    }

    int missedFrames() const override { return m_missed; }

private:
    Result<bool> connect() {
        initialisePipeWire();
        m_loop = pw_thread_loop_new("pictavia-cast", nullptr);
        if (!m_loop) return Error{ScreenCastWords::noPipeWire()};
        m_context = pw_context_new(pw_thread_loop_get_loop(m_loop), nullptr, 0);
        if (!m_context || pw_thread_loop_start(m_loop) < 0) {
            if (m_target.fd >= 0) close(m_target.fd);
            return Error{ScreenCastWords::noPipeWire()};
        }
        pw_thread_loop_lock(m_loop);
        // The connection takes the descriptor over, and closes it on failure as well.
        m_core = pw_context_connect_fd(m_context, m_target.fd, nullptr, 0);
        if (!m_core) {
            pw_thread_loop_unlock(m_loop);
            return Error{ScreenCastWords::noPipeWire()};
        }
        static const pw_core_events coreEvents = [] {
            pw_core_events events{};
            events.version = PW_VERSION_CORE_EVENTS;
            events.error = [](void* self, uint32_t id, int, int, const char* message) {
                if (id == PW_ID_CORE)
                    static_cast<PipeWireFrameStream*>(self)->fail(
                        QStringLiteral("The connection to PipeWire was lost: %1")
                            .arg(QString::fromUtf8(message)));
            };
            return events;
        }();
        pw_core_add_listener(m_core, &m_coreListener, &coreEvents, this);

        // A stream whose source goes away stays connected, waiting for another: the registry
        // tells when the shared node is gone.
        m_registry = pw_core_get_registry(m_core, PW_VERSION_REGISTRY, 0);
        static const pw_registry_events registryEvents = [] {
            pw_registry_events events{};
            events.version = PW_VERSION_REGISTRY_EVENTS;
            events.global_remove = [](void* self, uint32_t id) {
                auto* stream = static_cast<PipeWireFrameStream*>(self);
                if (id == stream->m_target.node)
                    stream->fail(QStringLiteral("The desktop stopped sharing the screen."));
            };
            return events;
        }();
        if (m_registry) pw_registry_add_listener(m_registry, &m_registryListener, &registryEvents, this);

        m_stream = pw_stream_new(m_core, "Pictavia screen recording",
                                 pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY,
                                                   "Capture", PW_KEY_MEDIA_ROLE, "Screen",
                                                   // never moved to another source
                                                   PW_KEY_NODE_DONT_RECONNECT, "true", nullptr));
        if (!m_stream) {
            pw_thread_loop_unlock(m_loop);
            return Error{ScreenCastWords::noPipeWire()};
        }
        static const pw_stream_events streamEvents = [] {
            pw_stream_events events{};
            events.version = PW_VERSION_STREAM_EVENTS;
            events.state_changed = [](void* self, pw_stream_state, pw_stream_state state, const char* error) {
                static_cast<PipeWireFrameStream*>(self)->stateChanged(state, error);
            };
            events.param_changed = [](void* self, uint32_t id, const spa_pod* param) {
                static_cast<PipeWireFrameStream*>(self)->paramChanged(id, param);
            };
            events.process = [](void* self) { static_cast<PipeWireFrameStream*>(self)->process(); };
            return events;
        }();
        pw_stream_add_listener(m_stream, &m_streamListener, &streamEvents, this);

        // Shared memory only: without a modifier in the offer, no desktop sends DMA-BUFs.
        uint8_t buffer[1024];
        spa_pod_builder builder = SPA_POD_BUILDER_INIT(buffer, sizeof(buffer));
        const spa_rectangle defaultSize{uint32_t(m_target.outputPixels.width()),
                                        uint32_t(m_target.outputPixels.height())};
        const spa_rectangle minSize{1, 1};
        const spa_rectangle maxSize{16384, 16384};
        const spa_fraction defaultRate{uint32_t(m_settings.fps), 1};
        const spa_fraction minRate{0, 1};
        const spa_fraction maxRate{1000, 1};
        const spa_pod* params[1];
        params[0] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType,
            SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype, SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw),
            SPA_FORMAT_VIDEO_format,
            SPA_POD_CHOICE_ENUM_Id(5, SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRA,
                                   SPA_VIDEO_FORMAT_RGBx, SPA_VIDEO_FORMAT_RGBA),
            SPA_FORMAT_VIDEO_size, SPA_POD_CHOICE_RANGE_Rectangle(&defaultSize, &minSize, &maxSize),
            SPA_FORMAT_VIDEO_framerate, SPA_POD_CHOICE_RANGE_Fraction(&defaultRate, &minRate, &maxRate)));
        const int connected = pw_stream_connect(
            m_stream, PW_DIRECTION_INPUT, m_target.node,
            pw_stream_flags(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS), params, 1);
        pw_thread_loop_unlock(m_loop);
        if (connected < 0)
            return Error{QStringLiteral("The desktop's screen recording stream could not be opened.")};
        return true;
    }

    void teardown() {
        if (!m_loop) return;
        pw_thread_loop_lock(m_loop);
        if (m_stream) {
            spa_hook_remove(&m_streamListener);
            pw_stream_disconnect(m_stream);
            pw_stream_destroy(m_stream);
            m_stream = nullptr;
        }
        if (m_registry) {
            spa_hook_remove(&m_registryListener);
            pw_proxy_destroy(reinterpret_cast<pw_proxy*>(m_registry));
            m_registry = nullptr;
        }
        if (m_core) {
            spa_hook_remove(&m_coreListener);
            pw_core_disconnect(m_core);
            m_core = nullptr;
        }
        pw_thread_loop_unlock(m_loop);
        pw_thread_loop_stop(m_loop);
        if (m_context) pw_context_destroy(m_context);
        m_context = nullptr;
        pw_thread_loop_destroy(m_loop);
        m_loop = nullptr;
    }

    // On PipeWire's thread from here to process().

    void stateChanged(pw_stream_state state, const char* error) {
        if (state == PW_STREAM_STATE_ERROR)
            fail(QStringLiteral("The screen recording stream failed: %1").arg(QString::fromUtf8(error)));
        else if (state == PW_STREAM_STATE_UNCONNECTED)
            fail(QStringLiteral("The desktop stopped the screen recording."));
    }

    void paramChanged(uint32_t id, const spa_pod* param) {
        if (!param || id != SPA_PARAM_Format) return;
        uint32_t mediaType = 0;
        uint32_t mediaSubtype = 0;
        spa_video_info_raw raw{};
        if (spa_format_parse(param, &mediaType, &mediaSubtype) < 0 || mediaType != SPA_MEDIA_TYPE_video ||
            mediaSubtype != SPA_MEDIA_SUBTYPE_raw || spa_format_video_raw_parse(param, &raw) < 0)
            return;
        const auto layout = layoutOf(raw.format);
        if (!layout) {
            fail(QStringLiteral("The desktop sends its screen in a pixel format this program cannot read."));
            return;
        }
        m_layout = *layout;
        m_size = QSize(int(raw.size.width), int(raw.size.height));

        uint8_t buffer[1024];
        spa_pod_builder builder = SPA_POD_BUILDER_INIT(buffer, sizeof(buffer));
        const spa_pod* params[4];
        params[0] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
            SPA_POD_CHOICE_RANGE_Int(8, 2, 16), SPA_PARAM_BUFFERS_dataType,
            SPA_POD_CHOICE_FLAGS_Int((1 << SPA_DATA_MemFd) | (1 << SPA_DATA_MemPtr))));
        params[1] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type,
            SPA_POD_Id(SPA_META_Header), SPA_PARAM_META_size, SPA_POD_Int(sizeof(spa_meta_header))));
        params[2] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type,
            SPA_POD_Id(SPA_META_VideoCrop), SPA_PARAM_META_size, SPA_POD_Int(sizeof(spa_meta_region))));
        params[3] = static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type,
            SPA_POD_Id(SPA_META_Cursor), SPA_PARAM_META_size,
            SPA_POD_CHOICE_RANGE_Int(cursorMetaSize(64, 64), cursorMetaSize(1, 1),
                                     cursorMetaSize(largestPointer, largestPointer))));
        pw_stream_update_params(m_stream, params, 4);
    }

    void process() {
        // Only the newest picture matters; the pointer is read from every buffer, since its
        // shape comes only with the buffer where it changed.
        pw_buffer* newest = nullptr;
        while (pw_buffer* next = pw_stream_dequeue_buffer(m_stream)) {
            readPointer(next->buffer);
            if (newest) pw_stream_queue_buffer(m_stream, newest);
            newest = next;
        }
        if (!newest) return;
        QImage picture = readPicture(newest->buffer);
        pw_stream_queue_buffer(m_stream, newest);
        if (picture.isNull()) return;
        {
            const std::lock_guard lock(m_mutex);
            m_latest = std::move(picture);
        }
        m_changed.notify_all();
    }

    QImage readPicture(const spa_buffer* buffer) const {
        if (buffer->n_datas < 1 || m_size.isEmpty()) return {};
        const spa_data& data = buffer->datas[0];
        // A buffer without a picture carries only the pointer's news.
        if (!data.data || !data.chunk || data.chunk->size == 0 ||
            (data.chunk->flags & SPA_CHUNK_FLAG_CORRUPTED))
            return {};
        if (const auto* header = static_cast<const spa_meta_header*>(
                spa_buffer_find_meta_data(buffer, SPA_META_Header, sizeof(spa_meta_header))))
            if (header->flags & SPA_META_HEADER_FLAG_CORRUPTED) return {};
        const qsizetype stride = data.chunk->stride > 0 ? data.chunk->stride : qsizetype(m_size.width()) * 4;
        const qsizetype offset = data.chunk->offset % std::max<uint32_t>(data.maxsize, 1);
        if (offset + stride * m_size.height() > qsizetype(data.maxsize)) return {};

        QRect valid(QPoint(), m_size);
        if (const auto* crop = static_cast<const spa_meta_region*>(
                spa_buffer_find_meta_data(buffer, SPA_META_VideoCrop, sizeof(spa_meta_region))))
            if (spa_meta_region_is_valid(crop))
                valid &= QRect(crop->region.position.x, crop->region.position.y, int(crop->region.size.width),
                               int(crop->region.size.height));
        // Without an output size (a window), the whole picture is wanted at its own size.
        const QRect wanted = m_target.crop.value_or(
            QRect(QPoint(), m_target.outputPixels.isEmpty() ? valid.size() : m_target.outputPixels));
        QRect source = wanted.translated(valid.topLeft());
        const bool ownSize = m_target.outputPixels.isEmpty() || valid.size() == m_target.outputPixels;
        if (!ownSize) {
            // The desktop sends the output at another size: the same part of it, scaled.
            const double sx = double(valid.width()) / m_target.outputPixels.width();
            const double sy = double(valid.height()) / m_target.outputPixels.height();
            source = QRectF(valid.x() + wanted.x() * sx, valid.y() + wanted.y() * sy, wanted.width() * sx,
                            wanted.height() * sy)
                         .toAlignedRect() &
                     valid;
        }
        QImage picture = screenPixels(static_cast<const uchar*>(data.data) + offset, m_size, stride, m_layout,
                                      source & valid);
        if (!picture.isNull() && picture.size() != wanted.size())
            picture = picture.scaled(wanted.size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        return picture;
    }

    void readPointer(const spa_buffer* buffer) {
        const spa_meta* meta = spa_buffer_find_meta(buffer, SPA_META_Cursor);
        if (!meta || meta->size < sizeof(spa_meta_cursor)) return;
        const auto* cursor = static_cast<const spa_meta_cursor*>(meta->data);
        const std::lock_guard lock(m_mutex);
        m_pointer.visible = spa_meta_cursor_is_valid(cursor);
        if (!m_pointer.visible) return;
        m_pointer.position = QPoint(cursor->position.x, cursor->position.y);
        m_pointer.hotspot = QPoint(cursor->hotspot.x, cursor->hotspot.y);
        if (cursor->bitmap_offset < sizeof(spa_meta_cursor) ||
            size_t(cursor->bitmap_offset) + sizeof(spa_meta_bitmap) > meta->size)
            return;
        const auto* bitmap = SPA_PTROFF(cursor, cursor->bitmap_offset, const spa_meta_bitmap);
        const auto layout = layoutOf(bitmap->format);
        const QSize size(int(bitmap->size.width), int(bitmap->size.height));
        if (!layout || size.isEmpty() || size.width() > largestPointer || size.height() > largestPointer)
            return;
        const size_t end =
            size_t(cursor->bitmap_offset) + bitmap->offset + size_t(bitmap->stride) * size.height();
        if (bitmap->offset < sizeof(spa_meta_bitmap) || end > meta->size) return;
        m_pointer.shape = screenPixels(SPA_PTROFF(bitmap, bitmap->offset, const uchar), size, bitmap->stride,
                                       *layout, QRect(QPoint(), size), true);
    }

    // Ends the stream with `message`: start() returns it, or, once running, the error handler
    // hears it once.
    void fail(const QString& message) {
        bool tell = false;
        {
            const std::lock_guard lock(m_mutex);
            if (m_failure || m_stopping) return;
            m_failure = Error{message};
            tell = m_running;
        }
        m_changed.notify_all();
        if (tell && m_onError) m_onError(*m_failure);
    }

    // The pacer's thread: the newest picture at every tick of the frame rate.
    void pace() {
        FrameSlots pacing(m_settings.fps);
        while (!m_stopping) {
            QImage frame;
            Pointer pointer;
            {
                const std::lock_guard lock(m_mutex);
                if (m_failure) return;
                frame = m_latest;
                pointer = m_pointer;
            }
            const Clock::time_point taken = Clock::now();
            if (m_settings.showCursor && pointer.visible && !pointer.shape.isNull()) {
                const QPoint origin = m_target.crop ? m_target.crop->topLeft() : QPoint();
                QPainter(&frame).drawImage(pointer.position - pointer.hotspot - origin, pointer.shape);
            }
            m_onFrame(
                frame,
                std::chrono::duration_cast<std::chrono::microseconds>(taken.time_since_epoch()).count());
            const Clock::time_point due = pacing.next();
            m_missed = pacing.missed();
            std::unique_lock lock(m_mutex);
            m_changed.wait_until(lock, due, [&] { return m_stopping.load() || m_failure.has_value(); });
        }
    }

    CastTarget m_target;
    FrameStreamSettings m_settings;
    FrameStream::FrameHandler m_onFrame;
    FrameStream::ErrorHandler m_onError;

    pw_thread_loop* m_loop = nullptr;
    pw_context* m_context = nullptr;
    pw_core* m_core = nullptr;
    pw_stream* m_stream = nullptr;
    pw_registry* m_registry = nullptr;
    spa_hook m_coreListener{};
    spa_hook m_registryListener{};
    spa_hook m_streamListener{};
    PixelLayout m_layout = PixelLayout::bgrx; // of the negotiated format
    QSize m_size;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    QImage m_latest;
    Pointer m_pointer;
    std::optional<Error> m_failure;
    bool m_running = false;

    std::thread m_pacer;
    std::atomic<bool> m_stopping = false;
    std::atomic<int> m_missed = 0;
};

} // namespace

std::unique_ptr<PipeWireStream> PipeWireFrameStreams::create() {
    return std::make_unique<PipeWireFrameStream>();
}

} // namespace platform::wayland
