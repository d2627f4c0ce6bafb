#include "editor/BackgroundStyle.h"

#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QRadialGradient>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace Backgrounds {

namespace {

struct Info {
    BackgroundStyle style;
    const char* raw;
    const char* label;
};

constexpr std::array<Info, 17> infos{{
    {BackgroundStyle::None, "none", "None"},
    {BackgroundStyle::White, "white", "White"},
    {BackgroundStyle::Black, "black", "Black"},
    {BackgroundStyle::Ocean, "ocean", "Ocean"},
    {BackgroundStyle::Sunset, "sunset", "Sunset"},
    {BackgroundStyle::Forest, "forest", "Forest"},
    {BackgroundStyle::Lavender, "lavender", "Lavender"},
    {BackgroundStyle::Candy, "candy", "Candy"},
    {BackgroundStyle::Midnight, "midnight", "Midnight"},
    {BackgroundStyle::Corvanta, "corvanta", "Corvanta"},
    {BackgroundStyle::GlassOcean, "glassOcean", "Glass Ocean"},
    {BackgroundStyle::GlassSunset, "glassSunset", "Glass Sunset"},
    {BackgroundStyle::GlassLavender, "glassLavender", "Glass Lavender"},
    {BackgroundStyle::GlassCandy, "glassCandy", "Glass Candy"},
    {BackgroundStyle::GlassCorvanta, "glassCorvanta", "Corvanta Glass"},
    {BackgroundStyle::Desktop, "desktop", "Desktop"},
    {BackgroundStyle::CustomImage, "customImage", "Image"},
}};

const Info& info(BackgroundStyle style) {
    return infos[std::size_t(style)];
}

QList<QColor> hex(std::initializer_list<QRgb> values) {
    QList<QColor> colors;
    for (QRgb value : values)
        colors.append(QColor::fromRgb(value));
    return colors;
}

// Each glass style is the matching flat gradient under frosted layers.
BackgroundStyle flatOf(BackgroundStyle style) {
    switch (style) {
    case BackgroundStyle::GlassOcean:
        return BackgroundStyle::Ocean;
    case BackgroundStyle::GlassSunset:
        return BackgroundStyle::Sunset;
    case BackgroundStyle::GlassLavender:
        return BackgroundStyle::Lavender;
    case BackgroundStyle::GlassCandy:
        return BackgroundStyle::Candy;
    case BackgroundStyle::GlassCorvanta:
        return BackgroundStyle::Corvanta;
    default:
        return style;
    }
}

QColor towardsWhite(const QColor& color, double amount, double alpha) {
    const QColor rgb = color.toRgb();
    const auto mix = [amount](float c) { return float(c + (1.0 - c) * amount); };
    return QColor::fromRgbF(mix(rgb.redF()), mix(rgb.greenF()), mix(rgb.blueF()), float(alpha));
}

// A gradient running from `from` to `to` with the colours evenly spaced.
QLinearGradient evenGradient(QPointF from, QPointF to, const QList<QColor>& colors) {
    QLinearGradient gradient(from, to);
    const qsizetype last = std::max<qsizetype>(colors.size() - 1, 1);
    for (qsizetype i = 0; i < colors.size(); ++i)
        gradient.setColorAt(double(i) / double(last), colors[i]);
    return gradient;
}

void paintCovering(QPainter& painter, const QRectF& rect, const QImage& image) {
    if (image.isNull() || rect.isEmpty()) return;
    // The largest part of the image with the rectangle's aspect, centred.
    const double scale = std::max(rect.width() / image.width(), rect.height() / image.height());
    const QSizeF source(rect.width() / scale, rect.height() / scale);
    const QRectF sourceRect(
        QPointF((image.width() - source.width()) / 2, (image.height() - source.height()) / 2), source);
    painter.save();
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(rect, image, sourceRect);
    painter.restore();
}

} // namespace

QList<BackgroundStyle> allCases() {
    QList<BackgroundStyle> cases;
    for (const Info& entry : infos)
        cases.append(entry.style);
    return cases;
}

QString raw(BackgroundStyle style) {
    return QLatin1String(info(style).raw);
}

std::optional<BackgroundStyle> parse(QStringView text) {
    for (const Info& entry : infos)
        if (text == QLatin1String(entry.raw)) return entry.style;
    return std::nullopt;
}

QString label(BackgroundStyle style) {
    return QLatin1String(info(style).label);
}

