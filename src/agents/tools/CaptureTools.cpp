// Screenshots, text recognition and the desktop around them, for agents. Every grab from
// the screen passes the "capture" gate first; captures are stored like the user's own.
#include "agents/AgentAccess.h"
#include "agents/AgentTools.h"
#include "agents/MCPSession.h"
#include "agents/ToolMedia.h"
#include "agents/tools/ScreenTargets.h"
#include "agents/tools/ToolInfo.h"
#include "app/Prefs.h"
#include "app/Toast.h"
#include "capture/CaptureCoordinator.h"
#include "capture/ImageUtils.h"
#include "capture/OutputPipeline.h"
#include "capture/ScreenCaptureService.h"
#include "capture/ScrollingCapture.h"
#include "editor/PresetStore.h"
#include "editor/ProjectStore.h"
#include "platform/Platform.h"
#include "text/TextLocator.h"
#include "text/TextRecognizer.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QFuture>
#include <QJsonObject>
#include <QTimer>
#include <QtConcurrent/QtConcurrentRun>

#include <algorithm>
#include <functional>
#include <memory>

using namespace ToolSchema;
using ScreenTargets::targetOf;

namespace {

// MARK: - Screen targets

struct Grab {
    QImage image; // as grabbed: a window without its shadow
    double scale = 1.0;
    CaptureContext context;
    QString target;
    std::optional<platform::WindowInfo> window;
    std::optional<platform::DisplayInfo> display;
    std::optional<QRectF> area;
};

const QStringList screenTargets{QStringLiteral("screen"), QStringLiteral("area"), QStringLiteral("window"),
                                QStringLiteral("previous_area")};
const QStringList interactiveTargets{QStringLiteral("select_area"), QStringLiteral("select_window")};

// The pixels of a non-interactive target. Throws with the reason when there are none.
Grab grab(const ToolArgs& args, const QString& target) {
    ScreenCaptureService& service = ScreenCaptureService::shared();
    Grab result;
    result.target = target;
    if (target == u"window") {
        const platform::WindowInfo window = ScreenTargets::window(args);
        auto capture = service.captureWindowWithBackdrop(window.id);
        if (!capture) failTool(capture.error().message);
        result.image = capture->image;
        result.scale = capture->scale;
        result.window = capture->window;
        result.context = CaptureContext::forWindow(capture->window);
        return result;
    }
    result.context = CaptureContext::frontmost();
    if (target == u"screen") {
        const platform::DisplayInfo display = ScreenTargets::display(args);
        auto image = service.captureDisplay(display, true,
                                            args.boolean(QStringLiteral("include_cursor")).value_or(false));
        if (!image) failTool(image.error().message);
        result.image = ImageUtils::croppingNotch(*image, display);
        result.scale = display.scale;
        result.display = display;
        return result;
    }
    std::optional<QRectF> area;
    platform::DisplayInfo display;
    if (target == u"area") {
        area = args.rect(QStringLiteral("rect"));
        if (!area || area->width() <= 0 || area->height() <= 0)
            failTool(QStringLiteral("Target \"area\" needs `rect` with a positive width and height."));
        display = ScreenTargets::display(args);
    } else if (target == u"previous_area") {
        const auto last = Prefs::lastArea();
        if (!last)
            failTool(QStringLiteral("There is no previous area yet: the user has not captured an area."));
        const auto known = service.display(last->displayID);
        if (!known) failTool(QStringLiteral("The display of the previous area is no longer connected."));
        area = last->rect;
        display = *known;
    } else {
        failTool(
            QStringLiteral("Unknown target “%1”. Use screen, area, window, previous_area, select_area or "
                           "select_window.")
                .arg(target));
    }
    auto image =
        service.captureArea(*area, display, args.boolean(QStringLiteral("include_cursor")).value_or(false));
    if (!image) failTool(image.error().message);
    result.image = *image;
    result.scale = display.scale;
    result.display = display;
    result.area = area;
    return result;
}

QJsonObject grabFacts(const Grab& grab) {
    QJsonObject facts{{QStringLiteral("target"), grab.target}};
    if (grab.display) facts.insert(QStringLiteral("display_id"), static_cast<qint64>(grab.display->id));
    if (grab.area) facts.insert(QStringLiteral("rect"), ToolInfo::rectJson(*grab.area));
    if (grab.window)
        facts.insert(QStringLiteral("window"),
                     QJsonObject{{QStringLiteral("id"), static_cast<qint64>(grab.window->id)},
                                 {QStringLiteral("app"), grab.window->ownerName},
                                 {QStringLiteral("title"), grab.window->title}});
    if (grab.scale != 1.0) facts.insert(QStringLiteral("scale"), grab.scale);
    return facts;
}

// Covers the desktop icons for one capture, unless they are covered already.
class IconsHidden {
public:
    explicit IconsHidden(bool wanted);
    ~IconsHidden() {
        if (m_covered) platform::services().desktopCover->uncover();
    }
    IconsHidden(const IconsHidden&) = delete;
    IconsHidden& operator=(const IconsHidden&) = delete;

private:
    bool m_covered = false;
};

bool desktopIconsHidden = false; // by set_desktop_icons

IconsHidden::IconsHidden(bool wanted) {
    if (!wanted || desktopIconsHidden || !platform::services().desktopCover) return;
    platform::services().desktopCover->cover();
    m_covered = true;
}

// MARK: - Window sizes

// The display a window is mostly on: the one holding its centre, else the first.
platform::DisplayInfo displayOf(const QRect& frame) {
    const QList<platform::DisplayInfo> displays = ScreenCaptureService::shared().displays();
    if (displays.isEmpty()) failTool(QStringLiteral("No display is available."));
    for (const auto& display : displays)
        if (display.geometry.contains(frame.center())) return display;
    return displays.first();
}

struct NamedSize {
    QSizeF size;
    bool inPixels = false; // "…px"; else points
};

// "1280x800" (points) or "2540x1520px" (pixels); none for anything else.
std::optional<NamedSize> sizeNamed(const QString& text) {
    QString lower = text.trimmed().toLower();
    NamedSize named;
    if (lower.endsWith(QLatin1String("px"))) {
        named.inPixels = true;
        lower.chop(2);
    }
    const QStringList parts = lower.split(u'x');
    if (parts.size() != 2) return std::nullopt;
    bool wide = false, high = false;
    named.size = QSizeF(parts[0].trimmed().toDouble(&wide), parts[1].trimmed().toDouble(&high));
    if (!wide || !high || !std::isfinite(named.size.width()) || !std::isfinite(named.size.height()) ||
        named.size.width() < 1 || named.size.height() < 1 || named.size.width() > 16384 ||
        named.size.height() > 16384)
        return std::nullopt;
    return named;
}

// The window manager answers in its own time: `then` gets the window's frame once it
// differs from `before`, or after a second in any case.
void afterWindowChanges(uint32_t id, const QRect& before, std::function<void(const QRect&)> then) {
    auto waited = std::make_shared<int>(0);
    auto poll = std::make_shared<std::function<void()>>();
    *poll = [id, before, then = std::move(then), waited, poll]() {
        QRect frame = before;
        for (const auto& candidate : ToolInfo::windows())
            if (candidate.id == id) frame = candidate.frame;
        if (frame == before && ++*waited < 10) {
            QTimer::singleShot(100, *poll);
            return;
        }
        const auto finish = std::move(then);
        *poll = nullptr; // breaks the cycle of the shared function holding itself
        finish(frame);
    };
    QTimer::singleShot(100, *poll);
}

// MARK: - take_screenshot

QString describeTarget(const QString& target) {
    if (target == u"window") return QStringLiteral("a window");
    if (target == u"area" || target == u"previous_area" || target == u"select_area")
        return QStringLiteral("an area");
    if (target == u"select_window") return QStringLiteral("a window");
    return QStringLiteral("the screen");
}

DeliveryOptions deliveryOptions(const ToolArgs& args, const ToolContext& context) {
    DeliveryOptions options;
    options.copyToClipboard = args.boolean(QStringLiteral("copy_to_clipboard")).value_or(false);
    options.showQuickAccess = args.boolean(QStringLiteral("show_thumbnail")).value_or(false);
    options.askForName = false;
    if (const auto format = args.string(QStringLiteral("format"))) {
        const auto named = ImageUtils::formatNamed(*format);
        if (!named) failTool(QStringLiteral("Unknown format “%1”. Use png, jpg, webp or heic.").arg(*format));
        options.format = *named;
    }
    if (const auto preset = args.string(QStringLiteral("preset"))) {
        const auto found = PresetStore::shared().findByName(*preset);
        if (!found)
            failTool(QStringLiteral("No beautify preset “%1”. list_styles lists the presets.").arg(*preset));
        options.autoBeautify = true;
        options.preset = *found;
    } else if (const auto beautify = args.boolean(QStringLiteral("beautify"))) {
        options.autoBeautify = *beautify;
        if (*beautify) options.preset = PresetStore::shared().active();
    }
    if (context.access().announce() && context.session)
        options.announcement = context.session->displayName() + QStringLiteral(" took a screenshot");
    return options;
}

// The answer for a capture stored in history. The pipeline has copied it and shown its
// thumbnail as asked; what is left of the output properties is save_to.
void answerCapture(const ToolArgs& args, const ToolContext& context,
                   const OutputPipeline::Delivered& delivered, QJsonObject facts, const ToolDone& done) {
    QJsonObject remaining = args.raw();
    remaining.remove(QStringLiteral("copy_to_clipboard"));
    remaining.remove(QStringLiteral("show_thumbnail"));
    if (!delivered.savedFile.isEmpty()) facts.insert(QStringLiteral("saved_file"), delivered.savedFile);
    if (delivered.copied) facts.insert(QStringLiteral("copied"), true);
    const QString summary = QStringLiteral("Took a screenshot of ") +
                            describeTarget(facts.value(QStringLiteral("target")).toString());
    ToolMedia::finishImage(ToolArgs(remaining), context, delivered.historyFile, facts, summary, done);
}

void captureNow(const ToolArgs& args, const ToolContext& context, const ToolDone& done) {
    context.checkCancelled();
    const QString target = targetOf(args);
    const DeliveryOptions options = deliveryOptions(args, context);
    Grab grabbed;
    {
        IconsHidden icons(args.boolean(QStringLiteral("hide_desktop_icons")).value_or(false));
        grabbed = grab(args, target);
    }
    QImage image = grabbed.image;
    const bool windowCapture = grabbed.window.has_value();
    const bool shadow =
        windowCapture &&
        args.boolean(QStringLiteral("window_shadow")).value_or(Prefs::flag(QStringLiteral("windowShadow")));
    if (shadow) image = ImageUtils::withDropShadow(image, grabbed.scale);
    const auto delivered =
        OutputPipeline::deliverImage(image, grabbed.scale, false, windowCapture, grabbed.context, options);
    if (!delivered) failTool(QStringLiteral("The capture could not be stored in the history."));
    if (windowCapture && Prefs::flag(QStringLiteral("saveEditableProjects"))) {
        ProjectDocument project;
        project.imagePNG = ImageUtils::data(grabbed.image, QStringLiteral("png"));
        project.scale = grabbed.scale;
        project.padding = shadow ? 48 : 0;
        project.isWindowCapture = true;
        project.windowShadow = shadow;
        project.sourceFileName = QFileInfo(delivered->historyFile).fileName();
        ProjectStore::save(project, delivered->historyFile);
    }
    answerCapture(args, context, *delivered, grabFacts(grabbed), done);
}

// Runs one of the user's own flows through `start`; when it ends, `answer` gets the capture it
// stored, or the tool fails with `cancelled`.
void afterUserFlow(CaptureCoordinator& coordinator, const ToolDone& done, const QString& cancelled,
                   const std::function<void(const QString& file)>& answer,
                   const std::function<void()>& start) {
    auto stored = std::make_shared<QString>();
    auto connections = std::make_shared<std::pair<QMetaObject::Connection, QMetaObject::Connection>>();
    connections->first =
        QObject::connect(&coordinator, &CaptureCoordinator::captured, QCoreApplication::instance(),
                         [stored](const QString& file) { *stored = file; });
    connections->second = QObject::connect(&coordinator, &CaptureCoordinator::flowFinished,
                                           QCoreApplication::instance(), [=]() {
                                               QObject::disconnect(connections->first);
                                               QObject::disconnect(connections->second);
                                               answeringErrors(done, [&] {
                                                   if (stored->isEmpty()) failTool(cancelled);
                                                   answer(*stored);
                                               });
                                           });
    start();
}

// The user picks on screen; the capture is the one the flow stores.
void captureInteractively(const ToolArgs& args, const ToolContext& context, const QString& target,
                          const ToolDone& done) {
    CaptureCoordinator& coordinator = CaptureCoordinator::shared();
    if (coordinator.busy())
        failTool(QStringLiteral("Another capture is in progress on screen. Try again when it ends."));
    const auto answer = [=](const QString& file) {
        OutputPipeline::Delivered delivered;
        delivered.historyFile = file;
        answerCapture(args, context, delivered, QJsonObject{{QStringLiteral("target"), target}}, done);
    };
    afterUserFlow(coordinator, done, QStringLiteral("The user cancelled the selection."), answer, [&] {
        if (target == u"select_window")
            coordinator.captureWindow();
        else
            coordinator.captureArea();
    });
}

// Waits `delay_seconds` first, with the countdown announced, then captures.
void captureAfterDelay(const ToolArgs& args, const ToolContext& context, const ToolDone& done) {
    const int delay = std::clamp(args.integer(QStringLiteral("delay_seconds")).value_or(0), 0, 60);
    if (delay == 0) return captureNow(args, context, done);
    if (context.access().announce() && context.session)
        Toast::show(
            QStringLiteral("%1 takes a screenshot in %2 s").arg(context.session->displayName()).arg(delay),
            std::min(delay, 5));
    QTimer::singleShot(delay * 1000, QCoreApplication::instance(),
                       [=] { answeringErrors(done, [&] { captureNow(args, context, done); }); });
}

void takeScreenshot(const ToolArgs& args, const ToolContext& context, const ToolDone& done) {
    const QString target = targetOf(args);
    if (!screenTargets.contains(target) && !interactiveTargets.contains(target))
        failTool(
            QStringLiteral("Unknown target “%1”. Use screen, area, window, previous_area, select_area or "
                           "select_window.")
                .arg(target));
    std::optional<NamedSize> windowSize;
    if (const auto text = args.string(QStringLiteral("window_size"))) {
        if (target != u"window") failTool(QStringLiteral("`window_size` applies to window captures only."));
        windowSize = sizeNamed(*text);
        if (!windowSize)
            failTool(QStringLiteral(
                "`window_size` reads like \"1280x800\" (points) or \"2540x1520px\" (pixels)."));
    }
    context.authorize(AgentAccess::Category::capture, QStringLiteral("take a screenshot"), done, [=] {
        if (interactiveTargets.contains(target)) {
            captureInteractively(args, context, target, done);
            return;
        }
        if (windowSize) {
            // Resized first; the capture follows once the window manager has done it.
            const platform::WindowInfo window = ScreenTargets::window(args);
            const double scale = windowSize->inPixels ? 1.0 : displayOf(window.frame).scale;
            const QSize client = (windowSize->size * (scale > 0 ? scale : 1.0)).toSize();
            auto& screen = platform::services().screen;
            if (!screen) failTool(QStringLiteral("No display is available."));
            if (const auto asked = screen->arrangeWindow(window.id, std::nullopt, client, false); !asked)
                failTool(asked.error().message);
            afterWindowChanges(window.id, window.frame, [args, context, done](const QRect&) {
                answeringErrors(done, [&] { captureAfterDelay(args, context, done); });
            });
            return;
        }
        captureAfterDelay(args, context, done);
    });
}

// MARK: - scrolling_capture

ScrollAxis directionOf(const ToolArgs& args) {
    const auto direction = args.string(QStringLiteral("direction"));
    if (!direction) return Prefs::scrollAxis();
    const auto axis = scrollAxisValues.parse(direction->toLower());
    if (!axis) failTool(QStringLiteral("`direction` is \"auto\", \"vertical\" or \"horizontal\"."));
    return *axis;
}

// The area a scrolling capture aims at: a window, else a rectangle. Throws without either.
ScrollingCapture::Area scrollingArea(const ToolArgs& args) {
    if (args.has(QStringLiteral("window_id")) || args.has(QStringLiteral("app"))) {
        auto area = ScrollingCapture::ofWindow(ScreenTargets::window(args).id);
        if (!area) failTool(area.error().message);
        return *area;
    }
    const auto rect = args.rect(QStringLiteral("rect"));
    if (!rect)
        failTool(QStringLiteral(
            "Aim scrolling_capture at a window (app or window_id), a rect, or set select to let the user "
            "drag out the region."));
    const platform::DisplayInfo display = ScreenTargets::display(args);
    auto area = ScrollingCapture::ofRect(*rect, display.id);
    if (!area) failTool(area.error().message);
    return *area;
}

void answerScrolling(const ToolArgs& args, const ToolContext& context, const QString& historyFile,
                     const QJsonObject& facts, const ToolDone& done) {
    QJsonObject remaining = args.raw();
    remaining.remove(QStringLiteral("copy_to_clipboard"));
    remaining.remove(QStringLiteral("show_thumbnail"));
    ToolMedia::finishImage(ToolArgs(remaining), context, historyFile, facts,
                           QStringLiteral("Took a scrolling capture"), done);
}

void scrollingCapture(const ToolArgs& args, const ToolContext& context, const ToolDone& done) {
    const ScrollAxis axis = directionOf(args);
    const bool select = args.boolean(QStringLiteral("select")).value_or(false);
    DeliveryOptions options;
    options.askForName = false;
    if (const auto format = args.string(QStringLiteral("format"))) {
        const auto named = ImageUtils::formatNamed(*format);
        if (!named) failTool(QStringLiteral("Unknown format “%1”. Use png, jpg, webp or heic.").arg(*format));
        options.format = *named;
    }
    if (const auto missing = CaptureCoordinator::scrollingUnavailable(true)) failTool(*missing);
    context.authorize(AgentAccess::Category::capture, QStringLiteral("take a scrolling capture"), done, [=] {
        CaptureCoordinator& coordinator = CaptureCoordinator::shared();
        if (coordinator.busy())
            failTool(QStringLiteral("Another capture is in progress on screen. Try again when it ends."));
        if (select) {
            // The user's own flow: the overlay, the panel, and the capture stored as theirs.
            return afterUserFlow(
                coordinator, done, QStringLiteral("The user cancelled, or nothing could be captured."),
                [=](const QString& file) {
                    answerScrolling(args, context, file,
                                    QJsonObject{{QStringLiteral("target"), QStringLiteral("select_area")}},
                                    done);
                },
                [&] { coordinator.scrollingCapture(); });
        }
        const ScrollingCapture::Area area = scrollingArea(args);
        QJsonObject facts{{QStringLiteral("target"), args.has(QStringLiteral("rect")) &&
                                                             !args.has(QStringLiteral("window_id")) &&
                                                             !args.has(QStringLiteral("app"))
                                                         ? QStringLiteral("area")
                                                         : QStringLiteral("window")},
                          {QStringLiteral("display_id"), static_cast<qint64>(area.display.id)},
                          {QStringLiteral("rect"), ToolInfo::rectJson(area.rect)}};
        const double scale = area.display.scale > 0 ? area.display.scale : 1.0;
        coordinator.runScrollingCapture(area.rect, area.display, axis, [=](std::optional<QImage> image) {
            answeringErrors(done, [&] {
                if (!image) failTool(QStringLiteral("Nothing could be captured in that region."));
                const auto delivered =
                    OutputPipeline::deliverImage(*image, scale, false, false, area.context, options);
                if (!delivered) failTool(QStringLiteral("The capture could not be stored in the history."));
                answerScrolling(args, context, delivered->historyFile, facts, done);
            });
        });
    });
}

// MARK: - extract_text

struct Reading {
    QString text;
    TextLocator::Reading boxes;
    QList<TextBox> matches;
    QStringList codes;
};

QJsonArray boxList(const QList<TextBox>& boxes, const std::function<QString(const QString&)>& shown) {
    QJsonArray list;
    for (const TextBox& box : boxes)
        list.append(QJsonObject{{QStringLiteral("text"), shown(box.text)},
                                {QStringLiteral("rect"), ToolInfo::rectJson(box.rect.toAlignedRect())},
                                {QStringLiteral("confidence"), qRound(box.confidence * 100) / 100.0}});
    return list;
}

void readImage(const ToolArgs& args, const ToolContext& context, const QImage& image,
               const QJsonObject& facts, const ToolDone& done) {
    const QString detail = args.string(QStringLiteral("detail")).value_or(QStringLiteral("text")).toLower();
    if (!QStringList{QStringLiteral("text"), QStringLiteral("lines"), QStringLiteral("words")}.contains(
            detail))
        failTool(QStringLiteral("`detail` is \"text\", \"lines\" or \"words\"."));
    const auto phrase = args.string(QStringLiteral("find"));
    const bool copy = args.boolean(QStringLiteral("copy_to_clipboard")).value_or(false);
    const bool redact = context.access().redactForAgents();
    QtConcurrent::run([image, detail, phrase]() {
        Reading reading;
        const auto text = TextRecognizer::recognize(image);
        reading.text = text ? *text : QString();
        if (detail != u"text") reading.boxes = TextLocator::read(image);
        if (phrase) reading.matches = TextLocator::find(*phrase, image);
        reading.codes = TextRecognizer::barcodePayloads(image);
        return reading;
    }).then(QCoreApplication::instance(), [=](const Reading& reading) {
        const auto shown = [redact](const QString& text) { return ToolMedia::shownText(text, redact); };
        ToolOutput out;
        out.json = facts;
        out.json.insert(QStringLiteral("width"), image.width());
        out.json.insert(QStringLiteral("height"), image.height());
        out.json.insert(QStringLiteral("text"), shown(reading.text));
        if (detail != u"text") out.json.insert(QStringLiteral("lines"), boxList(reading.boxes.lines, shown));
        if (detail == u"words") out.json.insert(QStringLiteral("words"), boxList(reading.boxes.words, shown));
        if (phrase) out.json.insert(QStringLiteral("matches"), boxList(reading.matches, shown));
        if (!reading.codes.isEmpty()) {
            QJsonArray codes;
            for (const QString& code : reading.codes)
                codes.append(shown(code));
            out.json.insert(QStringLiteral("codes"), codes);
        }
        if (copy && platform::services().clipboard) {
            platform::services().clipboard->setText(reading.text);
            out.json.insert(QStringLiteral("copied"), true);
        }
        if (reading.text.trimmed().isEmpty() && reading.codes.isEmpty())
            out.notes.append(QStringLiteral("No text found."));
        if (detail != u"text" || phrase)
            out.notes.append(QStringLiteral("Boxes are in image pixels, top-left origin."));
        out.summary = QStringLiteral("Read text");
        done(std::move(out));
    });
}

void extractText(const ToolArgs& args, const ToolContext& context, const ToolDone& done) {
    if (context.access().imageSharing() == AgentAccess::ImageSharing::none)
        failTool(
            QStringLiteral("The user lets agents learn only file names and sizes, not the text in captures. "
                           "They can change this in Pictavia ▸ AI Agents."),
            true);
    if (const auto target = args.string(QStringLiteral("target"))) {
        const QString name = target->toLower();
        if (name != u"select_area" && !screenTargets.contains(name))
            failTool(
                QStringLiteral("Unknown target “%1”. Use screen, area, window, previous_area or select_area.")
                    .arg(*target));
        context.authorize(
            AgentAccess::Category::capture, QStringLiteral("read text on the screen"), done, [=] {
                if (name != u"select_area") {
                    const Grab grabbed = grab(args, name);
                    return readImage(args, context, grabbed.image, grabFacts(grabbed), done);
                }
                CaptureCoordinator& coordinator = CaptureCoordinator::shared();
                if (coordinator.busy())
                    failTool(
                        QStringLiteral("Another capture is in progress on screen. Try again when it ends."));
                coordinator.selectTextArea([=](const std::optional<QImage>& image) {
                    answeringErrors(done, [&] {
                        context.checkCancelled();
                        if (!image) failTool(QStringLiteral("The user cancelled the selection."));
                        readImage(args, context, *image, QJsonObject{{QStringLiteral("target"), name}}, done);
                    });
                });
            });
        return;
    }
    const ToolMedia::Source source = ToolMedia::resolve(args, true);
    ToolMedia::withHistoryGate(context, {source.captureId}, QStringLiteral("read a capture"), done, [=] {
        readImage(args, context, source.image, ToolMedia::describe(source.file, QImage()), done);
    });
}

// MARK: - arrange_window, set_desktop_icons

std::optional<QSize> requestedSize(const ToolArgs& args) {
    std::optional<double> width = args.number(QStringLiteral("width"));
    std::optional<double> height = args.number(QStringLiteral("height"));
    if (const auto size = args.string(QStringLiteral("size"))) {
        const auto parsed = sizeNamed(*size);
        if (!parsed || parsed->inPixels) failTool(QStringLiteral("`size` reads like \"1280x800\"."));
        width = parsed->size.width();
        height = parsed->size.height();
    }
    if (!width && !height) return std::nullopt;
    if (!width || !height) failTool(QStringLiteral("Give both width and height, or size like \"1280x800\"."));
    if (*width < 1 || *height < 1) failTool(QStringLiteral("Width and height must be positive."));
    return QSize(qRound(*width), qRound(*height));
}

void arrangeWindow(const ToolArgs& args, const ToolContext&, const ToolDone& done) {
    const platform::WindowInfo window = ScreenTargets::window(args);
    const platform::DisplayInfo display = displayOf(window.frame);
    const double scale = display.scale > 0 ? display.scale : 1.0;
    // The size asked for is the app's own area; the window manager adds its decorations.
    std::optional<QSize> client;
    if (const std::optional<QSize> size = requestedSize(args)) {
        const double factor = args.boolean(QStringLiteral("pixels")).value_or(false) ? 1.0 : scale;
        client = QSize(qRound(size->width() * factor), qRound(size->height() * factor));
    }
    std::optional<QPoint> topLeft;
    const auto x = args.number(QStringLiteral("x"));
    const auto y = args.number(QStringLiteral("y"));
    if (x || y)
        topLeft =
            QPoint(x ? qRound(*x * scale) : window.frame.x(), y ? qRound(*y * scale) : window.frame.y());
    const bool raise = args.boolean(QStringLiteral("bring_to_front")).value_or(false);
    auto& screen = platform::services().screen;
    if (!screen) failTool(QStringLiteral("No display is available."));
    if (args.boolean(QStringLiteral("center")).value_or(false)) {
        // Centred by the new size where one is asked for; decorations make it a few pixels off.
        const QSize frame = client.value_or(window.frame.size());
        topLeft = display.geometry.center() - QPoint(frame.width() / 2, frame.height() / 2);
    }
    if (!client && !topLeft && !raise)
        failTool(QStringLiteral(
            "Say what to change: width and height (or size), x and y, center or bring_to_front."));
    if (const auto asked = screen->arrangeWindow(window.id, topLeft, client, raise); !asked)
        failTool(asked.error().message);

    const uint32_t id = window.id;
    afterWindowChanges(id, window.frame, [id, done, before = window.frame, scale](const QRect& frame) {
        ToolOutput out;
        out.json.insert(QStringLiteral("window_id"), qint64(id));
        out.json.insert(QStringLiteral("frame"),
                        ToolInfo::rectJson(QRectF(frame.x() / scale, frame.y() / scale, frame.width() / scale,
                                                  frame.height() / scale)));
        out.json.insert(QStringLiteral("changed"), frame != before);
        out.summary = QStringLiteral("Arranged window %1").arg(id);
        done(std::move(out));
    });
}

void setDesktopIcons(const ToolArgs& args, const ToolContext&, const ToolDone& done) {
    const auto hidden = args.boolean(QStringLiteral("hidden"));
    if (!hidden)
        failTool(QStringLiteral("`hidden` is required: true hides the desktop icons, false shows them."));
    const auto& cover = platform::services().desktopCover;
    if (!cover) failTool(QStringLiteral("Desktop icons cannot be hidden on this system."));
    if (*hidden)
        cover->cover();
    else
        cover->uncover();
    desktopIconsHidden = *hidden;
    ToolOutput out;
    out.json.insert(QStringLiteral("hidden"), *hidden);
    out.summary =
        *hidden ? QStringLiteral("Hid the desktop icons") : QStringLiteral("Showed the desktop icons");
    done(std::move(out));
}

Properties windowChoice() {
    return {
        {QStringLiteral("window_id"), integer(QStringLiteral("Window to change (list_windows)."))},
        {QStringLiteral("app"), string(QStringLiteral("Pick the frontmost window of this app (name, "
                                                      "case-insensitive)."))},
        {QStringLiteral("window_title"), string(QStringLiteral("With `app`: the window whose title contains "
                                                               "this text."))}};
}

} // namespace

