#pragma once

#include <QImage>
#include <QPoint>
#include <QRectF>

class QPainter;

namespace ui {

// The magnifier beside the pointer: the pixels around it eight times as large, on a grid,
// the centre pixel marked, and under them the pointer's pixel and that pixel's colour.
// Works in the display's points.
class SelectionLoupe {
public:
    // `scale` is the display's pixels per point.
    explicit SelectionLoupe(double scale);

    // Beside the pointer (below and right of it where there is room), on the display.
    QRectF rectFor(QPointF pointer, const QRectF& bounds) const;
    // Paints the loupe in `rect` (from rectFor) for the pixel `pixel` of `snapshot`.
    void paint(QPainter& painter, const QRectF& rect, const QImage& snapshot, QPoint pixel) const;

private:
    double m_scale;
    int m_cells;   // pixels across, odd so one sits in the middle
    double m_cell; // points per magnified pixel
};

} // namespace ui
