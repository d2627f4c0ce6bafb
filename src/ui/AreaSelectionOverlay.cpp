#include "ui/AreaSelectionOverlay.h"

#include "platform/Platform.h"
#include "ui/OverlayStyle.h"
#include "ui/SelectionActionBar.h"
#include "ui/SelectionLoupe.h"

#include <QPaintEvent>
#include <QPainter>
#include <QVariantAnimation>

#include <cmath>

namespace ui {

namespace {

constexpr double dimAlpha = 0.45;
constexpr double hintTop = 48;       // points from the display's top (or bottom)
constexpr double hintClearance = 24; // how near a selection may come before the hint moves
constexpr double handleRadius = 4.5;
constexpr double readoutGap = 6;
constexpr int frozenSettleMs = 40;
constexpr int liveSettleMs = 150;

const QString overlayTitle = QStringLiteral("Pictavia Selection");

Qt::CursorShape cursorFor(SelectionGeometry::Part part) {
    using Part = SelectionGeometry::Part;
    switch (part) {
    case Part::topLeft:
    case Part::bottomRight:
        return Qt::SizeFDiagCursor;
    case Part::topRight:
    case Part::bottomLeft:
        return Qt::SizeBDiagCursor;
    case Part::top:
    case Part::bottom:
        return Qt::SizeVerCursor;
    case Part::left:
    case Part::right:
        return Qt::SizeHorCursor;
    case Part::inside:
        return Qt::SizeAllCursor;
    case Part::none:
        break;
    }
    return Qt::CrossCursor;
}

QImage dimmed(const QImage& image) {
    QImage result = image.copy();
    QPainter p(&result);
    p.fillRect(result.rect(), QColor(0, 0, 0, int(std::lround(dimAlpha * 255))));
    return result;
}

} // namespace

// What one display's window shows, in the display's points.
struct AreaSelectionScene {
    std::optional<QRectF> selection;
    QString sizeText;
    bool handles = false;
    bool actionBar = false;
    int hoveredAction = -1;
    int pressedAction = -1;
    std::optional<QPointF> loupe; // the pointer, when the loupe shows here
    QPoint loupePixel;            // the pixel under it
    bool hint = false;            // the hint shows on this display
};

// One display's window: paints its scene over the dimmed snapshot. Holds nothing but
// what it needs to draw: the layout of the pills and the hint's fade.
class AreaSelectionWindow : public OverlayWindow {
public:
    AreaSelectionWindow(const OverlayDisplay& display, OverlayInput* input, const QString& hint,
                        const QList<SelectionAction>& actions)
        : OverlayWindow(display, overlayTitle, input), m_dimmed(dimmed(display.snapshot)),
          m_bounds(QPointF(0, 0), QSizeF(display.display.geometry.size()) / display.display.scale),
          m_hint(hint), m_bar(actions), m_loupe(display.display.scale) {
        m_hintFade.setDuration(160);
        QObject::connect(&m_hintFade, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
            m_hintOpacity = value.toDouble();
            updatePoints(m_hintRect, {});
        });
    }

    void setScene(const AreaSelectionScene& scene) {
        const QList<QRectF> before = paintedAreas();
        m_scene = scene;
        layOut();
        const QList<QRectF> after = paintedAreas();
        for (const QRectF& r : before)
            updatePoints(r, {});
        for (const QRectF& r : after)
            updatePoints(r, {});
    }

    // The action bar's button at a point of this display; -1 for none.
    int actionAt(QPointF points) const { return m_scene.actionBar ? m_bar.buttonAt(points) : -1; }
    bool onActionBar(QPointF points) const { return m_scene.actionBar && m_bar.rect().contains(points); }

protected:
    void paintEvent(QPaintEvent* event) override {
        QPainter p(this);
        const QRectF dirty(event->rect());
        drawSnapshot(p, m_dimmed, dirty);
        if (m_scene.selection)
            drawSnapshot(p, overlayDisplay().snapshot,
                         dirty.intersected(localFromPoints(*m_scene.selection)));
        usePoints(p);
        p.setRenderHint(QPainter::Antialiasing);
        p.setRenderHint(QPainter::TextAntialiasing);
        if (m_scene.selection) paintSelection(p, *m_scene.selection);
        if (m_scene.actionBar) m_bar.paint(p, m_scene.hoveredAction, m_scene.pressedAction);
        if (m_hintOpacity > 0 && !m_hintRect.isEmpty()) {
            p.save();
            p.setOpacity(m_hintOpacity);
            overlaystyle::drawTextPill(p, m_hintRect, hintFont(), m_hint);
            p.restore();
        }
        if (m_scene.loupe) m_loupe.paint(p, m_loupeRect, overlayDisplay().snapshot, m_scene.loupePixel);
    }

private:
    static QFont hintFont() { return overlaystyle::font(13, QFont::Medium); }
    static QFont readoutFont() { return overlaystyle::font(12, QFont::Medium); }

