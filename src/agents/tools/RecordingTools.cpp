// Screen recordings for agents: a clip of a fixed length, or one started and stopped in
// separate calls, paused, resumed, discarded or started over. Starting one passes the
// "record" gate; the recording runs through the coordinator like the user's own, without the
// countdown, and lands in the history.
#include "agents/AgentAccess.h"
#include "agents/AgentTools.h"
#include "agents/MCPSession.h"
#include "agents/ToolMedia.h"
#include "agents/tools/RecordingOperations.h"
#include "agents/tools/ScreenTargets.h"
#include "recording/ScreenRecorder.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QFuture>
#include <QUrl>
#include <QtConcurrent/QtConcurrentRun>

#include <cmath>

using namespace ToolSchema;
using RecordingOperations::Plan;
using RecordingOperations::Recording;

namespace {

constexpr double defaultClipSeconds = 10;
constexpr double longestClipSeconds = 300;
constexpr double defaultLimitSeconds = 600;
constexpr double longestLimitSeconds = 4 * 3600;

const QStringList recordTargets{QStringLiteral("screen"), QStringLiteral("area"), QStringLiteral("window")};
const QStringList controlActions{QStringLiteral("status"), QStringLiteral("pause"), QStringLiteral("resume"),
                                 QStringLiteral("cancel"), QStringLiteral("restart")};

// MARK: - Arguments

// A number of seconds within [min, max]; `fallback` when the key is absent.
double secondsArgument(const ToolArgs& args, const QString& key, double fallback, double min, double max) {
    if (!args.has(key)) return fallback;
    const auto seconds = args.number(key);
    if (!seconds || *seconds < min || *seconds > max)
        failTool(QStringLiteral("`%1` is a number of seconds from %2 to %3.").arg(key).arg(min).arg(max));
    return *seconds;
}

bool gifFormat(const ToolArgs& args) {
    const QString format = args.string(QStringLiteral("format")).value_or(QStringLiteral("video")).toLower();
    if (format == u"gif") return true;
    if (format == u"video" || format == u"movie" || format == u"mp4" || format == u"mov") return false;
    failTool(QStringLiteral("Unknown format “%1”. Use \"video\" or \"gif\".")
                 .arg(*args.string(QStringLiteral("format"))));
}

// What the arguments ask to record. Throws when the target is unknown or cannot be found,
// before anyone is asked.
Plan planFrom(const ToolArgs& args) {
    Plan plan;
    plan.target = ScreenTargets::targetOf(args);
    if (!recordTargets.contains(plan.target))
        failTool(QStringLiteral("Unknown target “%1”. Use screen, area or window.").arg(plan.target));
    plan.gif = gifFormat(args);
    if (args.has(QStringLiteral("fps"))) {
        const auto fps = args.integer(QStringLiteral("fps"));
        if (!fps || *fps < 1 || *fps > 60) failTool(QStringLiteral("`fps` is a whole number from 1 to 60."));
        plan.fps = fps;
    }
    plan.includeCursor = args.boolean(QStringLiteral("include_cursor"));
    plan.systemAudio = args.boolean(QStringLiteral("system_audio"));
    plan.microphone = args.boolean(QStringLiteral("microphone"));
    if (plan.target == u"window") {
        const platform::WindowInfo window = ScreenTargets::window(args);
        plan.windowID = window.id;
        plan.windowApp = window.ownerName;
    } else {
        plan.displayID = ScreenTargets::display(args).id;
        if (plan.target == u"area") {
            const auto rect = args.rect(QStringLiteral("rect"));
            if (!rect || rect->width() <= 0 || rect->height() <= 0)
                failTool(QStringLiteral("Target \"area\" needs `rect` with a positive width and height."));
            plan.rect = *rect;
        }
    }
    // An area past the display's edge is refused now, with the display's size.
    unwrapTool(plan.source());
    return plan;
}

void refuseWhileRecording() {
    if (ScreenRecorder::shared().state() != ScreenRecorder::State::idle)
        failTool(QStringLiteral("A recording is already running. control_recording tells whose it is; "
                                "stop_recording ends yours."));
}

QString seconds(double value) {
    return QString::number(std::round(value * 10) / 10);
}

// MARK: - Answers

QString stateName(ScreenRecorder::State state) {
    switch (state) {
    case ScreenRecorder::State::idle:
        return QStringLiteral("idle");
    case ScreenRecorder::State::recording:
        return QStringLiteral("recording");
    case ScreenRecorder::State::paused:
        return QStringLiteral("paused");
    case ScreenRecorder::State::stopping:
        return QStringLiteral("stopping");
    }
    return QStringLiteral("idle");
}

QJsonObject status(const MCPSession* session) {
    const ScreenRecorder& recorder = ScreenRecorder::shared();
    const AgentRecording& agents = AgentRecording::shared();
    QJsonObject json{{QStringLiteral("state"), stateName(recorder.state())}};
    if (recorder.state() != ScreenRecorder::State::idle) {
        json.insert(QStringLiteral("elapsed_seconds"), std::round(recorder.elapsed() * 10) / 10);
        const bool yours = agents.ownedBy(session);
        json.insert(QStringLiteral("started_by"), yours             ? QStringLiteral("you")
                                                  : agents.active() ? QStringLiteral("another agent")
                                                                    : QStringLiteral("the user"));
        if (yours) {
            const QJsonObject plan = agents.plan().toJson();
            for (auto it = plan.begin(); it != plan.end(); ++it)
                json.insert(it.key(), it.value());
            json.insert(QStringLiteral("max_duration_seconds"), agents.plan().limitSeconds);
        }
    }
    if (session && session->lastRecording) {
        json.insert(QStringLiteral("last_recording"),
                    QFileInfo(session->lastRecording->toLocalFile()).fileName());
        json.insert(QStringLiteral("last_recording_returned"), session->lastRecordingReturned);
    }
    return json;
}

// The finished recording: its facts, the frame the user lets the agent see, and the
// session's note that it has had it.
void answerRecording(const QString& file, const ToolContext& context, bool wantsImage,
                     const QStringList& notes, const QString& summary, const ToolDone& done) {
    QtConcurrent::run([file] {
        return RecordingOperations::inspect(file);
    }).then(QCoreApplication::instance(), [=](const Recording& recording) {
        answeringErrors(done, [&] {
            if (!recording.error.isEmpty()) failTool(recording.error);
            ToolOutput out;
            out.json = recording.toJson();
            out.notes = notes;
            if (MCPSession* session = context.session) {
                if (!recording.id.isEmpty()) session->ownedCaptures.insert(recording.id);
                if (session->lastRecording &&
                    QFileInfo(session->lastRecording->toLocalFile()) == QFileInfo(recording.file))
                    session->lastRecordingReturned = true;
            }
            out.summary = summary;
            ToolMedia::finishWithPreview(std::move(out), recording.frame, wantsImage, done, context.access());
        });
    });
}

// Starts `plan` behind the "record" gate; `then` runs once the recorder runs.
void startBehindGate(const Plan& plan, const QString& action, const ToolContext& context,
                     const ToolDone& done, std::function<void()> then) {
    refuseWhileRecording();
    context.authorize(AgentAccess::Category::record, action, done, [=] {
        refuseWhileRecording();
        AgentRecording::shared().start(plan, context.session, [=](const Result<bool>& started) {
            answeringErrors(done, [&] {
                if (!started)
                    failTool(QStringLiteral("Could not start recording: ") + started.error().message);
                then();
            });
        });
    });
}

// MARK: - Tools

void recordScreen(const ToolArgs& args, const ToolContext& context, const ToolDone& done) {
    Plan plan = planFrom(args);
    plan.limitSeconds =
        secondsArgument(args, QStringLiteral("duration_seconds"), defaultClipSeconds, 1, longestClipSeconds);
    const bool wantsImage = ToolMedia::wantsImage(args);
    const QString length = seconds(plan.limitSeconds);
    startBehindGate(
        plan, QStringLiteral("record %1 for %2 s").arg(plan.describe(), length), context, done, [=] {
            // The recording stops itself at the limit; the answer comes once it is in the history.
            const int generation = AgentRecording::shared().generation();
            ScreenRecorder::shared().waitForFinish([=](const std::optional<QString>& file) {
                answeringErrors(done, [&] {
                    if (!file)
                        failTool(QStringLiteral(
                            "The recording was discarded or could not be saved before it ended."));
                    answerRecording(*file, context, wantsImage, {},
                                    QStringLiteral("Recorded %1 s of %2").arg(length, plan.describe()), done);
                });
            });
            // A client that gives up on the clip does not leave it running.
            if (context.cancellation)
                context.cancellation->onCancel([generation] {
                    const AgentRecording& agents = AgentRecording::shared();
                    if (agents.active() && agents.generation() == generation)
                        ScreenRecorder::shared().cancel(true);
                });
        });
}

void startRecording(const ToolArgs& args, const ToolContext& context, const ToolDone& done) {
    Plan plan = planFrom(args);
    plan.limitSeconds = secondsArgument(args, QStringLiteral("max_duration_seconds"), defaultLimitSeconds, 1,
                                        longestLimitSeconds);
    startBehindGate(plan, QStringLiteral("record ") + plan.describe(), context, done, [=] {
        ToolOutput out;
        out.json = status(context.session);
        out.notes.append(
            QStringLiteral("Recording. Call stop_recording to finish and get the file; it stops by "
                           "itself after %1 s.")
                .arg(seconds(plan.limitSeconds)));
        out.summary = QStringLiteral("Started recording ") + plan.describe();
        done(std::move(out));
    });
}

void stopRecording(const ToolArgs& args, const ToolContext& context, const ToolDone& done) {
    ScreenRecorder& recorder = ScreenRecorder::shared();
    MCPSession* session = context.session;
    const bool wantsImage = ToolMedia::wantsImage(args);
    if (recorder.state() == ScreenRecorder::State::idle) {
        if (!session || !session->lastRecording)
            failTool(QStringLiteral("No recording is running. start_recording starts one."));
        const QString file = session->lastRecording->toLocalFile();
        if (session->lastRecordingReturned)
            failTool(QStringLiteral("No recording is running; your last one, %1, was already returned.")
                         .arg(QFileInfo(file).fileName()));
        return answerRecording(file, context, wantsImage,
                               {QStringLiteral("The recording had already stopped by itself.")},
                               QStringLiteral("Returned a finished recording"), done);
    }
    if (!AgentRecording::shared().ownedBy(session))
        failTool(
            QStringLiteral("The recording running now was not started by you; only whoever started it can "
                           "stop it."));
    recorder.stopAndWait([=](const std::optional<QString>& file) {
        answeringErrors(done, [&] {
            if (!file) failTool(QStringLiteral("The recording could not be saved."));
            answerRecording(*file, context, wantsImage, {}, QStringLiteral("Stopped a recording"), done);
        });
    });
}

void controlRecording(const ToolArgs& args, const ToolContext& context, const ToolDone& done) {
    const auto named = args.string(QStringLiteral("action"));
    if (!named) failTool(QStringLiteral("`action` is required: status, pause, resume, cancel or restart."));
    const QString action = named->toLower();
    if (!controlActions.contains(action))
        failTool(
            QStringLiteral("Unknown action “%1”. Use status, pause, resume, cancel or restart.").arg(*named));
    MCPSession* session = context.session;
    const auto answer = [session, done](const QString& summary) {
        ToolOutput out;
        out.json = status(session);
        out.summary = summary;
        done(std::move(out));
    };
    if (action == u"status") return answer(QStringLiteral("Read the recording status"));

    ScreenRecorder& recorder = ScreenRecorder::shared();
    const ScreenRecorder::State state = recorder.state();
    if (state == ScreenRecorder::State::idle) failTool(QStringLiteral("No recording is running."));
    if (!AgentRecording::shared().ownedBy(session))
        failTool(
            QStringLiteral("The recording running now was not started by you; only whoever started it can "
                           "change it."));
    if (state == ScreenRecorder::State::stopping)
        failTool(QStringLiteral("The recording is already stopping; stop_recording returns it."));
    if (action == u"pause") {
        if (state == ScreenRecorder::State::paused)
            failTool(QStringLiteral("The recording is already paused."));
        recorder.pause();
        return answer(QStringLiteral("Paused the recording"));
    }
    if (action == u"resume") {
        if (state != ScreenRecorder::State::paused) failTool(QStringLiteral("The recording is not paused."));
        recorder.resume();
        return answer(QStringLiteral("Resumed the recording"));
    }
    if (action == u"cancel") {
        recorder.waitForFinish(
            [answer](const std::optional<QString>&) { answer(QStringLiteral("Discarded the recording")); });
        recorder.cancel();
        return;
    }
    AgentRecording::shared().restart([answer, done](const Result<bool>& started) {
        if (!started)
            return done(ToolError{QStringLiteral("The recording was discarded but could not start again: ") +
                                  started.error().message});
        answer(QStringLiteral("Restarted the recording"));
    });
}

Properties whatToRecord() {
    return merged(
        screenTarget(),
        {{{QStringLiteral("target"),
           string(QStringLiteral("What to record. Default: \"window\" when app/window_id is given, "
                                 "\"area\" when rect is given, else \"screen\"."),
                  recordTargets)},
          {QStringLiteral("format"),
           string(QStringLiteral("\"video\" (default): a movie at the user's frame rate and codec; "
                                 "\"gif\": an animated GIF."),
                  {QStringLiteral("video"), QStringLiteral("gif")})},
          {QStringLiteral("fps"),
           integer(QStringLiteral("Frames a second (1 to 60). Default: the user's setting."), 1, 60)},
          {QStringLiteral("include_cursor"),
           boolean(QStringLiteral("Show the mouse pointer. Default: the user's setting."))},
          {QStringLiteral("system_audio"),
           boolean(QStringLiteral("Record what the computer plays (video only). Default: the user's "
                                  "setting."))},
          {QStringLiteral("microphone"),
           boolean(QStringLiteral("Record the microphone (video only). Default: the user's "
                                  "setting."))}}});
}

QJsonObject returnImage() {
    return boolean(QStringLiteral("Include a frame of the recording in the response. Default true."));
}

} // namespace

