#pragma once

#include "capture/SelectionGeometry.h"
#include "capture/SelectionTypes.h"
#include "ui/OverlayWindow.h"

#include <QObject>

#include <memory>
#include <vector>

namespace ui {

class AreaSelectionWindow;

// Choosing an area: a window over each display shows its snapshot, the user drags out a
// rectangle, and depending on the parameters the release, a button of the action bar or
// Enter completes. The logic of the rectangle itself is SelectionGeometry's; this class
// routes the input between displays and decides when the flow ends.
class AreaSelectionOverlayController : public QObject, public AreaSelectionController, private OverlayInput {
    Q_OBJECT
public:
    explicit AreaSelectionOverlayController(const SelectionParameters& parameters);
    ~AreaSelectionOverlayController() override;

    void start(Completion completion) override;

private:
    void pointerPressed(QPointF root, Qt::MouseButton button, Qt::KeyboardModifiers modifiers) override;
    void pointerMoved(QPointF root, Qt::MouseButtons buttons) override;
    void pointerReleased(QPointF root, Qt::MouseButton button) override;
    void keyPressed(int key, Qt::KeyboardModifiers modifiers) override;

    // Whether a released selection stays up to be adjusted.
    bool keepsSelection() const { return m_parameters.showActions || m_parameters.adjustable; }
    QPointF pointsOn(int display, QPointF root) const;
    int actionUnderPointer() const;
    void refresh();
    void updateCursor();
    void finish(SelectionOutcome::Kind kind, SelectionAction action = SelectionAction::capture);

    SelectionParameters m_parameters;
    Completion m_completion;
    QList<OverlayDisplay> m_displays;
    std::vector<SelectionGeometry> m_geometry; // one per display
    std::unique_ptr<OverlaySession> m_session;
    QList<AreaSelectionWindow*> m_windows; // the session's, in display order

    QPointF m_pointer;           // in root-window pixels
    int m_active = -1;           // the display holding the selection
    int m_dragging = -1;         // the display of the drag going on
    int m_pressedAction = -1;    // the action bar button held down
    bool m_rightHandled = false; // a right press that already cancelled a drag
    Qt::CursorShape m_cursor = Qt::CrossCursor;
    bool m_started = false;
    bool m_finished = false;
};

} // namespace ui
