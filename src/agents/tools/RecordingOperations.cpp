#include "agents/tools/RecordingOperations.h"

#include "agents/MCPSession.h"
#include "agents/tools/ToolInfo.h"
#include "capture/CaptureCoordinator.h"
#include "capture/HistoryManager.h"
#include "platform/Platform.h"
#include "recording/ScreenRecorder.h"

#include <QFileInfo>
#include <QUrl>

#include <cmath>

namespace RecordingOperations {

Result<RecordingSource> Plan::source() const {
    if (windowID) return RecordingSource::window(*windowID);
    if (target == u"area") return RecordingSource::area(rect, displayID);
    return RecordingSource::fullscreen(displayID);
}

QJsonObject Plan::toJson() const {
    QJsonObject json{{QStringLiteral("target"), target},
                     {QStringLiteral("format"), gif ? QStringLiteral("gif") : QStringLiteral("video")}};
    if (windowID)
        json.insert(QStringLiteral("window"), QJsonObject{{QStringLiteral("id"), qint64(*windowID)},
                                                          {QStringLiteral("app"), windowApp}});
    if (displayID) json.insert(QStringLiteral("display_id"), qint64(*displayID));
    if (target == u"area") json.insert(QStringLiteral("rect"), ToolInfo::rectJson(rect));
    return json;
}

QString Plan::describe() const {
    if (windowID)
        return windowApp.isEmpty() ? QStringLiteral("a window") : QStringLiteral("a window of ") + windowApp;
    if (target == u"area") return QStringLiteral("an area of the screen");
    return QStringLiteral("the screen");
}

QJsonObject Recording::toJson() const {
    QJsonObject json;
    if (!id.isEmpty()) json.insert(QStringLiteral("id"), id);
    json.insert(QStringLiteral("path"), file);
    json.insert(QStringLiteral("format"), gif ? QStringLiteral("gif") : QStringLiteral("video"));
    json.insert(QStringLiteral("duration"), std::round(duration * 100) / 100);
    json.insert(QStringLiteral("bytes"), double(bytes));
    if (size.isValid()) {
        json.insert(QStringLiteral("width"), size.width());
        json.insert(QStringLiteral("height"), size.height());
    }
    return json;
}

Recording inspect(const QString& file) {
    Recording recording;
    const QFileInfo info(file);
    recording.file = info.absoluteFilePath();
    recording.id = HistoryManager::captureIdOf(file);
    recording.gif = info.suffix().compare(QLatin1String("gif"), Qt::CaseInsensitive) == 0;
    recording.bytes = info.size();
    if (!info.isFile()) {
        recording.error = QStringLiteral("The recording %1 is no longer there.").arg(file);
        return recording;
    }
    const auto& media = platform::services().media;
    if (!media) {
        recording.error = QStringLiteral("Movies cannot be read here.");
        return recording;
    }
    const auto facts = media->info(file);
    if (!facts) {
        recording.error = facts.error().message;
        return recording;
    }
    recording.duration = facts->duration;
    recording.size = facts->size;
    if (const auto frame = media->frameAt(file, facts->duration / 2)) recording.frame = *frame;
    return recording;
}

} // namespace RecordingOperations

// MARK: - AgentRecording

AgentRecording& AgentRecording::shared() {
    static auto* recording = new AgentRecording;
    return *recording;
}

AgentRecording::AgentRecording() {
    // Recorded time, not wall time, is what the limit counts: a paused recording waits.
    m_limitCheck.setInterval(200);
    QObject::connect(&m_limitCheck, &QTimer::timeout, [this] { checkLimit(); });
}

bool AgentRecording::ownedBy(const MCPSession* session) const {
    return m_active && session && m_owner == session;
}

void AgentRecording::start(const RecordingOperations::Plan& plan, MCPSession* session, Started started) {
    if (m_starting || ScreenRecorder::shared().state() != ScreenRecorder::State::idle)
        return started(Error{QStringLiteral("A recording is already running")});
    begin(plan, session, std::move(started));
}

void AgentRecording::restart(Started started) {
    ScreenRecorder& recorder = ScreenRecorder::shared();
    if (!m_active) return started(Error{QStringLiteral("No recording is running")});
    const RecordingOperations::Plan plan = m_plan;
    const QPointer<MCPSession> owner = m_owner;
    m_starting = true; // nobody else starts one in between
    recorder.waitForFinish([this, plan, owner, started = std::move(started)](const std::optional<QString>&) {
        begin(plan, owner, started);
    });
    recorder.cancel(true);
}

void AgentRecording::begin(const RecordingOperations::Plan& plan, const QPointer<MCPSession>& session,
                           Started started) {
    const auto source = plan.source();
    if (!source) {
        m_starting = false;
        return started(source.error());
    }
    m_starting = true;
    RecordingTweaks tweaks;
    tweaks.rememberArea = false; // the user's own last area stays theirs
    tweaks.options = [plan](RecordingOptions& options) {
        if (plan.fps) (plan.gif ? options.gifFPS : options.fps) = *plan.fps;
        if (plan.includeCursor) options.showCursor = *plan.includeCursor;
        if (plan.systemAudio) options.systemAudio = *plan.systemAudio;
        if (plan.microphone) options.microphone = *plan.microphone;
    };
    CaptureCoordinator::shared().startRecording(
        *source, plan.gif, true,
        [this, plan, session, started = std::move(started)](const Result<bool>& result) {
            m_starting = false;
            if (result) {
                m_active = true;
                m_plan = plan;
                m_owner = session;
                ++m_generation;
                m_limitCheck.start();
                // Registered before any tool waits, so the session knows its file first.
                ScreenRecorder::shared().waitForFinish(
                    [this](const std::optional<QString>& file) { finished(file); });
            }
            started(result);
        },
        std::move(tweaks));
}

void AgentRecording::finished(const std::optional<QString>& file) {
    m_active = false;
    m_limitCheck.stop();
    if (m_owner && file) {
        m_owner->lastRecording = QUrl::fromLocalFile(*file);
        m_owner->lastRecordingReturned = false;
    }
}

void AgentRecording::checkLimit() {
    ScreenRecorder& recorder = ScreenRecorder::shared();
    if (m_active && recorder.state() == ScreenRecorder::State::recording &&
        recorder.elapsed() >= m_plan.limitSeconds)
        recorder.stop();
}
