// The compositor's window tree is read from its IPC socket: any bytes must give a sentence or
// windows whose fields hold what a window list can show.
#include "platform/wayland/SwayTree.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const auto windows = platform::wayland::parseSwayTree(bytes);
    if (!windows) {
        if (windows.error().message.isEmpty()) std::abort();
        return 0;
    }
    for (const auto& window : *windows) {
        if (window.pid < 0 || window.rect.width() < 0 || window.rect.height() < 0) std::abort();
    }
    return 0;
}
