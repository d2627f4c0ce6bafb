#include "ui/DesktopSurfaces.h"

#include "ui/AreaSelectionOverlay.h"
#include "ui/CountdownWindow.h"
#include "ui/PinWindow.h"
#include "ui/WindowPickerOverlay.h"

namespace ui {

std::unique_ptr<AreaSelectionController>
DesktopSurfaces::makeAreaSelection(const SelectionParameters& parameters) {
    return std::make_unique<AreaSelectionOverlayController>(parameters);
}

std::unique_ptr<WindowPickerController> DesktopSurfaces::makeWindowPicker() {
    return std::make_unique<WindowPickerOverlayController>();
}

std::unique_ptr<CountdownPanel> DesktopSurfaces::makeCountdownPanel() {
    return std::make_unique<CountdownWindow>();
}

void DesktopSurfaces::pin(const QImage& image, double scale, const QRect& nearRootRect) {
    PinWindow::show(image, scale, nearRootRect);
}

} // namespace ui
