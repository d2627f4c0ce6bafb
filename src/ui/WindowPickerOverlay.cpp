#include "ui/WindowPickerOverlay.h"

#include "platform/Platform.h"
#include "ui/OverlayStyle.h"
#include "ui/WindowPlacement.h"

#include <QCoreApplication>
#include <QFontMetricsF>
#include <QPaintEvent>
#include <QPainter>
#include <QPainterPath>

namespace ui {

namespace {

constexpr int settleMs = 40;
constexpr double borderWidth = 3;
constexpr double labelMaxWidth = 480;

const QString overlayTitle = QStringLiteral("Pictavia Window Picker");

} // namespace

// One display's window: the snapshot, slightly dimmed, with the highlighted window clear,
// tinted, outlined and labelled.
class WindowPickerWindow : public OverlayWindow {
public:
    WindowPickerWindow(const OverlayDisplay& display, OverlayInput* input)
        : OverlayWindow(display, overlayTitle, input), m_dimmed(dimmed(display.snapshot, 56 / 255.0)),
          m_bounds(QPointF(0, 0), QSizeF(display.display.geometry.size()) / display.display.scale) {}

    // The window to highlight, its frame in root-window pixels; none for no highlight.
    void setHighlight(const std::optional<platform::WindowInfo>& window) {
        const QRectF before = paintedArea();
        m_window = window;
        m_frame = {};
        m_label = {};
        if (window) {
            const QRectF frame = pointsFromRootRect(window->frame);
            const QRectF visible = frame.intersected(m_bounds);
            if (!visible.isEmpty()) {
                m_frame = frame;
                layOutLabel(visible);
            }
        }
        updatePoints(before, paintedArea());
    }

protected:
    void paintEvent(QPaintEvent* event) override {
        QPainter p(this);
        const QRectF dirty(event->rect());
        drawSnapshot(p, m_dimmed, dirty);
        if (m_frame.isEmpty()) return;
        drawSnapshot(p, overlayDisplay().snapshot, dirty.intersected(localFromPoints(m_frame)));
        usePoints(p);
        p.setRenderHint(QPainter::Antialiasing);
        QColor tint = overlaystyle::accent;
        tint.setAlpha(36);
        p.fillRect(m_frame, tint);
        p.setPen(QPen(overlaystyle::accent, borderWidth, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
        p.setBrush(Qt::NoBrush);
        const double inset = borderWidth / 2;
        p.drawRect(m_frame.adjusted(inset, inset, -inset, -inset));
        paintLabel(p);
    }

private:
    QRectF pointsFromRootRect(const QRect& root) const {
        return {pointsFromRoot(root.topLeft()),
                pointsFromRoot(QPointF(root.topLeft()) + QPointF(root.width(), root.height()))};
    }

    QRectF paintedArea() const {
        if (m_frame.isEmpty()) return {};
        return m_frame.united(m_label.adjusted(-2, -2, 2, 3)).intersected(m_bounds.adjusted(-4, -4, 4, 4));
    }

    static QFont nameFont() { return overlaystyle::font(13, QFont::Bold); }
    static QFont titleFont() { return overlaystyle::font(13); }

    // A pill with the application's name and the title, centred on the window's visible
    // part and no wider than it.
    void layOutLabel(const QRectF& visible) {
        const QString name = m_window->ownerName.trimmed();
        const QString title = m_window->title.trimmed();
        const QFontMetricsF nameMetrics(nameFont());
        const QFontMetricsF titleMetrics(titleFont());
        const double padX = 12, padY = 7, gap = 8;
        const double room = std::min(labelMaxWidth, visible.width() - 16) - 2 * padX;
        if (room < 40) return;
        m_name = nameMetrics.elidedText(name, Qt::ElideRight, room);
        const double nameWidth = name.isEmpty() ? 0 : nameMetrics.horizontalAdvance(m_name);
        const double titleRoom = room - nameWidth - (name.isEmpty() ? 0 : gap);
        m_title = titleRoom > 30 ? titleMetrics.elidedText(title, Qt::ElideRight, titleRoom) : QString();
        const double titleWidth = m_title.isEmpty() ? 0 : titleMetrics.horizontalAdvance(m_title);
        if (m_name.isEmpty() && m_title.isEmpty()) return;
        const double width = nameWidth + titleWidth + (nameWidth > 0 && titleWidth > 0 ? gap : 0) + 2 * padX;
        const double height = std::ceil(std::max(nameMetrics.height(), titleMetrics.height())) + 2 * padY;
        m_label = QRectF(visible.center() - QPointF(width / 2, height / 2), QSizeF(std::ceil(width), height));
        m_nameWidth = nameWidth;
        m_gap = nameWidth > 0 && titleWidth > 0 ? gap : 0;
    }

    void paintLabel(QPainter& p) const {
        if (m_label.isEmpty()) return;
        overlaystyle::drawPill(p, m_label, 8);
        const QRectF text = m_label.adjusted(12, 0, -12, 0);
        p.setPen(Qt::white);
        p.setFont(nameFont());
        p.drawText(text, Qt::AlignVCenter | Qt::AlignLeft, m_name);
        p.setPen(QColor(0xD4, 0xD4, 0xD4));
        p.setFont(titleFont());
        p.drawText(text.adjusted(m_nameWidth + m_gap, 0, 0, 0), Qt::AlignVCenter | Qt::AlignLeft, m_title);
    }

    QImage m_dimmed;
    QRectF m_bounds;
    std::optional<platform::WindowInfo> m_window;
    QRectF m_frame; // in points; empty when nothing of the window is on this display
    QRectF m_label;
    QString m_name;
    QString m_title;
    double m_nameWidth = 0;
    double m_gap = 0;
};

WindowPickerOverlayController::WindowPickerOverlayController() = default;
WindowPickerOverlayController::~WindowPickerOverlayController() = default;

void WindowPickerOverlayController::start(Completion completion) {
    if (m_started) return;
    m_started = true;
    m_completion = std::move(completion);
    if (auto* screen = platform::services().screen.get()) {
        m_pointer = QPointF(screen->pointerPosition());
        // Listed before the overlay shows, so the list matches the snapshot. Desktops
        // (below) and docks and notifications (above) are not for picking, nor our own
        // windows, which leave the screen for the snapshot.
        const qint64 self = QCoreApplication::applicationPid();
        for (const platform::WindowInfo& window : screen->windows())
            if (window.layer == 0 && !window.frame.isEmpty() && window.pid != self)
                m_candidates.append(window);
    }
    m_session = std::make_unique<OverlaySession>();
    for (const OverlayDisplay& d : grabOverlayDisplays()) {
        auto* window = new WindowPickerWindow(d, this);
        m_windows.append(window);
        m_session->add(window);
    }
    if (m_windows.isEmpty()) {
        finish(std::nullopt);
        return;
    }
    // Never our own windows, should the list be read late.
    for (WindowPickerWindow* window : std::as_const(m_windows)) {
        const auto id = uint32_t(window->winId());
        m_candidates.removeIf([id](const platform::WindowInfo& w) { return w.id == id; });
    }
    // Under Wayland the pointer's place is known only once it moves over an overlay.
    m_hovered = placement::onWayland() ? -1 : windowAt(m_pointer);
    refresh();
    m_session->show(m_pointer);
}

int WindowPickerOverlayController::windowAt(QPointF root) const {
    const QPoint pixel(qFloor(root.x()), qFloor(root.y()));
    for (qsizetype i = 0; i < m_candidates.size(); ++i)
        if (m_candidates[i].frame.contains(pixel)) return int(i);
    return -1;
}

void WindowPickerOverlayController::refresh() {
    const std::optional<platform::WindowInfo> window =
        m_hovered >= 0 ? std::optional(m_candidates[m_hovered]) : std::nullopt;
    for (WindowPickerWindow* w : std::as_const(m_windows))
        w->setHighlight(window);
}

void WindowPickerOverlayController::pointerPressed(QPointF root, Qt::MouseButton button,
                                                   Qt::KeyboardModifiers modifiers) {
    Q_UNUSED(modifiers);
    if (m_finished) return;
    m_pointer = root;
    if (button == Qt::LeftButton) m_pressed = windowAt(root);
}

void WindowPickerOverlayController::pointerMoved(QPointF root, Qt::MouseButtons buttons) {
    if (m_finished) return;
    m_pointer = root;
    if (buttons == Qt::NoButton) m_session->follow(root);
    const int hovered = windowAt(root);
    if (hovered == m_hovered) return;
    m_hovered = hovered;
    refresh();
}

void WindowPickerOverlayController::pointerReleased(QPointF root, Qt::MouseButton button) {
    if (m_finished) return;
    m_pointer = root;
    if (button == Qt::RightButton) {
        finish(std::nullopt);
        return;
    }
    if (button != Qt::LeftButton) return;
    // Picked on release, so the release does not land on the window underneath.
    const int pressed = std::exchange(m_pressed, -1);
    if (pressed < 0 || windowAt(root) != pressed) return;
    const int display = m_session->indexAt(root);
    WindowPick pick;
    pick.windowID = m_candidates[pressed].id;
    if (display >= 0) pick.display = m_windows[display]->display();
    finish(pick);
}

void WindowPickerOverlayController::keyPressed(int key, Qt::KeyboardModifiers modifiers) {
    Q_UNUSED(modifiers);
    if (m_finished) return;
    if (key == Qt::Key_Escape) finish(std::nullopt);
}

void WindowPickerOverlayController::finish(const std::optional<WindowPick>& pick) {
    if (m_finished) return;
    m_finished = true;
    m_session->dismiss(settleMs, [this, pick] {
        Completion done = std::move(m_completion);
        m_completion = nullptr;
        // Last: the completion may well destroy this controller.
        if (done) done(pick);
    });
}

} // namespace ui
