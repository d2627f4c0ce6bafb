#pragma once

#include "XServer.h"

#include <QImage>
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
    bool above = false;         // keep above other windows
    bool below = false;         // keep below other windows
    std::string text = {};      // drawn in black in the middle
    bool counter = false;       // repaints 30 times a second with its frame number (see frameNumber)
    bool reportPresses = false; // prints "press X,Y" (client coordinates) for each mouse press
};

// Starts test_window on the server and waits until it has painted. Throws
// std::runtime_error when it does not come up.
TestWindow openTestWindow(XServer& server, const TestWindowOptions& options);

// The window's client area in root coordinates, as the X server knows it (xwininfo).
QRect clientRect(XServer& server, uint32_t windowId);

// The frame number a counter window shows in `image` (its client area at `client`): eight
// stripes, left to right the bits from the highest, white for 1; none where they are unclear.
std::optional<int> frameNumber(const QImage& image, const QRect& client);

} // namespace testsupport
