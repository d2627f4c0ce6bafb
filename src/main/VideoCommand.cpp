#include "main/VideoCommand.h"

#include "app/Prefs.h"
#include "capture/OutputPipeline.h"
#include "main/CommandLine.h"
#include "main/CommandOutput.h"
#include "main/PlatformSetup.h"
#include "main/StandaloneHistory.h"
#include "video/ExportResolution.h"
#include "video/RecordingCaptions.h"
#include "video/StudioPresets.h"
#include "video/VideoEditorModel.h"

#include <QCommandLineParser>
#include <QFile>
#include <QFileInfo>
#include <QFuture>
#include <QtConcurrent/QtConcurrentRun>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <limits>
#include <unistd.h>

namespace {

const char* const videoUsage = R"(Usage: pictavia video COMMAND [options]

Commands:
  export MOVIE    a trimmed, restyled or resized copy of a recording, or a GIF of it,
                  kept in the history as a new capture (see "pictavia video export --help")
  captions MOVIE  the transcript of the speech in a recording, or its SubRip subtitles
                  with --srt FILE; the captions are kept with the recording (see
                  "pictavia video captions --help")
)";

std::atomic<bool> cancelRequested = false;

void requestCancel(int) {
    cancelRequested = true;
}

struct ExportJob {
    QString movie;
    double start = 0;
    double end = -1;
    StudioPreset look;
    bool gif = false;
    ExportResolution resolution = ExportResolution::original;
    RecordingCodec codec = RecordingCodec::h264;
};

QString lookNames() {
    QStringList names;
    for (const StudioPreset& preset : StudioPresets::all())
        names << preset.name;
    return names.join(QStringLiteral(", "));
}

QString lookHelp() {
    QString text = QStringLiteral("The look: ");
    QStringList looks;
    for (const StudioPreset& preset : StudioPresets::all())
        looks << QStringLiteral("%1 (%2)").arg(preset.name, preset.description);
    return text + looks.join(QStringLiteral("; ")) + QStringLiteral(". Default: none.");
}

std::variant<int, ExportJob> parse(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Exports MOVIE again, trimmed, in a studio look, at another size or as a GIF, into the "
        "history as a new capture, and prints the new file's path. The recording is kept."));
    parser.addPositionalArgument(QStringLiteral("MOVIE"), QStringLiteral("The recording to export."));
    const QCommandLineOption trim(QStringLiteral("trim"), QStringLiteral("Keep seconds A to B only."),
                                  QStringLiteral("A,B"));
    const QCommandLineOption studio(QStringLiteral("studio"), lookHelp(), QStringLiteral("LOOK"),
                                    QStringLiteral("none"));
    const QCommandLineOption gif(
        QStringLiteral("gif"),
        QStringLiteral("An animated GIF, at the preferences' GIF rate, width and quality."));
    const QCommandLineOption resolution(QStringLiteral("resolution"),
                                        QStringLiteral("original, 1080p, 720p or 480p. Default: original."),
                                        QStringLiteral("R"), QStringLiteral("original"));
    const QCommandLineOption codec(QStringLiteral("codec"),
                                   QStringLiteral("h264 or hevc (HEVC at the original size and 1080p only). "
                                                  "Default: h264."),
                                   QStringLiteral("CODEC"), QStringLiteral("h264"));
    parser.addOptions({trim, studio, gif, resolution, codec});
    if (const auto stop = CommandLine::parse(parser, arguments, QStringLiteral("video export"), 1))
        return *stop;
    const QStringList operands = parser.positionalArguments();
    if (operands.isEmpty())
        return CommandLine::usageError(
            QStringLiteral("video export needs a movie (see \"pictavia video export --help\")"));

    ExportJob job;
    job.movie = QFileInfo(operands.first()).absoluteFilePath();
    job.gif = parser.isSet(gif);
    if (parser.isSet(trim)) {
        const QStringList range = parser.value(trim).split(u',');
        bool startOk = false;
        bool endOk = false;
        job.start = range.value(0).toDouble(&startOk);
        job.end = range.value(1).toDouble(&endOk);
        if (range.size() != 2 || !startOk || !endOk || job.start < 0 || job.end <= job.start)
            return CommandLine::usageError(
                QStringLiteral("--trim needs two times in seconds, the first below the second, like 1.5,12"));
    }
    const auto look = StudioPresets::named(parser.value(studio));
    if (!look)
        return CommandLine::usageError(
            QStringLiteral("there is no look \"%1\": choose %2").arg(parser.value(studio), lookNames()));
    job.look = *look;
    const auto size = ExportResolutions::parse(parser.value(resolution));
    if (!size)
        return CommandLine::usageError(QStringLiteral("--resolution takes original, 1080p, 720p or 480p"));
    const QString codecName = parser.value(codec).toLower();
    if (codecName != u"h264" && codecName != u"hevc")
        return CommandLine::usageError(QStringLiteral("--codec takes h264 or hevc"));
    job.resolution = *size;
    job.codec = codecName == u"hevc" ? RecordingCodec::hevc : RecordingCodec::h264;
    return job;
}

