#include "app/DesktopSnapshot.h"

#include "platform/Platform.h"

#include <QElapsedTimer>
#include <QPainter>
#include <QRegion>

namespace {

struct Place {
    QRect rect;
    QImage image;
    qint64 until = 0;
};

QList<Place>& places() {
    static QList<Place> list;
    return list;
}

QList<DesktopSnapshot*>& snapshots() {
    static QList<DesktopSnapshot*> list;
    return list;
}

qint64 now() {
    static QElapsedTimer clock;
    if (!clock.isValid()) clock.start();
    return clock.elapsed();
}

void remember(const QImage& image, const QRect& imageRect, const QRegion& region) {
    const qint64 until = now() + DesktopSnapshot::memoryMilliseconds;
    for (const QRect& part : region)
        places().append({part, image.copy(part.translated(-imageRect.topLeft())), until});
}

} // namespace

DesktopSnapshot::~DesktopSnapshot() {
    release();
    snapshots().removeAll(this);
}

void DesktopSnapshot::track(const QRect& window, const QRect& screens) {
    auto& stack = snapshots();
    if (!active()) { // showing again: above the others
        stack.removeAll(this);
        stack.append(this);
    }
    m_window = window;
    const QRect root = window & screens;
    if (root == m_rect && active()) return;
    const qint64 time = now();
    places().removeIf([time](const Place& place) { return place.until < time; });

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
    for (const DesktopSnapshot* other : std::as_const(stack))
        if (other != this && other->active()) copy(other->m_image, other->m_rect);
    const auto& list = places();
    for (auto place = list.crbegin(); place != list.crend() && !missing.isEmpty(); ++place)
        copy(place->image, place->rect);
    if (auto& backend = platform::services().screen)
        for (const QRect& part : missing)
            if (auto grabbed = backend->grabArea(part))
                painter.drawImage(part.topLeft() - root.topLeft(), *grabbed);
    painter.end();
    m_image = std::move(next);
    m_rect = root;
}

void DesktopSnapshot::release() {
    if (active()) remember(m_image, m_rect, QRegion(m_rect));
    m_image = QImage();
    m_rect = QRect();
    m_window = QRect();
}

void DesktopSnapshot::raise() {
    auto& stack = snapshots();
    stack.removeAll(this);
    stack.append(this);
}

const QList<DesktopSnapshot*>& DesktopSnapshot::stack() {
    return snapshots();
}

void DesktopSnapshot::forgetPlaces() {
    places().clear();
}
