#include "ui/FloatingChrome.h"

#include "app/FloatingLayout.h"
#include "capture/GaussianBlur.h"
#include "platform/Platform.h"
#include "ui/WindowPlacement.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <QRegion>
#include <QScreen>
#include <QThread>
#include <QWidget>

#include <array>
#include <cmath>

namespace ui::chrome {

namespace {

QRect rootBounds() {
    QRect bounds;
    for (const QScreen* screen : QGuiApplication::screens())
        bounds |= rootRect(screen, screen->geometry());
    return bounds;
}

} // namespace

QScreen* screenFor(const platform::DisplayInfo& display) {
    const auto screens = QGuiApplication::screens();
    for (QScreen* screen : screens)
        if (screen->name() == display.name) return screen;
    for (QScreen* screen : screens)
        if (screen->geometry().topLeft() == display.geometry.topLeft()) return screen;
    return QGuiApplication::primaryScreen();
}

std::optional<platform::DisplayInfo> displayFor(const QScreen* screen) {
    auto& backend = platform::services().screen;
    if (!screen || !backend) return std::nullopt;
    const auto displays = backend->displays();
    for (const auto& display : displays)
        if (display.name == screen->name()) return display;
    for (const auto& display : displays)
        if (display.geometry.topLeft() == screen->geometry().topLeft()) return display;
    return std::nullopt;
}

namespace {

// How far a screen's top-left corner in root pixels is from where Qt puts it. Under X11 they
// are the same; Wayland's displays place each output at its logical position times the
// highest scale, so there the display says.
QPoint rootOffset(const QScreen* screen) {
    if (!placement::onWayland()) return {};
    const auto display = displayFor(screen);
    return display ? display->geometry.topLeft() - screen->geometry().topLeft() : QPoint();
}

} // namespace

QRect rootRect(const QScreen* screen, const QRectF& logical) {
    if (!screen) return logical.toAlignedRect();
    return FloatingLayout::toRoot(logical, screen->geometry().topLeft(), screen->devicePixelRatio())
        .translated(rootOffset(screen));
}

QRectF logicalRect(const QScreen* screen, const QRect& root) {
    if (!screen) return root;
    return FloatingLayout::toLogical(root.translated(-rootOffset(screen)), screen->geometry().topLeft(),
                                     screen->devicePixelRatio());
}

Backdrop::Backdrop(QWidget* window) : m_window(window) {
    // A Wayland compositor blends our windows itself, and a grab there is a screenshot
    // through the desktop's portal: the window is see-through instead.
    if (placement::onWayland()) m_window->setAttribute(Qt::WA_TranslucentBackground);
}

Backdrop::~Backdrop() {
    release();
}

void Backdrop::track(const QRect& root) {
    if (placement::onWayland()) return;
    const QRect before = window();
    DesktopSnapshot::track(root, rootBounds());
    repaintOthersOver(before | root);
}

void Backdrop::release() {
    if (!active()) return;
    const QRect before = window();
    DesktopSnapshot::release();
    repaintOthersOver(before);
}

void Backdrop::raise() {
    DesktopSnapshot::raise();
    m_window->update();
}

void Backdrop::changed() {
    const auto& all = stack();
    for (qsizetype i = all.indexOf(this) + 1; i > 0 && i < all.size(); ++i)
        if (auto* above = dynamic_cast<Backdrop*>(all[i]);
            above && above->active() && above->window().intersects(window()))
            above->m_window->update();
}

void Backdrop::repaintOthersOver(const QRect& root) const {
    for (DesktopSnapshot* snapshot : stack())
        if (auto* other = dynamic_cast<Backdrop*>(snapshot);
            other && other != this && other->active() && other->window().intersects(root))
            other->m_window->update();
}

void Backdrop::paint(QPainter& painter, double ratio) const {
    if (!active()) return;
    painter.drawImage(
        QRectF(QPointF(imageRect().topLeft() - window().topLeft()) / ratio, QSizeF(image().size()) / ratio),
        image(), QRectF(image().rect()));
    // The floating windows below, as they look now.
    for (DesktopSnapshot* snapshot : stack()) {
        if (snapshot == this) break;
        auto* other = dynamic_cast<Backdrop*>(snapshot);
        if (!other || !other->active() || !other->m_window->isVisible() ||
            !other->window().intersects(window()))
            continue;
        QWidget* below = other->m_window;
        const QPoint offset = below->geometry().topLeft() - m_window->geometry().topLeft();
        QRegion shape = below->mask().isEmpty() ? QRegion(below->rect()) : below->mask();
        shape &= QRegion(m_window->rect().translated(-offset));
        if (shape.isEmpty()) continue;
        // Through a pixmap: render() straight into this painter misplaces the region on HiDPI screens.
        const QRect part = shape.boundingRect();
        const QPixmap pixels = below->grab(part);
        painter.save();
        painter.setClipRegion(shape.translated(offset));
        painter.drawPixmap(offset + part.topLeft(), pixels);
        painter.restore();
    }
}

QImage Backdrop::composed(double ratio) const {
    // Under Wayland see-through: the compositor blends in what is below.
    const bool blended = placement::onWayland();
    QImage image(blended ? (QSizeF(m_window->size()) * ratio).toSize() : window().size(),
                 QImage::Format_ARGB32_Premultiplied);
    image.fill(blended ? Qt::transparent : Qt::black);
    image.setDevicePixelRatio(ratio);
    QPainter painter(&image);
    paint(painter, ratio);
    painter.end();
    image.setDevicePixelRatio(1.0);
    return image;
}

QMarginsF shadowReach(const ShadowStyle& style) {
    const double side = std::ceil(2.5 * style.blur);
    return {side, std::max(0.0, side - style.offsetY), side, side + style.offsetY};
}

namespace {

// A shadow for a small square, cut into nine parts to stretch over any rectangle.
struct ShadowTile {
    ShadowStyle style;
    double ratio = 0;
    QImage image;
    QMargins reach; // pixels beyond the square
    int corner = 0; // pixels from the square's edge to the uniform middle
};

const ShadowTile& shadowTile(const ShadowStyle& style, double ratio) {
    static QList<ShadowTile> cache;
    for (const auto& tile : cache)
        if (tile.ratio == ratio && tile.style.blur == style.blur && tile.style.offsetY == style.offsetY &&
            tile.style.opacity == style.opacity && tile.style.radius == style.radius)
            return tile;
    const QMarginsF reach = shadowReach(style) * ratio;
    ShadowTile tile{style, ratio, {}, reach.toMargins(), 0};
    tile.corner = static_cast<int>(std::ceil((style.radius + 3 * style.blur) * ratio));
    const int square = 2 * tile.corner + 2;
    QImage image(square + tile.reach.left() + tile.reach.right(),
                 square + tile.reach.top() + tile.reach.bottom(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    {
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        QPainterPath shape;
        shape.addRoundedRect(
            QRectF(tile.reach.left(), tile.reach.top() + style.offsetY * ratio, square, square),
            style.radius * ratio, style.radius * ratio);
        painter.fillPath(shape, QColor(0, 0, 0, qRound(255 * style.opacity)));
    }
    tile.image = GaussianBlur::blurred(image, style.blur * ratio);
    cache.append(std::move(tile));
    return cache.last();
}

} // namespace

void paintShadow(QPainter& painter, const QRectF& rect, const ShadowStyle& style, double ratio,
                 double opacity) {
    const ShadowTile& tile = shadowTile(style, ratio);
    const QImage& image = tile.image;
    // Source columns and rows in pixels: the outer parts keep their size, the middle stretches.
    const double sx[] = {0, double(tile.reach.left() + tile.corner),
                         double(image.width() - tile.reach.right() - tile.corner), double(image.width())};
    const double sy[] = {0, double(tile.reach.top() + tile.corner),
                         double(image.height() - tile.reach.bottom() - tile.corner), double(image.height())};
    const QRectF outer = rect.marginsAdded(shadowReach(style));
    const auto tx =
        FloatingLayout::slices(outer.left(), outer.right(), sx[1] / ratio, (sx[3] - sx[2]) / ratio);
    const auto ty =
        FloatingLayout::slices(outer.top(), outer.bottom(), sy[1] / ratio, (sy[3] - sy[2]) / ratio);
    painter.save();
    painter.setOpacity(painter.opacity() * opacity);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    for (int row = 0; row < 3; ++row)
        for (int column = 0; column < 3; ++column) {
            const QRectF target(QPointF(tx[column], ty[row]), QPointF(tx[column + 1], ty[row + 1]));
            if (target.width() <= 0 || target.height() <= 0) continue;
            painter.drawImage(target, image,
                              QRectF(QPointF(sx[column], sy[row]), QPointF(sx[column + 1], sy[row + 1])));
        }
    painter.restore();
}

void paintPill(QPainter& painter, const QRectF& rect, const QString& text, const QFont& font,
               bool highlighted) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath shape;
    const double radius = rect.height() / 2;
    shape.addRoundedRect(rect, radius, radius);
    painter.fillPath(shape, highlighted ? accent : pillFill);
    painter.setPen(QColor(255, 255, 255, highlighted ? 70 : 38));
    painter.drawPath(shape);
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(rect, Qt::AlignCenter, text);
    painter.restore();
}

void settle(int milliseconds) {
    QGuiApplication::sync();
    QElapsedTimer waited;
    waited.start();
    while (waited.elapsed() < milliseconds) {
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
        QThread::msleep(2);
    }
    QGuiApplication::sync();
}

void styleControlBar(QWidget& bar, const QString& name) {
    bar.setAttribute(Qt::WA_ShowWithoutActivating);
    bar.setObjectName(name);
    bar.setStyleSheet(QStringLiteral("#%1 { background: #202124; border: 1px solid #3c3d40; }"
                                     "QLabel { color: white; }"
                                     "QToolButton { color: white; background: #303134; border: none;"
                                     " border-radius: 4px; padding: 4px 8px; }"
                                     "QToolButton:hover { background: #45464a; }")
                          .arg(name));
    bar.setAttribute(Qt::WA_StyledBackground);
}

void showAtRoot(QWidget& window, const QRect& root) {
    QScreen* screen = nullptr;
    for (QScreen* candidate : QGuiApplication::screens())
        if (rootRect(candidate, candidate->geometry()).contains(root.center())) screen = candidate;
    if (!screen) screen = QGuiApplication::primaryScreen();
    if (screen) {
        window.setScreen(screen);
        window.move(logicalRect(screen, root).topLeft().toPoint());
    }
    window.show();
    window.raise();
}

} // namespace ui::chrome
