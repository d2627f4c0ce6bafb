#include "main/CaptureCommand.h"

#include "app/Prefs.h"
#include "app/Usage.h"
#include "capture/PostCaptureAction.h"
#include "capture/ScrollingCapture.h"
#include "capture/StillCapture.h"
#include "main/CommandLine.h"
#include "main/CommandOutput.h"
#include "main/PlatformSetup.h"
#include "main/StandaloneHistory.h"
#include "platform/BackendChoice.h"

#include <QCommandLineParser>
#include <QEventLoop>
#include <QRectF>
#include <QtConcurrent>

namespace {

const char* const captureUsage = R"(Usage: pictavia capture KIND [options]

Takes one capture and delivers it as the preferences say: stored in the history,
copied to the clipboard, saved to the save folder, handed to the post-capture
action. Prints the path of the file; with --copy the capture only goes to the
clipboard: nothing is saved, stored in the history or printed.

Kinds:
  fullscreen [--display N]                  a whole display
  area --rect X,Y,W,H [--display N] [--copy] a rectangle, in points from the
                                            display's top-left corner
  window (--id N | --app NAME)              one window with its frame; on desktops
                                            that list no windows (GNOME), without
                                            either: the window picked in the desktop's
                                            own window chooser
  scrolling (--rect X,Y,W,H [--display N] | --id N) [--direction D]
                                            a page longer than the screen: scrolls
                                            the area (or window) to its end and
                                            joins what it shows into one image

Without --display, the display under the pointer is used. A rectangle that
reaches past the display's edge is refused, not clipped.
Run "pictavia capture KIND --help" for the options of one kind.
)";

std::optional<uint32_t> parseNumber(const QString& text) {
    bool ok = false;
    const uint32_t n = text.startsWith(QStringLiteral("0x"), Qt::CaseInsensitive)
                           ? text.mid(2).toUInt(&ok, 16)
                           : text.toUInt(&ok, 10);
    return ok ? std::optional(n) : std::nullopt;
}

std::optional<QRectF> parseRect(const QString& text) {
    const auto rect = Prefs::decodeRect(text);
    if (!rect || rect->width() <= 0 || rect->height() <= 0) return std::nullopt;
    return rect;
}

// A window capture that names no window: the one the user picks in the desktop's chooser.
bool pickedInDesktop(const CaptureRequest& request) {
    return request.kind == CaptureRequest::Kind::window && !request.windowID && request.appName.isEmpty();
}

Error noWindowOf(const QString& appName) {
    return Error{QStringLiteral("No window of an application named \"%1\" is on screen").arg(appName)};
}

// Connects to the display; fails with the sentence that says why not.
bool connect() {
    Prefs::registerDefaults();
    const auto installed = PlatformSetup::install(PlatformSetup::Presentation::Terminal);
    if (!installed) {
        CommandOutput::error(installed.error().message);
        return false;
    }
    StandaloneHistory::attach();
    return true;
}

int finish(int code) {
    PostCaptureAction::waitForAll();
    Prefs::sync();
    return code;
}

QCommandLineOption displayOption() {
    return {QStringLiteral("display"), QStringLiteral("The display number (see \"pictavia displays\")."),
            QStringLiteral("N")};
}

std::optional<uint32_t> displayArgument(const QCommandLineParser& parser, bool* valid) {
    *valid = true;
    if (!parser.isSet(QStringLiteral("display"))) return std::nullopt;
    const auto n = parseNumber(parser.value(QStringLiteral("display")));
    *valid = n.has_value();
    return n;
}

std::variant<int, CaptureRequest> fullscreen(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Captures a whole display."));
    parser.addOption(displayOption());
    if (const auto code = CommandLine::parse(parser, arguments, QStringLiteral("capture fullscreen")))
        return *code;
    bool valid = false;
    const auto display = displayArgument(parser, &valid);
    if (!valid) return CommandLine::usageError(QStringLiteral("--display needs a display number"));
    CaptureRequest request;
    request.kind = CaptureRequest::Kind::fullscreen;
    request.display = display;
    return request;
}

std::variant<int, CaptureRequest> area(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Captures a rectangle of a display."));
    parser.addOption({QStringLiteral("rect"),
                      QStringLiteral("The rectangle: x, y, width and height in points from the display's "
                                     "top-left corner."),
                      QStringLiteral("X,Y,W,H")});
    parser.addOption(displayOption());
    parser.addOption(
        {QStringLiteral("copy"), QStringLiteral("Copy to the clipboard only; save nothing else.")});
    if (const auto code = CommandLine::parse(parser, arguments, QStringLiteral("capture area"))) return *code;
    if (!parser.isSet(QStringLiteral("rect")))
        return CommandLine::usageError(QStringLiteral("capture area needs --rect X,Y,W,H"));
    const auto rect = parseRect(parser.value(QStringLiteral("rect")));
    if (!rect)
        return CommandLine::usageError(
            QStringLiteral("--rect needs four numbers X,Y,W,H with a positive width and height"));
    bool valid = false;
    const auto display = displayArgument(parser, &valid);
    if (!valid) return CommandLine::usageError(QStringLiteral("--display needs a display number"));
    CaptureRequest request;
    request.kind = CaptureRequest::Kind::area;
    request.rect = *rect;
    request.display = display;
    request.copyOnly = parser.isSet(QStringLiteral("copy"));
    return request;
}

