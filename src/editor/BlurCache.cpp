#include "editor/BlurCache.h"

#include "capture/ImageUtils.h"

#include <algorithm>
#include <cmath>

QRect BlurCache::pixelRect(const Annotation& blur, const QSize& imageSize) {
    const QRectF area = QRectF(blur.p1, blur.p2).normalized();
    const QRect outward(QPoint(int(std::floor(area.left())), int(std::floor(area.top()))),
                        QPoint(int(std::ceil(area.right())) - 1, int(std::ceil(area.bottom())) - 1));
    const QRect clipped = outward.intersected(QRect(QPoint(0, 0), imageSize));
    if (clipped.width() < 2 || clipped.height() < 2) return {};
    return clipped;
}

QImage BlurCache::patch(const Annotation& blur, const QImage& base) {
    const QRect rect = pixelRect(blur, base.size());
    if (rect.isEmpty()) {
        m_entries.remove(blur.id);
        return {};
    }
    if (const auto it = m_entries.constFind(blur.id);
        it != m_entries.constEnd() && it->rect == rect && it->style == blur.blurStyle)
        return it->image;

    const QImage cut = base.copy(rect);
    QImage image;
    if (blur.blurStyle == BlurStyle::Pixelate)
        image = ImageUtils::pixelate(cut, std::clamp(rect.width() / 20.0, 8.0, 20.0));
    else
        image = ImageUtils::gaussianBlur(cut, std::max(rect.width() / 28.0, 8.0));
    m_entries.insert(blur.id, Entry{rect, blur.blurStyle, image});
    return image;
}
