#pragma once

#include "capture/SelectionTypes.h"

#include <memory>

namespace ui {

class CountdownView;

// The countdown before a capture: a dark, blurred rounded panel in the middle of a display
// with the seconds left in large white digits. It never takes the pointer or the keyboard.
class CountdownWindow : public CountdownPanel {
public:
    CountdownWindow();
    ~CountdownWindow() override;

    void show(const platform::DisplayInfo& display) override;
    void setSeconds(int seconds) override;
    // Waits until the X server has unmapped the panel and the windows below have had a
    // moment to repaint, so a grab right after sees the desktop.
    void hide() override;

private:
    std::unique_ptr<CountdownView> m_view;
};

} // namespace ui
