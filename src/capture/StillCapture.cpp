#include "capture/StillCapture.h"

#include "app/Prefs.h"
#include "capture/ImageUtils.h"
#include "capture/ScreenCaptureService.h"
#include "editor/PresetStore.h"
#include "editor/ProjectStore.h"
#include "platform/Platform.h"

#include <QFileInfo>

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

} // namespace

Result<OutputPipeline::Delivered> fullscreen(std::optional<uint32_t> displayID) {
    const auto display = displayFor(displayID);
    if (!display) return display.error();
    const CaptureContext context = CaptureContext::frontmost();
    auto image = service().captureDisplay(*display);
    if (!image) return image.error();
    const QImage cropped = ImageUtils::croppingNotch(*image, *display);
    return delivered(OutputPipeline::deliverImage(cropped, display->scale, false, false, context));
}

Result<OutputPipeline::Delivered> rect(const QRectF& area, std::optional<uint32_t> displayID, bool copyOnly) {
    const auto display = displayFor(displayID);
    if (!display) return display.error();
    const CaptureContext context = CaptureContext::frontmost();
    auto image = service().captureArea(area, *display);
    if (!image) return image.error();
    Prefs::setLastArea(Prefs::Area{area, display->id});
    const DeliveryOptions options = copyOnly ? DeliveryOptions::copyOnly() : DeliveryOptions{};
    return delivered(OutputPipeline::deliverImage(*image, display->scale, copyOnly, false, context, options));
}

Result<OutputPipeline::Delivered> window(uint32_t windowID) {
    // The capture lists the windows already; the context is named from that listing.
    auto capture = service().captureWindowWithBackdrop(windowID);
    if (!capture) return capture.error();
    const CaptureContext context = CaptureContext::forWindow(capture->window);
    const bool shadow = Prefs::flag(QStringLiteral("windowShadow"));
    QImage image = capture->image;
    if (shadow) image = ImageUtils::withDropShadow(image, capture->scale);
    DeliveryOptions options;
    if (Prefs::flag(QStringLiteral("autoBeautify"))) options.preset = PresetStore::shared().active();
    auto result = OutputPipeline::deliverImage(image, capture->scale, false, true, context, options);
    // The window without its baked shadow, so the editor can draw it again around new
    // annotations.
    if (result && Prefs::flag(QStringLiteral("saveEditableProjects"))) {
        ProjectDocument project;
        project.imagePNG = ImageUtils::data(capture->image, QStringLiteral("png"));
        project.scale = capture->scale;
        project.padding = shadow ? 48 : 0;
        project.isWindowCapture = true;
        project.windowShadow = shadow;
        project.sourceFileName = QFileInfo(result->historyFile).fileName();
        ProjectStore::save(project, result->historyFile);
    }
    return delivered(std::move(result));
}

std::optional<uint32_t> windowOfApp(const QString& appName) {
    const auto& screen = platform::services().screen;
    if (!screen) return std::nullopt;
    for (const auto& w : screen->windows())
        if (w.layer == 0 && w.ownerName.compare(appName, Qt::CaseInsensitive) == 0) return w.id;
    return std::nullopt;
}

} // namespace StillCapture
