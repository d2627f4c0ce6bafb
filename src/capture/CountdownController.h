#pragma once

#include "capture/SelectionTypes.h"

#include <QObject>
#include <QTimer>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

// Counts seconds down on a panel before a timed capture. Escape cancels, whichever
// window has the focus: it is grabbed for the length of the countdown only.
class CountdownController : public QObject {
    Q_OBJECT
public:
    using Completion = std::function<void(bool completed)>;

    // The cancel flag is looked at ten times a `second` (tests shorten the second).
    explicit CountdownController(CaptureSurfaces& surfaces,
                                 std::chrono::milliseconds second = std::chrono::milliseconds(1000));
    ~CountdownController() override;

    // Shows the panel on the display and counts from `seconds` to 1. The completion gets
    // true when the count ran out and false when it was cancelled; the panel is gone by
    // then. With `seconds` below 1 it completes at once, showing nothing.
    void run(int seconds, const platform::DisplayInfo& display, Completion completion);
    void cancel();
    bool running() const { return m_completion != nullptr; }

private:
    void tick();
    void finish(bool completed);

    CaptureSurfaces& m_surfaces;
    QTimer m_timer;
    std::unique_ptr<CountdownPanel> m_panel;
    std::optional<int> m_escapeHandle;
    Completion m_completion;
    int m_stepsLeft = 0;
    static constexpr int stepsPerSecond = 10;
    bool m_cancelled = false;
};
