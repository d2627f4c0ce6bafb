// Recordings for agents: edit_video makes a new capture from a recording (trimmed, resized,
// re-encoded, on a background, zooming toward the clicks, with captions, as a GIF) through the
// same model as the video editor; video_info reports what a recording holds and shows stills
// of it; transcribe_recording (CaptionTools) makes its captions.
#include "agents/AgentTools.h"
#include "agents/MCPSession.h"
#include "agents/ToolMedia.h"
#include "agents/tools/CaptionTools.h"
#include "agents/tools/RecordingOperations.h"
#include "agents/tools/VideoEdits.h"
#include "capture/OutputPipeline.h"
#include "history/HistoryRecord.h"
#include "platform/Platform.h"
#include "video/RecordingTimeline.h"
#include "video/VideoEditorModel.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QJsonArray>
#include <QtConcurrent/QtConcurrentRun>

#include <cmath>

using namespace ToolSchema;

namespace {

constexpr int mostFrames = 8;

double rounded(double value, int places = 2) {
    const double scale = std::pow(10, places);
    return std::round(value * scale) / scale;
}

// The recording a call names: a movie or GIF, in the history or at a path.
ToolMedia::Source recordingOf(const ToolArgs& args, bool gifAllowed) {
    ToolMedia::Source source = ToolMedia::resolve(args, false);
    const auto kind = HistoryRecord::kindOf(QFileInfo(source.file).fileName());
    if (kind == HistoryRecord::Kind::Video || (gifAllowed && kind == HistoryRecord::Kind::Gif)) return source;
    failTool(QStringLiteral("%1 is not a recording. Pass a video%2.")
                 .arg(QFileInfo(source.file).fileName(), gifAllowed ? QStringLiteral(" or GIF") : QString()));
}

// The new capture: its facts, what the edit did, and the frame the user lets the agent see.
void answerEdit(const QString& file, const ToolContext& context, bool wantsImage, QJsonObject edits,
                const QStringList& notes, const ToolDone& done) {
    QtConcurrent::run([file] {
        return RecordingOperations::inspect(file);
    }).then(QCoreApplication::instance(), [=](const RecordingOperations::Recording& recording) {
        answeringErrors(done, [&] {
            if (!recording.error.isEmpty()) failTool(recording.error);
            ToolOutput out;
            out.json = recording.toJson();
            for (auto it = edits.begin(); it != edits.end(); ++it)
                out.json.insert(it.key(), it.value());
            out.notes = notes;
            if (MCPSession* session = context.session; session && !recording.id.isEmpty())
                session->ownedCaptures.insert(recording.id);
            out.summary = QStringLiteral("Edited a recording into %1").arg(QFileInfo(file).fileName());
            ToolMedia::finishWithPreview(std::move(out), recording.frame, wantsImage, done, context.access());
        });
    });
}

// Exports the model as `plan` has it and delivers the result as a new capture.
void exportEdit(const std::shared_ptr<VideoEditorModel>& model, const ToolMedia::Source& source,
                const VideoEdits::Plan& plan, const ToolArgs& args, const ToolContext& context,
                const ToolDone& done) {
    const QJsonObject edits{
        {QStringLiteral("source_duration"), rounded(model->duration())},
        {QStringLiteral("trim_start"), rounded(model->trimStart())},
        {QStringLiteral("trim_end"), rounded(model->trimEnd())},
        {QStringLiteral("zoom_moves"), model->zoomActive() ? int(model->zoomTrack().keyframes.size()) : 0},
        {QStringLiteral("caption_lines"), model->style().captions ? int(model->captions().size()) : 0},
        {QStringLiteral("styled"), model->isStyled()}};
    if (context.cancellation) context.cancellation->onCancel([model] { model->cancelExport(); });
    const bool gif = plan.gif.has_value();
    model
        ->exportFile(plan.gif,
                     [context](double fraction) {
                         QMetaObject::invokeMethod(qApp,
                                                   [context, fraction] { context.progress(fraction, 1.0); });
                         return true;
                     })
        .then(QCoreApplication::instance(), [=](const Result<QString>& written) {
            answeringErrors(done, [&] {
                context.checkCancelled();
                const QString temp = unwrapTool(written);
                CaptureContext naming;
                naming.explicitName = QFileInfo(source.file).completeBaseName() + QStringLiteral(" edited");
                DeliveryOptions quiet;
                quiet.copyToClipboard = false;
                quiet.showQuickAccess = false;
                quiet.autoSave = false;
                quiet.playSound = false;
                const auto delivered = OutputPipeline::deliverMedia(temp, gif, naming, quiet);
                if (!delivered)
                    failTool(QStringLiteral("The edited recording could not be stored in the history."));
                answerEdit(delivered->historyFile, context, ToolMedia::wantsImage(args), edits, plan.notes,
                           done);
                (void)model; // kept alive until the export has answered
            });
        });
}

void editVideo(const ToolArgs& args, const ToolContext& context, const ToolDone& done) {
    const ToolMedia::Source source = recordingOf(args, false);
    ToolMedia::withHistoryGate(context, {source.captureId}, QStringLiteral("edit a recording"), done, [=] {
        auto model = std::make_shared<VideoEditorModel>(source.file, false);
        if (!model->loadError().isEmpty()) failTool(model->loadError());
        const VideoEdits::Plan plan = VideoEdits::apply(args, *model);
        if (!plan.transcribe) {
            exportEdit(model, source, plan, args, context, done);
            return;
        }
        // Captions asked of a recording that has none: it is transcribed first, and keeps them.
        CaptionTools::transcribeThen(
            source.file, *plan.transcribe, context, done, [=](const QList<CaptionLine>& lines) {
                VideoEdits::Plan withCaptions = plan;
                if (lines.isEmpty())
                    withCaptions.notes
                        << QStringLiteral("No speech was heard in this recording, so there are no "
                                          "captions to burn in.");
                model->setCaptions(lines);
                exportEdit(model, source, withCaptions, args, context, done);
            });
    });
}

// MARK: - video_info

struct Inspection {
    QString error;
    platform::MediaInfo info;
    qint64 bytes = 0;
    std::optional<RecordingTimeline> timeline;
    QList<std::pair<double, QImage>> frames;
};

Inspection inspect(const QString& file, const QList<double>& times) {
    Inspection result;
    auto& media = platform::services().media;
    if (!media) {
        result.error = QStringLiteral("Movies cannot be read on this machine.");
        return result;
    }
    const auto info = media->info(file);
    if (!info) {
        result.error = info.error().message;
        return result;
    }
    result.info = *info;
    result.bytes = QFileInfo(file).size();
    if (auto timeline = TimelineStore::load(file); timeline && timeline->has_value())
        result.timeline = std::move(**timeline);
    for (double time : times) {
        const double at = std::clamp(time, 0.0, std::max(info->duration - 0.001, 0.0));
        if (const auto frame = media->frameAt(file, at)) result.frames.append({at, *frame});
    }
    return result;
}

QJsonObject describe(const QString& file, const Inspection& found, bool withClicks) {
    QJsonObject json = ToolMedia::describe(file, QImage());
    json.insert(QStringLiteral("format"),
                HistoryRecord::kindOf(QFileInfo(file).fileName()) == HistoryRecord::Kind::Gif
                    ? QStringLiteral("gif")
                    : QStringLiteral("video"));
    json.insert(QStringLiteral("duration"), rounded(found.info.duration));
    json.insert(QStringLiteral("width"), found.info.size.width());
    json.insert(QStringLiteral("height"), found.info.size.height());
    json.insert(QStringLiteral("fps"), rounded(found.info.frameRate));
    json.insert(QStringLiteral("codec"), found.info.videoCodec);
    json.insert(QStringLiteral("has_audio"), found.info.hasAudio);
    if (found.info.hasAudio) json.insert(QStringLiteral("audio_codec"), found.info.audioCodec);
    json.insert(QStringLiteral("bytes"), found.bytes);
    const RecordingTimeline* timeline = found.timeline ? &*found.timeline : nullptr;
    json.insert(QStringLiteral("studio"), timeline && timeline->studio);
    json.insert(QStringLiteral("clicks_tracked"), timeline && timeline->clicksTracked);
    json.insert(QStringLiteral("click_count"), timeline ? int(timeline->clicks.size()) : 0);
    json.insert(QStringLiteral("pointer_track"), timeline && !timeline->cursor.isEmpty());
    json.insert(QStringLiteral("camera"), QFileInfo::exists(TimelineStore::sidePath(
                                              file, QStringLiteral("camera"), QStringLiteral("mov"))));
    json.insert(QStringLiteral("caption_lines"), timeline ? int(timeline->captions.size()) : 0);
    if (withClicks && timeline) {
        QJsonArray clicks;
        for (const ClickMark& click : timeline->clicks)
            clicks.append(QJsonObject{{QStringLiteral("time"), rounded(click.time)},
                                      {QStringLiteral("x"), rounded(click.x, 3)},
                                      {QStringLiteral("y"), rounded(click.y, 3)}});
        json.insert(QStringLiteral("clicks"), clicks);
    }
    return json;
}

void videoInfo(const ToolArgs& args, const ToolContext& context, const ToolDone& done) {
    const ToolMedia::Source source = recordingOf(args, true);
    QList<double> times;
    if (args.has(QStringLiteral("frames"))) {
        const auto frames = args.array(QStringLiteral("frames"));
        if (!frames) failTool(QStringLiteral("`frames` is a list of seconds."));
        if (frames->size() > mostFrames)
            failTool(QStringLiteral("`frames` takes at most %1 times.").arg(mostFrames));
        for (const QJsonValue& value : *frames) {
            const auto time = ToolArgs::numberFrom(value);
            if (!time || *time < 0)
                failTool(QStringLiteral("Each of `frames` is a number of seconds from 0."));
            times << *time;
        }
    }
    const bool withClicks = args.boolean(QStringLiteral("include_clicks")).value_or(false);
    ToolMedia::withHistoryGate(context, {source.captureId}, QStringLiteral("look at a recording"), done, [=] {
        QtConcurrent::run([file = source.file, times] {
            return inspect(file, times);
        }).then(QCoreApplication::instance(), [=](const Inspection& found) {
            answeringErrors(done, [&] {
                if (!found.error.isEmpty()) failTool(found.error);
                ToolOutput out;
                out.json = describe(source.file, found, withClicks);
                AgentAccess& access = context.access();
                const auto sharing = access.imageSharing();
                const bool redact = access.redactForAgents();
                QJsonArray shown;
                for (const auto& [time, frame] : found.frames) {
                    ToolMedia::addPreview(out, frame, sharing, redact);
                    shown.append(rounded(time));
                }
                if (!shown.isEmpty()) out.json.insert(QStringLiteral("frame_times"), shown);
                if (!found.frames.isEmpty() && sharing == AgentAccess::ImageSharing::none)
                    out.notes << QStringLiteral(
                        "The user does not share images with agents, so no frames are shown.");
                out.summary = QStringLiteral("Looked at %1").arg(QFileInfo(source.file).fileName());
                done(std::move(out));
            });
        });
    });
}

} // namespace

