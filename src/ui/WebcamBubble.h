#pragma once

#include "recording/RecordingOverlayViews.h"

#include <QWidget>

#include <optional>

class WebcamOverlay;

namespace ui {

// The camera bubble on screen: a round window above everything showing the camera's newest
// picture (mirrored when the overlay says so). Dragging moves it, the wheel resizes it, both
// through the overlay, which keeps the place. Round by a window mask, so it needs no
// compositor.
class WebcamBubble : public QWidget {
    Q_OBJECT
public:
    static constexpr auto title = "Pictavia Camera";
    static constexpr double wheelStep = 16; // points per wheel notch

    explicit WebcamBubble(WebcamOverlay& overlay);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    void place(const QRect& root);

    WebcamOverlay& m_overlay;
    std::optional<QPoint> m_grab; // where the bubble was taken, from its top-left, in root pixels
    double m_wheelRest = 0;
};

// The view the recorder asks for: the bubble, shown until the view goes away.
class WebcamBubbleView : public RecordingOverlayView {
public:
    explicit WebcamBubbleView(WebcamOverlay& overlay);
    ~WebcamBubbleView() override;

private:
    std::unique_ptr<WebcamBubble> m_bubble;
};

} // namespace ui