    // Everything drawn over the plain dimmed snapshot, for repainting what changed.
    QList<QRectF> paintedAreas() const {
        QList<QRectF> areas;
        if (m_scene.selection) {
            const double reach = handleRadius + 3;
            areas.append(m_scene.selection->adjusted(-reach, -reach, reach, reach));
            areas.append(m_readoutRect);
        }
        if (m_scene.actionBar) areas.append(m_bar.rect().adjusted(-2, -2, 2, 3));
        if (m_scene.loupe) areas.append(m_loupeRect.adjusted(-2, -2, 2, 3));
        if (m_hintOpacity > 0) areas.append(m_hintRect.adjusted(-2, -2, 2, 3));
        return areas;
    }

    void layOut() {
        if (m_scene.actionBar) m_bar.place(*m_scene.selection, m_bounds);
        if (m_scene.selection) {
            const QRectF& s = *m_scene.selection;
            const QSizeF size = overlaystyle::textPillSize(readoutFont(), m_scene.sizeText, {8, 3});
            QRectF r(QPointF(s.left(), s.top() - readoutGap - size.height()), size);
            // Inside the selection's corner when there is no room above it or the bar is there.
            if (r.top() < m_bounds.top() + 4 || (m_scene.actionBar && m_bar.isAbove()))
                r.moveTopLeft(s.topLeft() + QPointF(readoutGap, readoutGap));
            r.moveLeft(std::clamp(r.left(), 4.0, std::max(4.0, m_bounds.right() - 4 - r.width())));
            m_readoutRect = r;
        }
        if (m_scene.loupe) m_loupeRect = m_loupe.rectFor(*m_scene.loupe, m_bounds);
        layOutHint();
    }

    // The hint sits at the top; a selection coming near sends it to the bottom, and one
    // near both makes it fade away.
    void layOutHint() {
        enum class Place { none, top, bottom };
        Place wanted = Place::none;
        QRectF top, bottom;
        if (m_scene.hint && !m_hint.isEmpty()) {
            const QSizeF size = overlaystyle::textPillSize(hintFont(), m_hint, {14, 8});
            top = QRectF(QPointF(m_bounds.center().x() - size.width() / 2, hintTop), size);
            bottom = top.translated(0, m_bounds.height() - 2 * hintTop - size.height());
            const auto clear = [&](const QRectF& r) {
                const QRectF around =
                    r.adjusted(-hintClearance, -hintClearance, hintClearance, hintClearance);
                return !(m_scene.selection && m_scene.selection->intersects(around)) &&
                       !(m_scene.loupe && m_loupeRect.intersects(r));
            };
            wanted = clear(top) ? Place::top : (clear(bottom) ? Place::bottom : Place::none);
        }
        const QRectF target = wanted == Place::top ? top : bottom;
        if (wanted == Place::none) {
            fadeHint(0);
            return;
        }
        if (target != m_hintRect) {
            // Appears afresh at its new place.
            updatePoints(m_hintRect.adjusted(-2, -2, 2, 3), {});
            m_hintRect = target;
            m_hintOpacity = 0;
            m_hintTarget = -1;
        }
        fadeHint(1);
    }

    void fadeHint(double to) {
        if (m_hintTarget == to) return;
        m_hintTarget = to;
        m_hintFade.stop();
        m_hintFade.setStartValue(m_hintOpacity);
        m_hintFade.setEndValue(to);
        m_hintFade.start();
    }

