#pragma once

#include "capture/CaptureContext.h"
#include "capture/CountdownController.h"
#include "capture/ScrollingCaptureController.h"
#include "capture/SelectionTypes.h"
#include "common/Result.h"
#include "recording/RecordingOptions.h"
#include "recording/RecordingSource.h"

#include <QImage>
#include <QObject>
#include <QRectF>
#include <QStringList>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

class ScreenRecorder;

// What a recording started by toggleRecording records.
struct RecordMode {
    enum class Kind { fullscreen, area, window };
    Kind kind = Kind::area;
    std::optional<uint32_t> displayID; // for fullscreen: none is the display under the pointer

    static RecordMode fullscreen(std::optional<uint32_t> displayID = std::nullopt) {
        return {Kind::fullscreen, displayID};
    }
    static RecordMode area() { return {Kind::area, std::nullopt}; }
    static RecordMode window() { return {Kind::window, std::nullopt}; }
};

// How a recording asked for by someone else (an agent) departs from the user's settings.
struct RecordingTweaks {
    std::function<void(RecordingOptions&)> options; // applied to those of the preferences
    bool rememberArea = true;                       // as the user's last recording area
};

// The one place every capture starts from: the tray menu, hotkeys, URL commands and
// agents all call it. It runs the overlays, the window picker and the countdown, one
// at a time, grabs the pixels and hands them to the output pipeline. Main thread only.
class CaptureCoordinator : public QObject {
    Q_OBJECT
public:
    // The default instance, made on first use with the surfaces installed below.
    static CaptureCoordinator& shared();
    static void installSurfaces(std::shared_ptr<CaptureSurfaces> surfaces);

    // `settle` is how long to wait after our own panels are hidden before grabbing the
    // live screen, so the windows they covered have repainted. Recordings go to `recorder`,
    // the shared one when none is given.
    explicit CaptureCoordinator(std::shared_ptr<CaptureSurfaces> surfaces,
                                std::chrono::milliseconds countdownSecond = std::chrono::milliseconds(1000),
                                std::chrono::milliseconds settle = std::chrono::milliseconds(150),
                                ScreenRecorder* recorder = nullptr);
    ~CaptureCoordinator() override;

    void captureArea();
    void captureAllInOne();
    void captureWindow();
    void captureFullscreen();
    void capturePreviousArea();
    void timedFullscreen(int seconds);
    void timedArea(int seconds);
    void captureText();
    // The user drags out an area whose text an agent reads: `done` gets its pixels, not
    // stored anywhere, or nothing when the user cancels.
    void selectTextArea(std::function<void(std::optional<QImage>)> done);
    void scrollingCapture();
    // Scrolls and stitches a known rectangle (points from the display's top-left corner)
    // without an overlay; `done` gets the long image, not delivered, or none when nothing
    // could be captured. For agents and scripts.
    void runScrollingCapture(const QRectF& rect, const platform::DisplayInfo& display, ScrollAxis axis,
                             std::function<void(std::optional<QImage>)> done);
    // Ends the scrolling capture that runs, keeping what it has taken.
    void finishScrolling();
    // The waits of scrolling captures (tests shorten them).
    void setScrollingTiming(ScrollingCaptureController::Timing timing) { m_scrollingTiming = timing; }
    // None when scrolling captures can run here, else the sentence that says why not.
    static std::optional<QString> scrollingUnavailable(bool detailed);
    // A given rectangle in points relative to a display (the one with the number, else the
    // one under the pointer), without any overlay: for URL commands and agents.
    void captureRect(const QRectF& rect, std::optional<uint32_t> displayID, bool copyOnly);

    // --- recording (RecordingFlows.cpp) ---
    ScreenRecorder& recorder() const { return m_recorder; }
    // Stops the recording that runs; otherwise starts one as `mode` says.
    void toggleRecording(bool gif, RecordMode mode);
    // The overlay, with the last recording's area ready; W switches to the window picker.
    void recordArea(bool gif);
    void recordWindow(bool gif);
    void recordFullscreen(bool gif, std::optional<uint32_t> displayID);
    // Stops the recording and starts the same one again, without a countdown.
    void restartRecording();
    // Starts recording `source`, after the "recCountdown" countdown unless `skipCountdown`.
    // `started` (optional) hears whether the recorder started; a failure is also shown.
    void startRecording(const RecordingSource& source, bool gif, bool skipCountdown,
                        std::function<void(const Result<bool>&)> started = {}, RecordingTweaks tweaks = {});

    // True from the start of a flow (an overlay, the picker, a countdown) to its end.
    bool busy() const;
    // True while an overlay or the window picker waits for the user.
    bool awaitingUser() const;

    // The actions the all-in-one bar offers: those whose flows exist in this build.
    QList<SelectionAction> availableActions() const;

signals:
    // A flow ended, whatever its outcome (tests and the start-up code wait on it).
    void flowFinished();
    // A flow stored a capture in the history (before it finishes).
    void captured(const QString& historyFile);

private:
    struct Grab {
        QImage image;
        double scale = 1.0;
    };

    void beginFlow();
    void endFlow();
    void beginAreaSelection(const QString& hint, bool showActions,
                            std::function<void(const SelectionOutcome&)> onComplete);
    void handleSelection(const SelectionOutcome& outcome);
    void handleAction(SelectionAction action, const QRectF& rect, const SelectionTarget& target);
    void captureRect(const QRectF& rect, const SelectionTarget& target, bool copyOnly);
    void readText(const QRectF& rect, const SelectionTarget& target);
    void deliverImage(const QImage& image, double scale, bool copyOnly);
    void startScrolling(const QRectF& rect, const SelectionTarget& target, ScrollAxis axis,
                        std::function<void(std::optional<QImage>)> done);
    void runCountdown(int seconds, const platform::DisplayInfo& display, std::function<void()> then);
    Result<Grab> image(const QRectF& rect, const SelectionTarget& target) const;
    template <typename T> void retire(std::unique_ptr<T>& slot);
    void beginAreaSelection(SelectionParameters parameters,
                            std::function<void(const SelectionOutcome&)> onComplete);
    bool mayStartRecording() const;
    void recordSource(const Result<RecordingSource>& source, bool gif, const QString& failure);
    void showRecorderHUD(const RecordingSource& source, bool gif);

    // What the last recording was started with, for restarting it.
    struct RecordingConfig {
        uint32_t displayID = 0;
        QRectF area; // empty: the whole display
        bool gif = false;
        std::optional<uint32_t> windowID;
    };

    std::shared_ptr<CaptureSurfaces> m_surfaces;
    ScreenRecorder& m_recorder;
    std::unique_ptr<RecorderHUD> m_recorderHUD;
    std::optional<RecordingConfig> m_lastRecordingConfig;
    std::unique_ptr<AreaSelectionController> m_selection;
    std::unique_ptr<WindowPickerController> m_windowPicker;
    std::unique_ptr<ScrollingCaptureController> m_scrolling;
    std::unique_ptr<ScrollingPanel> m_scrollingPanel;
    ScrollingCaptureController::Timing m_scrollingTiming;
    CountdownController m_countdown;
    CaptureContext m_frontmostContext;
    std::chrono::milliseconds m_settle;
    int m_openFlows = 0; // flows begun and not yet ended; the desktop is covered meanwhile
};