// Sets `model` up for the job: its range, size, codec and look.
Result<bool> prepare(VideoEditorModel& model, const ExportJob& job) {
    if (!model.loadError().isEmpty()) return Error{model.loadError()};
    if (job.start >= model.duration())
        return Error{QStringLiteral("“%1” is only %2 s long.")
                         .arg(QFileInfo(job.movie).fileName())
                         .arg(model.duration(), 0, 'f', 1)};
    model.setTrim(job.start, job.end < 0 ? model.duration() : std::min(job.end, model.duration()));
    model.setResolution(job.resolution);
    model.setCodec(job.codec);
    StudioStyle style = job.look.style;
    // The pointer is drawn only where the recording has its track.
    const auto& timeline = model.timeline();
    style.drawPointer = job.look.pointer && timeline && !timeline->cursor.isEmpty();
    model.setStyle(style);
    model.setZoomLevel(job.look.zoomLevel);
    model.setZoomHold(job.look.zoomHold);
    model.setZoomEnabled(job.look.zoom);
    return true;
}

// "Exporting… 42%" rewritten in place on a terminal; nothing when stderr is not one.
class ProgressLine {
public:
    explicit ProgressLine(QString doing = QStringLiteral("Exporting…"))
        : m_doing(std::move(doing)), m_shown(!CommandLine::hosted() && ::isatty(STDERR_FILENO) == 1) {}
    ~ProgressLine() {
        if (m_shown && m_percent >= 0) CommandOutput::err(QStringLiteral("\r\033[K"));
    }
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    bool operator()(double done) {
        const int percent = int(std::floor(done * 100));
        if (m_shown && percent != m_percent) {
            m_percent = percent;
            CommandOutput::err(QStringLiteral("\r%1 %2%").arg(m_doing).arg(percent));
        }
        return !cancelRequested;
    }

private:
    QString m_doing;
    bool m_shown;
    int m_percent = -1;
};

// Cancelling on Ctrl+C and SIGTERM while it lives.
class CancelOnSignals {
public:
    CancelOnSignals() {
        cancelRequested = false;
        std::signal(SIGINT, requestCancel);
        std::signal(SIGTERM, requestCancel);
    }
    ~CancelOnSignals() {
        std::signal(SIGINT, SIG_DFL);
        std::signal(SIGTERM, SIG_DFL);
    }
    CancelOnSignals(const CancelOnSignals&) = delete;
    CancelOnSignals& operator=(const CancelOnSignals&) = delete;
};

struct CaptionsJob {
    QString movie;
    QString srt; // "-": standard output
    QString language;
    bool redo = false;
};

std::variant<int, CaptionsJob> parseCaptions(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Prints the transcript of the speech in MOVIE, one \"[m:ss] text\" line per caption, or writes "
        "its SubRip subtitles. Speech is recognised on this computer; the captions are kept with the "
        "recording for the video editor, and used again unless --redo is given."));
    parser.addPositionalArgument(QStringLiteral("MOVIE"), QStringLiteral("The recording to caption."));
    const QCommandLineOption srt(QStringLiteral("srt"),
                                 QStringLiteral("Write SubRip subtitles to FILE (\"-\" for standard output) "
                                                "instead of printing the transcript."),
                                 QStringLiteral("FILE"));
    const QCommandLineOption language(QStringLiteral("language"),
                                      QStringLiteral("The language spoken, such as en-US. Default: that of "
                                                     "the recording's earlier captions, else the system's."),
                                      QStringLiteral("L"));
    const QCommandLineOption redo(QStringLiteral("redo"),
                                  QStringLiteral("Transcribe again even if the recording has captions."));
    parser.addOptions({srt, language, redo});
    if (const auto stop = CommandLine::parse(parser, arguments, QStringLiteral("video captions"), 1))
        return *stop;
    const QStringList operands = parser.positionalArguments();
    if (operands.isEmpty())
        return CommandLine::usageError(
            QStringLiteral("video captions needs a movie (see \"pictavia video captions --help\")"));
    CaptionsJob job;
    job.movie = QFileInfo(operands.first()).absoluteFilePath();
    job.srt = parser.value(srt);
    if (parser.isSet(srt) && job.srt.isEmpty())
        return CommandLine::usageError(QStringLiteral("--srt needs a file"));
    job.language = parser.value(language).trimmed();
    if (parser.isSet(language) && job.language.isEmpty())
        return CommandLine::usageError(QStringLiteral("--language needs a language such as en-US"));
    job.redo = parser.isSet(redo);
    return job;
}

