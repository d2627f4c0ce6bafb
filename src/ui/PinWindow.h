#pragma once

#include "ui/FloatingChrome.h"

#include <QImage>
#include <QTimer>
#include <QWidget>

#include <optional>

namespace ui {

// An image floating above all windows: dragged anywhere to move, zoomed with the wheel
// around the pointer, closed with Escape, a double-click or its menu. Deletes itself when
// closed; any number can be open.
class PinWindow : public QWidget {
    Q_OBJECT
public:
    // Opens a pin of `image` (at `scale` pixels per point) over `nearRootRect`, a rectangle
    // in root-window pixels: exactly over it when it is the image's own area.
    static PinWindow* show(const QImage& image, double scale, const QRect& nearRootRect);

    double zoom() const { return m_zoom; }
    // Zooms about the image's centre, kept on its screen.
    void zoomTo(double zoom);
    // The image's rectangle in device-independent screen coordinates.
    QRectF imageRect() const { return m_globalImage; }

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    PinWindow(const QImage& image, double scale);
    // Moves and sizes the window around an image rectangle in screen coordinates.
    void place(const QRectF& imageRect);
    void zoomBy(double notches, const QPointF& anchor);
    void copy();
    void saveAs();

    QImage m_image;
    double m_scale;
    double m_zoom = 1.0;
    QRectF m_globalImage; // screen coordinates
    QRectF m_imageRect;   // in the window
    QImage m_reduced;     // the image at the window's pixel size while zoomed out
    chrome::Backdrop m_behind{this};
    std::optional<QPointF> m_dragStart; // pointer position when the drag began
    QRectF m_dragImage;                 // image rectangle when the drag began
    QTimer m_zoomPill;                  // runs while the zoom percentage shows
};

} // namespace ui
