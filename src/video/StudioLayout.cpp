#include "video/StudioLayout.h"

#include <algorithm>
#include <cmath>

namespace StudioLayout {

namespace {

int even(double value) {
    return std::max(2, int(std::lround(value / 2)) * 2);
}

// The largest rectangle of `aspect` (width / height) inside `box`, centred.
QRectF fitted(QSizeF aspect, const QRectF& box) {
    if (aspect.isEmpty() || box.isEmpty()) return box;
    const double scale = std::min(box.width() / aspect.width(), box.height() / aspect.height());
    const QSizeF size = aspect * scale;
    return QRectF(box.center() - QPointF(size.width() / 2, size.height() / 2), size);
}

// `size` centred on `center`, moved back inside `bounds` where it would leave it.
QRectF clampedAround(QPointF center, QSizeF size, const QRectF& bounds) {
    const double w = std::min(size.width(), bounds.width());
    const double h = std::min(size.height(), bounds.height());
    const double x = std::clamp(center.x() - w / 2, bounds.left(), bounds.right() - w);
    const double y = std::clamp(center.y() - h / 2, bounds.top(), bounds.bottom() - h);
    return QRectF(x, y, w, h);
}

} // namespace

bool hasBackdrop(const StudioStyle& style) {
    return style.background != BackgroundStyle::None;
}

QSize frameSize(const StudioStyle& style, QSize video) {
    if (video.isEmpty()) return video;
    const double longer = std::max(video.width(), video.height());
    switch (style.shape) {
    case StudioShape::original: {
        if (!hasBackdrop(style)) return video;
        // The padding is a share of the frame's shorter side, which the padding itself grows.
        const double share = std::clamp(style.padding, 0.0, 0.2);
        const double pad = share * std::min(video.width(), video.height()) / (1 - 2 * share);
        return {even(video.width() + 2 * pad), even(video.height() + 2 * pad)};
    }
    case StudioShape::wide:
        return {even(longer), even(longer * 9 / 16)};
    case StudioShape::vertical:
        return {even(longer * 9 / 16), even(longer)};
    case StudioShape::square:
        return {even(longer), even(longer)};
    }
    return video;
}

QRect card(const StudioStyle& style, QSize video, QSize target) {
    const QRectF whole(QPointF(0, 0), QSizeF(target));
    const double pad = hasBackdrop(style)
                           ? std::clamp(style.padding, 0.0, 0.2) * std::min(target.width(), target.height())
                           : 0;
    const QRectF inside = whole.adjusted(pad, pad, -pad, -pad);
    const QRectF place = style.framing == StudioFraming::follow ? inside : fitted(QSizeF(video), inside);
    return QRect(QPoint(int(std::lround(place.left())), int(std::lround(place.top()))),
                 QPoint(int(std::lround(place.right())) - 1, int(std::lround(place.bottom())) - 1));
}

double cornerRadius(const StudioStyle& style, QRect card) {
    if (!hasBackdrop(style)) return 0;
    return std::clamp(style.cornerRadius, 0.0, 0.5) * std::min(card.width(), card.height());
}

QRectF view(const StudioStyle& style, QSize video, QSizeF card, const ZoomTrack::State& zoom,
            std::optional<QPointF> pan, QPointF aim) {
    const QRectF picture(QPointF(0, 0), QSizeF(video));
    // Unzoomed: the whole picture, or in a filled frame the largest part of the card's shape,
    // centred on the pointer.
    QRectF base = picture;
    if (style.framing == StudioFraming::follow && !card.isEmpty()) {
        const QRectF part = fitted(card, picture);
        base = clampedAround(pan.value_or(picture.center()), part.size(), picture);
    }
    const double scale = std::max(zoom.scale, 1.0);
    if (scale <= 1.0) return base;
    const QPointF center = base.center() + zoom.progress * (aim - base.center());
    return clampedAround(center, base.size() / scale, picture);
}

QTransform pictureToFrame(const QRectF& view, const QRect& card) {
    if (view.isEmpty()) return QTransform::fromTranslate(card.left(), card.top());
    return QTransform::fromTranslate(-view.left(), -view.top()) *
           QTransform::fromScale(card.width() / view.width(), card.height() / view.height()) *
           QTransform::fromTranslate(card.left(), card.top());
}

} // namespace StudioLayout