    void paintSelection(QPainter& p, const QRectF& s) {
        p.save();
        p.setBrush(Qt::NoBrush);
        p.setPen(QPen(QColor(0, 0, 0, 110), 1));
        p.drawRect(s.adjusted(-1.5, -1.5, 1.5, 1.5));
        p.setPen(QPen(Qt::white, 1));
        p.drawRect(s.adjusted(-0.5, -0.5, 0.5, 0.5));
        if (m_scene.handles) {
            QList<QPointF> handles = {s.topLeft(), s.topRight(), s.bottomLeft(), s.bottomRight()};
            if (s.width() >= 40)
                handles += {QPointF(s.center().x(), s.top()), QPointF(s.center().x(), s.bottom())};
            if (s.height() >= 40)
                handles += {QPointF(s.left(), s.center().y()), QPointF(s.right(), s.center().y())};
            for (const QPointF& h : handles) {
                p.setPen(Qt::NoPen);
                p.setBrush(QColor(0, 0, 0, 60));
                p.drawEllipse(h + QPointF(0, 0.5), handleRadius + 1, handleRadius + 1);
                p.setBrush(Qt::white);
                p.setPen(QPen(overlaystyle::accent, 1.5));
                p.drawEllipse(h, handleRadius, handleRadius);
            }
        }
        overlaystyle::drawTextPill(p, m_readoutRect, readoutFont(), m_scene.sizeText);
        p.restore();
    }

    QImage m_dimmed;
    QRectF m_bounds;
    QString m_hint;
    SelectionActionBar m_bar;
    SelectionLoupe m_loupe;
    AreaSelectionScene m_scene;
    QRectF m_readoutRect;
    QRectF m_loupeRect;
    QRectF m_hintRect;
    double m_hintOpacity = 0;
    double m_hintTarget = 0;
    QVariantAnimation m_hintFade;
};

AreaSelectionOverlayController::AreaSelectionOverlayController(const SelectionParameters& parameters)
    : m_parameters(parameters) {}

AreaSelectionOverlayController::~AreaSelectionOverlayController() = default;

void AreaSelectionOverlayController::start(Completion completion) {
    if (m_started) return;
    m_started = true;
    m_completion = std::move(completion);
    if (auto* screen = platform::services().screen.get()) m_pointer = QPointF(screen->pointerPosition());

    m_displays = grabOverlayDisplays();
    m_session = std::make_unique<OverlaySession>();
    for (const OverlayDisplay& d : std::as_const(m_displays)) {
        m_geometry.emplace_back(d.display.geometry.size(), d.display.scale);
        auto* window = new AreaSelectionWindow(d, this, m_parameters.hint,
                                               m_parameters.showActions ? m_parameters.actions
                                                                        : QList<SelectionAction>{});
        m_windows.append(window);
        m_session->add(window);
    }
    if (m_displays.isEmpty()) {
        finish(SelectionOutcome::Kind::cancelled);
        return;
    }
    if (const auto& initial = m_parameters.initialSelection) {
        for (qsizetype i = 0; i < m_displays.size(); ++i) {
            if (m_displays[i].display.id != initial->displayID) continue;
            m_geometry[size_t(i)].setSelection(initial->rect);
            if (m_geometry[size_t(i)].hasSelection()) m_active = int(i);
        }
    }
    refresh();
    m_session->show(m_pointer);
    updateCursor();
}

QPointF AreaSelectionOverlayController::pointsOn(int display, QPointF root) const {
    return m_windows[display]->pointsFromRoot(root);
}

int AreaSelectionOverlayController::actionUnderPointer() const {
    if (m_active < 0 || m_session->indexAt(m_pointer) != m_active) return -1;
    return m_windows[m_active]->actionAt(pointsOn(m_active, m_pointer));
}

void AreaSelectionOverlayController::pointerPressed(QPointF root, Qt::MouseButton button,
                                                    Qt::KeyboardModifiers modifiers) {
    Q_UNUSED(modifiers);
    if (m_finished) return;
    m_pointer = root;
    if (button == Qt::RightButton) {
        // Dropping a drag half made; the release does the rest.
        m_rightHandled = m_dragging >= 0;
        if (m_dragging >= 0) {
            m_geometry[size_t(m_dragging)].clear();
            if (m_active == m_dragging) m_active = -1;
            m_dragging = -1;
            refresh();
        }
        return;
    }
    if (button != Qt::LeftButton || m_dragging >= 0) return;
    const int index = m_session->indexAt(root);
    if (index < 0) return;
    if (const int action = actionUnderPointer(); action >= 0) {
        m_pressedAction = action;
        refresh();
        return;
    }
    if (index == m_active && m_windows[index]->onActionBar(pointsOn(index, root))) return;
    m_dragging = index;
    m_geometry[size_t(index)].press(pointsOn(index, root), keepsSelection() && index == m_active);
    refresh();
    updateCursor();
}

