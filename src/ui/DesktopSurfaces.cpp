#include "ui/DesktopSurfaces.h"

#include "app/FloatingLayout.h"
#include "platform/Platform.h"
#include "ui/AreaSelectionOverlay.h"
#include "ui/CountdownWindow.h"
#include "ui/PinWindow.h"
#include "ui/RecorderHUDPanel.h"
#include "ui/ScrollingCapturePanel.h"
#include "ui/WindowPickerOverlay.h"
#include "ui/WindowPlacement.h"

#include <QPointer>

namespace ui {

namespace {

// The panel goes with the recording; a click of its own may still be on the stack then.
class RecorderHUDWindow : public RecorderHUD {
public:
    explicit RecorderHUDWindow(RecorderHUDPanel* panel) : m_panel(panel) {}
    ~RecorderHUDWindow() override {
        if (!m_panel) return;
        m_panel->hide();
        m_panel->deleteLater();
    }

private:
    QPointer<RecorderHUDPanel> m_panel;
};

} // namespace

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

std::unique_ptr<RecorderHUD> DesktopSurfaces::makeRecorderHUD(ScreenRecorder& recorder,
                                                              const RecorderHUDRequest& request) {
    auto* panel =
        new RecorderHUDPanel(std::make_unique<RecorderHUDModel>(recorder, request.gif, request.restart));
    const QSize rootSize = (QSizeF(panel->sizeHint()) * request.display.scale).toSize();
    QRect place = FloatingLayout::hud::place(request.recordedRootRect, request.display.geometry, rootSize,
                                             request.display.scale);
    // A Wayland recording copies the screen as shown: a panel with no room beside what is
    // recorded goes to the foot of a display the recording leaves out, where there is one.
    // Without one it stays where it is: the controls matter more than a clean corner.
    if (placement::onWayland() && place.intersects(request.recordedRootRect) && platform::services().screen)
        for (const platform::DisplayInfo& other : platform::services().screen->displays()) {
            if (other.geometry.intersects(request.recordedRootRect)) continue;
            const QSize size = (QSizeF(panel->sizeHint()) * other.scale).toSize();
            place = FloatingLayout::hud::place(other.geometry, other.geometry, size, other.scale);
            break;
        }
    panel->showAt(place);
    return std::make_unique<RecorderHUDWindow>(panel);
}

namespace {

// The panel goes with the capture; its own Done click may still be on the stack then.
class ScrollingPanelWindow : public ScrollingPanel {
public:
    explicit ScrollingPanelWindow(ScrollingCapturePanel* panel) : m_panel(panel) {}
    ~ScrollingPanelWindow() override {
        if (!m_panel) return;
        m_panel->hide();
        m_panel->deleteLater();
    }
    void setLength(int pixels) override {
        if (m_panel) m_panel->setLength(pixels);
    }

private:
    QPointer<ScrollingCapturePanel> m_panel;
};

} // namespace

std::unique_ptr<ScrollingPanel> DesktopSurfaces::makeScrollingPanel(const ScrollingPanelRequest& request) {
    auto* panel = new ScrollingCapturePanel(request.done);
    const QSize rootSize = (QSizeF(panel->sizeHint()) * request.display.scale).toSize();
    // Outside the scrolled area, so that no grab has to wait for it to move away.
    panel->showAt(FloatingLayout::hud::place(request.capturedRootRect, request.display.geometry, rootSize,
                                             request.display.scale));
    return std::make_unique<ScrollingPanelWindow>(panel);
}

} // namespace ui
