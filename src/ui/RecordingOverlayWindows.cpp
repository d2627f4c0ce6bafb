#include "ui/RecordingOverlayWindows.h"

#include "ui/ClickRippleWindow.h"
#include "ui/KeystrokePanel.h"
#include "ui/WebcamBubble.h"

namespace ui {

std::unique_ptr<RecordingOverlayView> RecordingOverlayWindows::show(ClickHighlighter& highlighter) {
    return std::make_unique<ClickRippleWindow>(highlighter);
}

std::unique_ptr<RecordingOverlayView> RecordingOverlayWindows::show(KeystrokeOverlay& overlay) {
    return std::make_unique<KeystrokePanel>(overlay);
}

std::unique_ptr<RecordingOverlayView> RecordingOverlayWindows::show(WebcamOverlay& overlay) {
    return std::make_unique<WebcamBubbleView>(overlay);
}

} // namespace ui
