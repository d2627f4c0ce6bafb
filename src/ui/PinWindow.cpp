#include "ui/PinWindow.h"

#include "app/FloatingLayout.h"
#include "app/QuickActions.h"
#include "capture/FileNamer.h"
#include "capture/SaveFolder.h"
#include "ui/RecordedArea.h"
#include "ui/WindowPlacement.h"

#include <QCloseEvent>
#include <QContextMenuEvent>
#include <QDateTime>
#include <QDir>
#include <QFileDialog>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>

#include <algorithm>
#include <cmath>

namespace ui {

namespace {

const chrome::ShadowStyle shadowStyle{6, 3, 0.5, 2};
constexpr int zoomPillMilliseconds = 900;

// The border sits outside the image and the shadow outside the border.
QMarginsF frameMargins() {
    return chrome::shadowReach(shadowStyle) + QMarginsF(1, 1, 1, 1);
}

QScreen* screenAtRoot(const QPoint& rootPoint) {
    for (QScreen* screen : QGuiApplication::screens())
        if (chrome::rootRect(screen, screen->geometry()).contains(rootPoint)) return screen;
    return QGuiApplication::primaryScreen();
}

const QString menuStyle =
    QStringLiteral("QMenu { background: #1E1E1E; color: white; border: 1px solid #3A3A3A; padding: 4px; }"
                   "QMenu::item { padding: 5px 22px 5px 14px; border-radius: 4px; }"
                   "QMenu::item:selected { background: #3B82F6; }"
                   "QMenu::separator { height: 1px; background: #3A3A3A; margin: 4px 6px; }");

} // namespace

PinWindow* PinWindow::show(const QImage& image, double scale, const QRect& nearRootRect) {
    auto* pin = new PinWindow(image, scale > 0 ? scale : 1.0);
    QScreen* screen = screenAtRoot(nearRootRect.center());
    pin->setScreen(screen);
    const QSizeF points = QSizeF(image.size()) / pin->m_scale;
    const auto placement =
        FloatingLayout::pin::place(points, chrome::logicalRect(screen, nearRootRect),
                                   screen ? QRectF(screen->availableGeometry()) : QRectF());
    pin->m_zoom = placement.zoom;
    pin->place(placement.rect);
    // Out of a running recording's picture: it shows when the recording ends.
    if (recordedArea::covers(chrome::rootRect(screen, pin->frameGeometry()))) {
        recordedArea::hold(pin);
        return pin;
    }
    pin->QWidget::show();
    pin->raise();
    pin->activateWindow();
    return pin;
}

PinWindow::PinWindow(const QImage& image, double scale)
    : QWidget(nullptr, placement::floating(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint)),
      m_image(image), m_scale(scale) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QStringLiteral("Pictavia Pin"));
    setFocusPolicy(Qt::StrongFocus);
    setCursor(Qt::OpenHandCursor);
    m_zoomPill.setSingleShot(true);
    m_zoomPill.setInterval(zoomPillMilliseconds);
    connect(&m_zoomPill, &QTimer::timeout, this, [this] {
        update();
        m_behind.changed();
    });
}

void PinWindow::place(const QRectF& imageRect) {
    m_globalImage = imageRect;
    const auto frame = FloatingLayout::pin::frame(imageRect, frameMargins());
    m_imageRect = frame.image;
    m_behind.track(chrome::rootRect(screen(), frame.window));
    const bool resized = frame.window.size() != size();
    setGeometry(frame.window);
    if (resized) {
        QPainterPath outline;
        const double corner = frameMargins().left();
        outline.addRoundedRect(QRectF(rect()), corner, corner);
        setMask(QRegion(outline.toFillPolygon().toPolygon()));
    }
    update();
}

void PinWindow::zoomBy(double notches, const QPointF& anchor) {
    const QSizeF points = QSizeF(m_image.size()) / m_scale;
    const double ratio = devicePixelRatioF();
    const double next =
        FloatingLayout::pin::zoomed(m_zoom, notches, FloatingLayout::pin::zoomLimit(points, ratio));
    if (next == m_zoom) return;
    QRectF rect = FloatingLayout::pin::scaledAround(m_globalImage, anchor, next / m_zoom);
    rect.setSize(points * next);
    m_zoom = next;
    place(rect);
    m_zoomPill.start();
}

void PinWindow::zoomTo(double zoom) {
    const QSizeF points = QSizeF(m_image.size()) / m_scale;
    m_zoom = std::clamp(zoom, FloatingLayout::pin::minZoom,
                        FloatingLayout::pin::zoomLimit(points, devicePixelRatioF()));
    QRectF rect(QPointF(), points * m_zoom);
    rect.moveCenter(m_globalImage.center());
    place(screen() ? FloatingLayout::keptInside(rect, screen()->availableGeometry()) : rect);
}

