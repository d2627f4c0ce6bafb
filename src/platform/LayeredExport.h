#pragma once

#include "platform/MovieExporter.h"

#include <QImage>
#include <QList>
#include <QRect>
#include <QRectF>
#include <QSize>

class QPainter;

namespace platform {

// A drawn frame told as layers, so that an exporter can put most of it together in the
// encoder's own picture format: a still base, the source's picture scaled into a fixed
// rectangle of it (the card), and small parts painted over both. Called from one thread.
class FrameLayers {
public:
    virtual ~FrameLayers() = default;

    // The frame without the picture, at `frame` pixels (Format_RGB32); null for black.
    virtual QImage base(QSize frame) const = 0;
    // Where the picture goes in a frame of `frame` pixels.
    virtual QRect card(QSize frame) const = 0;
    // The part of a `picture`-sized source picture shown in the card at `time`.
    virtual QRectF view(QSize frame, double time, QSize picture) const = 0;
    // The places in the frame that paintOver() may change at `time`; everything else is the
    // base and the picture. `camera` tells whether a camera picture is at hand.
    virtual QList<QRect> paintedAreas(QSize frame, double time, bool camera) const = 0;
    // Paints the parts over the picture (the painter's device holds the base and the
    // picture already, at least in the painted areas).
    virtual void paintOver(QPainter& painter, QSize frame, double time, const QImage& camera) const = 0;
    // The whole frame drawn the plain way, for exporters that cannot compose layers.
    virtual void draw(QImage& target, const QImage& picture, double time, const QImage& camera) const = 0;
};

// An exporter that composes layered frames itself. A MovieExporter may also be one.
class LayeredMovieExporter {
public:
    virtual ~LayeredMovieExporter() = default;
    // As MovieExporter::exportMovie, with every frame made from `layers`.
    virtual Result<bool> exportLayered(const ExportRequest& request, const FrameLayers& layers,
                                       const MovieExporter::Progress& progress) = 0;
};

} // namespace platform
