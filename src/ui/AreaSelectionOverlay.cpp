#include "ui/AreaSelectionOverlay.h"

#include "platform/Platform.h"
#include "ui/OverlayStyle.h"
#include "ui/SelectionActionBar.h"
#include "ui/SelectionLoupe.h"
#include "ui/WindowPlacement.h"

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
        return Qt::OpenHandCursor;
    case Part::none:
        break;
    }
    return Qt::CrossCursor;
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
    std::optional<QPointF> loupe;   // the pointer, when the loupe shows here
    QPoint loupePixel;              // the pixel under it
    std::optional<QPointF> pointer; // when on this display
    bool hint = false;              // the hint shows on this display
    bool operator==(const AreaSelectionScene&) const = default;
};

// One display's window: paints its scene over the dimmed snapshot. Holds nothing but
// what it needs to draw: the layout of the pills and the hint's fade.
class AreaSelectionWindow : public OverlayWindow {
public:
    AreaSelectionWindow(const OverlayDisplay& display, OverlayInput* input, const QString& hint,
                        const QList<SelectionAction>& actions)
        : OverlayWindow(display, overlayTitle, input), m_dimmed(dimmed(display.snapshot, dimAlpha)),
          m_bounds(QPointF(0, 0), QSizeF(display.display.geometry.size()) / display.display.scale),
          m_hint(hint), m_bar(actions), m_loupe(display.display.scale) {
        m_hintFade.setDuration(160);
        QObject::connect(&m_hintFade, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
            m_hintOpacity = value.toDouble();
            updatePoints(m_hintRect, {});
        });
    }

    void setScene(const AreaSelectionScene& scene) {
        if (scene == m_scene) return;
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
            const QSizeF size = overlaystyle::textPillSize(readoutFont(), m_scene.sizeText, {8, 3});
            m_readoutRect = SelectionLayout::overCorner(size, *m_scene.selection, m_bounds, readoutGap,
                                                        m_scene.actionBar && m_bar.isAbove());
        }
        if (m_scene.loupe) m_loupeRect = m_loupe.rectFor(*m_scene.loupe, m_bounds);
        layOutHint();
    }

    // The hint sits at the top; a selection coming near sends it to the bottom, and one
    // near both makes it fade away.
    void layOutHint() {
        std::optional<QRectF> target;
        if (m_scene.hint && !m_hint.isEmpty()) {
            QList<QRectF> avoid;
            if (m_scene.selection) avoid.append(*m_scene.selection);
            if (m_scene.actionBar) avoid.append(m_bar.rect());
            if (m_scene.loupe) avoid.append(m_loupeRect);
            if (m_scene.pointer) avoid.append(QRectF(*m_scene.pointer, QSizeF(1, 1)));
            const QSizeF size = overlaystyle::textPillSize(hintFont(), m_hint, {14, 8});
            target = SelectionLayout::clearOf(size, m_bounds, avoid, hintTop, hintClearance);
        }
        if (!target) {
            fadeHint(0);
            return;
        }
        if (*target != m_hintRect) {
            // Appears afresh at its new place.
            updatePoints(m_hintRect.adjusted(-2, -2, 2, 3), {});
            m_hintRect = *target;
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

    m_displays = grabOverlayDisplays();
    QList<platform::DisplayInfo> displays;
    for (const OverlayDisplay& d : std::as_const(m_displays))
        displays.append(d.display);
    m_flow = std::make_unique<SelectionFlow>(displays, m_parameters);
    QPointF pointer;
    if (auto* screen = platform::services().screen.get()) pointer = QPointF(screen->pointerPosition());
    m_flow->move(pointer);
    // A Wayland program learns where the pointer is only once it moves over its windows.
    m_pointerKnown = !placement::onWayland();

    m_session = std::make_unique<OverlaySession>();
    const QList<SelectionAction> actions =
        m_parameters.showActions ? m_parameters.actions : QList<SelectionAction>{};
    for (const OverlayDisplay& d : std::as_const(m_displays)) {
        auto* window = new AreaSelectionWindow(d, this, m_parameters.hint, actions);
        m_windows.append(window);
        m_session->add(window);
    }
    if (m_displays.isEmpty()) {
        finish({});
        return;
    }
    refresh();
    m_session->show(pointer);
    updateCursor();
}

std::pair<int, bool> AreaSelectionOverlayController::barAt(QPointF root) const {
    const int active = m_flow->active();
    if (active < 0 || m_flow->displayAt(root) != active) return {-1, false};
    const QPointF at = m_flow->pointsOn(active, root);
    return {m_windows[active]->actionAt(at), m_windows[active]->onActionBar(at)};
}

void AreaSelectionOverlayController::pointerPressed(QPointF root, Qt::MouseButton button,
                                                    Qt::KeyboardModifiers modifiers) {
    Q_UNUSED(modifiers);
    if (m_finished) return;
    m_pointerKnown = true;
    const auto [action, onBar] = barAt(root);
    handle(m_flow->press(button, root, action, onBar));
}

void AreaSelectionOverlayController::pointerMoved(QPointF root, Qt::MouseButtons buttons) {
    if (m_finished) return;
    m_pointerKnown = true;
    m_flow->move(root);
    if (buttons == Qt::NoButton) m_session->follow(root);
    handle(std::nullopt);
}

void AreaSelectionOverlayController::pointerReleased(QPointF root, Qt::MouseButton button) {
    if (m_finished) return;
    handle(m_flow->release(button, root, barAt(root).first));
    if (!m_finished) m_session->follow(root);
}

void AreaSelectionOverlayController::keyPressed(int key, Qt::KeyboardModifiers modifiers) {
    if (m_finished) return;
    handle(m_flow->key(key, modifiers));
}

void AreaSelectionOverlayController::handle(const std::optional<SelectionFlow::End>& end) {
    if (end) {
        finish(*end);
        return;
    }
    refresh();
    updateCursor();
}

void AreaSelectionOverlayController::refresh() {
    const int under = m_flow->pointerDisplay();
    const QPointF pointer = m_flow->pointer();
    for (qsizetype i = 0; i < m_windows.size(); ++i) {
        const int display = int(i);
        const SelectionGeometry& g = m_flow->geometry(display);
        AreaSelectionScene scene;
        scene.selection = g.selection();
        scene.sizeText = g.sizeText();
        scene.handles = m_flow->showsHandles(display);
        scene.actionBar = m_flow->showsActionBar(display);
        if (scene.actionBar && display == m_flow->active()) {
            scene.pressedAction = m_flow->pressedButton();
            scene.hoveredAction = barAt(pointer).first;
        }
        if (m_pointerKnown && m_parameters.showMagnifier && m_flow->wantsLoupe() && display == under) {
            scene.loupe = m_flow->pointsOn(display, pointer);
            const QPoint origin = m_displays[i].display.geometry.topLeft();
            scene.loupePixel = QPoint(qFloor(pointer.x()) - origin.x(), qFloor(pointer.y()) - origin.y());
        }
        if (display == under) scene.pointer = m_flow->pointsOn(display, pointer);
        scene.hint = display == under;
        m_windows[i]->setScene(scene);
    }
}

void AreaSelectionOverlayController::updateCursor() {
    using Drag = SelectionGeometry::Drag;
    Qt::CursorShape shape = Qt::CrossCursor;
    const QPointF pointer = m_flow->pointer();
    const int active = m_flow->active();
    if (const int dragging = m_flow->dragging(); dragging >= 0) {
        const SelectionGeometry& g = m_flow->geometry(dragging);
        if (g.dragState() == Drag::moving)
            shape = Qt::ClosedHandCursor;
        else if (g.dragState() == Drag::resizing)
            shape = cursorFor(g.heldPart());
    } else if (m_flow->pressedButton() >= 0 || barAt(pointer).first >= 0) {
        shape = Qt::PointingHandCursor;
    } else if (barAt(pointer).second) {
        shape = Qt::ArrowCursor;
    } else if (active >= 0 && m_flow->showsHandles(active) && m_flow->pointerDisplay() == active) {
        shape = cursorFor(m_flow->geometry(active).hitTest(m_flow->pointsOn(active, pointer)));
    }
    if (shape == m_cursor) return;
    m_cursor = shape;
    for (AreaSelectionWindow* window : std::as_const(m_windows))
        window->setCursor(shape);
}

void AreaSelectionOverlayController::finish(const SelectionFlow::End& end) {
    if (m_finished) return;
    m_finished = true;

    SelectionOutcome outcome;
    outcome.kind = end.kind;
    outcome.action = end.action;
    outcome.rect = end.rect;
    if (end.display >= 0 && end.display < m_displays.size()) {
        const OverlayDisplay& d = m_displays[end.display];
        outcome.target.display = d.display;
        if (m_parameters.freeze && d.grabbed) outcome.target.frozen = d.snapshot;
    }
    m_session->dismiss(m_parameters.freeze ? frozenSettleMs : liveSettleMs, [this, outcome] {
        Completion done = std::move(m_completion);
        m_completion = nullptr;
        // Last: the completion may well destroy this controller.
        if (done) done(outcome);
    });
}

} // namespace ui
