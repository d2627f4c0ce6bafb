#include "editor/SoftShadow.h"

#include "capture/GaussianBlur.h"
#include "editor/CachedLayer.h"

#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QTransform>

#include <algorithm>
#include <cmath>

namespace SoftShadow {

namespace {

// The blur radius of a shadow corresponds to about two standard deviations.
double sigmaOf(double radius) {
    return radius / 2.0;
}

QImage blackWithAlpha(const QImage& mask, double alpha) {
    QImage out(mask.size(), QImage::Format_ARGB32_Premultiplied);
    const int scale = int(std::lround(alpha * 256));
    for (int y = 0; y < mask.height(); ++y) {
        const uchar* in = mask.constScanLine(y);
        auto* line = reinterpret_cast<QRgb*>(out.scanLine(y));
        for (int x = 0; x < mask.width(); ++x)
            line[x] = qRgba(0, 0, 0, (in[x] * scale) >> 8);
    }
    return out;
}

CachedLayer::Layer render(const QTransform& linear, QPointF fraction, const Spec& spec, const QRectF& extent,
                          const std::function<void(QPainter&)>& body) {
    const double deviceScale = std::sqrt(std::abs(linear.determinant()));
    const double radius = spec.blurRadius * deviceScale;
    const int margin = int(std::ceil(radius * 1.5)) + 2;
    const QPointF offset = linear.map(QPointF(0, spec.offsetDown)) + fraction;

    const QRectF device = linear.mapRect(QRectF(QPointF(0, 0), extent.size())).translated(offset);
    const QRect area = device.toAlignedRect().adjusted(-margin, -margin, margin, margin);

    QImage mask(area.size(), QImage::Format_Alpha8);
    mask.fill(0);
    {
        QPainter p(&mask);
        p.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing);
        p.setTransform(QTransform::fromTranslate(-extent.left(), -extent.top()) * linear *
                       QTransform::fromTranslate(offset.x() - area.left(), offset.y() - area.top()));
        body(p);
    }
    return {blackWithAlpha(GaussianBlur::blurred(mask, sigmaOf(radius)), spec.alpha), area.topLeft()};
}

} // namespace

void drawFor(QPainter& painter, const Spec& spec, const QRectF& extent, const QByteArray& key,
             const std::function<void(QPainter&)>& body) {
    if (extent.isEmpty() || spec.alpha <= 0) return;
    QByteArray fullKey = key + 'S';
    for (double value : {spec.blurRadius, spec.offsetDown, spec.alpha})
        fullKey.append(reinterpret_cast<const char*>(&value), sizeof value);
    CachedLayer::drawLayer(painter, extent, fullKey, [&](const CachedLayer::Placement& placement) {
        return render(placement.linear, placement.fraction, spec, extent, body);
    });
}

void drawRoundedRectShadow(QPainter& painter, const QRectF& rect, double cornerRadius, const Spec& spec) {
    if (rect.isEmpty() || spec.alpha <= 0) return;
    // One corner tile holds the rounded corner and the whole fall-off; the straight
    // edges between the tiles are the same profile stretched.
    const double radius = std::max(spec.blurRadius, 0.5);
    const int reach = int(std::ceil(radius * 1.5)) + 1;
    const double corner = std::clamp(cornerRadius, 0.0, std::min(rect.width(), rect.height()) / 2);
    const int tile = reach + int(std::ceil(corner)) + reach;
    const int side = 2 * tile + 1;

    QImage mask(side, side, QImage::Format_Alpha8);
    mask.fill(0);
    {
        QPainter p(&mask);
        p.setRenderHint(QPainter::Antialiasing);
        p.setPen(Qt::NoPen);
        p.setBrush(Qt::black);
        p.drawRoundedRect(QRectF(reach, reach, side - 2 * reach, side - 2 * reach), corner, corner);
    }
    const QImage shadow = blackWithAlpha(GaussianBlur::blurred(mask, sigmaOf(radius)), spec.alpha);

    // Target: the rectangle grown by the fall-off, moved down, on whole pixels: pieces that
    // met inside a pixel would each cover it in part and leave a light seam between them.
    const QRectF grown = rect.adjusted(-reach, -reach, reach, reach).translated(0, spec.offsetDown);
    const QRectF target(QPointF(std::round(grown.left()), std::round(grown.top())),
                        QPointF(std::round(grown.right()), std::round(grown.bottom())));
    const double t = std::floor(std::min({double(tile), target.width() / 2, target.height() / 2}));
    const double xs[4] = {target.left(), target.left() + t, target.right() - t, target.right()};
    const double ys[4] = {target.top(), target.top() + t, target.bottom() - t, target.bottom()};
    const double ss[4] = {0, t, side - t, double(side)};
    painter.save();
    painter.setPen(Qt::NoPen);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    for (int row = 0; row < 3; ++row)
        for (int column = 0; column < 3; ++column) {
            const QRectF to(QPointF(xs[column], ys[row]), QPointF(xs[column + 1], ys[row + 1]));
            if (to.width() <= 0 || to.height() <= 0) continue;
            if (row != 1 && column != 1) {
                // A corner, at its own size.
                painter.drawImage(to.topLeft(), shadow, QRectF(ss[column], ss[row], t, t));
            } else if (row == 1 && column == 1) {
                painter.fillRect(to, shadow.pixelColor(tile, tile));
            } else {
                // An edge: the profile across it, stretched along it. Not a tiled brush: at
                // a fractional position its pattern wraps round and draws the inner end of
                // the profile as a dark line along the outer side.
                const QRectF from = row == 1 ? QRectF(ss[column], tile, t, 1) : QRectF(tile, ss[row], 1, t);
                painter.drawImage(to, shadow, from);
            }
        }
    painter.restore();
}

} // namespace SoftShadow
