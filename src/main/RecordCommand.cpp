#include "main/RecordCommand.h"

#include "app/Prefs.h"
#include "capture/CaptureContext.h"
#include "main/CaptureCommand.h"
#include "main/CommandLine.h"
#include "main/CommandOutput.h"
#include "main/PlatformSetup.h"
#include "main/StandaloneHistory.h"
#include "platform/Platform.h"
#include "recording/RecordingSource.h"
#include "recording/ScreenRecorder.h"

#include <QCoreApplication>
#include <QTimer>

#include <atomic>
#include <csignal>

namespace {

const char* const recordUsage = R"(Usage: pictavia record KIND [options]

Records the screen until --duration is over or until Ctrl+C (or SIGTERM), then
delivers the movie as the preferences say (history, save folder, clipboard,
post-capture action) and prints its path. What was recorded is kept however the
recording ends.

Kinds:
  fullscreen [--display N]        a whole display
  area --rect X,Y,W,H [--display N] a rectangle, in points from the display's
                                  top-left corner
  window --id N                   one window, followed as it moves; on desktops
                                  that list no windows (GNOME), without --id:
                                  the window picked in the desktop's own chooser

Options:
  --gif           an animated GIF instead of a movie
  --duration S    stop after S seconds
  --no-audio      record no sound (by default the preferences "recSystemAudio"
                  and "recMic" choose system audio and the microphone)
)";

std::atomic<bool> stopRequested = false;

void requestStop(int) {
    stopRequested = true;
}

struct RecordRequest {
    CaptureRequest capture;
    bool gif = false;
    bool audio = true;
    double duration = 0; // 0: until stopped
};

// The record-only options taken out; the rest reads as a capture command.
std::variant<int, RecordRequest> parse(const QStringList& arguments) {
    const QString kind = arguments.value(0);
    if (kind.isEmpty() || kind == u"--help" || kind == u"-h" || kind == u"help") {
        (kind.isEmpty() ? CommandOutput::err : CommandOutput::out)(QString::fromUtf8(recordUsage));
        return kind.isEmpty() ? CommandLine::usage : CommandLine::ok;
    }
    RecordRequest request;
    QStringList rest;
    for (int i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        if (argument == u"--gif") {
            request.gif = true;
        } else if (argument == u"--no-audio") {
            request.audio = false;
        } else if (argument == u"--duration") {
            bool ok = false;
            request.duration = arguments.value(++i).toDouble(&ok);
            if (!ok || request.duration <= 0)
                return CommandLine::usageError(
                    QStringLiteral("--duration needs a number of seconds above 0"));
        } else if (argument == u"--help" || argument == u"-h") {
            CommandOutput::out(QString::fromUtf8(recordUsage));
            return CommandLine::ok;
        } else {
            rest << argument;
        }
    }
    if (rest.contains(QStringLiteral("--copy")) || rest.contains(QStringLiteral("--app")))
        return CommandLine::usageError(
            QStringLiteral("record takes --rect, --display and --id (see \"pictavia record --help\")"));
    auto capture = parseCaptureCommand(rest);
    if (const int* code = std::get_if<int>(&capture)) return *code;
    request.capture = std::get<CaptureRequest>(capture);
    return request;
}

// What the request names.
Result<RecordingSource> resolve(const CaptureRequest& request) {
    switch (request.kind) {
    case CaptureRequest::Kind::window: {
        if (request.windowID) return RecordingSource::window(*request.windowID);
        if (!PlatformSetup::windowsChosenInDesktop())
            return Error{PlatformSetup::notAvailable(PlatformSetup::Flow::windowCapture)
                             .value_or(QStringLiteral("record window needs --id N on this desktop"))};
        const Result<uint32_t> picked = PlatformSetup::chooseWindowInDesktop();
        if (!picked) return picked.error();
        return RecordingSource::window(*picked);
    }
    case CaptureRequest::Kind::area:
        return RecordingSource::area(request.rect, request.display);
    case CaptureRequest::Kind::scrolling:
        return Error{QStringLiteral("record takes fullscreen, area or window")};
    case CaptureRequest::Kind::fullscreen:
        break;
    }
    return RecordingSource::fullscreen(request.display);
}

} // namespace

int runRecordCommand(const QStringList& arguments) {
    const auto parsed = parse(arguments);
    if (const int* code = std::get_if<int>(&parsed)) return *code;
    const RecordRequest& request = std::get<RecordRequest>(parsed);
    Prefs::registerDefaults();
    if (const auto installed = PlatformSetup::install(PlatformSetup::Presentation::Terminal); !installed) {
        CommandOutput::error(installed.error().message);
        return CommandLine::failed;
    }
    StandaloneHistory::attach();
    const auto source = resolve(request.capture);
    if (!source) {
        CommandOutput::error(source.error().message);
        return CommandLine::failed;
    }

    ScreenRecorder& recorder = ScreenRecorder::shared();
    RecordingOptions options = RecordingOptions::fromPreferences();
    if (!request.audio) options.microphone = options.systemAudio = false;
    if (const auto started = recorder.start(*source, request.gif, options); !started) {
        CommandOutput::error(started.error().message);
        return CommandLine::failed;
    }
    std::signal(SIGINT, requestStop);
    std::signal(SIGTERM, requestStop);
    // However the recording ends (the time is up, a signal, the window closed), the file is
    // reported once it is delivered.
    int code = CommandLine::failed;
    QObject::connect(&recorder, &ScreenRecorder::stateChanged, [&](ScreenRecorder::State state) {
        if (state != ScreenRecorder::State::stopping) return;
        if (const int dropped = recorder.droppedFrames(); dropped > 0)
            CommandOutput::error(
                QStringLiteral("%1 frames were dropped: the computer could not keep up").arg(dropped));
        recorder.waitForFinish([&](const std::optional<QString>& file) {
            if (file) {
                CommandOutput::out(*file + u'\n');
                code = CommandLine::ok;
            } else {
                CommandOutput::error(QStringLiteral("the recording could not be saved"));
            }
            QCoreApplication::quit();
        });
    });
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        if (stopRequested || (request.duration > 0 && recorder.elapsed() >= request.duration))
            recorder.stop();
    });
    poll.start(50);
    QCoreApplication::exec();
    Prefs::sync();
    return code;
}