int runCaptions(const QStringList& arguments) {
    const auto parsed = parseCaptions(arguments);
    if (const int* code = std::get_if<int>(&parsed)) return *code;
    const CaptionsJob& job = std::get<CaptionsJob>(parsed);
    const QString name = QFileInfo(job.movie).fileName();
    if (!QFileInfo(job.movie).isFile()) {
        CommandOutput::error(QStringLiteral("“%1” does not exist.").arg(name));
        return CommandLine::failed;
    }
    // Recognition needs no screen: only the modules that read movies and hear speech.
    PlatformSetup::installImageServices();

    QList<CaptionLine> lines = job.redo ? QList<CaptionLine>() : RecordingCaptions::saved(job.movie).lines;
    if (lines.isEmpty()) {
        const QString language =
            job.language.isEmpty() ? RecordingCaptions::languageFor(job.movie) : job.language;
        Result<Captions::Transcription> heard = Captions::Transcription{};
        {
            const CancelOnSignals cancelling;
            ProgressLine progress(QStringLiteral("Transcribing…"));
            auto running = QtConcurrent::run([&] {
                return RecordingCaptions::transcribeAndKeep(
                    job.movie, language, [&progress](double done) { return progress(done); });
            });
            running.waitForFinished();
            heard = running.result();
        }
        if (!heard) {
            CommandOutput::error(heard.error().message);
            return CommandLine::failed;
        }
        lines = heard->lines;
        if (lines.isEmpty()) CommandOutput::err(QStringLiteral("No speech was heard in “%1”.\n").arg(name));
    }

    if (job.srt.isEmpty()) {
        if (!lines.isEmpty()) CommandOutput::out(Captions::transcript(lines) + u'\n');
    } else if (job.srt == u"-") {
        CommandOutput::out(Captions::srt(lines, 0, std::numeric_limits<double>::max()));
    } else if (const auto written = RecordingCaptions::writeSRT(lines, job.srt, true); !written) {
        CommandOutput::error(written.error().message);
        return CommandLine::failed;
    }
    return CommandLine::ok;
}

} // namespace

int runVideoCommand(const QStringList& arguments) {
    const QString command = arguments.value(0);
    if (command.isEmpty() || command == u"--help" || command == u"-h" || command == u"help") {
        (command.isEmpty() ? CommandOutput::err : CommandOutput::out)(QString::fromUtf8(videoUsage));
        return command.isEmpty() ? CommandLine::usage : CommandLine::ok;
    }
    if (command == u"captions") return runCaptions(arguments.mid(1));
    if (command != u"export")
        return CommandLine::usageError(
            QStringLiteral("unknown video command \"%1\" (see \"pictavia video --help\")").arg(command));
    const auto parsed = parse(arguments.mid(1));
    if (const int* code = std::get_if<int>(&parsed)) return *code;
    const ExportJob& job = std::get<ExportJob>(parsed);
    if (!QFileInfo(job.movie).isFile()) {
        CommandOutput::error(QStringLiteral("“%1” does not exist.").arg(QFileInfo(job.movie).fileName()));
        return CommandLine::failed;
    }

    // No screen is needed: without a display the export still runs and is delivered.
    (void)PlatformSetup::install(PlatformSetup::Presentation::Terminal);
    StandaloneHistory::attach();
    VideoEditorModel model(job.movie, false);
    if (const auto prepared = prepare(model, job); !prepared) {
        CommandOutput::error(prepared.error().message);
        return CommandLine::failed;
    }

    Result<QString> exported = QString();
    {
        const CancelOnSignals cancelling;
        ProgressLine progress;
        auto running =
            model.exportFile(job.gif ? std::optional(VideoEditorModel::GifSettings{}) : std::nullopt,
                             [&progress](double done) { return progress(done); });
        running.waitForFinished();
        exported = running.result();
    }
    if (!exported) {
        CommandOutput::error(exported.error().message);
        return CommandLine::failed;
    }
    const auto delivered = OutputPipeline::deliverMedia(*exported, job.gif, {});
    if (!delivered) {
        QFile::remove(*exported);
        CommandOutput::error(QStringLiteral("The export could not be kept in the history."));
        return CommandLine::failed;
    }
    CommandOutput::out(delivered->file() + u'\n');
    return CommandLine::ok;
}
