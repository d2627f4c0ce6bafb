#include "BackendConnection.h"

#include "platform/x11/X11ScreenBackend.h"

#include <stdexcept>

namespace testsupport {

std::unique_ptr<platform::ScreenBackend> connectBackend(const XServer& server, PixelTransfer transfer) {
    qputenv("DISPLAY", server.display().c_str());
    if (transfer == PixelTransfer::GetImage) qputenv("PICTAVIA_NO_SHM", "1");
    Result<std::unique_ptr<platform::ScreenBackend>> backend = platform::x11::connect();
    qunsetenv("PICTAVIA_NO_SHM");
    if (!backend) throw std::runtime_error(backend.error().message.toStdString());
    return std::move(backend).value();
}

std::optional<platform::WindowInfo> findWindow(platform::ScreenBackend& backend, uint32_t windowId) {
    for (const platform::WindowInfo& window : backend.windows()) {
        if (window.id == windowId) return window;
    }
    return std::nullopt;
}

int stackingIndex(platform::ScreenBackend& backend, uint32_t windowId) {
    const QList<platform::WindowInfo> windows = backend.windows();
    for (qsizetype i = 0; i < windows.size(); ++i) {
        if (windows[i].id == windowId) return int(i);
    }
    return -1;
}

} // namespace testsupport
