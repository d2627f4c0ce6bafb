#pragma once

#include "common/Result.h"
#include "platform/ScreenBackend.h"

#include <QImage>
#include <QRectF>

#include <optional>

// Turns a display, a window or a rectangle of a display into pixels. Stateless; the
// operations block for the duration of a grab, so flows call them from a worker thread.
class ScreenCaptureService {
public:
    static ScreenCaptureService& shared();

    struct DisplayCapture {
        QImage image;
        platform::DisplayInfo display;
    };
    struct WindowCapture {
        QImage image;
        std::optional<QImage> backdrop; // the desktop around the window, when asked for
        double scale = 1.0;             // backing scale of the display holding the window
        platform::WindowInfo window;    // the window as listed when it was captured
    };

    QList<platform::DisplayInfo> displays() const;
    std::optional<platform::DisplayInfo> display(uint32_t displayID) const;
    // The primary display, else the first; none only when no display is known.
    std::optional<platform::DisplayInfo> mainDisplay() const;
    // The display holding the pointer, else the main display.
    std::optional<platform::DisplayInfo> displayUnderPointer() const;
    // The display's backing scale; the main display's when the display is unknown.
    double displayScale(const platform::DisplayInfo& display) const;

    // The whole display at its full pixel size. With `excludeOwnWindows` this program's
    // windows leave the screen for the grab (X11 grabs the composed screen); the pointer is
    // never part of the image unless asked for.
    Result<QImage> captureDisplay(const platform::DisplayInfo& display, bool excludeOwnWindows = true,
                                  bool showCursor = false) const;
    // Looks the display up first; fails with "Display not found".
    Result<DisplayCapture> captureDisplay(uint32_t displayID, bool excludeOwnWindows = true,
                                          bool showCursor = false) const;
    // A rectangle in points relative to the display's top-left corner, clipped to the
    // display, without this program's windows; fails with "That area is off screen" when nothing of it is on
    // the display.
    Result<QImage> captureArea(const QRectF& rect, const platform::DisplayInfo& display,
                               bool showCursor = false) const;
    // One window with its frame; fails with "Window not found" (code 2).
    Result<WindowCapture> captureWindowWithBackdrop(uint32_t windowID, bool includeBackdrop = false) const;

    // Whether a rectangle in points, from the display's top-left corner, lies on the
    // display: otherwise the sentence that says what is wrong with it (no size, off the
    // display, or reaching past its edge). Rectangles that scripts and URLs name are
    // refused by it rather than quietly clipped.
    static Result<bool> checkArea(const QRectF& rect, const platform::DisplayInfo& display);
    // The first of those checks: a width and height greater than 0.
    static Result<bool> checkAreaSize(const QRectF& rect);

    static Error displayNotFound();
    static Error windowNotFound();

private:
    // A rectangle of the root window, with the pointer drawn in when asked.
    Result<QImage> grabRoot(const QRect& rootRect, bool showCursor, bool excludeOwnWindows) const;
};
