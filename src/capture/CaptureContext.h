#pragma once

#include "platform/ScreenBackend.h"

#include <QString>

#include <cstdint>
#include <optional>

// Where a capture came from, for naming its file and its history record.
struct CaptureContext {
    std::optional<QString> appName;      // application that owned the captured content
    std::optional<QString> windowTitle;  // title of the captured or frontmost window
    std::optional<QString> explicitName; // a name chosen by the caller; wins in file naming
    std::optional<int> counter;          // a sequence number for batch captures

    // The application the user is in and its frontmost normal window.
    static CaptureContext frontmost();
    // The owner and title of one window; empty when the window is unknown.
    static CaptureContext forWindow(uint32_t windowID);
    static CaptureContext forWindow(const platform::WindowInfo& window);
};
