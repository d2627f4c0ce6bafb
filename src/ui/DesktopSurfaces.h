#pragma once

#include "capture/SelectionTypes.h"

namespace ui {

// The capture flows' windows on the desktop: overlays, picker, countdown, pins and the
// recording controls.
class DesktopSurfaces : public CaptureSurfaces {
public:
    std::unique_ptr<AreaSelectionController>
    makeAreaSelection(const SelectionParameters& parameters) override;
    std::unique_ptr<WindowPickerController> makeWindowPicker() override;
    std::unique_ptr<CountdownPanel> makeCountdownPanel() override;
    void pin(const QImage& image, double scale, const QRect& nearRootRect) override;
    std::unique_ptr<RecorderHUD> makeRecorderHUD(ScreenRecorder& recorder,
                                                 const RecorderHUDRequest& request) override;
    std::unique_ptr<ScrollingPanel> makeScrollingPanel(const ScrollingPanelRequest& request) override;
};

} // namespace ui
