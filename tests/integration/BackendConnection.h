#pragma once

#include "XServer.h"

#include "platform/ScreenBackend.h"

#include <memory>
#include <optional>

namespace testsupport {

enum class PixelTransfer { SharedMemory, GetImage };

// The X11 screen backend of this test process, connected to the server. Sets DISPLAY in
// this process. Throws std::runtime_error when it cannot connect.
std::unique_ptr<platform::ScreenBackend> connectBackend(const XServer& server,
                                                        PixelTransfer transfer = PixelTransfer::SharedMemory);

// The backend's entry for the window, if it lists it.
std::optional<platform::WindowInfo> findWindow(platform::ScreenBackend& backend, uint32_t windowId);

// The window's place in the front-to-back list; -1 when it is not listed.
int stackingIndex(platform::ScreenBackend& backend, uint32_t windowId);

} // namespace testsupport
