#include "platform/x11/X11FrameStream.h"

#include "platform/FrameSlots.h"
#include "platform/x11/X11AreaGrabber.h"
#include "platform/x11/X11Connection.h"
#include "platform/x11/X11Cursor.h"
#include "platform/x11/X11OwnWindowFilter.h"
#include "platform/x11/X11WindowGrabber.h"

#include <QPainter>

#include <atomic>
#include <chrono>
#include <thread>

namespace platform::x11 {

namespace {

using Clock = std::chrono::steady_clock;

class X11FrameStream final : public FrameStream {
public:
    explicit X11FrameStream(std::unique_ptr<X11Connection> connection)
        : m_connection(std::move(connection)), m_areas(*m_connection, qgetenv("PICTAVIA_NO_SHM") != "1"),
          m_windows(*m_connection, m_areas), m_ownWindows(*m_connection, m_areas, m_windows),
          m_cursor(*m_connection),
          m_rootFormat(m_connection->pixelFormat(m_connection->screen().root_visual,
                                                 m_connection->screen().root_depth)) {}
    ~X11FrameStream() override { stop(); }
    X11FrameStream(const X11FrameStream&) = delete;
    X11FrameStream& operator=(const X11FrameStream&) = delete;

    Result<bool> start(const FrameSource& source, const FrameStreamSettings& settings, FrameHandler onFrame,
                       ErrorHandler onError) override {
        if (m_thread.joinable()) return Error{QStringLiteral("The recording already runs")};
        if (!m_rootFormat) return m_rootFormat.error();
        if (!source.rootRect && !source.windowId)
            return Error{QStringLiteral("Nothing to record was chosen")};
        // The first frame is taken here, so that a source that cannot be recorded fails the
        // start instead of a moment later.
        m_ownWindows.keepInPicture(settings.windowsInPicture);
        const Result<QImage> first = grab(source, settings.showCursor);
        if (!first) return first.error();
        m_stopping = false;
        m_missed = 0;
        m_thread = std::thread([this, source, settings, onFrame = std::move(onFrame),
                                onError = std::move(onError)] { run(source, settings, onFrame, onError); });
        return true;
    }

    void stop() override {
        m_stopping = true;
        if (m_thread.joinable() && m_thread.get_id() != std::this_thread::get_id()) m_thread.join();
    }

    int missedFrames() const override { return m_missed; }

private:
    void run(const FrameSource& source, const FrameStreamSettings& settings, const FrameHandler& onFrame,
             const ErrorHandler& onError) {
        FrameSlots pacing(settings.fps);
        while (!m_stopping) {
            const Clock::time_point taken = Clock::now();
            Result<QImage> frame = grab(source, settings.showCursor);
            if (!frame) {
                if (!m_stopping && onError) onError(frame.error());
                return;
            }
            onFrame(*frame,
                    std::chrono::duration_cast<std::chrono::microseconds>(taken.time_since_epoch()).count());
            // The next frame at the next free slot of the frame rate.
            std::this_thread::sleep_until(pacing.next());
            m_missed = pacing.missed();
        }
    }

    Result<QImage> grab(const FrameSource& source, bool showCursor) {
        QRect area;
        Result<QImage> image = QImage();
        if (source.windowId) {
            image = m_windows.grab(*source.windowId);
            if (!image) return Error{QStringLiteral("The window being recorded is gone")};
            area = QRect(windowTopLeft(*source.windowId), image->size());
        } else {
            area = *source.rootRect;
            image = m_areas.grab(m_connection->root(), area, *m_rootFormat);
            if (!image) return image;
            m_ownWindows.apply(image.value(), area);
        }
        if (showCursor) drawCursor(image.value(), area.topLeft());
        return image;
    }

    QPoint windowTopLeft(uint32_t windowId) const {
        xcb_connection_t* c = m_connection->raw();
        Reply<xcb_translate_coordinates_reply_t> where{xcb_translate_coordinates_reply(
            c, xcb_translate_coordinates(c, windowId, m_connection->root(), 0, 0), nullptr)};
        return where ? QPoint(where->dst_x, where->dst_y) : QPoint();
    }

    void drawCursor(QImage& image, QPoint origin) {
        const auto cursor = m_cursor.read();
        if (!cursor) return;
        if (image.format() != QImage::Format_RGB32 && image.format() != QImage::Format_ARGB32_Premultiplied)
            image = image.convertToFormat(QImage::Format_RGB32);
        QPainter(&image).drawImage(cursor->topLeft - origin, cursor->image);
    }

    std::unique_ptr<X11Connection> m_connection;
    X11AreaGrabber m_areas;
    X11WindowGrabber m_windows;
    X11OwnWindowFilter m_ownWindows;
    X11Cursor m_cursor;
    const Result<PixelFormat> m_rootFormat;
    std::thread m_thread;
    std::atomic<bool> m_stopping = false;
    std::atomic<int> m_missed = 0;
};

} // namespace

Result<std::unique_ptr<FrameStream>> X11FrameStreams::create() {
    Result<std::unique_ptr<X11Connection>> connection = X11Connection::open();
    if (!connection) return connection.error();
    return std::unique_ptr<FrameStream>(std::make_unique<X11FrameStream>(std::move(connection).value()));
}

} // namespace platform::x11
