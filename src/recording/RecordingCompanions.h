#pragma once

#include "platform/InputMonitor.h"
#include "recording/ClickHighlighter.h"
#include "recording/CursorRecorder.h"
#include "recording/KeystrokeOverlay.h"
#include "recording/RecordingOptions.h"
#include "recording/RecordingOverlayViews.h"
#include "recording/RecordingRegion.h"
#include "recording/TrackingTypes.h"
#include "recording/WebcamOverlay.h"

#include <QObject>

#include <functional>
#include <memory>

// What watches the user during a recording, beside the frames and the sound: the clicks
// (marks for the editor, ripples on screen), the keys (the keystroke panel) and, for a studio
// recording, the pointer's track. On the GUI thread; input arrives from the monitor's thread.
class RecordingCompanions : public QObject {
    Q_OBJECT
public:
    struct Tracked {
        QList<ClickMark> clicks;
        bool clicksTracked = false;
        CursorRecorder::Track cursor;
        std::optional<WebcamInfo> webcam;
    };

    // `screen` is the display recorded, in root pixels (the keystroke panel sits on it);
    // `elapsed` the recording's time without pauses; `isRunning` false while paused.
    RecordingCompanions(RecordingRegion region, QRect screen, const RecordingOptions& options, bool gif,
                        std::function<double()> elapsed, std::function<bool()> isRunning);
    ~RecordingCompanions() override;

    // Starts what the options ask for; a part that cannot start is reported in a toast and
    // the recording goes on without it. Returns our windows that belong in the picture.
    std::vector<uint32_t> start(RecordingOverlayViews* views);
    Tracked stop();

    const RecordingRegion& region() const { return m_region; }
    // The camera's pictures while it runs, for the recorder to write; none without a camera.
    CameraFeed* cameraFeed() { return m_webcam ? &m_webcam->feed() : nullptr; }

    // Where a press goes; public for tests that have no input monitor.
    void handleButton(const platform::ButtonPress& press);
    void handleKey(const platform::KeyPress& press);

signals:
    // What the camera bubble is doing, for the recording controls: "Camera starting",
    // "Camera on", "No camera"; empty without one.
    void cameraChanged(const QString& state);

private:
    double elapsedAt(qint64 eventTime) const;
    void startWebcam(RecordingOverlayViews* views);

    RecordingRegion m_region;
    QRect m_screen;
    RecordingOptions m_options;
    bool m_gif;
    std::function<double()> m_elapsed;
    std::function<bool()> m_isRunning;
    std::unique_ptr<platform::InputMonitor> m_input;
    std::unique_ptr<CursorRecorder> m_cursor;
    std::unique_ptr<ClickHighlighter> m_highlighter;
    std::unique_ptr<KeystrokeOverlay> m_keystrokes;
    std::unique_ptr<WebcamOverlay> m_webcam;
    std::vector<std::unique_ptr<RecordingOverlayView>> m_views;
    QList<ClickMark> m_clicks;
    bool m_clicksTracked = false;
};