bool isImageBacked(BackgroundStyle style) {
    return style == BackgroundStyle::Desktop || style == BackgroundStyle::CustomImage;
}

bool isGlass(BackgroundStyle style) {
    return flatOf(style) != style;
}

QList<BackgroundStyle> pickerCases() {
    QList<BackgroundStyle> cases = allCases();
    cases.removeIf(isImageBacked);
    return cases;
}

QList<QColor> swatchColors(BackgroundStyle style) {
    switch (flatOf(style)) {
    case BackgroundStyle::White:
        return {Qt::white};
    case BackgroundStyle::Black:
        return {Qt::black};
    case BackgroundStyle::Ocean:
        return hex({0x38BDF8, 0x2563EB, 0x1E3A8A});
    case BackgroundStyle::Sunset:
        return hex({0xFBBF24, 0xF97316, 0xDB2777});
    case BackgroundStyle::Forest:
        return hex({0xA3E635, 0x10B981, 0x065F46});
    case BackgroundStyle::Lavender:
        return hex({0xE9D5FF, 0xC4B5FD, 0x8B5CF6});
    case BackgroundStyle::Candy:
        return hex({0xF9A8D4, 0xC084FC, 0x60A5FA});
    case BackgroundStyle::Midnight:
        return hex({0x1E293B, 0x1E1B4B, 0x020617});
    case BackgroundStyle::Corvanta:
        return brandColors();
    default:
        return {};
    }
}

QList<QColor> brandColors() {
    return hex({0x3B82F6, 0x6366F1, 0x8B5CF6});
}

void paint(QPainter& painter, const QRectF& rect, BackgroundStyle style, const QImage& image) {
    switch (style) {
    case BackgroundStyle::None:
        return;
    case BackgroundStyle::Desktop:
    case BackgroundStyle::CustomImage:
        paintCovering(painter, rect, image);
        return;
    case BackgroundStyle::White:
    case BackgroundStyle::Black:
        painter.fillRect(rect, swatchColors(style).constFirst());
        return;
    default:
        break;
    }
    const QList<QColor> colors = swatchColors(style);
    painter.fillRect(rect, evenGradient(rect.topLeft(), rect.bottomRight(), colors));
    if (isGlass(style)) drawGlassLayers(painter, rect, colors);
}

void drawGlassLayers(QPainter& painter, const QRectF& rect, const QList<QColor>& colors) {
    if (colors.isEmpty() || rect.isEmpty()) return;
    struct Blob {
        double x, y, r;
        qsizetype colorIndex;
        double alpha;
    };
    const qsizetype n = colors.size();
    const Blob blobs[] = {
        {0.18, 0.22, 0.5, n - 1, 0.55},
        {0.86, 0.18, 0.42, 0, 0.4},
        {0.72, 0.85, 0.55, std::min<qsizetype>(n - 1, 1), 0.45},
        {0.08, 0.88, 0.34, n - 1, 0.4},
    };
    const double side = std::max(rect.width(), rect.height());

    painter.save();
    painter.setPen(Qt::NoPen);
    painter.setClipRect(rect, Qt::IntersectClip);
    for (const Blob& blob : blobs) {
        const double radius = side * blob.r;
        const QPointF centre(rect.left() + blob.x * rect.width(), rect.top() + blob.y * rect.height());
        QRadialGradient gradient(centre, radius);
        gradient.setColorAt(0, towardsWhite(colors[blob.colorIndex], 0.45, blob.alpha));
        gradient.setColorAt(1, towardsWhite(colors[blob.colorIndex], 0.45, 0));
        painter.setBrush(gradient);
        painter.drawEllipse(centre, radius, radius);
    }

    painter.fillRect(rect, QColor::fromRgbF(1, 1, 1, 0.1f));

    // The sheen runs 35° below the horizontal, from the corner it starts at to the opposite one.
    const double angle = 35.0 * std::numbers::pi / 180.0;
    const QPointF direction(std::cos(angle), std::sin(angle));
    const double reach = (rect.width() * direction.x() + rect.height() * direction.y()) / 2;
    const QPointF centre = rect.center();
    QLinearGradient sheen(centre - direction * reach, centre + direction * reach);
    sheen.setColorAt(0, QColor::fromRgbF(1, 1, 1, 0.2f));
    sheen.setColorAt(1, QColor::fromRgbF(1, 1, 1, 0));
    painter.fillRect(rect, sheen);
    painter.restore();
}

} // namespace Backgrounds
