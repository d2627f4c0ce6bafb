#include "agents/tools/ScreenTargets.h"

#include "agents/tools/ToolInfo.h"
#include "capture/ScreenCaptureService.h"

namespace ScreenTargets {

QString targetOf(const ToolArgs& args) {
    if (const auto target = args.string(QStringLiteral("target"))) return target->toLower();
    if (args.has(QStringLiteral("app")) || args.has(QStringLiteral("window_id")))
        return QStringLiteral("window");
    if (args.rect(QStringLiteral("rect"))) return QStringLiteral("area");
    return QStringLiteral("screen");
}

platform::DisplayInfo display(const ToolArgs& args) {
    ScreenCaptureService& service = ScreenCaptureService::shared();
    if (const auto id = args.integer(QStringLiteral("display_id"))) {
        if (const auto display = service.display(static_cast<uint32_t>(*id))) return *display;
        failTool(QStringLiteral("No display %1. get_status lists the displays.").arg(*id));
    }
    if (const auto display = service.displayUnderPointer()) return *display;
    failTool(QStringLiteral("No display is available."));
}

platform::WindowInfo window(const ToolArgs& args) {
    const QList<platform::WindowInfo> windows = ToolInfo::windows();
    if (windows.isEmpty()) {
        if (const auto missing = ToolInfo::windowsUnavailable()) failTool(*missing);
    }
    if (const auto id = args.integer(QStringLiteral("window_id"))) {
        for (const auto& window : windows)
            if (window.id == static_cast<uint32_t>(*id)) return window;
        failTool(QStringLiteral("No window %1 is on screen. list_windows shows the open windows.").arg(*id));
    }
    const auto app = args.string(QStringLiteral("app"));
    if (!app) failTool(QStringLiteral("Say which window: window_id or app (list_windows)."));
    const auto title = args.string(QStringLiteral("window_title"));
    const auto matches = [&](const platform::WindowInfo& window, bool exact) {
        const bool named = exact ? window.ownerName.compare(*app, Qt::CaseInsensitive) == 0
                                 : window.ownerName.contains(*app, Qt::CaseInsensitive);
        return named && (!title || window.title.contains(*title, Qt::CaseInsensitive));
    };
    for (const bool exact : {true, false})
        for (const auto& window : windows)
            if (matches(window, exact)) return window;
    failTool(QStringLiteral("No window of “%1”%2 is on screen. list_windows shows the open windows.")
                 .arg(*app, title ? QStringLiteral(" titled “%1”").arg(*title) : QString()));
}

} // namespace ScreenTargets
