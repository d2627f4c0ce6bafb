#pragma once

#include "capture/SelectionTypes.h"

#include <QWidget>

class QLabel;

namespace ui {

// Beside a running scrolling capture: how long the image is so far, and Done, which ends
// the capture and keeps what it has. It never takes the keyboard from the scrolled window.
class ScrollingCapturePanel : public QWidget, public ScrollingPanel {
    Q_OBJECT
public:
    static constexpr auto title = "Pictavia Scrolling Capture";

    explicit ScrollingCapturePanel(std::function<void()> done);

    void setLength(int pixels) override;
    // Shown at `root` (root-window pixels), on the screen that holds it.
    void showAt(const QRect& root);

private:
    QLabel* m_length = nullptr;
};

} // namespace ui
