#include "platform/wayland/WaylandLayout.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QScreen>

#include <algorithm>
#include <cmath>

namespace platform::wayland {

QList<Output> screenOutputs() {
    QList<Output> outputs;
    if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance())) return outputs;
    for (const QScreen* screen : QGuiApplication::screens())
        outputs.append({screen->name(), screen->geometry(), screen->devicePixelRatio()});
    return outputs;
}

WaylandLayout::WaylandLayout(QList<Output> outputs) : m_outputs(std::move(outputs)) {
    std::stable_sort(m_outputs.begin(), m_outputs.end(),
                     [](const Output& a, const Output& b) { return a.name < b.name; });
    double highest = 1.0;
    for (const Output& output : std::as_const(m_outputs)) {
        highest = std::max(highest, output.scale > 0 ? output.scale : 1.0);
        m_bounds = m_bounds.united(output.logical);
    }
    uint32_t number = 0;
    for (const Output& output : std::as_const(m_outputs)) {
        const double scale = output.scale > 0 ? output.scale : 1.0;
        DisplayInfo display;
        display.id = ++number;
        display.name = output.name;
        display.scale = scale;
        display.geometry = QRect(QPoint(int(std::lround(output.logical.x() * highest)),
                                        int(std::lround(output.logical.y() * highest))),
                                 QSize(int(std::lround(output.logical.width() * scale)),
                                       int(std::lround(output.logical.height() * scale))));
        // No protocol says which output is primary; the one at the layout's origin is the
        // one a desktop puts its panel on.
        display.primary = output.logical.topLeft() == QPoint(0, 0);
        m_displays.append(display);
    }
    const bool anyPrimary =
        std::any_of(m_displays.begin(), m_displays.end(), [](const DisplayInfo& d) { return d.primary; });
    if (!anyPrimary && !m_displays.isEmpty()) m_displays.first().primary = true;
}

std::optional<qsizetype> WaylandLayout::outputHolding(const QRect& pixels) const {
    for (qsizetype i = 0; i < m_displays.size(); ++i)
        if (m_displays[i].geometry.contains(pixels)) return i;
    return std::nullopt;
}

QRectF WaylandLayout::pictureSource(qsizetype index, const QRect& pixels, double pictureScale) const {
    const Output& output = m_outputs[index];
    const DisplayInfo& display = m_displays[index];
    const double perPixel = pictureScale / display.scale;
    const QPointF origin = QPointF(output.logical.topLeft() - m_bounds.topLeft()) * pictureScale;
    return {origin + QPointF(pixels.topLeft() - display.geometry.topLeft()) * perPixel,
            QSizeF(pixels.size()) * perPixel};
}

std::optional<QRect> WaylandLayout::pixelsOf(const QString& outputName, const QRect& logical) const {
    for (qsizetype i = 0; i < m_outputs.size(); ++i) {
        const Output& output = m_outputs[i];
        if (output.name != outputName) continue;
        const QRect part = logical.intersected(output.logical);
        if (part.isEmpty()) return std::nullopt;
        const double scale = m_displays[i].scale;
        const QPoint origin = m_displays[i].geometry.topLeft();
        const QPoint from = part.topLeft() - output.logical.topLeft();
        const QPoint to = part.topLeft() + QPoint(part.width(), part.height()) - output.logical.topLeft();
        const QPoint topLeft(int(std::lround(from.x() * scale)), int(std::lround(from.y() * scale)));
        const QPoint bottomRight(int(std::lround(to.x() * scale)), int(std::lround(to.y() * scale)));
        return QRect(origin + topLeft, origin + bottomRight - QPoint(1, 1))
            .intersected(m_displays[i].geometry);
    }
    return std::nullopt;
}

std::optional<QString> WaylandLayout::outputShowingMostOf(const QRect& logical) const {
    std::optional<QString> most;
    qint64 largest = 0;
    for (const Output& output : m_outputs) {
        const QRect part = logical.intersected(output.logical);
        const qint64 area = qint64(part.width()) * part.height();
        if (part.isEmpty() || area <= largest) continue;
        largest = area;
        most = output.name;
    }
    return most;
}

double WaylandLayout::pictureScale(int pictureWidth) const {
    return m_bounds.width() > 0 ? double(pictureWidth) / m_bounds.width() : 1.0;
}

std::optional<QPointF> WaylandLayout::logicalPoint(const QPoint& pixel) const {
    for (qsizetype i = 0; i < m_displays.size(); ++i) {
        const DisplayInfo& display = m_displays[i];
        if (!display.geometry.contains(pixel)) continue;
        return QPointF(m_outputs[i].logical.topLeft()) +
               QPointF(pixel - display.geometry.topLeft()) / display.scale;
    }
    return std::nullopt;
}

} // namespace platform::wayland
