#include "platform/wayland/WlrFrameStream.h"

#include "platform/FrameSlots.h"
#include "platform/wayland/ScreencopyFrame.h"
#include "platform/wayland/SwayIpc.h"
#include "platform/wayland/SwayTree.h"
#include "platform/wayland/WaylandConnection.h"
#include "platform/wayland/WaylandOutputs.h"

#include "screencopy-client.h"
#include <wayland-client.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <future>
#include <thread>

namespace platform::wayland {

namespace {

using Clock = std::chrono::steady_clock;

// A copy the compositor refuses this many times in a row while its output is still there
// will not come back: the recording ends.
constexpr int refusalsToEnd = 3;

// How often a recorded window's place is asked of the compositor: sway reports no move of a
// floating window, and a tree a frame would cost more than the copy.
constexpr std::chrono::milliseconds windowPlaceInterval{100};

// An output's pixels as they are seen: a turned output's mode is the other way round.
QSize seenPixels(const WaylandOutput& output) {
    return output.transform % 2 == 1 ? output.pixels.transposed() : output.pixels;
}

qint64 microseconds(Clock::time_point time) {
    return std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch()).count();
}

class WlrFrameStream final : public FrameStream {
public:
    WlrFrameStream(const WlrFrameStreams::Displays& displays, FrameStreams& portal)
        : m_displays(displays), m_portal(portal) {}
    ~WlrFrameStream() override { stop(); }
    WlrFrameStream(const WlrFrameStream&) = delete;
    WlrFrameStream& operator=(const WlrFrameStream&) = delete;

    Result<bool> start(const FrameSource& source, const FrameStreamSettings& settings, FrameHandler onFrame,
                       ErrorHandler onError) override {
        if (m_thread.joinable() || m_portalStream) return Error{QStringLiteral("The recording already runs")};
        if (source.windowId && swaySocketPath().isEmpty()) {
            // Screencopy copies outputs: only where the compositor says where a window is can
            // it be cut from them. Elsewhere the portal may share the window.
            Result<std::unique_ptr<FrameStream>> stream = m_portal.create();
            if (!stream) return stream.error();
            m_portalStream = std::move(stream).value();
            return m_portalStream->start(source, settings, std::move(onFrame), std::move(onError));
        }
        m_windowId = source.windowId;
        if (!m_windowId) {
            if (!source.rootRect) return Error{QStringLiteral("Nothing to record was chosen")};
            const QRect area = *source.rootRect;
            const QList<DisplayInfo> displays = m_displays();
            const auto display = std::find_if(displays.begin(), displays.end(), [&](const DisplayInfo& d) {
                return d.geometry.contains(area);
            });
            if (area.isEmpty() || display == displays.end())
                return Error{QStringLiteral("That area is off screen")};
            m_outputName = display->name;
            m_laidOut = display->geometry.size();
            m_region = area.translated(-display->geometry.topLeft());
        }
        m_settings = settings;
        m_onFrame = std::move(onFrame);
        m_onError = std::move(onError);
        m_stopping = false;
        m_missed = 0;
        std::promise<Result<bool>> started;
        std::future<Result<bool>> answer = started.get_future();
        m_thread = std::thread([this, started = std::move(started)]() mutable { run(started); });
        Result<bool> result = answer.get();
        if (!result) m_thread.join();
        return result;
    }

    void stop() override {
        if (m_portalStream) m_portalStream->stop();
        {
            const std::lock_guard lock(m_mutex);
            m_stopping = true;
        }
        m_wake.notify_all();
        if (m_thread.joinable() && m_thread.get_id() != std::this_thread::get_id()) m_thread.join();
    }

    int missedFrames() const override {
        return m_portalStream ? m_portalStream->missedFrames() : m_missed.load();
    }

private:
    // One copy of the area; `ended` says whether a failure ends the stream, `skipped` that
    // there was nothing to copy (a recorded window not on screen).
    struct Copy {
        Result<QImage> pixels;
        bool ended = false;
        bool skipped = false;
    };

