#include "ui/KeystrokePanel.h"

#include <QFontDatabase>
#include <QFontMetrics>
#include <QPainter>
#include <QPainterPath>

namespace ui {

namespace {
constexpr double kCornerRadius = 10;
constexpr int kTextSize = 22;
// A dark grey as 75 % of near-black over a light desktop reads; opaque, as nothing blends
// without a compositing manager.
const QColor kBackground(0x2B, 0x2B, 0x2B);
} // namespace

KeystrokePanel::KeystrokePanel(KeystrokeOverlay& overlay)
    : PassiveOverlayWindow(QStringLiteral("Pictavia Keys")), m_overlay(&overlay) {
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPixelSize(kTextSize);
    font.setWeight(QFont::DemiBold);
    setFont(font);
    setGeometry(KeystrokeOverlay::panelGeometry(overlay.screen(), 0));
    // The window exists from now on, so that a recording knows it before the first key.
    winId();
    connect(&overlay, &KeystrokeOverlay::changed, this, &KeystrokePanel::refresh);
}

std::vector<uint32_t> KeystrokePanel::windowsInPicture() const {
    return {uint32_t(winId())};
}

void KeystrokePanel::refresh() {
    if (!m_overlay || m_overlay->opacity() <= 0 || m_overlay->text().isEmpty()) {
        hide();
        return;
    }
    m_text = m_overlay->text();
    const QFontMetrics metrics(font());
    setGeometry(m_overlay->panelGeometry(
        [&metrics](const QString& text) { return metrics.horizontalAdvance(text); }));
    QPainterPath outline;
    outline.addRoundedRect(QRectF(rect()), kCornerRadius, kCornerRadius);
    setMask(QRegion(outline.toFillPolygon().toPolygon()));
    if (!isVisible()) {
        show();
        raise();
    }
    update();
}

void KeystrokePanel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);
    painter.fillRect(rect(), kBackground);
    painter.setPen(Qt::white);
    painter.drawText(rect(), Qt::AlignCenter, m_text);
}

} // namespace ui
