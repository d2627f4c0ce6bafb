#include "platform/wayland/ChosenWindows.h"

#include "platform/wayland/ForeignToplevels.h"
#include "platform/wayland/KWinScript.h"
#include "platform/wayland/ScreenCastPortal.h"
#include "platform/wayland/ScreenCastStill.h"
#include "platform/wayland/ScreenCastWords.h"
#include "platform/wayland/SwayIpc.h"
#include "platform/wayland/WaylandScreenBackend.h"

#include <QMutexLocker>

#include <memory>

namespace platform::wayland {

namespace {

// The portal's offer does not change while it runs.
bool portalSharesWindows() {
    static const bool shares = [] {
        const Result<ScreenCastOffer> offer = screenCastOffer();
        return offer && (offer->sourceTypes & ScreenCastOffer::window);
    }();
    return shares;
}

} // namespace

bool windowChooserOffered() {
    return swaySocketPath().isEmpty() && !kwinScriptingOffered() && !toplevelListOffered() &&
           portalSharesWindows();
}

Result<std::unique_ptr<PipeWireStream>> readWindow(ScreenCastSession& session, PipeWireStreams& pipeWire,
                                                   const FrameStreamSettings& settings,
                                                   const FrameStream::FrameHandler& onFrame,
                                                   const FrameStream::ErrorHandler& onError) {
    constexpr int attempts = 3;
    for (int attempt = 1;; ++attempt) {
        CastTarget target;
        target.fd = session.takePipeWireFd();
        target.node = session.streams().front().node;
        std::unique_ptr<PipeWireStream> stream = pipeWire.create();
        const Result<bool> started = stream->start(target, settings, onFrame, onError);
        if (started) return stream;
        if (attempt == attempts || started.error().message != ScreenCastWords::noPicture())
            return started.error();
        if (const Result<bool> reopened = session.openPipeWire(); !reopened) return reopened.error();
    }
}

ChosenWindows& ChosenWindows::shared() {
    // Never destroyed: it may be asked for from any thread until the process ends.
    static auto* windows = new ChosenWindows;
    return *windows;
}

Result<ChosenWindows::Chosen> ChosenWindows::choose(PipeWireStreams& pipeWire,
                                                    std::chrono::milliseconds timeout) {
    const Result<ScreenCastOffer> offer = screenCastOffer();
    if (!offer) return offer.error();
    ScreenCastRequest request;
    request.sourceTypes = ScreenCastOffer::window;
    request.cursorMode = offer->cursorModes & ScreenCastOffer::hidden ? uint(ScreenCastOffer::hidden)
                                                                      : uint(ScreenCastOffer::metadata);
    // The answer is kept only while this program runs, and only this pick's own recording asks
    // for it back: a window restored for another capture would be taken without the user
    // choosing it (and could be another one of the same title). The recording needs a session
    // of its own: mutter sends a still window's picture to the first reader of a session only,
    // and the pick's session had that reader already.
    request.persist = offer->version >= 4;
    request.persistWhileRunning = true;
    Result<std::unique_ptr<ScreenCastSession>> session = ScreenCastSession::open(request, timeout);
    if (!session) return session.error();

    std::unique_ptr<PipeWireStream> reader;
    FrameStreamSettings settings;
    settings.showCursor = false;
    Result<QImage> picture = firstPicture(
        [&](const FrameStream::FrameHandler& onFrame,
            const FrameStream::ErrorHandler& onError) -> Result<bool> {
            Result<std::unique_ptr<PipeWireStream>> started =
                readWindow(**session, pipeWire, settings, onFrame, onError);
            if (!started) return started.error();
            reader = std::move(started).value();
            return true;
        },
        [&] {
            if (reader) reader->stop();
        },
        std::chrono::seconds(10));
    if (!picture) return picture.error();

    Chosen chosen;
    chosen.size = picture->size();
    chosen.picture = std::move(picture).value();
    chosen.restoreToken = (*session)->restoreToken();
    const QMutexLocker lock(&m_mutex);
    chosen.id = ++m_lastId;
    m_unused.append(chosen);
    while (m_unused.size() > kept)
        m_unused.removeFirst();
    return chosen;
}

QList<ChosenWindows::Chosen> ChosenWindows::unused() const {
    const QMutexLocker lock(&m_mutex);
    return m_unused;
}

std::optional<ChosenWindows::Chosen> ChosenWindows::take(uint32_t id) {
    const QMutexLocker lock(&m_mutex);
    for (qsizetype i = 0; i < m_unused.size(); ++i)
        if (m_unused[i].id == id) return m_unused.takeAt(i);
    return std::nullopt;
}

} // namespace platform::wayland
