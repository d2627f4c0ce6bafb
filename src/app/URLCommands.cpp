#include "app/URLCommands.h"

#include "app/Toast.h"
#include "capture/CaptureCoordinator.h"
#include "capture/ScreenCaptureService.h"
#include "platform/Platform.h"
#include "recording/ScreenRecorder.h"

#include <QFileInfo>
#include <QUrlQuery>

#include <cmath>
#include <limits>

namespace URLCommands {

namespace {

Destinations& destinations() {
    static Destinations d;
    return d;
}

void unavailable(const QString& what) {
    Toast::show(what + QStringLiteral(" is not available in this version of Pictavia"));
}

ScreenRecorder& recorder() {
    return ScreenRecorder::shared();
}

// "mode" of a record command; anything else (or nothing) is the area overlay, whose Enter
// and W keys reach the other two modes.
RecordMode recordMode(const QueryItems& items) {
    const QString mode = items.value(QStringLiteral("mode")).toLower();
    if (mode == u"window") return RecordMode::window();
    if (mode == u"fullscreen" || mode == u"full" || mode == u"screen")
        return RecordMode::fullscreen(displayID(items));
    return RecordMode::area();
}

std::optional<double> number(const QueryItems& items, const QString& name) {
    bool ok = false;
    const double value = items.value(name).toDouble(&ok);
    if (!items.contains(name) || !ok || !std::isfinite(value)) return std::nullopt;
    return value;
}

void openFile(const QueryItems& items) {
    if (!destinations().openFile) return unavailable(QStringLiteral("The image editor"));
    destinations().openFile(items.value(QStringLiteral("path")));
}

bool isCommand(const QString& name, std::initializer_list<const char*> forms) {
    for (const char* form : forms)
        if (name == QLatin1String(form)) return true;
    return false;
}

bool isKnown(const QString& name) {
    return isCommand(name, {"capture-area",
                            "capture",
                            "capture-window",
                            "window",
                            "capture-fullscreen",
                            "fullscreen",
                            "capture-previous",
                            "previous",
                            "all-in-one",
                            "capture-text",
                            "scrolling-capture",
                            "scroll",
                            "record",
                            "stop-recording",
                            "stop",
                            "pause-recording",
                            "pause",
                            "resume-recording",
                            "resume",
                            "cancel-recording",
                            "open-clipboard",
                            "clipboard",
                            "open-file",
                            "open",
                            "history",
                            "settings",
                            "preferences"});
}

// A rectangle's size is checked everywhere; where it lies, only against a known display.
std::optional<QString> areaProblem(const QRectF& area, std::optional<uint32_t> displayNumber) {
    if (const auto sized = ScreenCaptureService::checkAreaSize(area); !sized) return sized.error().message;
    if (!platform::services().screen) return std::nullopt;
    const ScreenCaptureService& service = ScreenCaptureService::shared();
    std::optional<platform::DisplayInfo> display;
    if (displayNumber) display = service.display(*displayNumber);
    if (!display) display = service.displayUnderPointer();
    if (!display) return QStringLiteral("Capture failed: ") + ScreenCaptureService::displayNotFound().message;
    if (const auto fits = ScreenCaptureService::checkArea(area, *display); !fits) return fits.error().message;
    return std::nullopt;
}

void call(const std::function<void()>& destination, const QString& what) {
    if (destination)
        destination();
    else
        unavailable(what);
}

} // namespace

void setDestinations(Destinations d) {
    destinations() = std::move(d);
}

QString command(const QUrl& url) {
    QString name = url.host();
    if (name.isEmpty()) name = url.path().section(QLatin1Char('/'), 0, 0, QString::SectionSkipEmpty);
    return name.toLower();
}

QueryItems queryItems(const QUrl& url) {
    QueryItems items;
    const auto pairs = QUrlQuery(url).queryItems(QUrl::FullyDecoded);
    for (const auto& [name, value] : pairs)
        if (!items.contains(name)) items.insert(name, value);
    return items;
}

bool flag(const QueryItems& items, const QString& name) {
    if (!items.contains(name)) return false;
    const QString value = items.value(name).toLower();
    return value.isEmpty() || value == u"1" || value == u"true" || value == u"yes";
}

std::optional<QRectF> rect(const QueryItems& items) {
    const auto x = number(items, QStringLiteral("x"));
    const auto y = number(items, QStringLiteral("y"));
    const auto width = number(items, QStringLiteral("width"));
    const auto height = number(items, QStringLiteral("height"));
    if (!x || !y || !width || !height) return std::nullopt;
    return QRectF(*x, *y, *width, *height);
}

std::optional<uint32_t> displayID(const QueryItems& items) {
    bool ok = false;
    const qulonglong value = items.value(QStringLiteral("display")).toULongLong(&ok);
    if (!ok || value > std::numeric_limits<uint32_t>::max()) return std::nullopt;
    return static_cast<uint32_t>(value);
}

std::optional<QString> problem(const QUrl& url) {
    if (url.scheme().compare(QStringLiteral("pictavia"), Qt::CaseInsensitive) != 0) return std::nullopt;
    const QString name = command(url);
    const QueryItems items = queryItems(url);
    if (!isKnown(name)) return QStringLiteral("Unknown pictavia:// command \"") + name + QLatin1Char('"');
    if (isCommand(name, {"capture-area", "capture"})) {
        if (const auto area = rect(items)) return areaProblem(*area, displayID(items));
    } else if (isCommand(name, {"open-file", "open"})) {
        const QString path = items.value(QStringLiteral("path"));
        if (path.isEmpty()) return QStringLiteral("No file to open");
        if (!QFileInfo(path).isFile() || !QFileInfo(path).isReadable() ||
            (destinations().canOpenFile && !destinations().canOpenFile(path)))
            return QStringLiteral("Pictavia cannot open that file");
    } else if (isCommand(name, {"stop-recording", "stop", "pause-recording", "pause", "resume-recording",
                                "resume", "cancel-recording"})) {
        if (recorder().state() == ScreenRecorder::State::idle)
            return QStringLiteral("No recording is running");
    }
    return std::nullopt;
}

bool handle(const QUrl& url) {
    if (url.scheme().compare(QStringLiteral("pictavia"), Qt::CaseInsensitive) != 0) return false;
    if (const auto wrong = problem(url)) {
        Toast::show(*wrong);
        return true;
    }
    const QString name = command(url);
    const QueryItems items = queryItems(url);
    CaptureCoordinator& coordinator = CaptureCoordinator::shared();
    const auto is = [&name](std::initializer_list<const char*> forms) { return isCommand(name, forms); };

    if (is({"capture-area", "capture"})) {
        if (const auto area = rect(items))
            coordinator.captureRect(*area, displayID(items), flag(items, QStringLiteral("copy")));
        else
            coordinator.captureArea();
    } else if (is({"capture-window", "window"})) {
        coordinator.captureWindow();
    } else if (is({"capture-fullscreen", "fullscreen"})) {
        coordinator.captureFullscreen();
    } else if (is({"capture-previous", "previous"})) {
        coordinator.capturePreviousArea();
    } else if (is({"all-in-one"})) {
        coordinator.captureAllInOne();
    } else if (is({"capture-text"})) {
        coordinator.captureText();
    } else if (is({"scrolling-capture", "scroll"})) {
        coordinator.scrollingCapture();
    } else if (is({"record"})) {
        coordinator.toggleRecording(flag(items, QStringLiteral("gif")), recordMode(items));
    } else if (is({"stop-recording", "stop"})) {
        recorder().stop();
    } else if (is({"pause-recording", "pause"})) {
        recorder().pause();
    } else if (is({"resume-recording", "resume"})) {
        recorder().resume();
    } else if (is({"cancel-recording"})) {
        recorder().cancel();
    } else if (is({"open-clipboard", "clipboard"})) {
        call(destinations().openClipboard, QStringLiteral("The image editor"));
    } else if (is({"open-file", "open"})) {
        openFile(items);
    } else if (is({"history"})) {
        call(destinations().showHistory, QStringLiteral("The history window"));
    } else if (is({"settings", "preferences"})) {
        call(destinations().showSettings, QStringLiteral("The settings window"));
    }
    return true;
}

} // namespace URLCommands
