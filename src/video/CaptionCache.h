#pragma once

#include "video/CaptionLine.h"
#include "video/StudioStyle.h"

#include <QHash>
#include <QImage>
#include <QUuid>

#include <mutex>

// Caption lines drawn as images, one per line and kept, so a line that shows for a hundred
// frames is laid out once. Safe to use from several threads.
class CaptionCache {
public:
    // The look is fixed for the cache's life; a new look takes a new cache.
    explicit CaptionCache(const StudioStyle& style);

    // The line's image for a frame of `frame` pixels (transparent around the text).
    QImage image(const CaptionLine& line, QSize frame) const;
    // Where that image goes in the frame.
    QPoint place(QSize image, QSize frame) const;

    // Draws `line` into a frame.
    void draw(QPainter& painter, const CaptionLine& line, QSize frame) const;

    // A line drawn without the cache (what image() keeps).
    static QImage render(const CaptionLine& line, const StudioStyle& style, QSize frame);

private:
    struct Entry {
        QSize frame;
        QString text;
        QImage image;
    };
    StudioStyle m_style;
    mutable std::mutex m_mutex;
    mutable QHash<QUuid, Entry> m_images;
};