std::vector<AgentTool> AgentToolGroups::recording() {
    const Properties clip =
        merged(whatToRecord(), {{{QStringLiteral("duration_seconds"),
                                  integer(QStringLiteral("How long to record, 1 to 300 seconds. Default 10."),
                                          1, longestClipSeconds)},
                                 {QStringLiteral("return_image"), returnImage()}}});
    const Properties open = merged(
        whatToRecord(),
        {{{QStringLiteral("max_duration_seconds"),
           integer(QStringLiteral("Stop by itself after this many seconds of recording (pauses not counted). "
                                  "Default 600."),
                   1, longestLimitSeconds)}}});
    return {
        {QStringLiteral("record_screen"), QStringLiteral("Record a clip"),
         QStringLiteral(
             "Records the screen, an area or a window for a fixed time (1 to 300 s), then returns the "
             "saved MP4 or GIF with its id, duration and a frame preview. The user is asked first "
             "unless they allowed recording. For open-ended recordings use start_recording + "
             "stop_recording."),
         false, false, object(clip), recordScreen},
        {QStringLiteral("start_recording"), QStringLiteral("Start recording"),
         QStringLiteral(
             "Starts a screen recording (video or GIF) and returns immediately. Call stop_recording to "
             "finish and get the file. Stops by itself after max_duration_seconds (default 600). The "
             "user is asked first unless they allowed recording."),
         false, false, object(open), startRecording},
        {QStringLiteral("stop_recording"), QStringLiteral("Stop recording"),
         QStringLiteral(
             "Stops the running recording and returns the saved file (id, path, duration, size, click "
             "track) with a frame preview. Also returns your last recording if it already stopped by "
             "itself."),
         false, false, object({{QStringLiteral("return_image"), returnImage()}}), stopRecording},
        {QStringLiteral("control_recording"), QStringLiteral("Pause, resume or cancel a recording"),
         QStringLiteral(
             "\"status\" reports the state and elapsed time; \"pause\"/\"resume\" cut the paused time "
             "out of the file; \"cancel\" discards the recording; \"restart\" discards it and starts "
             "over with the same settings."),
         false, true,
         object({{QStringLiteral("action"), string(QStringLiteral("What to do."), controlActions)}},
                {QStringLiteral("action")}),
         controlRecording},
    };
}
