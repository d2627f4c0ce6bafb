#include "ui/WebcamBubble.h"

#include "recording/WebcamOverlay.h"
#include "ui/FloatingChrome.h"

#include <QGuiApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>
#include <QWheelEvent>

#include <cmath>

namespace ui {

namespace {

QScreen* screenHolding(const QRect& root) {
    for (QScreen* candidate : QGuiApplication::screens())
        if (chrome::rootRect(candidate, candidate->geometry()).contains(root.center())) return candidate;
    return QGuiApplication::primaryScreen();
}

QPoint rootPoint(const QScreen* screen, const QPointF& global) {
    return chrome::rootRect(screen, QRectF(global, QSizeF(1, 1))).topLeft();
}

} // namespace

WebcamBubble::WebcamBubble(WebcamOverlay& overlay)
    : QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                           Qt::WindowDoesNotAcceptFocus | Qt::X11BypassWindowManagerHint),
      m_overlay(overlay) {
    setWindowTitle(QString::fromLatin1(title));
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setCursor(Qt::OpenHandCursor);
    connect(&overlay, &WebcamOverlay::frameArrived, this, qOverload<>(&QWidget::update));
    connect(&overlay, &WebcamOverlay::bubbleChanged, this, &WebcamBubble::place);
    place(overlay.bubble());
}

void WebcamBubble::place(const QRect& root) {
    QScreen* screen = screenHolding(root);
    if (screen) setScreen(screen);
    const QRect logical = chrome::logicalRect(screen, root).toRect();
    setGeometry(logical);
    // The mask makes the window itself round, with or without a compositor.
    setMask(QRegion(QRect(QPoint(0, 0), logical.size()), QRegion::Ellipse));
    update();
}

void WebcamBubble::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const QRect area = rect();
    const QImage frame = m_overlay.latestFrame();
    if (frame.isNull()) {
        // Until the camera's first picture: a dark disc, so the user sees where it will be.
        painter.fillRect(area, QColor(32, 33, 36));
        return;
    }
    // The picture's middle square fills the bubble.
    const int square = std::min(frame.width(), frame.height());
    const QRect middle((frame.width() - square) / 2, (frame.height() - square) / 2, square, square);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    if (m_overlay.mirrored()) {
        painter.translate(area.width(), 0);
        painter.scale(-1, 1);
    }
    painter.drawImage(QRect(0, 0, area.width(), area.height()), frame, middle);
}

void WebcamBubble::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    m_grab = rootPoint(screen(), event->globalPosition()) - m_overlay.bubble().topLeft();
    setCursor(Qt::ClosedHandCursor);
}

void WebcamBubble::mouseMoveEvent(QMouseEvent* event) {
    if (!m_grab) return;
    m_overlay.moveTo(rootPoint(screen(), event->globalPosition()) - *m_grab);
}

void WebcamBubble::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    m_grab.reset();
    setCursor(Qt::OpenHandCursor);
}

void WebcamBubble::wheelEvent(QWheelEvent* event) {
    // Touchpads send small steps: they add up to whole notches.
    m_wheelRest += event->angleDelta().y() / 120.0;
    const double notches = std::trunc(m_wheelRest);
    if (notches == 0) return;
    m_wheelRest -= notches;
    const double side = m_overlay.bubble().width() / m_overlay.scale();
    m_overlay.resize(side + notches * wheelStep);
}

WebcamBubbleView::WebcamBubbleView(WebcamOverlay& overlay)
    : m_bubble(std::make_unique<WebcamBubble>(overlay)) {
    m_bubble->show();
    m_bubble->raise();
}

WebcamBubbleView::~WebcamBubbleView() = default;

} // namespace ui
