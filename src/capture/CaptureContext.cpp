#include "capture/CaptureContext.h"

#include "platform/Platform.h"

namespace {
std::optional<QString> nonEmpty(const QString& text) {
    return text.isEmpty() ? std::nullopt : std::optional<QString>(text);
}
} // namespace

CaptureContext CaptureContext::frontmost() {
    auto& screen = platform::services().screen;
    if (!screen) return {};
    const QList<platform::WindowInfo> windows = screen->windows();

    // The focused window names the application; without a window manager that says, the
    // topmost normal window stands in for it.
    const platform::WindowInfo* app = nullptr;
    if (const auto active = screen->activeWindow()) {
        for (const auto& w : windows)
            if (w.id == *active) app = &w;
    }
    for (const auto& w : windows)
        if (!app && w.layer == 0) app = &w;
    if (!app) return {};

    CaptureContext context;
    context.appName = nonEmpty(app->ownerName);
    for (const auto& w : windows) {
        const bool sameApp = app->pid != 0 ? w.pid == app->pid : w.ownerName == app->ownerName;
        if (sameApp && w.layer == 0) {
            context.windowTitle = nonEmpty(w.title);
            break;
        }
    }
    return context;
}

CaptureContext CaptureContext::forWindow(uint32_t windowID) {
    auto& screen = platform::services().screen;
    if (!screen) return {};
    for (const auto& w : screen->windows())
        if (w.id == windowID) return forWindow(w);
    return {};
}

CaptureContext CaptureContext::forWindow(const platform::WindowInfo& window) {
    return {nonEmpty(window.ownerName), nonEmpty(window.title), std::nullopt, std::nullopt};
}
