#include "ui/ToastWindow.h"
#include "ui/RecordedArea.h"
#include "ui/WindowPlacement.h"

#include <QCursor>
#include <QFontMetrics>
#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>
#include <QTimer>

#include <cstdio>

namespace ui {

namespace {
constexpr int paddingX = 16;
constexpr int paddingY = 10;
constexpr int maxTextWidth = 420;
constexpr int pointerGap = 18;
constexpr qreal cornerRadius = 10;
} // namespace

ToastWindow::ToastWindow(const QString& text, double seconds, std::optional<QPoint> near)
    : QWidget(nullptr, placement::floating(Qt::ToolTip | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                                           Qt::WindowDoesNotAcceptFocus)),
      m_text(text) {
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_DeleteOnClose);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setWindowTitle(QStringLiteral("Pictavia"));

    QFont f = font();
    f.setPointSizeF(f.pointSizeF() * 1.05);
    f.setWeight(QFont::Medium);
    setFont(f);
    const QRect textRect = QFontMetrics(f).boundingRect(QRect(0, 0, maxTextWidth, 1000),
                                                        Qt::TextWordWrap | Qt::AlignLeft, m_text);
    // Fixed, so that a compositor placing it itself (Wayland without the layer shell) floats
    // it at its size rather than tiling it.
    setFixedSize(textRect.width() + 2 * paddingX, textRect.height() + 2 * paddingY);

    // Beside the pointer, kept inside the screen that holds it.
    const QPoint pointer = near.value_or(QCursor::pos());
    QRect frame(pointer + QPoint(pointerGap, pointerGap), size());
    if (const QScreen* screen = QGuiApplication::screenAt(pointer)) {
        const QRect area = screen->availableGeometry();
        if (frame.right() > area.right()) frame.moveRight(pointer.x() - pointerGap);
        if (frame.bottom() > area.bottom()) frame.moveBottom(pointer.y() - pointerGap);
        frame.moveTopLeft(QPoint(std::max(frame.left(), area.left()), std::max(frame.top(), area.top())));
    }
    move(frame.topLeft());
    // Without a compositing manager the transparent corners would show black.
    QPainterPath outline;
    outline.addRoundedRect(QRectF(rect()), cornerRadius, cornerRadius);
    setMask(QRegion(outline.toFillPolygon().toPolygon()));
    QTimer::singleShot(static_cast<int>(seconds * 1000), this, &QWidget::close);
}

void ToastWindow::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    QPainterPath shape;
    shape.addRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius, cornerRadius);
    p.fillPath(shape, QColor(28, 28, 32, 235));
    p.setPen(QColor(255, 255, 255, 40));
    p.drawPath(shape);
    p.setPen(Qt::white);
    p.drawText(rect().adjusted(paddingX, paddingY, -paddingX, -paddingY), Qt::TextWordWrap | Qt::AlignLeft,
               m_text);
}

void WindowToasts::show(const QString& text, double seconds) {
    // Also on stderr, for the session's log and for scripts that started us.
    std::fprintf(stderr, "pictavia: %s\n", qPrintable(text));
    present(text, seconds);
}

void WindowToasts::present(const QString& text, double seconds) {
    if (m_current) m_current->close();
    m_current = new ToastWindow(text, seconds);
    if (recordedArea::active() && !recordedArea::moveOutside(*m_current)) {
        m_current->close();
        m_waiting.append({text, seconds});
        if (m_waiting.size() == 1) recordedArea::afterwards([this] { presentWaiting(); });
        return;
    }
    m_current->show();
}

void WindowToasts::presentWaiting() {
    if (m_waiting.isEmpty()) return;
    // Another recording began meanwhile: they wait for its end too.
    if (recordedArea::active()) return recordedArea::afterwards([this] { presentWaiting(); });
    const auto [text, seconds] = m_waiting.takeFirst();
    present(text, seconds);
    if (!m_waiting.isEmpty())
        QTimer::singleShot(static_cast<int>(seconds * 1000), [this] { presentWaiting(); });
}

void WindowToasts::dismiss() {
    if (m_current) m_current->close();
}

} // namespace ui
