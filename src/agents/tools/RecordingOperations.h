#pragma once

#include "common/Result.h"
#include "recording/RecordingSource.h"

#include <QImage>
#include <QJsonObject>
#include <QPointer>
#include <QRectF>
#include <QSize>
#include <QString>
#include <QTimer>

#include <cstdint>
#include <functional>
#include <optional>

class MCPSession;

// What the recording tools do, without the agent plumbing: what an agent asked to record,
// the recording it runs (one at a time, shared with the user's own through the coordinator),
// and the facts of a finished one. Main thread, except where said.
namespace RecordingOperations {

// What to record and how.
struct Plan {
    QString target = QStringLiteral("screen"); // screen, area or window
    std::optional<uint32_t> displayID;
    QRectF rect; // points from the display's top-left corner, for "area"
    std::optional<uint32_t> windowID;
    QString windowApp; // the window's application, for messages
    bool gif = false;
    double limitSeconds = 600; // of recorded time, pauses left out
    // Departures from the user's recording settings; unset ones follow the settings.
    std::optional<int> fps;
    std::optional<bool> includeCursor;
    std::optional<bool> systemAudio;
    std::optional<bool> microphone;

    // The frames to record, resolved now: the display or window may be gone since.
    Result<RecordingSource> source() const;
    // "target", "format" ("video" or "gif") and what the target names.
    QJsonObject toJson() const;
    // "the screen", "an area of the screen", "a window of Firefox".
    QString describe() const;
};

// A recording in the history, as the tools report it.
struct Recording {
    QString file;
    QString id; // the history file name; empty outside the history
    bool gif = false;
    double duration = 0; // seconds
    QSize size;
    qint64 bytes = 0;
    QImage frame;  // the middle frame; null when it could not be read
    QString error; // set when the file could not be read at all

    // "id", "path", "format", "duration", "bytes", "width", "height".
    QJsonObject toJson() const;
};
// Reads a recording's length, size and middle frame with the media reader. Runs on a worker.
Recording inspect(const QString& file);

} // namespace RecordingOperations

// The recording agents started, if one runs: who started it, what with, and the limit on
// its length. The file it leaves is remembered as the starting session's last recording,
// not yet handed back, so stop_recording can return one that stopped by itself.
class AgentRecording {
public:
    using Started = std::function<void(const Result<bool>&)>;

    static AgentRecording& shared();
    AgentRecording();
    AgentRecording(const AgentRecording&) = delete;
    AgentRecording& operator=(const AgentRecording&) = delete;

    // Starts `plan` for `session`, without the countdown; it stops by itself once
    // `plan.limitSeconds` have been recorded. `started` hears whether the recorder started.
    void start(const RecordingOperations::Plan& plan, MCPSession* session, Started started);
    // Discards the running recording and starts its plan again for the same session.
    void restart(Started started);

    // Whether a recording an agent started runs (or is being finished).
    bool active() const { return m_active; }
    // Whether that recording is `session`'s.
    bool ownedBy(const MCPSession* session) const;
    const RecordingOperations::Plan& plan() const { return m_plan; }
    // Counts the recordings started, so that a late handler can tell whether its one still runs.
    int generation() const { return m_generation; }

private:
    void begin(const RecordingOperations::Plan& plan, const QPointer<MCPSession>& session, Started started);
    void finished(const std::optional<QString>& file);
    void checkLimit();

    QTimer m_limitCheck;
    bool m_active = false;
    bool m_starting = false;
    int m_generation = 0;
    RecordingOperations::Plan m_plan;
    QPointer<MCPSession> m_owner;
};
