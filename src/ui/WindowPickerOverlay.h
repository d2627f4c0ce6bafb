#pragma once

#include "capture/SelectionTypes.h"
#include "ui/OverlayWindow.h"

#include <QObject>

#include <memory>
#include <optional>

namespace ui {

class WindowPickerWindow;

// Picking a window: a window over each display shows its snapshot with the window under
// the pointer outlined and named; a click picks it, Esc or a right click cancels.
class WindowPickerOverlayController : public QObject, public WindowPickerController, private OverlayInput {
    Q_OBJECT
public:
    WindowPickerOverlayController();
    ~WindowPickerOverlayController() override;

    void start(Completion completion) override;

private:
    void pointerPressed(QPointF root, Qt::MouseButton button, Qt::KeyboardModifiers modifiers) override;
    void pointerMoved(QPointF root, Qt::MouseButtons buttons) override;
    void pointerReleased(QPointF root, Qt::MouseButton button) override;
    void keyPressed(int key, Qt::KeyboardModifiers modifiers) override;

    // The front-most ordinary window at a root-window point; -1 for none.
    int windowAt(QPointF root) const;
    void refresh();
    void finish(const std::optional<WindowPick>& pick);

    Completion m_completion;
    QList<platform::WindowInfo> m_candidates; // front to back
    std::unique_ptr<OverlaySession> m_session;
    QList<WindowPickerWindow*> m_windows; // the session's, in display order
    QPointF m_pointer;                    // in root-window pixels
    int m_hovered = -1;                   // into m_candidates
    int m_pressed = -1;                   // the window a left press went to
    bool m_started = false;
    bool m_finished = false;
};

} // namespace ui
