#pragma once

#include "editor/Annotation.h"

#include <QHash>
#include <QImage>
#include <QRect>
#include <QUuid>

// The blurred patch of each blur annotation, kept with the rectangle it was made for:
// the scene is redrawn on every mouse move and blurring is the expensive part.
class BlurCache {
public:
    // The patch for `blur` cut from `base` and blurred in its style, or a null image
    // when the rectangle, rounded out and clipped to the image, is under 2 pixels in
    // either direction. Reused while the rectangle and style stay the same.
    QImage patch(const Annotation& blur, const QImage& base);

    // The clipped pixel rectangle a blur annotation covers.
    static QRect pixelRect(const Annotation& blur, const QSize& imageSize);

    void remove(const QUuid& id) { m_entries.remove(id); }
    void clear() { m_entries.clear(); }
    int size() const { return int(m_entries.size()); }

private:
    struct Entry {
        QRect rect;
        BlurStyle style;
        QImage image;
    };
    QHash<QUuid, Entry> m_entries;
};