std::variant<int, CaptureRequest> window(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Captures one window with its frame."));
    parser.addOption({QStringLiteral("id"), QStringLiteral("The window number (decimal, or hex with 0x)."),
                      QStringLiteral("N")});
    parser.addOption({QStringLiteral("app"),
                      QStringLiteral("The frontmost window of the application with this name."),
                      QStringLiteral("NAME")});
    if (const auto code = CommandLine::parse(parser, arguments, QStringLiteral("capture window")))
        return *code;
    const bool byId = parser.isSet(QStringLiteral("id"));
    const bool byApp = parser.isSet(QStringLiteral("app"));
    // Under Wayland, neither: the window is picked in the desktop's chooser where it has one.
    const bool picked = !byId && !byApp && BackendChoice::current() == BackendChoice::Backend::wayland;
    if (byId == byApp && !picked)
        return CommandLine::usageError(QStringLiteral("capture window needs either --id N or --app NAME"));
    CaptureRequest request;
    request.kind = CaptureRequest::Kind::window;
    if (picked) return request;
    if (byApp) {
        request.appName = parser.value(QStringLiteral("app"));
    } else if (!(request.windowID = parseNumber(parser.value(QStringLiteral("id"))))) {
        return CommandLine::usageError(QStringLiteral("--id needs a window number"));
    }
    return request;
}

std::variant<int, CaptureRequest> scrolling(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Scrolls an area, or a window, to the end of its content and joins what it shows into one "
        "long image. The pointer moves into the area while it runs; Esc ends it early."));
    parser.addOption({QStringLiteral("rect"),
                      QStringLiteral("The area: x, y, width and height in points from the display's "
                                     "top-left corner."),
                      QStringLiteral("X,Y,W,H")});
    parser.addOption(displayOption());
    parser.addOption({QStringLiteral("id"), QStringLiteral("The window number (decimal, or hex with 0x)."),
                      QStringLiteral("N")});
    parser.addOption({QStringLiteral("direction"),
                      QStringLiteral("auto (the default: down, else sideways), vertical or horizontal."),
                      QStringLiteral("D")});
    if (const auto code = CommandLine::parse(parser, arguments, QStringLiteral("capture scrolling")))
        return *code;
    const bool byRect = parser.isSet(QStringLiteral("rect"));
    const bool byId = parser.isSet(QStringLiteral("id"));
    if (byRect == byId)
        return CommandLine::usageError(
            QStringLiteral("capture scrolling needs either --rect X,Y,W,H or --id N"));
    CaptureRequest request;
    request.kind = CaptureRequest::Kind::scrolling;
    if (byRect) {
        const auto rect = parseRect(parser.value(QStringLiteral("rect")));
        if (!rect)
            return CommandLine::usageError(
                QStringLiteral("--rect needs four numbers X,Y,W,H with a positive width and height"));
        request.rect = *rect;
        bool valid = false;
        request.display = displayArgument(parser, &valid);
        if (!valid) return CommandLine::usageError(QStringLiteral("--display needs a display number"));
    } else if (!(request.windowID = parseNumber(parser.value(QStringLiteral("id"))))) {
        return CommandLine::usageError(QStringLiteral("--id needs a window number"));
    }
    if (parser.isSet(QStringLiteral("direction"))) {
        const auto axis = scrollAxisValues.parse(parser.value(QStringLiteral("direction")).toLower());
        if (!axis)
            return CommandLine::usageError(QStringLiteral("--direction is auto, vertical or horizontal"));
        request.axis = *axis;
    }
    return request;
}

// Why this run cannot take a capture of this kind at all, if it cannot.
std::optional<Error> unavailable(const CaptureRequest& request) {
    std::optional<QString> missing;
    if (request.kind == CaptureRequest::Kind::window) {
        if (pickedInDesktop(request) && PlatformSetup::windowsChosenInDesktop()) return std::nullopt;
        missing = PlatformSetup::notAvailable(PlatformSetup::Flow::windowCapture);
        // A desktop that lists its windows needs to be told which.
        if (!missing && pickedInDesktop(request))
            missing = QStringLiteral("capture window needs either --id N or --app NAME on this desktop");
    } else if (request.kind == CaptureRequest::Kind::scrolling) {
        missing = PlatformSetup::notAvailable(PlatformSetup::Flow::scrollingCapture);
    }
    if (!missing) return std::nullopt;
    return Error{*missing};
}

Result<ScrollingCapture::Area> scrollingArea(const CaptureRequest& request) {
    return request.windowID ? ScrollingCapture::ofWindow(*request.windowID)
                            : ScrollingCapture::ofRect(request.rect, request.display);
}

} // namespace