    // Where the recorded window is now: its output and its part of that output's pixels, or
    // nullopt while it is not shown (another workspace, behind a full-screen window). Fails
    // when the window is gone or the compositor cannot be asked.
    struct WindowPlace {
        QString output;
        QRect region;
    };
    Result<std::optional<WindowPlace>> placeOfWindow(ScreencopyConnection& connection) const {
        const Result<QList<SwayWindow>> windows = requestSwayWindows();
        if (!windows) return windows.error();
        const auto found = std::find_if(windows->begin(), windows->end(),
                                        [&](const SwayWindow& w) { return w.id == *m_windowId; });
        if (found == windows->end()) return Error{QStringLiteral("The window being recorded is gone")};
        if (!found->visible) return std::optional<WindowPlace>();
        const WaylandOutput* output = connection.outputs->named(found->output);
        if (!output) {
            // An output that came since the connection listed them.
            if (auto current = connection.outputs->update(); !current) return current.error();
            output = connection.outputs->named(found->output);
        }
        if (!output) return std::optional<WindowPlace>();
        const std::optional<QRect> region = pixelsOnOutput(*found, seenPixels(*output));
        if (!region) return std::optional<WindowPlace>();
        return std::optional(WindowPlace{found->output, *region});
    }

    // The stream's thread: connects, takes the first frame (start() returns once it is
    // taken or failed), then one frame per slot of the frame rate until stopped.
    void run(std::promise<Result<bool>>& started) {
        ScreencopyConnection connection;
        if (auto opened = connection.open(); !opened) {
            started.set_value(opened.error());
            return;
        }
        if (m_windowId) {
            const Result<std::optional<WindowPlace>> place = placeOfWindow(connection);
            if (!place || !*place) {
                started.set_value(place
                                      ? Error{QStringLiteral("That window is not on screen: it is on another "
                                                             "workspace or hidden. Show it first.")}
                                      : place.error());
                return;
            }
            m_outputName = (*place)->output;
            m_region = (*place)->region;
        }
        const WaylandOutput* output = connection.outputs->named(m_outputName);
        if (!output) {
            started.set_value(
                Error{QStringLiteral("The compositor has no output named %1.").arg(m_outputName)});
            return;
        }
        // A window's region is in its output's own pixels; an area's in the caller's layout.
        Result<ScreencopyArea> planned =
            screencopyArea(*output, m_windowId ? seenPixels(*output) : m_laidOut, m_region);
        if (!planned) {
            started.set_value(planned.error());
            return;
        }
        ScreencopyArea area = *planned;

        // A recorded window is followed: its place is asked now and then, and the copy aimed
        // anew where it moved. What covers it is in the picture, as on the screen.
        Clock::time_point placed = Clock::now();
        bool windowShown = true;
        const auto followWindow = [&]() -> std::optional<Copy> {
            if (!m_windowId || Clock::now() - placed < windowPlaceInterval) return std::nullopt;
            placed = Clock::now();
            const Result<std::optional<WindowPlace>> place = placeOfWindow(connection);
            if (!place) return Copy{place.error(), true};
            windowShown = place->has_value();
            if (!windowShown) return std::nullopt;
            const WindowPlace& now = **place;
            if (now.output == m_outputName && now.region == m_region) return std::nullopt;
            const WaylandOutput* moved = connection.outputs->named(now.output);
            if (!moved) return std::nullopt;
            Result<ScreencopyArea> aimed = screencopyArea(*moved, seenPixels(*moved), now.region);
            if (!aimed) return Copy{aimed.error(), false};
            output = moved;
            area = *aimed;
            m_outputName = now.output;
            m_region = now.region;
            return std::nullopt;
        };

        const auto copy = [&]() -> Copy {
            if (std::optional<Copy> failed = followWindow()) return std::move(*failed);
            if (!windowShown) return {Error{QString()}, false, true};
            Result<ScreencopyPicture> picture =
                connection.copier->copy(*output, area.logical, m_settings.showCursor);
            if (!picture) {
                if (!connection.copier->refused()) return {picture.error(), true};
                // A refused copy: the output may have gone.
                if (auto listed = connection.wayland->roundtrip(); !listed) return {listed.error(), true};
                if (auto current = connection.outputs->update(); !current) return {current.error(), true};
                output = connection.outputs->named(m_outputName);
                if (!output)
                    return {Error{QStringLiteral("Display %1 was disconnected.").arg(m_outputName)}, true};
                return {picture.error(), false};
            }
            // A region copy is taken as it comes; a whole output is turned upright.
            const int transform = area.logical ? WL_OUTPUT_TRANSFORM_NORMAL : output->transform;
            QImage pixels = screencopyPixels(*picture, transform, area.crop);
            if (pixels.size() == area.size) return {std::move(pixels), false};
            if (area.logical) {
                // The compositor copied the region at another size: from now on the area is
                // cut from the whole output.
                area = ScreencopyArea{std::nullopt, m_region, area.size};
                return {Error{QStringLiteral("The copy of output %1 had another size.").arg(m_outputName)},
                        false};
            }
            return {
                Error{QStringLiteral("Output %1 changed its size while it was recorded.").arg(m_outputName)},
                true};
        };

        FrameSlots pacing(m_settings.fps);
        Clock::time_point taken = Clock::now();
        Copy first = copy();
        if (!first.pixels && !first.ended) {
            taken = Clock::now();
            first = copy();
        }
        if (!first.pixels) {
            started.set_value(first.pixels.error());
            return;
        }
        started.set_value(true);

        std::optional<QImage> frame = std::move(first.pixels).value();
        int refusals = 0;
        int failedCopies = 0;
        for (;;) {
            if (frame) m_onFrame(*frame, microseconds(taken));
            const Clock::time_point due = pacing.next();
            m_missed = pacing.missed() + failedCopies;
            {
                std::unique_lock lock(m_mutex);
                m_wake.wait_until(lock, due, [&] { return m_stopping; });
                if (m_stopping) return;
            }
            taken = Clock::now();
            Copy next = copy();
            if (next.pixels) {
                frame = std::move(next.pixels).value();
                refusals = 0;
                continue;
            }
            frame.reset();
            if (next.skipped) continue;
            ++failedCopies;
            if (next.ended || ++refusals >= refusalsToEnd) {
                m_onError(next.pixels.error());
                return;
            }
        }
    }

    const WlrFrameStreams::Displays& m_displays;
    FrameStreams& m_portal;
    std::unique_ptr<FrameStream> m_portalStream;

    std::optional<uint32_t> m_windowId; // a window of the compositor's tree, followed as it moves
    QString m_outputName;
    QSize m_laidOut;
    QRect m_region; // in the output's pixels
    FrameStreamSettings m_settings;
    FrameHandler m_onFrame;
    ErrorHandler m_onError;

    std::thread m_thread;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_stopping = false;
    std::atomic<int> m_missed = 0;
};

} // namespace

bool WlrFrameStreams::offered() {
    const std::lock_guard lock(m_mutex);
    if (!m_offered) {
        if (qEnvironmentVariable("PICTAVIA_NO_SCREENCOPY") == u"1") {
            m_offered = false;
        } else {
            ScreencopyConnection probe;
            m_offered = bool(probe.open());
        }
    }
    return *m_offered;
}

Result<std::unique_ptr<FrameStream>> WlrFrameStreams::create() {
    if (!offered()) return m_portal->create();
    return std::unique_ptr<FrameStream>(std::make_unique<WlrFrameStream>(m_displays, *m_portal));
}

} // namespace platform::wayland
