#include "platform/wayland/WaylandFrameStream.h"

#include "platform/wayland/ChosenWindows.h"
#include "platform/wayland/ScreenCastChoice.h"
#include "platform/wayland/ScreenCastPortal.h"

#include <algorithm>

namespace platform::wayland {

namespace {

class WaylandFrameStream final : public FrameStream {
public:
    WaylandFrameStream(const RestoreTokenFile& tokens, const WaylandFrameStreams::Displays& displays,
                       const WaylandFrameStreams::PipeWire& pipeWire)
        : m_tokens(tokens), m_displays(displays), m_pipeWire(pipeWire) {}
    ~WaylandFrameStream() override { stop(); }
    WaylandFrameStream(const WaylandFrameStream&) = delete;
    WaylandFrameStream& operator=(const WaylandFrameStream&) = delete;

    Result<bool> start(const FrameSource& source, const FrameStreamSettings& settings, FrameHandler onFrame,
                       ErrorHandler onError) override {
        if (m_session) return Error{QStringLiteral("The recording already runs")};
        if (!source.rootRect && !source.windowId)
            return Error{QStringLiteral("Nothing to record was chosen")};
        const Result<ScreenCastOffer> offer = screenCastOffer();
        if (!offer) return offer.error();
        const Result<PipeWireStreams*> pipeWire = m_pipeWire();
        if (!pipeWire) return pipeWire.error();

        Result<Shared> shared = source.windowId ? shareWindow(*offer, settings, *source.windowId)
                                                : shareArea(*offer, settings, *source.rootRect);
        if (!shared) return shared.error();
        Shared& share = shared.value();
        if (source.windowId) {
            Result<std::unique_ptr<PipeWireStream>> reader =
                readWindow(*share.session, **pipeWire, settings, onFrame, onError);
            if (!reader) return reader.error();
            m_stream = std::move(reader).value();
            m_session = std::move(share.session);
            return true;
        }
        share.target.fd = share.session->takePipeWireFd();
        std::unique_ptr<PipeWireStream> stream = (*pipeWire)->create();
        Result<bool> started = stream->start(share.target, settings, std::move(onFrame), std::move(onError));
        m_stream = std::move(stream);
        if (!started) return started;
        m_session = std::move(share.session);
        return true;
    }

    void stop() override {
        if (m_stream) m_stream->stop();
        // Closing the session ends the desktop's sharing (and its indicator).
        m_session.reset();
    }

    int missedFrames() const override { return m_stream ? m_stream->missedFrames() : 0; }

private:
    struct Shared {
        std::unique_ptr<ScreenCastSession> session;
        CastTarget target;
    };

    // The display holding `area`, shared through the portal with the user's remembered answer.
    Result<Shared> shareArea(const ScreenCastOffer& offer, const FrameStreamSettings& settings,
                             const QRect& area) {
        const QList<DisplayInfo> displays = m_displays();
        const auto display = std::find_if(displays.begin(), displays.end(),
                                          [&](const DisplayInfo& d) { return d.geometry.contains(area); });
        if (area.isEmpty() || display == displays.end())
            return Error{QStringLiteral("That area is off screen")};

        ScreenCastRequest request;
        request.sourceTypes = ScreenCastOffer::monitor;
        request.cursorMode = cursorModeFor(offer, settings.showCursor);
        // Remembered answers came with version 4 of the portal.
        request.persist = offer.version >= 4;
        if (request.persist) request.restoreToken = m_tokens.load();
        for (;;) {
            Result<std::unique_ptr<ScreenCastSession>> session = ScreenCastSession::open(request);
            if (!session) return session.error();
            if (request.persist && !(*session)->restoreToken().isEmpty())
                m_tokens.save((*session)->restoreToken());
            if (const auto target = castTargetFor((*session)->streams(), displays, *display, area))
                return Shared{std::move(session).value(), *target};
            // The remembered answer shares another display: asked afresh, the user can choose.
            m_tokens.forget();
            if (request.restoreToken.isEmpty())
                return Error{
                    QStringLiteral("The desktop shared another display than the one to record: choose "
                                   "display %1 (%2) when it asks.")
                        .arg(display->id)
                        .arg(display->name)};
            request.restoreToken.clear();
        }
    }

    // A window the user picks in the desktop's own dialog, where the portal shares windows:
    // the one picked already for this recording (see ChosenWindows), shared again with the
    // token of that pick, else asked for now. The answer is not remembered beyond that: the
    // next window recording may be of another window.
    Result<Shared> shareWindow(const ScreenCastOffer& offer, const FrameStreamSettings& settings,
                               uint32_t windowId) {
        if (!(offer.sourceTypes & ScreenCastOffer::window))
            return Error{
                QStringLiteral("Window recordings are not available on this desktop: its screen sharing "
                               "offers whole displays only. Record the window's area instead."),
                {},
                2};
        ScreenCastRequest request;
        request.sourceTypes = ScreenCastOffer::window;
        request.cursorMode = cursorModeFor(offer, settings.showCursor);
        if (const auto chosen = ChosenWindows::shared().take(windowId);
            chosen && !chosen->restoreToken.isEmpty()) {
            request.persist = true;
            request.persistWhileRunning = true;
            request.restoreToken = chosen->restoreToken;
        }
        Result<std::unique_ptr<ScreenCastSession>> session = ScreenCastSession::open(request);
        if (!session) return session.error();
        Shared shared{std::move(session).value(), {}};
        shared.target.node = shared.session->streams().front().node;
        return shared;
    }

    const RestoreTokenFile& m_tokens;
    const WaylandFrameStreams::Displays& m_displays;
    const WaylandFrameStreams::PipeWire& m_pipeWire;
    std::unique_ptr<ScreenCastSession> m_session;
    std::unique_ptr<PipeWireStream> m_stream;
};

} // namespace

Result<std::unique_ptr<FrameStream>> WaylandFrameStreams::create() {
    return std::unique_ptr<FrameStream>(
        std::make_unique<WaylandFrameStream>(m_tokens, m_displays, m_pipeWire));
}

} // namespace platform::wayland
