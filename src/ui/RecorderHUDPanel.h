#pragma once

#include "ui/RecorderHUDModel.h"

#include <QWidget>

class QLabel;
class QToolButton;

namespace ui {

class LevelMeter;

// The recording controls: a small dark bar with a red dot and the time recorded, the
// microphone's level (or a GIF's frame count), and pause or resume, stop, restart and
// cancel. It never takes the keyboard from the window being recorded.
class RecorderHUDPanel : public QWidget {
    Q_OBJECT
public:
    static constexpr auto title = "Pictavia Recording";

    // Shown at `root` (root-window pixels), on the screen that holds it.
    RecorderHUDPanel(std::unique_ptr<RecorderHUDModel> model);
    ~RecorderHUDPanel() override;

    RecorderHUDModel& model() const { return *m_model; }
    void showAt(const QRect& root);

private:
    void refresh();

    std::unique_ptr<RecorderHUDModel> m_model;
    QLabel* m_dot = nullptr;
    QLabel* m_time = nullptr;
    QLabel* m_frames = nullptr;
    LevelMeter* m_meter = nullptr;
    QLabel* m_camera = nullptr;
    QToolButton* m_pause = nullptr;
    bool m_shownPaused = false;
};

} // namespace ui