void AreaSelectionOverlayController::pointerMoved(QPointF root, Qt::MouseButtons buttons) {
    if (m_finished) return;
    m_pointer = root;
    if (m_dragging >= 0) {
        SelectionGeometry& g = m_geometry[size_t(m_dragging)];
        g.drag(pointsOn(m_dragging, root));
        // A new selection on another display replaces the one there was.
        if (g.dragState() == SelectionGeometry::Drag::drawing && m_active != m_dragging) {
            if (m_active >= 0) m_geometry[size_t(m_active)].clear();
            m_active = m_dragging;
        }
    } else if (buttons == Qt::NoButton) {
        m_session->follow(root);
    }
    refresh();
    updateCursor();
}

void AreaSelectionOverlayController::pointerReleased(QPointF root, Qt::MouseButton button) {
    if (m_finished) return;
    m_pointer = root;
    if (button == Qt::RightButton) {
        if (std::exchange(m_rightHandled, false)) return;
        if (m_active >= 0) {
            for (SelectionGeometry& g : m_geometry)
                g.clear();
            m_active = -1;
            refresh();
            updateCursor();
        } else if (m_dragging < 0) {
            finish(SelectionOutcome::Kind::cancelled);
        }
        return;
    }
    if (button != Qt::LeftButton) return;
    if (m_pressedAction >= 0) {
        const int pressed = std::exchange(m_pressedAction, -1);
        if (actionUnderPointer() == pressed) {
            finish(SelectionOutcome::Kind::action, m_parameters.actions.at(pressed));
            return;
        }
        refresh();
        return;
    }
    if (m_dragging < 0) return;
    const int index = std::exchange(m_dragging, -1);
    SelectionGeometry& g = m_geometry[size_t(index)];
    g.drag(pointsOn(index, root));
    if (g.release()) {
        m_active = index;
        if (!keepsSelection()) {
            finish(SelectionOutcome::Kind::selected);
            return;
        }
    } else if (m_active == index) {
        m_active = -1;
    }
    m_session->follow(root);
    refresh();
    updateCursor();
}

void AreaSelectionOverlayController::keyPressed(int key, Qt::KeyboardModifiers modifiers) {
    if (m_finished) return;
    switch (key) {
    case Qt::Key_Escape:
        finish(SelectionOutcome::Kind::cancelled);
        return;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (m_dragging >= 0) return;
        if (m_parameters.adjustable) {
            finish(SelectionOutcome::Kind::selected);
        } else if (m_parameters.showActions && m_active >= 0) {
            finish(SelectionOutcome::Kind::action, SelectionAction::capture);
        }
        return;
    case Qt::Key_W:
        if (m_parameters.allowWindowSwitch) finish(SelectionOutcome::Kind::switchToWindowPicker);
        return;
    case Qt::Key_Left:
    case Qt::Key_Right:
    case Qt::Key_Up:
    case Qt::Key_Down: {
        if (m_active < 0 || m_dragging >= 0) return;
        const int step = modifiers.testFlag(Qt::ShiftModifier) ? 10 : 1;
        const int dx = key == Qt::Key_Left ? -step : (key == Qt::Key_Right ? step : 0);
        const int dy = key == Qt::Key_Up ? -step : (key == Qt::Key_Down ? step : 0);
        const bool resize = modifiers & (Qt::AltModifier | Qt::ControlModifier);
        m_geometry[size_t(m_active)].nudge(dx, dy, resize);
        refresh();
        updateCursor();
        return;
    }
    default:
        return;
    }
}

