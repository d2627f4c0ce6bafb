#include "video/StudioBackdrop.h"

#include "editor/SoftShadow.h"
#include "video/StudioLayout.h"

#include <QPainter>

#include <cmath>
#include <cstring>

namespace {

SoftShadow::Spec shadowFor(QSize target) {
    const double unit = std::min(target.width(), target.height());
    return {std::max(unit * 0.03, 2.0), std::max(unit * 0.008, 1.0), 0.45};
}

// Rows [top, bottom) and columns [left, right) of `from` copied into `to`, both of one format.
void copyBlock(const QImage& from, QImage& to, int left, int top, int right, int bottom) {
    left = std::max(left, 0);
    top = std::max(top, 0);
    right = std::min({right, from.width(), to.width()});
    bottom = std::min({bottom, from.height(), to.height()});
    if (left >= right || top >= bottom) return;
    const int depth = from.depth() / 8;
    const size_t bytes = size_t(right - left) * depth;
    for (int y = top; y < bottom; ++y)
        std::memcpy(to.scanLine(y) + left * depth, from.constScanLine(y) + left * depth, bytes);
}

} // namespace

StudioBackdrop StudioBackdrop::make(const StudioStyle& style, QSize video, QSize target,
                                    QImage::Format format, const QImage& background) {
    StudioBackdrop backdrop;
    backdrop.card = StudioLayout::card(style, video, target);
    if (!StudioLayout::hasBackdrop(style)) return backdrop;

    const double radius = StudioLayout::cornerRadius(style, backdrop.card);
    backdrop.base = QImage(target, format);
    backdrop.base.fill(Qt::black);
    {
        QPainter painter(&backdrop.base);
        painter.setRenderHint(QPainter::Antialiasing);
        Backgrounds::paint(painter, QRectF(backdrop.base.rect()), style.background, background);
        if (style.shadow)
            SoftShadow::drawRoundedRectShadow(painter, QRectF(backdrop.card), radius, shadowFor(target));
    }
    if (radius < 0.5) return backdrop;

    // Each corner: the base where the rounded card leaves it uncovered, transparent inside.
    const int side =
        std::min({int(std::ceil(radius)) + 1, backdrop.card.width() / 2, backdrop.card.height() / 2});
    const QRect& c = backdrop.card;
    backdrop.cornerPlaces = {QPoint(c.left(), c.top()), QPoint(c.right() + 1 - side, c.top()),
                             QPoint(c.left(), c.bottom() + 1 - side),
                             QPoint(c.right() + 1 - side, c.bottom() + 1 - side)};
    for (size_t i = 0; i < 4; ++i) {
        const QPoint at = backdrop.cornerPlaces[i];
        QImage corner = backdrop.base.copy(QRect(at, QSize(side, side)))
                            .convertToFormat(QImage::Format_ARGB32_Premultiplied);
        QPainter painter(&corner);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setCompositionMode(QPainter::CompositionMode_DestinationOut);
        painter.setPen(Qt::NoPen);
        painter.setBrush(Qt::black);
        painter.drawRoundedRect(QRectF(c).translated(-at), radius, radius);
        painter.end();
        backdrop.corners[i] = std::move(corner);
    }
    return backdrop;
}

void StudioBackdrop::drawBase(QImage& target) const {
    if (base.isNull()) {
        // No background: bars around a fitted recording are black.
        if (card == target.rect()) return;
        QPainter painter(&target);
        const QRegion around = QRegion(target.rect()).subtracted(card);
        for (const QRect& r : around)
            painter.fillRect(r, Qt::black);
        return;
    }
    if (base.format() != target.format() || base.size() != target.size()) {
        QPainter painter(&target);
        painter.setCompositionMode(QPainter::CompositionMode_Source);
        painter.drawImage(0, 0, base);
        return;
    }
    copyBlock(base, target, 0, 0, target.width(), card.top());
    copyBlock(base, target, 0, card.bottom() + 1, target.width(), target.height());
    copyBlock(base, target, 0, card.top(), card.left(), card.bottom() + 1);
    copyBlock(base, target, card.right() + 1, card.top(), target.width(), card.bottom() + 1);
}

void StudioBackdrop::drawCorners(QPainter& painter) const {
    if (corners[0].isNull()) return;
    for (size_t i = 0; i < 4; ++i)
        painter.drawImage(cornerPlaces[i], corners[i]);
}
