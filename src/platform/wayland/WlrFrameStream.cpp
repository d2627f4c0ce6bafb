#include "platform/wayland/WlrFrameStream.h"

#include "platform/FrameSlots.h"
#include "platform/wayland/ScreencopyFrame.h"
#include "platform/wayland/SwayIpc.h"
#include "platform/wayland/SwayTree.h"
#include "platform/wayland/SwayWindowWatch.h"
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

    // Where a window is: its output and its part of that output's pixels, or nullopt while it
    // is not shown (another workspace, behind a full-screen window).
    struct WindowPlace {
        const WaylandOutput* output = nullptr;
        QRect region;
    };
    static std::optional<WindowPlace> placeOf(const SwayWindow& window, ScreencopyConnection& connection) {
        if (!window.visible) return std::nullopt;
        const WaylandOutput* output = connection.outputs->named(window.output);
        if (!output) {
            // An output that came since the connection listed them.
            if (connection.outputs->update()) output = connection.outputs->named(window.output);
            if (!output) return std::nullopt;
        }
        const std::optional<QRect> region = pixelsOnOutput(window, seenPixels(*output));
        if (!region) return std::nullopt;
        return WindowPlace{output, *region};
    }

    // The stream's thread: connects, takes the first frame (start() returns once it is
    // taken or failed), then one frame per slot of the frame rate until stopped.
    void run(std::promise<Result<bool>>& started) {
        ScreencopyConnection connection;
        if (auto opened = connection.open(); !opened) {
            started.set_value(opened.error());
            return;
        }
        std::optional<SwayWindowWatch> watch;
        if (m_windowId) {
            Result<SwayWindow> window = findSwayWindow(*m_windowId);
            if (!window) {
                started.set_value(window.error());
                return;
            }
            const std::optional<WindowPlace> place = placeOf(*window, connection);
            if (!place) {
                started.set_value(Error{QStringLiteral(
                    "That window is not on screen: it is on another workspace or hidden. Show it first.")});
                return;
            }
            m_outputName = place->output->name;
            m_region = place->region;
            watch.emplace(*m_windowId, std::move(window).value());
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

        // A recorded window is followed: each copy is aimed where the watch last saw it. What
        // covers it is in the picture, as on the screen.
        const auto followWindow = [&]() -> std::optional<Copy> {
            if (!watch) return std::nullopt;
            const Result<SwayWindow> window = watch->latest();
            if (!window) return Copy{window.error(), true};
            const std::optional<WindowPlace> place = placeOf(*window, connection);
            if (!place)
                return Copy{Error{QStringLiteral("The window being recorded is not on screen.")}, false,
                            true};
            if (place->output->name == m_outputName && place->region == m_region) return std::nullopt;
            Result<ScreencopyArea> aimed =
                screencopyArea(*place->output, seenPixels(*place->output), place->region);
            if (!aimed) return Copy{aimed.error(), false};
            output = place->output;
            area = *aimed;
            m_outputName = place->output->name;
            m_region = place->region;
            return std::nullopt;
        };

        const auto copy = [&]() -> Copy {
            if (std::optional<Copy> unfollowed = followWindow()) return std::move(*unfollowed);
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
