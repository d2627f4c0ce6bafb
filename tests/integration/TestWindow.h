#pragma once

#include "XServer.h"

#include <QPoint>
#include <QRect>
#include <QSize>

#include <cstdint>
#include <optional>
#include <string>

namespace testsupport {

// A running test_window (tests/helpers/test_window.cpp), painted and on screen.
struct TestWindow {
    ChildProcess* process = nullptr; // owned by the XServer
    uint32_t id = 0;                 // the client window's X id
    std::string pattern;
};

struct TestWindowOptions {
    std::string title = "Test window";
    std::string pattern = "quadrants"; // see tests/helpers/TestPattern.h
    QSize size{320, 240};
    std::optional<QPoint> position = {};
    std::string windowClass = {};
    bool above = false;    // keep above other windows
    bool below = false;    // keep below other windows
    std::string text = {}; // drawn in black in the middle
};

// Starts test_window on the server and waits until it has painted. Throws
// std::runtime_error when it does not come up.
TestWindow openTestWindow(XServer& server, const TestWindowOptions& options);

// The window's client area in root coordinates, as the X server knows it (xwininfo).
QRect clientRect(XServer& server, uint32_t windowId);

} // namespace testsupport