void PinWindow::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const double ratio = devicePixelRatioF();
    m_behind.paint(painter, ratio);
    const QRectF border = m_imageRect.adjusted(-1, -1, 1, 1);
    chrome::paintShadow(painter, border, shadowStyle, ratio);

    // At 100 % the pixels go to the screen one for one; zoomed out they are reduced once
    // and kept; zoomed in they are enlarged as they are, without smoothing, to be looked at.
    const QSize devicePixels = (m_imageRect.size() * ratio).toSize();
    if (devicePixels.width() < m_image.width()) {
        if (m_reduced.size() != devicePixels)
            m_reduced = m_image.scaled(devicePixels, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        painter.drawImage(m_imageRect, m_reduced, QRectF(m_reduced.rect()));
    } else {
        painter.drawImage(m_imageRect, m_image, QRectF(m_image.rect()));
    }

    painter.setPen(QPen(chrome::accent, 1));
    painter.drawRect(m_imageRect.adjusted(-0.5, -0.5, 0.5, 0.5));

    if (m_zoomPill.isActive()) {
        QFont pillFont = font();
        pillFont.setPixelSize(12);
        pillFont.setWeight(QFont::DemiBold);
        const QString text = QStringLiteral("%1%").arg(qRound(m_zoom * 100));
        const double w = QFontMetricsF(pillFont).horizontalAdvance(text) + 20;
        QRectF pill(0, 0, w, 24);
        pill.moveCenter(QPointF(m_imageRect.center().x(), m_imageRect.bottom() - 22));
        if (pill.top() < m_imageRect.top()) pill.moveCenter(m_imageRect.center());
        chrome::paintPill(painter, pill, text, pillFont);
    }
}

bool PinWindow::event(QEvent* event) {
    // The window manager raises a window it activates; the backdrops follow.
    if (event->type() == QEvent::WindowActivate) m_behind.raise();
    return QWidget::event(event);
}

void PinWindow::mousePressEvent(QMouseEvent* event) {
    raise();
    m_behind.raise();
    if (event->button() != Qt::LeftButton) return;
    m_dragStart = event->globalPosition();
    m_dragImage = m_globalImage;
    setCursor(Qt::ClosedHandCursor);
}

void PinWindow::mouseMoveEvent(QMouseEvent* event) {
    if (!m_dragStart || !(event->buttons() & Qt::LeftButton)) return;
    place(m_dragImage.translated(event->globalPosition() - *m_dragStart));
}

void PinWindow::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    m_dragStart.reset();
    setCursor(Qt::OpenHandCursor);
}

void PinWindow::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) close();
}

void PinWindow::wheelEvent(QWheelEvent* event) {
    const QPoint delta = event->angleDelta();
    const int steps = delta.y() != 0 ? delta.y() : delta.x();
    if (steps != 0) zoomBy(steps / 120.0, event->globalPosition());
    event->accept();
}

void PinWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape)
        close();
    else if (event->matches(QKeySequence::Copy))
        copy();
    else
        QWidget::keyPressEvent(event);
}

void PinWindow::contextMenuEvent(QContextMenuEvent* event) {
    QMenu menu(this);
    menu.setStyleSheet(menuStyle);
    menu.addAction(QStringLiteral("Copy"), this, &PinWindow::copy);
    menu.addAction(QStringLiteral("Save…"), this, &PinWindow::saveAs);
    menu.addSeparator();
    menu.addAction(QStringLiteral("Close"), this, &QWidget::close);
    menu.exec(event->globalPos());
}

void PinWindow::closeEvent(QCloseEvent* event) {
    m_behind.release();
    QWidget::closeEvent(event);
}

void PinWindow::copy() {
    QImage image = m_image;
    image.setDevicePixelRatio(m_scale);
    QuickActions::copy(QString(), image);
}

void PinWindow::saveAs() {
    const QString folder = SaveFolder::directory();
    const QString name =
        FileNamer::filename(QStringLiteral("png"), QDateTime::currentDateTime(), {}, m_scale);
    const QString path = QFileDialog::getSaveFileName(
        this, QStringLiteral("Save Pin"), FileNamer::uniquePath(folder, name),
        QStringLiteral(
            "PNG image (*.png);;JPEG image (*.jpg *.jpeg);;WebP image (*.webp);;HEIF image (*.heic)"));
    if (!path.isEmpty()) QuickActions::saveImageAs(m_image, path, m_scale);
}

} // namespace ui