std::vector<AgentTool> AgentToolGroups::capture() {
    const Properties takeProperties = merged(
        screenTarget(),
        {output(),
         {{QStringLiteral("target"),
           string(QStringLiteral("What to capture. Default: \"window\" when app/window_id "
                                 "is given, \"area\" when rect is given, else \"screen\"."))},
          {QStringLiteral("delay_seconds"),
           integer(QStringLiteral("Wait this long first, with an on-screen countdown (0 to 60)."), 0, 60)},
          {QStringLiteral("include_cursor"),
           boolean(QStringLiteral("Show the mouse pointer (screen and area only)."))},
          {QStringLiteral("hide_desktop_icons"),
           boolean(QStringLiteral("Hide desktop icons (and widgets) just for this capture."))},
          {QStringLiteral("window_shadow"),
           boolean(QStringLiteral(
               "Window captures: keep the window's drop shadow. Default: the user's setting."))},
          {QStringLiteral("window_size"),
           string(QStringLiteral(
               "Window captures: resize the window first, e.g. \"1280x800\" (points; add \"px\" "
               "for pixels, e.g. \"2540x1520px\")."))},
          {QStringLiteral("beautify"),
           boolean(QStringLiteral("Put the shot on a background with padding and rounded corners."))},
          {QStringLiteral("preset"),
           string(QStringLiteral("Beautify preset name (list_styles). Implies beautify."))},
          {QStringLiteral("format"), string(QStringLiteral("Image format. Default: the user's setting."))}}});
    const Properties scrollingProperties = merged(
        screenTarget(),
        {{{QStringLiteral("select"), boolean(QStringLiteral("Let the user drag out the region to scroll."))},
          {QStringLiteral("direction"),
           string(QStringLiteral("Scroll direction. Default: the user's setting (auto)."),
                  {QStringLiteral("auto"), QStringLiteral("vertical"), QStringLiteral("horizontal")})},
          {QStringLiteral("format"), string(QStringLiteral("Image format."))}}});
    const Properties textProperties = merged(
        imageSource(),
        {{{QStringLiteral("target"), string(QStringLiteral("Read from the screen instead of a file."))},
          {QStringLiteral("display_id"), screenTarget().value(QStringLiteral("display_id"))},
          {QStringLiteral("rect"), screenTarget().value(QStringLiteral("rect"))},
          {QStringLiteral("window_id"), screenTarget().value(QStringLiteral("window_id"))},
          {QStringLiteral("app"), screenTarget().value(QStringLiteral("app"))},
          {QStringLiteral("window_title"), screenTarget().value(QStringLiteral("window_title"))},
          {QStringLiteral("detail"),
           string(QStringLiteral("\"text\" (default), \"lines\" or \"words\" to also get "
                                 "boxes."))},
          {QStringLiteral("find"), string(QStringLiteral("Also return the boxes where this text appears."))},
          {QStringLiteral("page"),
           integer(QStringLiteral("With a PDF or Word `path`: the page to read, 1 = first. "
                                  "Default 1."))},
          {QStringLiteral("copy_to_clipboard"),
           boolean(QStringLiteral("Copy the text to the clipboard."))}}});
    const Properties arrangeProperties = merged(
        windowChoice(),
        {{{QStringLiteral("width"), number(QStringLiteral("New width."))},
          {QStringLiteral("height"), number(QStringLiteral("New height."))},
          {QStringLiteral("size"),
           string(
               QStringLiteral("Shorthand like \"1280x800\", \"1440x900\", \"1920x1080\", \"1080x1080\"."))},
          {QStringLiteral("pixels"),
           boolean(QStringLiteral("Read width/height as pixels of the final capture instead of points."))},
          {QStringLiteral("x"), number(QStringLiteral("New left edge, global points."))},
          {QStringLiteral("y"), number(QStringLiteral("New top edge, global points."))},
          {QStringLiteral("center"), boolean(QStringLiteral("Centre the window on its display."))},
          {QStringLiteral("bring_to_front"),
           boolean(
               QStringLiteral("Raise the window above others. This activates the app, which takes keyboard "
                              "focus."))}}});
    return {
        {QStringLiteral("take_screenshot"), QStringLiteral("Take a screenshot"),
         QStringLiteral(
             "Captures the screen and saves it to Pictavia's history. Targets: \"screen\" (a whole "
             "display), \"area\" (a rect on a display), \"window\" (one app window, clean, with "
             "transparency and shadow), \"previous_area\" (the last area the user captured), "
             "\"select_area\" / \"select_window\" (the user picks on screen). Returns the capture id, "
             "file path, size and a preview."),
         false, false, object(takeProperties), takeScreenshot},
        {QStringLiteral("scrolling_capture"), QStringLiteral("Scrolling capture"),
         QStringLiteral(
             "Captures a long page by scrolling a region and stitching the frames, for web pages, documents "
             "and chats. Aim it at a window (app/window_id), a rect, or let the user select. Needs "
             "Accessibility access (synthesised input: the X server's XTEST extension, on sway and other "
             "wlroots Wayland desktops the compositor's virtual-pointer protocol, on GNOME and KDE the "
             "desktop's remote desktop portal, which asks the user once per run). Moves the mouse pointer "
             "into the region while it runs."),
         false, false, object(scrollingProperties), scrollingCapture},
        {QStringLiteral("extract_text"), QStringLiteral("Read text (OCR)"),
         QStringLiteral(
             "Reads text and QR codes/barcodes with Tesseract, on this computer. From a capture, a file, "
             "the clipboard, or straight from the screen (target screen/area/window/select_area — nothing is "
             "saved). Optionally returns line or word boxes in image pixels, finds where a phrase "
             "appears, or copies the text."),
         true, false, object(textProperties), extractText},
        {QStringLiteral("arrange_window"), QStringLiteral("Resize or move a window"),
         QStringLiteral(
             "Sets another app's window to an exact size and/or position (e.g. Firefox at 1280×800 for "
             "consistent screenshots) or centres it. Sizes are points unless `pixels` is true (a HiDPI "
             "screen has 2 pixels per point). Needs a window manager that lets other programs move "
             "windows. Returns the frame the app actually accepted (apps can enforce minimum sizes)."),
         false, false, object(arrangeProperties), arrangeWindow},
        {QStringLiteral("set_desktop_icons"), QStringLiteral("Hide or show desktop icons"),
         QStringLiteral(
             "Covers (or uncovers) desktop icons and widgets for clean screenshots and recordings. "
             "Nothing in the file manager changes."),
         false, false,
         object({{QStringLiteral("hidden"),
                  boolean(QStringLiteral("true hides them, false shows them again."))}},
                {QStringLiteral("hidden")}),
         setDesktopIcons},
    };
}
