#include "capture/ScreenCaptureService.h"

#include "platform/Platform.h"

#include <QCoreApplication>
#include <QPainter>

#include <cmath>

namespace {

// How much of the desktop around a window the backdrop keeps, in pixels.
constexpr int backdropMargin = 96;

platform::ScreenBackend* backend() {
    return platform::services().screen.get();
}

platform::OwnWindows* ownWindows() {
    return platform::services().ownWindows.get();
}

Error noScreen() {
    return {QStringLiteral("No display to capture")};
}

} // namespace

ScreenCaptureService& ScreenCaptureService::shared() {
    static ScreenCaptureService service;
    return service;
}

Error ScreenCaptureService::displayNotFound() {
    return {QStringLiteral("Display not found")};
}
Error ScreenCaptureService::windowNotFound() {
    return {QStringLiteral("Window not found"), {}, 2};
}

QList<platform::DisplayInfo> ScreenCaptureService::displays() const {
    return backend() ? backend()->displays() : QList<platform::DisplayInfo>{};
}

std::optional<platform::DisplayInfo> ScreenCaptureService::display(uint32_t displayID) const {
    for (const auto& d : displays())
        if (d.id == displayID) return d;
    return std::nullopt;
}

std::optional<platform::DisplayInfo> ScreenCaptureService::mainDisplay() const {
    const auto all = displays();
    for (const auto& d : all)
        if (d.primary) return d;
    return all.isEmpty() ? std::nullopt : std::optional(all.first());
}

std::optional<platform::DisplayInfo> ScreenCaptureService::displayUnderPointer() const {
    if (!backend()) return std::nullopt;
    const QPoint pointer = backend()->pointerPosition();
    for (const auto& d : displays())
        if (d.geometry.contains(pointer)) return d;
    return mainDisplay();
}

double ScreenCaptureService::displayScale(const platform::DisplayInfo& display) const {
    if (const auto known = this->display(display.id)) return known->scale;
    const auto main = mainDisplay();
    return main ? main->scale : 1.0;
}

Result<QImage> ScreenCaptureService::grabRoot(const QRect& rootRect, bool showCursor,
                                              bool excludeOwnWindows) const {
    auto image = [&] {
        const platform::OwnWindowsAway away(excludeOwnWindows ? ownWindows() : nullptr, rootRect);
        return backend()->grabArea(rootRect);
    }();
    if (!image || !showCursor) return image;
    // The screen's pixels never include the pointer: it is drawn over them here.
    if (const auto cursor = backend()->cursor()) {
        QImage drawn = std::move(image).value();
        if (drawn.format() != QImage::Format_ARGB32_Premultiplied && drawn.format() != QImage::Format_RGB32)
            drawn = drawn.convertToFormat(QImage::Format_ARGB32_Premultiplied);
        QPainter painter(&drawn);
        painter.drawImage(cursor->topLeft - rootRect.topLeft(), cursor->image);
        painter.end();
        return drawn;
    }
    return image;
}

Result<QImage> ScreenCaptureService::captureDisplay(const platform::DisplayInfo& display,
                                                    bool excludeOwnWindows, bool showCursor) const {
    if (!backend()) return noScreen();
    return grabRoot(display.geometry, showCursor, excludeOwnWindows);
}

Result<ScreenCaptureService::DisplayCapture>
ScreenCaptureService::captureDisplay(uint32_t displayID, bool excludeOwnWindows, bool showCursor) const {
    const auto found = display(displayID);
    if (!found) return displayNotFound();
    auto image = captureDisplay(*found, excludeOwnWindows, showCursor);
    if (!image) return image.error();
    return DisplayCapture{std::move(image).value(), *found};
}

Result<QImage> ScreenCaptureService::captureArea(const QRectF& rect, const platform::DisplayInfo& display,
                                                 bool showCursor) const {
    if (!backend()) return noScreen();
    const double scale = display.scale;
    const QRect pixels(QPoint(static_cast<int>(std::floor(rect.left() * scale)),
                              static_cast<int>(std::floor(rect.top() * scale))),
                       QPoint(static_cast<int>(std::ceil(rect.right() * scale)) - 1,
                              static_cast<int>(std::ceil(rect.bottom() * scale)) - 1));
    const QRect onScreen = pixels.translated(display.geometry.topLeft()).intersected(display.geometry);
    if (rect.isEmpty() || onScreen.isEmpty()) return Error{QStringLiteral("That area is off screen")};
    return grabRoot(onScreen, showCursor, true);
}

Result<bool> ScreenCaptureService::checkAreaSize(const QRectF& rect) {
    if (!(rect.width() > 0) || !(rect.height() > 0))
        return Error{
            QStringLiteral("The area's size is invalid: its width and height must be greater than 0")};
    return true;
}

Result<bool> ScreenCaptureService::checkArea(const QRectF& rect, const platform::DisplayInfo& display) {
    if (auto sized = checkAreaSize(rect); !sized) return sized;
    const double scale = display.scale > 0 ? display.scale : 1.0;
    const QRectF points(QPointF(0, 0), QSizeF(display.geometry.size()) / scale);
    if (!points.intersects(rect)) return Error{QStringLiteral("That area is off screen")};
    // Half a point of slack for rectangles computed from pixels.
    if (!points.adjusted(-0.5, -0.5, 0.5, 0.5).contains(rect))
        return Error{QStringLiteral("That area reaches past the edge of the display, which is %1×%2 points")
                         .arg(points.width())
                         .arg(points.height())};
    return true;
}

Result<ScreenCaptureService::WindowCapture>
ScreenCaptureService::captureWindowWithBackdrop(uint32_t windowID, bool includeBackdrop) const {
    if (!backend()) return noScreen();
    std::optional<platform::WindowInfo> window;
    for (const auto& w : backend()->windows())
        if (w.id == windowID) window = w;
    if (!window) {
        // A window the system knows but does not show (on another workspace, say) is not in
        // the list; the backend's refusal says where it is rather than that it is gone.
        const auto refused = backend()->grabWindow(windowID);
        if (!refused && refused.error().code != 2) return refused.error();
        return windowNotFound();
    }
    auto image = [&] {
        // Where the window is copied from the screen, ours in front of it would be in the
        // picture; one of ours asked for by number stays for it.
        const bool ours = window->pid == QCoreApplication::applicationPid();
        const platform::OwnWindowsAway away(ours ? nullptr : ownWindows(), window->frame);
        return backend()->grabWindow(windowID);
    }();
    if (!image) return image.error();

    WindowCapture capture{std::move(image).value(), std::nullopt, 1.0, *window};
    std::optional<platform::DisplayInfo> holder;
    for (const auto& d : displays())
        if (d.geometry.contains(window->frame.center())) holder = d;
    if (!holder) holder = mainDisplay();
    if (holder) capture.scale = holder->scale;
    if (includeBackdrop && holder) {
        const QRect around =
            window->frame.adjusted(-backdropMargin, -backdropMargin, backdropMargin, backdropMargin)
                .intersected(holder->geometry);
        if (auto backdrop = grabRoot(around, false, true)) capture.backdrop = std::move(backdrop).value();
    }
    return capture;
}