std::variant<int, CaptureRequest> parseCaptureCommand(const QStringList& arguments) {
    const QString kind = arguments.value(0);
    const QStringList rest = arguments.mid(1);
    if (kind == u"fullscreen") return fullscreen(rest);
    if (kind == u"area") return area(rest);
    if (kind == u"window") return window(rest);
    if (kind == u"scrolling") return scrolling(rest);
    if (kind.isEmpty() || kind == u"--help" || kind == u"-h" || kind == u"help") {
        if (kind.isEmpty()) {
            CommandOutput::err(QString::fromUtf8(captureUsage));
            return CommandLine::usage;
        }
        CommandOutput::out(QString::fromUtf8(captureUsage));
        return CommandLine::ok;
    }
    return CommandLine::usageError(
        QStringLiteral("unknown capture kind \"%1\"; use fullscreen, area, window or scrolling").arg(kind));
}

QString CaptureRequest::usageEvent() const {
    switch (kind) {
    case Kind::fullscreen:
        return QStringLiteral("capture.fullscreen");
    case Kind::area:
        return QStringLiteral("capture.area");
    case Kind::window:
        return QStringLiteral("capture.window");
    case Kind::scrolling:
        return QStringLiteral("capture.scrolling");
    }
    return {};
}

Result<OutputPipeline::Delivered> takeCapture(const CaptureRequest& request) {
    if (auto missing = unavailable(request)) return *missing;
    switch (request.kind) {
    case CaptureRequest::Kind::fullscreen:
        return StillCapture::fullscreen(request.display);
    case CaptureRequest::Kind::area:
        return StillCapture::rect(request.rect, request.display, request.copyOnly);
    case CaptureRequest::Kind::window: {
        if (pickedInDesktop(request)) {
            const Result<uint32_t> picked = PlatformSetup::chooseWindowInDesktop();
            if (!picked) return picked.error();
            return StillCapture::window(*picked);
        }
        const auto id = request.windowID ? request.windowID : StillCapture::windowOfApp(request.appName);
        if (!id) return noWindowOf(request.appName);
        return StillCapture::window(*id);
    }
    case CaptureRequest::Kind::scrolling: {
        // The scrolling waits on timers: this thread's event loop runs until it is delivered.
        std::optional<Result<OutputPipeline::Delivered>> result;
        QEventLoop loop;
        takeCapture(request, &loop, [&](const Result<OutputPipeline::Delivered>& delivered) {
            result = delivered;
            loop.quit();
        });
        if (!result) loop.exec();
        return result.value_or(Error{QStringLiteral("Nothing could be captured")});
    }
    }
    return Error{QStringLiteral("Unknown capture")};
}

void takeCapture(const CaptureRequest& request, QObject* receiver, StillCapture::Done done) {
    if (auto missing = unavailable(request)) return done(*missing);
    switch (request.kind) {
    case CaptureRequest::Kind::fullscreen:
        return StillCapture::fullscreen(request.display, receiver, std::move(done));
    case CaptureRequest::Kind::area:
        return StillCapture::rect(request.rect, request.display, request.copyOnly, receiver, std::move(done));
    case CaptureRequest::Kind::window: {
        if (pickedInDesktop(request)) {
            // The chooser waits for the user on a worker thread; this thread goes on meanwhile.
            QtConcurrent::run([] {
                return PlatformSetup::chooseWindowInDesktop();
            }).then(receiver, [receiver, done = std::move(done)](const Result<uint32_t>& picked) mutable {
                if (!picked) return done(picked.error());
                StillCapture::window(*picked, receiver, std::move(done));
            });
            return;
        }
        const auto id = request.windowID ? request.windowID : StillCapture::windowOfApp(request.appName);
        if (!id) return done(noWindowOf(request.appName));
        return StillCapture::window(*id, receiver, std::move(done));
    }
    case CaptureRequest::Kind::scrolling: {
        const auto area = scrollingArea(request);
        if (!area) return done(area.error());
        return ScrollingCapture::run(*area, request.axis, receiver, std::move(done));
    }
    }
}

int reportCapture(const Result<OutputPipeline::Delivered>& result, bool copyOnly) {
    if (!result) {
        CommandOutput::error(result.error().message);
        return CommandLine::failed;
    }
    // The copy was all it asked for: the delivery has already said why it did not take.
    if (copyOnly && !result->copied) return CommandLine::failed;
    // A copy to the clipboard only has no file to name.
    if (!result->file().isEmpty()) CommandOutput::out(result->file() + u'\n');
    return CommandLine::ok;
}

int runCaptureCommand(const QStringList& arguments) {
    const auto parsed = parseCaptureCommand(arguments);
    if (const int* code = std::get_if<int>(&parsed)) return *code;
    const auto& request = std::get<CaptureRequest>(parsed);
    if (!connect()) return CommandLine::failed;
    Usage::count(request.usageEvent());
    return finish(reportCapture(takeCapture(request), request.copyOnly));
}
