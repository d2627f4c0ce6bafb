#include "ui/CountdownWindow.h"

#include "capture/ImageUtils.h"
#include "ui/FloatingChrome.h"
#include "ui/PassiveOverlayWindow.h"

#include <QFontMetricsF>
#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>
#include <QWidget>

namespace ui {

namespace {
constexpr double side = 200;
constexpr double cornerRadius = 28;
constexpr double digitsSize = 110;
constexpr double blurRadius = 40; // points
// How long the windows uncovered by the panel get to repaint before a grab.
constexpr int settleMilliseconds = 60;
} // namespace

class CountdownView : public PassiveOverlayWindow {
public:
    CountdownView() : PassiveOverlayWindow(QStringLiteral("Pictavia Countdown")) {
        QFont digits = QGuiApplication::font();
        digits.setPixelSize(qRound(digitsSize));
        digits.setWeight(QFont::Medium);
        setFont(digits);
    }

    void present(const platform::DisplayInfo& display) {
        if (isVisible()) dismiss();
        QScreen* screen = chrome::screenFor(display);
        QRect panel(0, 0, qRound(side), qRound(side));
        if (screen) {
            panel.moveCenter(screen->geometry().center());
            setScreen(screen);
        }
        const double ratio = screen ? screen->devicePixelRatio() : 1.0;
        setGeometry(panel);
        m_behind.track(chrome::rootRect(screen, panel));
        m_face = face(ratio);
        QPainterPath outline;
        outline.addRoundedRect(QRectF(rect()), cornerRadius, cornerRadius);
        setMask(QRegion(outline.toFillPolygon().toPolygon()));
        QWidget::show();
        raise();
    }

    void setSeconds(int seconds) {
        if (seconds == m_seconds) return;
        m_seconds = seconds;
        update();
    }

    void dismiss() {
        if (!isVisible()) return;
        QWidget::hide();
        m_behind.release();
        chrome::settle(settleMilliseconds);
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setRenderHint(QPainter::TextAntialiasing);
        painter.drawImage(QRectF(rect()), m_face, QRectF(m_face.rect()));
        if (m_seconds <= 0) return;
        // Centred on the digits' own outline: the font's box has room below for descenders.
        const QString text = QString::number(m_seconds);
        const QRectF ink = QFontMetricsF(font()).tightBoundingRect(text);
        const QPointF baseline(width() / 2.0 - ink.center().x(), height() / 2.0 - ink.center().y());
        painter.setPen(Qt::white);
        painter.drawText(baseline, text);
    }

private:
    // The panel without its digits, in device pixels: the desktop at the corners, the
    // blurred and darkened desktop inside the rounded outline, edges antialiased.
    QImage face(double ratio) const {
        const QImage desktop = m_behind.composed(ratio);
        QImage material = ImageUtils::gaussianBlur(desktop, blurRadius * ratio)
                              .convertToFormat(QImage::Format_ARGB32_Premultiplied);
        {
            QPainter tint(&material);
            tint.fillRect(material.rect(), QColor(14, 14, 16, 150));
        }
        QImage result = desktop.convertToFormat(QImage::Format_ARGB32_Premultiplied);
        QPainter painter(&result);
        painter.setRenderHint(QPainter::Antialiasing);
        // One point in from the window's outline, so the antialiased edge lies inside the mask.
        QPainterPath shape;
        shape.addRoundedRect(QRectF(result.rect()).adjusted(ratio, ratio, -ratio, -ratio),
                             (cornerRadius - 1) * ratio, (cornerRadius - 1) * ratio);
        painter.fillPath(shape, QBrush(material));
        painter.setPen(QPen(QColor(255, 255, 255, 34), ratio));
        painter.drawPath(shape);
        return result;
    }

    chrome::Backdrop m_behind{this};
    QImage m_face;
    int m_seconds = 0;
};

CountdownWindow::CountdownWindow() : m_view(std::make_unique<CountdownView>()) {}

CountdownWindow::~CountdownWindow() = default;

void CountdownWindow::show(const platform::DisplayInfo& display) {
    m_view->present(display);
}

void CountdownWindow::setSeconds(int seconds) {
    m_view->setSeconds(seconds);
}

void CountdownWindow::hide() {
    m_view->dismiss();
}

} // namespace ui
