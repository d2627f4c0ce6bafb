#pragma once

#include "common/Result.h"

#include <QList>
#include <QPoint>
#include <QSize>
#include <QString>

#include <chrono>
#include <memory>
#include <optional>

namespace platform::wayland {

// What the desktop's screen-cast portal can share, from its properties.
struct ScreenCastOffer {
    enum SourceType : uint { monitor = 1, window = 2, virtualScreen = 4 };
    enum CursorMode : uint { hidden = 1, embedded = 2, metadata = 4 };
    uint sourceTypes = 0;
    uint cursorModes = 0;
    uint version = 0;
};

// The desktop's offer, or the sentence saying why there is no portal to ask.
Result<ScreenCastOffer> screenCastOffer();

// One stream the desktop shares: its PipeWire node, and where the shared output lies in
// the compositor's layout (logical units) where the portal says so.
struct ScreenCastStream {
    uint32_t node = 0;
    std::optional<QPoint> position;
    std::optional<QSize> size;
    uint sourceType = 0;
};

// The streams of a Start answer's "streams" entry, a(ua{sv}); none where it is not one.
QList<ScreenCastStream> screenCastStreams(const QVariant& value);

struct ScreenCastRequest {
    uint sourceTypes = ScreenCastOffer::monitor;
    uint cursorMode = ScreenCastOffer::hidden;
    // Whether the desktop may remember the user's answer, and the token of an earlier
    // answer to restore (empty for none).
    bool persist = false;
    // With `persist`: the answer is remembered only while this program runs.
    bool persistWhileRunning = false;
    QString restoreToken;
};

// An open screen-cast session: the user's answer, the streams shared and the PipeWire
// connection they flow on. Closing it (destroying it) ends the streams.
class ScreenCastSession {
public:
    // CreateSession, SelectSources, Start and OpenPipeWireRemote. Blocks the calling thread,
    // which must be a Qt thread, until the desktop (or the user) answers.
    static Result<std::unique_ptr<ScreenCastSession>>
    open(const ScreenCastRequest& request, std::chrono::milliseconds timeout = std::chrono::minutes(2));
    ~ScreenCastSession();
    ScreenCastSession(const ScreenCastSession&) = delete;
    ScreenCastSession& operator=(const ScreenCastSession&) = delete;

    const QList<ScreenCastStream>& streams() const { return m_streams; }
    // The token that restores this answer next time, where the desktop gave one.
    const QString& restoreToken() const { return m_restoreToken; }
    // The PipeWire connection, handed over once (-1 afterwards): its taker closes it.
    int takePipeWireFd();
    // Another PipeWire connection to the same streams, for the next taker of the one above.
    Result<bool> openPipeWire(std::chrono::milliseconds timeout = std::chrono::seconds(10));

private:
    ScreenCastSession() = default;

    QString m_handle;
    QList<ScreenCastStream> m_streams;
    QString m_restoreToken;
    int m_fd = -1;
};

} // namespace platform::wayland
