#pragma once

#include "recording/RecordingOverlayViews.h"

namespace ui {

// The windows of a recording's companions: click ripples and the keystroke panel.
class RecordingOverlayWindows : public RecordingOverlayViews {
public:
    std::unique_ptr<RecordingOverlayView> show(ClickHighlighter& highlighter) override;
    std::unique_ptr<RecordingOverlayView> show(KeystrokeOverlay& overlay) override;
    std::unique_ptr<RecordingOverlayView> show(WebcamOverlay& overlay) override;
};

} // namespace ui
