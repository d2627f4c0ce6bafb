#pragma once

#include "app/Prefs.h"
#include "platform/ScreenBackend.h"

#include <QImage>
#include <QList>
#include <QRectF>
#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

// What the action bar of the all-in-one overlay offers, in this order.
enum class SelectionAction { capture, copy, record, gif, ocr, scroll, pin };

// A display an area was chosen on, with its frozen pixels when the overlay froze the screen.
struct SelectionTarget {
    platform::DisplayInfo display;
    std::optional<QImage> frozen; // the whole display at its full pixel size
};

// How an area selection starts.
struct SelectionParameters {
    QString hint;                                // shown at the top of the overlay; empty for none
    bool freeze = true;                          // show (and crop from) a still image of each display
    bool showActions = false;                    // the action bar under the selection (all-in-one)
    bool adjustable = false;                     // the selection stays up for adjusting; Enter confirms
    bool allowWindowSwitch = false;              // W switches to the window picker
    bool enterTakesDisplay = false;              // Enter confirms; without a selection, the display
    bool showMagnifier = true;                   // the loupe near the pointer while selecting
    std::optional<Prefs::Area> initialSelection; // shown selected from the start
    QList<SelectionAction> actions;              // offered on the action bar, in order
};

// How an area selection ended. Rectangles are in points relative to the target display's
// top-left corner, the unit ScreenCaptureService::captureArea takes.
struct SelectionOutcome {
    enum class Kind { selected, action, cancelled, switchToWindowPicker };
    Kind kind = Kind::cancelled;
    SelectionAction action = SelectionAction::capture;
    QRectF rect;
    SelectionTarget target;
};

// The interactive area selection: one overlay per display. `start` shows it; the
// completion runs once, on the main thread, after every overlay is gone from the screen.
class AreaSelectionController {
public:
    using Completion = std::function<void(const SelectionOutcome&)>;
    virtual ~AreaSelectionController() = default;
    virtual void start(Completion completion) = 0;
};

// The window picker: highlights the window under the pointer; a click picks it.
struct WindowPick {
    uint32_t windowID = 0;
    platform::DisplayInfo display; // the display under the click
};
class WindowPickerController {
public:
    // None when the user cancelled. Runs once, on the main thread, after the picker is gone.
    using Completion = std::function<void(const std::optional<WindowPick>&)>;
    virtual ~WindowPickerController() = default;
    virtual void start(Completion completion) = 0;
};

// The countdown's panel: 200 x 200 points centred on a display, showing the seconds left.
class CountdownPanel {
public:
    virtual ~CountdownPanel() = default;
    virtual void show(const platform::DisplayInfo& display) = 0;
    virtual void setSeconds(int seconds) = 0;
    // Gone from the screen (and from the pixels of a grab) when this returns.
    virtual void hide() = 0;
};

class ScreenRecorder;

// The floating controls of a running recording. They go when this object goes.
class RecorderHUD {
public:
    virtual ~RecorderHUD() = default;
};

// Where the recording controls go and what they control.
struct RecorderHUDRequest {
    platform::DisplayInfo display; // the display being recorded
    QRect recordedRootRect;        // what is recorded, in root-window pixels
    bool gif = false;
    std::function<void()> restart; // the controls' restart button
};

// The small panel beside a running scrolling capture: the length so far and Done.
class ScrollingPanel {
public:
    virtual ~ScrollingPanel() = default;
    virtual void setLength(int pixels) = 0;
};

struct ScrollingPanelRequest {
    platform::DisplayInfo display;
    QRect capturedRootRect;     // the area scrolled, in root-window pixels
    std::function<void()> done; // the panel's Done button
};

// The windows of the capture flows, made by the interface layer. The coordinator holds
// what it makes for the duration of one flow.
class CaptureSurfaces {
public:
    virtual ~CaptureSurfaces() = default;
    virtual std::unique_ptr<AreaSelectionController>
    makeAreaSelection(const SelectionParameters& parameters) = 0;
    virtual std::unique_ptr<WindowPickerController> makeWindowPicker() = 0;
    virtual std::unique_ptr<CountdownPanel> makeCountdownPanel() = 0;
    // Floats the image above all windows near a rectangle given in root-window pixels.
    virtual void pin(const QImage& image, double scale, const QRect& nearRootRect) = 0;
    // The controls of `recorder` while it records; none where there is no place for them.
    virtual std::unique_ptr<RecorderHUD> makeRecorderHUD(ScreenRecorder& recorder,
                                                         const RecorderHUDRequest& request) {
        (void)recorder;
        (void)request;
        return nullptr;
    }
    // The panel of a scrolling capture; none where there is no place for it.
    virtual std::unique_ptr<ScrollingPanel> makeScrollingPanel(const ScrollingPanelRequest& request) {
        (void)request;
        return nullptr;
    }
};
