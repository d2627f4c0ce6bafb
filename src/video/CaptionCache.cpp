#include "video/CaptionCache.h"

#include <QFont>
#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>
#include <QTextLayout>

#include <algorithm>
#include <cmath>

namespace {

// Text height and margins as shares of the frame's height (at caption scale 1), and the
// share of the frame's width a line may take before it wraps.
constexpr double textShare = 0.042;
constexpr double marginShare = 0.06;
constexpr double widthShare = 0.84;

QColor textColor(CaptionColor color) {
    return color == CaptionColor::yellow ? QColor(255, 214, 10) : QColor(Qt::white);
}

// The text broken into lines no wider than `width`.
QList<QString> wrapped(const QString& text, const QFont& font, double width) {
    QList<QString> lines;
    QTextLayout layout(text, font);
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width);
        lines.append(text.mid(line.textStart(), line.textLength()).trimmed());
    }
    layout.endLayout();
    return lines;
}

} // namespace

CaptionCache::CaptionCache(const StudioStyle& style) : m_style(style) {}

QImage CaptionCache::render(const CaptionLine& line, const StudioStyle& style, QSize frame) {
    const QString text = line.text.simplified();
    if (text.isEmpty() || frame.isEmpty()) return {};
    const double unit = frame.height() * textShare * std::clamp(style.captionScale, 0.3, 4.0);
    QFont font;
    font.setPixelSize(std::max(6, int(std::lround(unit))));
    font.setWeight(QFont::DemiBold);
    const QFontMetricsF metrics(font);
    const QList<QString> lines = wrapped(text, font, frame.width() * widthShare);

    double widest = 0;
    for (const QString& l : lines)
        widest = std::max(widest, metrics.horizontalAdvance(l));
    const bool box = style.captionLook == CaptionLook::box;
    // The box's inner margin, or room for the outline's stroke.
    const double padX = box ? unit * 0.6 : unit * 0.15;
    const double padY = box ? unit * 0.3 : unit * 0.15;
    const double lineHeight = metrics.lineSpacing();
    const QSize size(int(std::ceil(widest + 2 * padX)), int(std::ceil(lineHeight * lines.size() + 2 * padY)));

    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing);
    if (box) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(0, 0, 0, 178));
        painter.drawRoundedRect(QRectF(image.rect()), unit * 0.35, unit * 0.35);
    }
    QPainterPath path;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const double x = (size.width() - metrics.horizontalAdvance(lines[i])) / 2;
        const double baseline = padY + lineHeight * double(i) + metrics.ascent();
        path.addText(QPointF(x, baseline), font, lines[i]);
    }
    if (!box) {
        painter.setPen(QPen(QColor(0, 0, 0, 230), unit * 0.16, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.setBrush(Qt::NoBrush);
        painter.drawPath(path);
    }
    painter.setPen(Qt::NoPen);
    painter.setBrush(textColor(style.captionColor));
    painter.drawPath(path);
    return image;
}

QImage CaptionCache::image(const CaptionLine& line, QSize frame) const {
    {
        const std::lock_guard lock(m_mutex);
        const auto found = m_images.constFind(line.id);
        if (found != m_images.constEnd() && found->frame == frame && found->text == line.text)
            return found->image;
    }
    // Drawn outside the lock: two threads may both draw a new line, which is harmless.
    QImage drawn = render(line, m_style, frame);
    const std::lock_guard lock(m_mutex);
    m_images.insert(line.id, Entry{frame, line.text, drawn});
    return drawn;
}

QPoint CaptionCache::place(QSize image, QSize frame) const {
    const double margin = frame.height() * marginShare;
    const int x = (frame.width() - image.width()) / 2;
    const int y = m_style.captionPosition == CaptionPosition::top
                      ? int(std::lround(margin))
                      : int(std::lround(frame.height() - margin)) - image.height();
    return {x, y};
}

void CaptionCache::draw(QPainter& painter, const CaptionLine& line, QSize frame) const {
    const QImage drawn = image(line, frame);
    if (drawn.isNull()) return;
    painter.drawImage(place(drawn.size(), frame), drawn);
}