std::vector<AgentTool> AgentToolGroups::video() {
    return {
        {QStringLiteral("edit_video"), QStringLiteral("Edit a recording"),
         QStringLiteral("Trims, mutes or changes the volume of a recording, converts to mono, resizes "
                        "(original/1080p/720p/480p), re-encodes as H.264 or HEVC, applies auto-zoom (smooth "
                        "zooms toward where "
                        "the user clicked while recording, or zooms you place yourself, optionally following "
                        "the pointer), "
                        "puts the recording on a background with padding, rounded corners and a shadow, "
                        "reframes it as 16:9, "
                        "vertical 9:16 or square (fitted, or filled and panning with the pointer), draws "
                        "click ripples, and "
                        "burns in captions transcribed on this computer. Exports as MP4 or GIF. Saves a new "
                        "capture; the "
                        "original is kept. Studio recordings (recorded without the system pointer) always "
                        "get a smooth drawn "
                        "pointer."),
         false, false,
         object(merged(source(),
                       {VideoEdits::properties(),
                        {{QStringLiteral("return_image"),
                          boolean(QStringLiteral("Include a frame of the result in the response. Default "
                                                 "true."))}}})),
         editVideo},
        {QStringLiteral("video_info"), QStringLiteral("Inspect a recording"),
         QStringLiteral(
             "Duration, size, frame rate, codec, audio and the recorded click track of a video or GIF "
             "and, if you pass `frames`, still images at those times so you can see what happens in it."),
         true, false,
         object(merged(
             source(),
             {{{QStringLiteral("frames"),
                array(number(QStringLiteral("Seconds into the recording."), 0),
                      QStringLiteral("Seconds at which to return a still frame (up to 8)."), mostFrames)},
               {QStringLiteral("include_clicks"),
                boolean(QStringLiteral("List every recorded click (time and position)."))}}})),
         videoInfo},
        CaptionTools::transcribeRecording(),
    };
}
