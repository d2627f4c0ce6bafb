#include "capture/ScrollingCapture.h"

#include "capture/CaptureCoordinator.h"
#include "capture/ScreenCaptureService.h"
#include "platform/Platform.h"

#include <QFuture>
#include <QtConcurrent/QtConcurrentRun>

#include <memory>

namespace ScrollingCapture {

namespace {

ScreenCaptureService& service() {
    return ScreenCaptureService::shared();
}

} // namespace

Result<Area> ofRect(const QRectF& rect, std::optional<uint32_t> displayID) {
    const auto display = displayID ? service().display(*displayID) : service().displayUnderPointer();
    if (!display) return ScreenCaptureService::displayNotFound();
    if (const auto fits = ScreenCaptureService::checkArea(rect, *display); !fits) return fits.error();
    return Area{rect, *display, CaptureContext::frontmost()};
}

Result<Area> ofWindow(uint32_t windowID) {
    const auto& screen = platform::services().screen;
    if (!screen) return ScreenCaptureService::windowNotFound();
    for (const platform::WindowInfo& window : screen->windows()) {
        if (window.id != windowID) continue;
        std::optional<platform::DisplayInfo> holder;
        for (const platform::DisplayInfo& display : service().displays())
            if (display.geometry.contains(window.frame.center())) holder = display;
        if (!holder) holder = service().mainDisplay();
        if (!holder) return ScreenCaptureService::displayNotFound();
        const QRect visible =
            window.frame.intersected(holder->geometry).translated(-holder->geometry.topLeft());
        if (visible.isEmpty()) return Error{QStringLiteral("That area is off screen")};
        const double scale = holder->scale > 0 ? holder->scale : 1.0;
        const QRectF points(visible.x() / scale, visible.y() / scale, visible.width() / scale,
                            visible.height() / scale);
        return Area{points, *holder, CaptureContext::forWindow(windowID)};
    }
    return ScreenCaptureService::windowNotFound();
}

void run(const Area& area, ScrollAxis axis, QObject* receiver, StillCapture::Done done,
         ScrollingCaptureController::Timing timing) {
    if (const auto missing = CaptureCoordinator::scrollingUnavailable(true)) return done(Error{*missing});
    const double scale = area.display.scale > 0 ? area.display.scale : 1.0;
    const auto preparation = OutputPipeline::preparationFor({}, false);
    auto controller = std::make_shared<ScrollingCaptureController*>(nullptr);
    *controller = new ScrollingCaptureController(
        area.rect, SelectionTarget{area.display, std::nullopt}, axis,
        [receiver, done, scale, preparation, context = area.context,
         controller](std::optional<QImage> image) {
            (*controller)->deleteLater();
            if (!image && !(*controller)->failure().isEmpty()) return done(Error{(*controller)->failure()});
            if (!image) return done(Error{QStringLiteral("Nothing could be captured in that area")});
            QtConcurrent::run([image = *image, scale, preparation] {
                return OutputPipeline::prepare(image, scale, preparation);
            }).then(receiver, [done, context](const OutputPipeline::Prepared& prepared) {
                const auto delivered = OutputPipeline::deliverPrepared(prepared, false, context);
                if (!delivered) return done(Error{QStringLiteral("Capture discarded")});
                done(*delivered);
            });
        },
        timing);
    (*controller)->begin();
}

} // namespace ScrollingCapture
