#include "ui/OverlayWindow.h"

#include "capture/ScreenCaptureService.h"
#include "platform/Platform.h"
#include "ui/OwnWindowsOffScreen.h"
#include "ui/WindowPlacement.h"

#include <QCoreApplication>
#include <QEnterEvent>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QWindow>

#include <cmath>

namespace ui {

namespace {

// How long, and how often, to try for the keyboard while another client holds it (the
// hotkey that opened the overlay can still be down).
constexpr int grabRetryMs = 40;
constexpr int grabAttempts = 50;

// A Qt screen in root-window pixels: Qt keeps a screen's origin as it is and divides only
// its size by the screen's device-pixel ratio.
QRect nativeGeometry(const QScreen* screen) {
    const QRect g = screen->geometry();
    return {g.topLeft(), (QSizeF(g.size()) * screen->devicePixelRatio()).toSize()};
}

// Finds Qt's screen for a display and where the display lies in Qt's coordinates. Qt
// usually lists each monitor as a screen of its own (the same name and size); otherwise
// the display is a part of a larger screen.
void place(OverlayDisplay& d) {
    const QRect wanted = d.display.geometry;
    const QList<QScreen*> screens = QGuiApplication::screens();
    // By name and size alone: on Wayland the displays' pixel space puts an output at its
    // logical position times the highest scale, where Qt's screens do not start.
    for (QScreen* screen : screens) {
        if (screen->name() == d.display.name && nativeGeometry(screen).size() == wanted.size()) {
            d.screen = screen;
            d.logicalGeometry = screen->geometry();
            return;
        }
    }
    for (QScreen* screen : screens)
        if (nativeGeometry(screen).contains(wanted.center())) d.screen = screen;
    if (!d.screen) d.screen = QGuiApplication::primaryScreen();
    if (!d.screen) {
        d.logicalGeometry = wanted;
        return;
    }
    const QRect native = nativeGeometry(d.screen);
    const double ratio = d.screen->devicePixelRatio();
    const QPointF origin = QPointF(native.topLeft()) + QPointF(wanted.topLeft() - native.topLeft()) / ratio;
    d.logicalGeometry = QRectF(origin, QSizeF(wanted.size()) / ratio).toRect();
}

} // namespace

QList<OverlayDisplay> grabOverlayDisplays() {
    QList<OverlayDisplay> result;
    const QList<platform::DisplayInfo> displays = ScreenCaptureService::shared().displays();
    // Our windows leave the screen once for all displays rather than once for each.
    QRect everywhere;
    for (const platform::DisplayInfo& display : displays)
        everywhere |= display.geometry;
    const platform::OwnWindowsAway away(platform::services().ownWindows.get(), everywhere);
    for (const platform::DisplayInfo& display : displays) {
        OverlayDisplay d;
        d.display = display;
        if (auto image = ScreenCaptureService::shared().captureDisplay(display)) {
            d.snapshot = std::move(image).value().convertToFormat(QImage::Format_RGB32);
            d.grabbed = !d.snapshot.isNull();
        }
        if (d.snapshot.size() != display.geometry.size()) {
            d.snapshot = QImage(display.geometry.size(), QImage::Format_RGB32);
            d.snapshot.fill(QColor(40, 40, 44));
            d.grabbed = false;
        }
        place(d);
        result.append(d);
    }
    return result;
}

OverlayWindow::OverlayWindow(const OverlayDisplay& display, const QString& title, OverlayInput* input)
    : QWidget(nullptr, Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                           Qt::X11BypassWindowManagerHint),
      m_display(display), m_input(input) {
    setWindowTitle(title);
    // The user works in it: grabs made meanwhile leave it where it is.
    setProperty(OwnWindowsOffScreen::keepProperty, true);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setAttribute(Qt::WA_NoSystemBackground);
    setMouseTracking(true);
    setCursor(Qt::CrossCursor);
    setFocusPolicy(Qt::StrongFocus);
    if (display.screen) setScreen(display.screen);
    setGeometry(display.logicalGeometry);
    m_pixelsPerUnit = display.logicalGeometry.width() > 0
                          ? double(display.display.geometry.width()) / display.logicalGeometry.width()
                          : 1.0;
}

QPointF OverlayWindow::rootFromLocal(QPointF local) const {
    return QPointF(m_display.display.geometry.topLeft()) + local * m_pixelsPerUnit;
}

QPointF OverlayWindow::rootOf(const QMouseEvent* event) const {
    const QPointF root = rootFromLocal(event->position());
    // Where Qt scales, its positions come in whole units of several pixels; the pointer's
    // own position, when it is still there, reaches every pixel.
    // Wayland gives positions to fractions of a unit, and no pointer position of its own.
    if (m_pixelsPerUnit <= 1.0 || placement::onWayland()) return root;
    auto* screen = platform::services().screen.get();
    if (!screen) return root;
    const QPointF exact(screen->pointerPosition());
    const bool near =
        std::abs(exact.x() - root.x()) < m_pixelsPerUnit && std::abs(exact.y() - root.y()) < m_pixelsPerUnit;
    return near ? exact : root;
}

QPointF OverlayWindow::pointsFromRoot(QPointF root) const {
    return (root - QPointF(m_display.display.geometry.topLeft())) / m_display.display.scale;
}

QRectF OverlayWindow::localFromPoints(const QRectF& points) const {
    const double k = 1.0 / pointsPerUnit();
    return {points.x() * k, points.y() * k, points.width() * k, points.height() * k};
}

bool OverlayWindow::grabInput() {
    // Wayland has no grabs: the overlay takes the keyboard as a layer surface or as the
    // window just shown, and the pointer stays with the surface a drag began on.
    if (placement::onWayland()) return true;
    grabKeyboard();
    grabMouse();
    QWindow* window = windowHandle();
    // QWidget's grabs also route Qt's own delivery; the window's say whether X agreed.
    return window && window->setKeyboardGrabEnabled(true) && window->setMouseGrabEnabled(true);
}

void OverlayWindow::releaseInput() {
    releaseKeyboard();
    releaseMouse();
}

void OverlayWindow::drawSnapshot(QPainter& painter, const QImage& image, const QRectF& area) const {
    // Whole pixels of the image: with Qt's scale matching the display, one to one.
    const QRectF pixels(area.x() * m_pixelsPerUnit, area.y() * m_pixelsPerUnit,
                        area.width() * m_pixelsPerUnit, area.height() * m_pixelsPerUnit);
    const QRectF source = QRectF(pixels.toAlignedRect()).intersected(QRectF(image.rect()));
    if (source.isEmpty()) return;
    const QRectF target(source.x() / m_pixelsPerUnit, source.y() / m_pixelsPerUnit,
                        source.width() / m_pixelsPerUnit, source.height() / m_pixelsPerUnit);
    painter.save();
    painter.setRenderHint(QPainter::SmoothPixmapTransform, false);
    painter.setClipRect(area, Qt::IntersectClip);
    painter.drawImage(target, image, source);
    painter.restore();
}

void OverlayWindow::usePoints(QPainter& painter) const {
    const double k = 1.0 / pointsPerUnit();
    painter.scale(k, k);
}

void OverlayWindow::updatePoints(const QRectF& a, const QRectF& b) {
    QRectF area = a.isEmpty() ? b : (b.isEmpty() ? a : a.united(b));
    if (area.isEmpty()) return;
    update(localFromPoints(area).adjusted(-3, -3, 3, 3).toAlignedRect());
}

void OverlayWindow::mousePressEvent(QMouseEvent* event) {
    if (m_input) m_input->pointerPressed(rootOf(event), event->button(), event->modifiers());
}

void OverlayWindow::mouseMoveEvent(QMouseEvent* event) {
    if (m_input) m_input->pointerMoved(rootOf(event), event->buttons());
}

void OverlayWindow::mouseReleaseEvent(QMouseEvent* event) {
    if (m_input) m_input->pointerReleased(rootOf(event), event->button());
}

void OverlayWindow::keyPressEvent(QKeyEvent* event) {
    if (m_input) m_input->keyPressed(event->key(), event->modifiers());
}

void OverlayWindow::enterEvent(QEnterEvent* event) {
    // Wayland tells no client where the pointer is until it comes over one of its surfaces:
    // an overlay shown under a pointer that stays still learns its place from the entry.
    if (m_input && placement::onWayland())
        m_input->pointerMoved(rootFromLocal(event->position()), QGuiApplication::mouseButtons());
}

OverlaySession::~OverlaySession() {
    for (OverlayWindow* window : std::as_const(m_windows)) {
        window->detachInput();
        window->releaseInput();
        window->hide();
        window->deleteLater();
    }
}

void OverlaySession::add(OverlayWindow* window) {
    m_windows.append(window);
}

int OverlaySession::indexAt(QPointF root) const {
    const QPoint pixel(qFloor(root.x()), qFloor(root.y()));
    for (qsizetype i = 0; i < m_windows.size(); ++i)
        if (m_windows[i]->display().geometry.contains(pixel)) return int(i);
    return -1;
}

void OverlaySession::show(QPointF pointer) {
    for (OverlayWindow* window : std::as_const(m_windows)) {
        // Where the compositor places every window, fullscreen on its output is the one
        // place it gives exactly.
        if (placement::byCompositor())
            window->showFullScreen();
        else
            window->show();
        window->raise();
    }
    m_grabRetry.setInterval(grabRetryMs);
    connect(&m_grabRetry, &QTimer::timeout, this, &OverlaySession::retryGrab);
    const int index = indexAt(pointer);
    grabOn(index >= 0 ? index : 0);
}

void OverlaySession::follow(QPointF root) {
    const int index = indexAt(root);
    if (index >= 0 && index != m_grabbed) grabOn(index);
}

void OverlaySession::grabOn(int index) {
    if (index < 0 || index >= m_windows.size()) return;
    if (m_grabbed >= 0 && m_grabbed != index) m_windows[m_grabbed]->releaseInput();
    m_grabbed = index;
    OverlayWindow* window = m_windows[index];
    m_grabAttempts = 0;
    // The keyboard comes through the grab; the focus stays with the window that had it.
    if (window->grabInput()) {
        m_grabRetry.stop();
    } else {
        m_grabRetry.start();
    }
}

void OverlaySession::retryGrab() {
    if (m_grabbed < 0 || ++m_grabAttempts > grabAttempts || m_windows[m_grabbed]->grabInput())
        m_grabRetry.stop();
}

void OverlaySession::dismiss(int delayMs, std::function<void()> then) {
    m_grabRetry.stop();
    for (OverlayWindow* window : std::as_const(m_windows)) {
        window->releaseInput();
        window->hide();
    }
    m_grabbed = -1;
    // Sends the unmaps on their way; the wait lets the server (and, without a compositor,
    // the windows that were underneath) catch up before anyone grabs the screen.
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    QTimer::singleShot(delayMs, this, std::move(then));
}

QImage dimmed(const QImage& snapshot, double alpha) {
    QImage result = snapshot.copy();
    QPainter p(&result);
    p.fillRect(result.rect(), QColor(0, 0, 0, int(std::lround(alpha * 255))));
    return result;
}

} // namespace ui
