#pragma once

#include "recording/KeystrokeOverlay.h"
#include "recording/RecordingOverlayViews.h"
#include "ui/PassiveOverlayWindow.h"

#include <QPointer>

namespace ui {

// The panel that shows a KeystrokeOverlay's recent keys near the bottom of the recorded
// screen: dark, rounded, monospaced white text. It never takes a click or the focus, and
// is opaque with a rounded shape, so that it looks the same with or without a compositing
// manager.
class KeystrokePanel : public PassiveOverlayWindow, public RecordingOverlayView {
    Q_OBJECT
public:
    explicit KeystrokePanel(KeystrokeOverlay& overlay);

    std::vector<uint32_t> windowsInPicture() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void refresh();

    QPointer<KeystrokeOverlay> m_overlay;
    QString m_text;
};

} // namespace ui
