#include "ui/ClickRippleWindow.h"

#include <QBitmap>
#include <QGuiApplication>
#include <QPaintEvent>
#include <QPainter>
#include <QScreen>

#include <cmath>

namespace ui {

namespace {

const QColor kYellow(255, 204, 0);

// The brush pattern whose share of set pixels is nearest to `share` (0 to 1).
Qt::BrushStyle patternFor(double share) {
    struct Pattern {
        double share;
        Qt::BrushStyle style;
    };
    static constexpr Pattern patterns[] = {
        {1.0, Qt::SolidPattern},   {0.94, Qt::Dense1Pattern}, {0.88, Qt::Dense2Pattern},
        {0.63, Qt::Dense3Pattern}, {0.5, Qt::Dense4Pattern},  {0.37, Qt::Dense5Pattern},
        {0.12, Qt::Dense6Pattern}, {0.06, Qt::Dense7Pattern}, {0.0, Qt::NoBrush},
    };
    const Pattern* best = &patterns[0];
    for (const Pattern& pattern : patterns) {
        if (std::abs(pattern.share - share) < std::abs(best->share - share)) best = &pattern;
    }
    return best->style;
}

} // namespace

ClickRippleWindow::ClickRippleWindow(ClickHighlighter& highlighter)
    : PassiveOverlayWindow(QStringLiteral("Pictavia Clicks")), m_highlighter(&highlighter) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    if (const QScreen* screen = QGuiApplication::primaryScreen()) setGeometry(screen->virtualGeometry());
    // The window exists from now on, so that a recording knows it before the first click.
    winId();
    connect(&highlighter, &ClickHighlighter::ripplesChanged, this, &ClickRippleWindow::refresh);
}

std::vector<uint32_t> ClickRippleWindow::windowsInPicture() const {
    return {uint32_t(winId())};
}

QRegion ClickRippleWindow::rippleShape(const ClickHighlighter::Ripple& ripple) const {
    if (!m_highlighter) return {};
    const ClickHighlighter::Look look = m_highlighter->lookOf(ripple);
    if (look.opacity <= 0) return {};
    const QPointF center = QPointF(ripple.center) / devicePixelRatioF() - QPointF(geometry().topLeft());
    const int side = int(std::ceil(look.diameter)) + 2;
    QBitmap bits(side, side);
    bits.fill(Qt::color0);
    QPainter painter(&bits);
    const double border = ClickHighlighter::kBorderWidth;
    const QRectF outer(1, 1, look.diameter, look.diameter);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QBrush(Qt::color1, patternFor(ClickHighlighter::kFillOpacity * look.opacity)));
    painter.drawEllipse(outer.adjusted(border, border, -border, -border));
    painter.setPen(QPen(QBrush(Qt::color1, patternFor(look.opacity)), border));
    painter.setBrush(Qt::NoBrush);
    painter.drawEllipse(outer.adjusted(border / 2, border / 2, -border / 2, -border / 2));
    painter.end();
    return QRegion(bits).translated(qRound(center.x() - side / 2.0), qRound(center.y() - side / 2.0));
}

void ClickRippleWindow::refresh() {
    QRegion shape;
    if (m_highlighter) {
        for (const ClickHighlighter::Ripple& ripple : m_highlighter->ripples())
            shape += rippleShape(ripple);
    }
    if (shape.isEmpty()) {
        hide();
        return;
    }
    setMask(shape);
    if (!isVisible()) {
        show();
        raise();
    }
    update(shape.boundingRect());
}

void ClickRippleWindow::paintEvent(QPaintEvent* event) {
    // The shape decides which pixels show; all of them are yellow.
    QPainter painter(this);
    painter.fillRect(event->rect(), kYellow);
}

} // namespace ui
