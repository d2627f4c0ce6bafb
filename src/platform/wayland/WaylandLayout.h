#pragma once

#include "platform/ScreenBackend.h"

#include <QList>
#include <QPointF>
#include <QRect>
#include <QRectF>
#include <QString>

#include <optional>

namespace platform::wayland {

// One output as the compositor lays it out: position and size in logical units (what Qt
// calls device-independent pixels), and how many pixels make one logical unit.
struct Output {
    QString name;
    QRect logical;
    double scale = 1.0;
};

// The outputs as Qt's screens describe them: none without a QGuiApplication. Qt's screens
// belong to its main thread.
QList<Output> screenOutputs();

// Wayland has no root window, so the backend makes up a pixel space for DisplayInfo:
// each output keeps its own pixel size (logical size × its scale), placed at its logical
// position × the highest scale of all outputs. Outputs never overlap in logical units, so
// they never overlap in these pixels either, whatever their scales, and a capture of one
// output is as many pixels as the output has.
class WaylandLayout {
public:
    explicit WaylandLayout(QList<Output> outputs);

    // The displays, numbered from 1 in the order of the outputs' names.
    const QList<DisplayInfo>& displays() const { return m_displays; }

    // The output whose pixels contain `pixels` entirely, if one does.
    std::optional<qsizetype> outputHolding(const QRect& pixels) const;

    // Where `pixels` (in the made-up space, inside output `index`) are in a picture of the
    // whole layout whose pixels are `pictureScale` times the logical units, with the layout's
    // top-left corner at the picture's.
    QRectF pictureSource(qsizetype index, const QRect& pixels, double pictureScale) const;

    // Where a rectangle of logical units (the compositor's layout) lies in the made-up pixel
    // space, cut to the output named `outputName`; nullopt when no such output holds any of it.
    std::optional<QRect> pixelsOf(const QString& outputName, const QRect& logical) const;

    // The output that shows the largest part of `logical` (the compositor's layout), where
    // one shows any of it: for windows whose compositor does not say which output they are on.
    std::optional<QString> outputShowingMostOf(const QRect& logical) const;

    // How many pixels per logical unit a picture of the whole layout of this width has.
    double pictureScale(int pictureWidth) const;

    // Where a pixel of the made-up space is in the compositor's layout, in logical units;
    // nullopt off every output.
    std::optional<QPointF> logicalPoint(const QPoint& pixel) const;

    // The union of the outputs, in logical units.
    QRect logicalBounds() const { return m_bounds; }

private:
    QList<Output> m_outputs; // in the displays' order
    QList<DisplayInfo> m_displays;
    QRect m_bounds; // the union of the outputs, logical
};

} // namespace platform::wayland
