#pragma once

#include "capture/SelectionGeometry.h"
#include "capture/SelectionTypes.h"
#include "ui/OverlayWindow.h"

#include <QObject>

#include <memory>
#include <utility>

namespace ui {

class AreaSelectionWindow;

// Choosing an area: a window over each display shows its snapshot, the user drags out a
// rectangle, and depending on the parameters the release, a button of the action bar or
// Enter completes. The rules are SelectionFlow's; this class feeds it the windows' input,
// shows its state and takes the windows down when it ends.
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

    // The action bar button at a point (-1 for none), and whether the point is on the bar.
    std::pair<int, bool> barAt(QPointF root) const;
    void handle(const std::optional<SelectionFlow::End>& end);
    void refresh();
    void updateCursor();
    void finish(const SelectionFlow::End& end);

    SelectionParameters m_parameters;
    Completion m_completion;
    QList<OverlayDisplay> m_displays;
    std::unique_ptr<SelectionFlow> m_flow;
    std::unique_ptr<OverlaySession> m_session;
    QList<AreaSelectionWindow*> m_windows; // the session's, in display order
    Qt::CursorShape m_cursor = Qt::CrossCursor;
    bool m_pointerKnown = true; // the loupe waits for it
    bool m_started = false;
    bool m_finished = false;
};

} // namespace ui
