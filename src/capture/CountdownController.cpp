#include "capture/CountdownController.h"

#include "platform/Platform.h"

#include <QKeySequence>

CountdownController::CountdownController(CaptureSurfaces& surfaces, std::chrono::milliseconds second)
    : m_surfaces(surfaces) {
    m_timer.setInterval(second / stepsPerSecond);
    connect(&m_timer, &QTimer::timeout, this, &CountdownController::tick);
}

CountdownController::~CountdownController() {
    if (running()) finish(false);
}

void CountdownController::run(int seconds, const platform::DisplayInfo& display, Completion completion) {
    if (seconds < 1) {
        completion(true);
        return;
    }
    m_completion = std::move(completion);
    m_cancelled = false;
    m_stepsLeft = seconds * stepsPerSecond;
    if (auto& hotkeys = platform::services().hotkeys) {
        // Without the grab the countdown still runs; it just cannot be cancelled.
        const auto handle = hotkeys->bind(QKeySequence(Qt::Key_Escape), [this] { cancel(); });
        if (handle) m_escapeHandle = *handle;
    }
    m_panel = m_surfaces.makeCountdownPanel();
    m_panel->setSeconds(seconds);
    m_panel->show(display);
    m_timer.start();
}

void CountdownController::cancel() {
    m_cancelled = true;
}

void CountdownController::tick() {
    if (m_cancelled) return finish(false);
    if (--m_stepsLeft <= 0) return finish(true);
    if (m_stepsLeft % stepsPerSecond == 0) m_panel->setSeconds(m_stepsLeft / stepsPerSecond);
}

void CountdownController::finish(bool completed) {
    m_timer.stop();
    if (m_escapeHandle) platform::services().hotkeys->unbind(*m_escapeHandle);
    m_escapeHandle.reset();
    if (m_panel) m_panel->hide();
    m_panel.reset();
    // Cleared before the call: the completion may start the next countdown.
    auto completion = std::exchange(m_completion, nullptr);
    completion(completed);
}