void AreaSelectionOverlayController::refresh() {
    using Drag = SelectionGeometry::Drag;
    const int under = m_session->indexAt(m_pointer);
    // The loupe helps while drawing or resizing, and before there is a selection; a
    // selection standing for its buttons or for adjusting does without it.
    bool loupe = m_parameters.showMagnifier;
    if (loupe && m_dragging >= 0) {
        const Drag drag = m_geometry[size_t(m_dragging)].dragState();
        loupe = drag == Drag::drawing || drag == Drag::resizing || (drag == Drag::pending && m_active < 0);
    } else if (loupe) {
        loupe = !(keepsSelection() && m_active >= 0);
    }
    for (qsizetype i = 0; i < m_windows.size(); ++i) {
        const SelectionGeometry& g = m_geometry[size_t(i)];
        const Drag drag = g.dragState();
        const bool standing = drag == Drag::none || drag == Drag::pending;
        AreaSelectionScene scene;
        scene.selection = g.selection();
        scene.sizeText = g.sizeText();
        scene.handles = scene.selection && keepsSelection() && drag != Drag::drawing;
        scene.actionBar =
            scene.selection && m_parameters.showActions && standing && !m_parameters.actions.isEmpty();
        if (scene.actionBar && i == m_active) {
            scene.pressedAction = m_pressedAction;
            scene.hoveredAction = actionUnderPointer();
        }
        if (loupe && i == under) {
            scene.loupe = pointsOn(int(i), m_pointer);
            const QPoint origin = m_displays[i].display.geometry.topLeft();
            scene.loupePixel = QPoint(qFloor(m_pointer.x()) - origin.x(), qFloor(m_pointer.y()) - origin.y());
        }
        scene.hint = i == under;
        m_windows[i]->setScene(scene);
    }
}

void AreaSelectionOverlayController::updateCursor() {
    using Part = SelectionGeometry::Part;
    Qt::CursorShape shape = Qt::CrossCursor;
    if (m_dragging >= 0) {
        const SelectionGeometry& g = m_geometry[size_t(m_dragging)];
        if (g.dragState() == SelectionGeometry::Drag::moving)
            shape = Qt::ClosedHandCursor;
        else if (g.dragState() == SelectionGeometry::Drag::resizing)
            shape = cursorFor(g.heldPart());
    } else if (m_pressedAction >= 0 || actionUnderPointer() >= 0) {
        shape = Qt::PointingHandCursor;
    } else if (m_active >= 0 && m_session->indexAt(m_pointer) == m_active) {
        const QPointF at = pointsOn(m_active, m_pointer);
        if (m_windows[m_active]->onActionBar(at))
            shape = Qt::ArrowCursor;
        else if (keepsSelection())
            shape = cursorFor(m_geometry[size_t(m_active)].hitTest(at));
        if (shape == cursorFor(Part::inside)) shape = Qt::OpenHandCursor;
    }
    if (shape == m_cursor) return;
    m_cursor = shape;
    for (AreaSelectionWindow* window : std::as_const(m_windows))
        window->setCursor(shape);
}

void AreaSelectionOverlayController::finish(SelectionOutcome::Kind kind, SelectionAction action) {
    if (m_finished) return;
    m_finished = true;

    SelectionOutcome outcome;
    outcome.kind = kind;
    outcome.action = action;
    int index = m_active;
    if (index >= 0 && (kind == SelectionOutcome::Kind::selected || kind == SelectionOutcome::Kind::action)) {
        outcome.rect = m_geometry[size_t(index)].selection().value_or(QRectF());
    } else {
        // Without a selection: the display under the pointer, all of it for Enter.
        index = m_session ? m_session->indexAt(m_pointer) : -1;
        if (index < 0 && !m_displays.isEmpty()) index = 0;
        if (index >= 0 && kind == SelectionOutcome::Kind::selected)
            outcome.rect = m_geometry[size_t(index)].bounds();
    }
    if (index >= 0) {
        const OverlayDisplay& d = m_displays[index];
        outcome.target.display = d.display;
        if (m_parameters.freeze && d.grabbed) outcome.target.frozen = d.snapshot;
    }

    auto complete = [this, outcome] {
        Completion done = std::move(m_completion);
        m_completion = nullptr;
        // Last: the completion may well destroy this controller.
        if (done) done(outcome);
    };
    if (!m_session) {
        QTimer::singleShot(0, this, complete);
        return;
    }
    m_session->dismiss(m_parameters.freeze ? frozenSettleMs : liveSettleMs, complete);
}

} // namespace ui
