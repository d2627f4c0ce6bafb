#include "agents/tools/CaptionTools.h"

#include "agents/ToolMedia.h"
#include "history/HistoryRecord.h"
#include "video/RecordingCaptions.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QtConcurrent/QtConcurrentRun>

#include <atomic>
#include <cmath>
#include <memory>

using namespace ToolSchema;

namespace {

double rounded(double value) {
    return std::round(value * 100) / 100;
}

QJsonArray linesJson(const QList<CaptionLine>& lines) {
    QJsonArray out;
    for (const CaptionLine& line : lines)
        out.append(QJsonObject{{QStringLiteral("start"), rounded(line.start)},
                               {QStringLiteral("end"), rounded(line.end)},
                               {QStringLiteral("text"), line.text}});
    return out;
}

void runTranscribeRecording(const ToolArgs& args, const ToolContext& context, const ToolDone& done) {
    const ToolMedia::Source source = ToolMedia::resolve(args, false);
    if (HistoryRecord::kindOf(QFileInfo(source.file).fileName()) != HistoryRecord::Kind::Video)
        failTool(
            QStringLiteral("%1 is not a recording. Pass a video.").arg(QFileInfo(source.file).fileName()));
    const bool redo = args.boolean(QStringLiteral("redo")).value_or(false);
    const bool overwrite = args.boolean(QStringLiteral("overwrite")).value_or(false);
    const std::optional<QString> srtPath = args.string(QStringLiteral("srt_path"));
    // Refused before any work: a transcription that cannot be written where asked is wasted.
    if (srtPath) {
        if (!QDir::isAbsolutePath(*srtPath)) failTool(QStringLiteral("`srt_path` must be an absolute path."));
        if (QFileInfo(*srtPath).isDir())
            failTool(QStringLiteral("`srt_path` is a folder; give a file path."));
        if (!overwrite && QFileInfo::exists(*srtPath))
            failTool(QStringLiteral("%1 already exists. Pass overwrite: true to replace it.").arg(*srtPath));
        if (!QFileInfo(QFileInfo(*srtPath).absolutePath()).isDir())
            failTool(QStringLiteral("The folder of `srt_path` does not exist."));
    }
    const QString asked = args.string(QStringLiteral("language")).value_or(QString());
    ToolMedia::withHistoryGate(
        context, {source.captureId}, QStringLiteral("transcribe a recording"), done, [=] {
            const auto answer = [=](const QList<CaptionLine>& lines, const QString& language,
                                    bool transcribed) {
                ToolOutput out;
                out.json.insert(QStringLiteral("path"), source.file);
                if (!source.captureId.isEmpty()) out.json.insert(QStringLiteral("id"), source.captureId);
                if (!language.isEmpty()) out.json.insert(QStringLiteral("language"), language);
                out.json.insert(QStringLiteral("transcribed"), transcribed);
                out.json.insert(QStringLiteral("lines"), linesJson(lines));
                out.json.insert(QStringLiteral("transcript"), Captions::transcript(lines));
                if (srtPath) {
                    unwrapTool(RecordingCaptions::writeSRT(lines, *srtPath, overwrite));
                    out.json.insert(QStringLiteral("srt_path"), QFileInfo(*srtPath).absoluteFilePath());
                }
                if (!transcribed)
                    out.notes << QStringLiteral(
                        "These are the captions saved with the recording earlier; pass redo: true to "
                        "transcribe it again.");
                else if (lines.isEmpty())
                    out.notes << QStringLiteral("No speech was heard in this recording.");
                out.summary = QStringLiteral("Transcribed %1 (%2 lines)")
                                  .arg(QFileInfo(source.file).fileName())
                                  .arg(lines.size());
                done(std::move(out));
            };
            if (!redo) {
                const RecordingCaptions::Saved saved = RecordingCaptions::saved(source.file);
                if (!saved.lines.isEmpty()) {
                    answer(saved.lines, saved.language.value_or(QString()), false);
                    return;
                }
            }
            CaptionTools::transcribeThen(
                source.file, asked, context, done, [=](const QList<CaptionLine>& lines) {
                    answer(lines, RecordingCaptions::saved(source.file).language.value_or(asked), true);
                });
        });
}

} // namespace

namespace CaptionTools {

void transcribeThen(const QString& movie, const QString& language, const ToolContext& context,
                    const ToolDone& done, std::function<void(const QList<CaptionLine>& lines)> then) {
    const auto cancel = std::make_shared<std::atomic<bool>>(false);
    if (context.cancellation) context.cancellation->onCancel([cancel] { *cancel = true; });
    QtConcurrent::run([movie, language, cancel, context] {
        const QString chosen = language.isEmpty() ? RecordingCaptions::languageFor(movie) : language;
        return RecordingCaptions::transcribeAndKeep(movie, chosen, [cancel, context](double fraction) {
            QMetaObject::invokeMethod(qApp, [context, fraction] { context.progress(fraction, 1.0); });
            return !*cancel;
        });
    }).then(QCoreApplication::instance(), [=](const Result<Captions::Transcription>& heard) {
        answeringErrors(done, [&] {
            context.checkCancelled();
            then(unwrapTool(heard).lines);
        });
    });
}

AgentTool transcribeRecording() {
    return {QStringLiteral("transcribe_recording"),
            QStringLiteral("Transcribe a recording"),
            QStringLiteral("Turns the speech in a recording into timed caption lines and a plain transcript, "
                           "using speech recognition on this computer (audio never leaves it). The captions "
                           "are saved with the recording so the video editor and edit_video (captions: true) "
                           "can show them. Pass srt_path to also write a SubRip caption file."),
            false,
            false,
            object(merged(
                source(),
                {{{QStringLiteral("language"),
                   string(QStringLiteral("Speech language such as en-US or ar-SA. Default: the "
                                         "language of earlier captions, or the system's language."))},
                  {QStringLiteral("redo"),
                   boolean(QStringLiteral("Transcribe again even if the recording already has captions."))},
                  {QStringLiteral("srt_path"),
                   string(QStringLiteral("Also save the captions as an .srt file at this path."))},
                  {QStringLiteral("overwrite"),
                   boolean(QStringLiteral("Replace an existing file at srt_path."))}}})),
            runTranscribeRecording};
}

} // namespace CaptionTools
