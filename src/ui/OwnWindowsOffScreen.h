#pragma once

#include "platform/OwnWindows.h"

#include <QList>
#include <QPointer>
#include <QWidget>

#include <chrono>

namespace ui {

// Keeps this program's windows out of grabs by hiding them (an unmapped window is the only
// kind an X server without a compositing manager leaves out of the screen's pixels) and
// showing them again afterwards, without taking the keyboard focus from where it went.
// Windows that carry `keepProperty` (the capture overlays, which the user is working in)
// stay, and so do minimised windows and menus.
class OwnWindowsOffScreen : public platform::OwnWindows {
public:
    static constexpr auto keepProperty = "pictavia-stays-in-grabs";

    // `settle`: how long the programs below get to repaint what our windows uncovered.
    explicit OwnWindowsOffScreen(std::chrono::milliseconds settle = std::chrono::milliseconds(200));

    void withdraw(const QRect& rootRect) override;
    void restore() override;

private:
    struct Hidden {
        QPointer<QWidget> window;
        bool wasActive = false;
    };
    using Clock = std::chrono::steady_clock;

    // On the GUI thread: hides what meets the rectangle, returns when the screen is clean.
    Clock::time_point hide(const QRect& rootRect);
    void show();

    std::chrono::milliseconds m_settle;
    int m_depth = 0;
    QList<Hidden> m_hidden;
    Clock::time_point m_clean{};
};

} // namespace ui
