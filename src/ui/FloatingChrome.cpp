#include "ui/FloatingChrome.h"

#include "app/FloatingLayout.h"
#include "capture/GaussianBlur.h"
#include "platform/Platform.h"

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

// How long a place a window left is trusted over the screen's pixels.
constexpr qint64 memoryMilliseconds = 1500;

struct Memory {
    QRect rect;
    QImage image;
    qint64 until = 0;
};

QList<Memory>& memories() {
    static QList<Memory> list;
    return list;
}

qint64 now() {
    static QElapsedTimer clock;
    if (!clock.isValid()) clock.start();
    return clock.elapsed();
}

void remember(const QImage& image, const QRect& imageRect, const QRegion& region) {
    const qint64 until = now() + memoryMilliseconds;
    for (const QRect& part : region)
        memories().append({part, image.copy(part.translated(-imageRect.topLeft())), until});
}

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

QRect rootRect(const QScreen* screen, const QRectF& logical) {
    if (!screen) return logical.toAlignedRect();
    return FloatingLayout::toRoot(logical, screen->geometry().topLeft(), screen->devicePixelRatio());
}

QRectF logicalRect(const QScreen* screen, const QRect& root) {
    if (!screen) return root;
    return FloatingLayout::toLogical(root, screen->geometry().topLeft(), screen->devicePixelRatio());
}

namespace {

// Every floating window with a backdrop, lowest first.
QList<Backdrop*>& floatingStack() {
    static QList<Backdrop*> stack;
    return stack;
}

} // namespace

Backdrop::Backdrop(QWidget* window) : m_window(window) {}

Backdrop::~Backdrop() {
    release();
    floatingStack().removeAll(this);
}

void Backdrop::track(const QRect& window) {
    auto& stack = floatingStack();
    if (!active()) { // showing again: above the others
        stack.removeAll(this);
        stack.append(this);
    }
    // Only what is on a screen is kept: a zoomed pin can reach far beyond.
    const QRect root = window & rootBounds();
    const QRect previous = m_root;
    m_root = window;
    if (root == m_rect && active()) return;
    const qint64 time = now();
    memories().removeIf([time](const Memory& memory) { return memory.until < time; });

    QImage next(root.size(), QImage::Format_RGB32);
    next.fill(Qt::black);
    QPainter painter(&next);
    QRegion missing(root);
    auto copy = [&](const QImage& image, const QRect& imageRect) {
        const QRegion known = missing & imageRect;
        for (const QRect& part : known)
            painter.drawImage(part.topLeft() - root.topLeft(), image, part.translated(-imageRect.topLeft()));
        missing -= known;
    };
    if (active()) {
        copy(m_image, m_rect);
        remember(m_image, m_rect, QRegion(m_rect) - QRegion(root));
    }
    for (const Backdrop* other : std::as_const(stack))
        if (other != this && other->active()) copy(other->m_image, other->m_rect);
    const auto& list = memories();
    for (auto memory = list.crbegin(); memory != list.crend() && !missing.isEmpty(); ++memory)
        copy(memory->image, memory->rect);
    if (auto& backend = platform::services().screen)
        for (const QRect& part : missing)
            if (auto grabbed = backend->grabArea(part))
                painter.drawImage(part.topLeft() - root.topLeft(), *grabbed);
    painter.end();
    m_image = std::move(next);
    m_rect = root;
    repaintOthersOver(previous | window);
}

void Backdrop::release() {
    if (!active()) return;
    remember(m_image, m_rect, QRegion(m_rect));
    m_image = QImage();
    repaintOthersOver(m_root);
    m_rect = QRect();
    m_root = QRect();
}

void Backdrop::raise() {
    auto& stack = floatingStack();
    stack.removeAll(this);
    stack.append(this);
    m_window->update();
}

void Backdrop::changed() {
    const auto& stack = floatingStack();
    for (qsizetype i = stack.indexOf(this) + 1; i > 0 && i < stack.size(); ++i)
        if (stack[i]->active() && stack[i]->m_root.intersects(m_root)) stack[i]->m_window->update();
}

void Backdrop::repaintOthersOver(const QRect& root) const {
    for (const Backdrop* other : std::as_const(floatingStack()))
        if (other != this && other->active() && other->m_root.intersects(root)) other->m_window->update();
}

void Backdrop::paint(QPainter& painter, double ratio) const {
    if (!active()) return;
    painter.drawImage(
        QRectF(QPointF(m_rect.topLeft() - m_root.topLeft()) / ratio, QSizeF(m_image.size()) / ratio), m_image,
        QRectF(m_image.rect()));
    // The floating windows below, as they look now.
    for (const Backdrop* other : std::as_const(floatingStack())) {
        if (other == this) break;
        if (!other->active() || !other->m_window->isVisible() || !other->m_root.intersects(m_root)) continue;
        const QPoint offset = other->m_window->geometry().topLeft() - m_window->geometry().topLeft();
        QRegion source =
            other->m_window->mask().isEmpty() ? QRegion(other->m_window->rect()) : other->m_window->mask();
        source &= QRegion(m_window->rect().translated(-offset));
        if (source.isEmpty()) continue;
        painter.save();
        // render() puts the top-left corner of the region at the offset it is given.
        other->m_window->render(&painter, offset + source.boundingRect().topLeft(), source,
                                QWidget::DrawChildren);
        painter.restore();
    }
}

QImage Backdrop::composed(double ratio) const {
    QImage image((QSizeF(m_root.size())).toSize(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::black);
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
    auto targets = [ratio](double start, double end, const double* source) {
        double first = source[1] / ratio;
        double last = (source[3] - source[2]) / ratio;
        const double available = end - start;
        if (first + last > available) { // smaller than the tile: shrink the outer parts
            const double shrink = available / (first + last);
            first *= shrink;
            last *= shrink;
        }
        return std::array<double, 4>{start, start + first, end - last, end};
    };
    const auto tx = targets(outer.left(), outer.right(), sx);
    const auto ty = targets(outer.top(), outer.bottom(), sy);
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

} // namespace ui::chrome
