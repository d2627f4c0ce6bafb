#include "capture/StillCapture.h"

#include "app/Prefs.h"
#include "capture/ImageUtils.h"
#include "capture/ScreenCaptureService.h"
#include "editor/PresetStore.h"
#include "editor/ProjectStore.h"
#include "platform/Platform.h"

#include <QFileInfo>
#include <QFuture>
#include <QtConcurrent/QtConcurrentRun>

namespace StillCapture {

namespace {

ScreenCaptureService& service() {
    return ScreenCaptureService::shared();
}

Result<platform::DisplayInfo> displayFor(std::optional<uint32_t> displayID) {
    const auto display = displayID ? service().display(*displayID) : service().displayUnderPointer();
    if (!display) return ScreenCaptureService::displayNotFound();
    return *display;
}

Result<OutputPipeline::Delivered> delivered(const std::optional<OutputPipeline::Delivered>& result) {
    if (!result) return Error{QStringLiteral("Capture discarded")};
    return *result;
}

// A capture in three steps: what is asked, read on the main thread; the grab and the work on
// its pixels, which may run on any thread; the delivery, on the main thread again.
struct Grabbed {
    OutputPipeline::Prepared prepared;
    CaptureContext context;
    std::optional<ProjectDocument> project; // a window's editable project
};

struct Plan {
    std::function<Result<Grabbed>()> grab;
    std::function<Result<OutputPipeline::Delivered>(const Grabbed&)> deliver;
};

Result<Plan> fullscreenPlan(std::optional<uint32_t> displayID) {
    const auto display = displayFor(displayID);
    if (!display) return display.error();
    const CaptureContext context = CaptureContext::frontmost();
    const auto preparation = OutputPipeline::preparationFor({}, false);
    Plan plan;
    plan.grab = [display = *display, context, preparation]() -> Result<Grabbed> {
        auto image = service().captureDisplay(display);
        if (!image) return image.error();
        const QImage cropped = ImageUtils::croppingNotch(*image, display);
        return Grabbed{OutputPipeline::prepare(cropped, display.scale, preparation), context, {}};
    };
    plan.deliver = [](const Grabbed& grabbed) {
        return delivered(OutputPipeline::deliverPrepared(grabbed.prepared, false, grabbed.context));
    };
    return plan;
}

Result<Plan> rectPlan(const QRectF& area, std::optional<uint32_t> displayID, bool copyOnly) {
    const auto display = displayFor(displayID);
    if (!display) return display.error();
    if (const auto fits = ScreenCaptureService::checkArea(area, *display); !fits) return fits.error();
    const CaptureContext context = CaptureContext::frontmost();
    const DeliveryOptions options = copyOnly ? DeliveryOptions::copyOnly() : DeliveryOptions{};
    const auto preparation = OutputPipeline::preparationFor(options, false);
    Plan plan;
    plan.grab = [area, display = *display, context, preparation]() -> Result<Grabbed> {
        auto image = service().captureArea(area, display);
        if (!image) return image.error();
        return Grabbed{OutputPipeline::prepare(*image, display.scale, preparation), context, {}};
    };
    plan.deliver = [area, displayID = display->id, copyOnly, options](const Grabbed& grabbed) {
        Prefs::setLastArea(Prefs::Area{area, displayID});
        return delivered(
            OutputPipeline::deliverPrepared(grabbed.prepared, copyOnly, grabbed.context, options));
    };
    return plan;
}

Result<Plan> windowPlan(uint32_t windowID) {
    const bool shadow = Prefs::flag(QStringLiteral("windowShadow"));
    const bool keepProject = Prefs::flag(QStringLiteral("saveEditableProjects"));
    DeliveryOptions options;
    if (Prefs::flag(QStringLiteral("autoBeautify"))) options.preset = PresetStore::shared().active();
    const auto preparation = OutputPipeline::preparationFor(options, true);
    Plan plan;
    plan.grab = [windowID, shadow, keepProject, preparation]() -> Result<Grabbed> {
        // The capture lists the windows already; the context is named from that listing.
        auto capture = service().captureWindowWithBackdrop(windowID);
        if (!capture) return capture.error();
        Grabbed grabbed;
        grabbed.context = CaptureContext::forWindow(capture->window);
        const QImage image =
            shadow ? ImageUtils::withDropShadow(capture->image, capture->scale) : capture->image;
        grabbed.prepared = OutputPipeline::prepare(image, capture->scale, preparation);
        // The window without its baked shadow, so the editor can draw it again around new
        // annotations.
        if (keepProject) {
            ProjectDocument project;
            project.imagePNG = ImageUtils::data(capture->image, QStringLiteral("png"));
            project.scale = capture->scale;
            project.padding = shadow ? 48 : 0;
            project.isWindowCapture = true;
            project.windowShadow = shadow;
            grabbed.project = std::move(project);
        }
        return grabbed;
    };
    plan.deliver = [options](const Grabbed& grabbed) {
        auto result = OutputPipeline::deliverPrepared(grabbed.prepared, false, grabbed.context, options);
        if (result && grabbed.project) {
            ProjectDocument project = *grabbed.project;
            project.sourceFileName = QFileInfo(result->historyFile).fileName();
            ProjectStore::save(project, result->historyFile);
        }
        return delivered(std::move(result));
    };
    return plan;
}

Result<OutputPipeline::Delivered> runHere(const Result<Plan>& plan) {
    if (!plan) return plan.error();
    const auto grabbed = plan->grab();
    if (!grabbed) return grabbed.error();
    return plan->deliver(*grabbed);
}

void runOffThread(const Result<Plan>& plan, QObject* receiver, Done done) {
    if (!plan) return done(plan.error());
    QtConcurrent::run(plan->grab)
        .then(receiver, [deliver = plan->deliver, done](const Result<Grabbed>& grabbed) {
            if (!grabbed) return done(grabbed.error());
            done(deliver(*grabbed));
        });
}

} // namespace

Result<OutputPipeline::Delivered> fullscreen(std::optional<uint32_t> displayID) {
    return runHere(fullscreenPlan(displayID));
}

Result<OutputPipeline::Delivered> rect(const QRectF& area, std::optional<uint32_t> displayID, bool copyOnly) {
    return runHere(rectPlan(area, displayID, copyOnly));
}

Result<OutputPipeline::Delivered> window(uint32_t windowID) {
    return runHere(windowPlan(windowID));
}

void fullscreen(std::optional<uint32_t> displayID, QObject* receiver, Done done) {
    runOffThread(fullscreenPlan(displayID), receiver, std::move(done));
}

void rect(const QRectF& area, std::optional<uint32_t> displayID, bool copyOnly, QObject* receiver,
          Done done) {
    runOffThread(rectPlan(area, displayID, copyOnly), receiver, std::move(done));
}

void window(uint32_t windowID, QObject* receiver, Done done) {
    runOffThread(windowPlan(windowID), receiver, std::move(done));
}

std::optional<uint32_t> windowOfApp(const QString& appName) {
    const auto& screen = platform::services().screen;
    if (!screen) return std::nullopt;
    for (const auto& w : screen->windows())
        if (w.layer == 0 && w.ownerName.compare(appName, Qt::CaseInsensitive) == 0) return w.id;
    return std::nullopt;
}

} // namespace StillCapture
