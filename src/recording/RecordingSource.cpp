#include "recording/RecordingSource.h"

#include "capture/ScreenCaptureService.h"

namespace {

Result<platform::DisplayInfo> findDisplay(std::optional<uint32_t> displayID) {
    ScreenCaptureService& screens = ScreenCaptureService::shared();
    const auto display = displayID ? screens.display(*displayID) : screens.displayUnderPointer();
    if (!display) return ScreenCaptureService::displayNotFound();
    return *display;
}

} // namespace

Result<RecordingSource> RecordingSource::fullscreen(std::optional<uint32_t> displayID) {
    const auto display = findDisplay(displayID);
    if (!display) return display.error();
    return RecordingSource{{display->geometry, std::nullopt},
                           display->geometry.size(),
                           *display,
                           CaptureContext::frontmost(),
                           {}};
}

Result<RecordingSource> RecordingSource::area(const QRectF& rect, std::optional<uint32_t> displayID) {
    const auto display = findDisplay(displayID);
    if (!display) return display.error();
    if (const auto fits = ScreenCaptureService::checkArea(rect, *display); !fits) return fits.error();
    const QRectF scaled(rect.topLeft() * display->scale, rect.size() * display->scale);
    const QRect pixels = scaled.toAlignedRect().translated(display->geometry.topLeft()) & display->geometry;
    return RecordingSource{
        {pixels, std::nullopt}, pixels.size(), *display, CaptureContext::frontmost(), rect};
}

Result<RecordingSource> RecordingSource::window(uint32_t windowID) {
    auto& screen = platform::services().screen;
    if (!screen) return ScreenCaptureService::windowNotFound();
    for (const platform::WindowInfo& window : screen->windows()) {
        if (window.id != windowID) continue;
        ScreenCaptureService& screens = ScreenCaptureService::shared();
        std::optional<platform::DisplayInfo> display;
        for (const platform::DisplayInfo& candidate : screens.displays())
            if (candidate.geometry.contains(window.frame.center())) display = candidate;
        if (!display) display = screens.displayUnderPointer();
        if (!display) return ScreenCaptureService::displayNotFound();
        return RecordingSource{
            {std::nullopt, window.id}, window.frame.size(), *display, CaptureContext::forWindow(window), {}};
    }
    return ScreenCaptureService::windowNotFound();
}
