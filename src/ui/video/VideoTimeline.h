#pragma once

#include <QUuid>
#include <QWidget>

#include <optional>

class VideoEditorModel;

namespace ui::video {

// The movie's time line: a ruler, the clip with its trim handles and click marks, the zoom
// moves as spans below it, and the playhead. Click or drag to move the playhead, drag a
// handle to trim, drag a zoom to move it in time; a selected zoom goes with Delete.
class VideoTimeline : public QWidget {
    Q_OBJECT
public:
    explicit VideoTimeline(VideoEditorModel* model, QWidget* parent = nullptr);

    std::optional<QUuid> selectedZoom() const { return m_selected; }
    void removeSelectedZoom();

    QSize sizeHint() const override { return {800, 118}; }
    QSize minimumSizeHint() const override { return {300, 118}; }

    // Where the parts are, for tests and the pointer's shapes: the x of a time, and the rows.
    int xOf(double seconds) const;
    double timeAt(double x) const;
    QRect clipRow() const;
    QRect zoomRow() const;

signals:
    void selectionChanged();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    enum class Drag { none, playhead, trimStart, trimEnd, zoom };

    QRect track() const;
    std::optional<QUuid> zoomAt(QPoint point) const;
    QRectF zoomSpan(double time, double hold) const;
    void paintRuler(QPainter& painter) const;
    void paintClip(QPainter& painter) const;
    void paintZooms(QPainter& painter) const;
    void paintPlayhead(QPainter& painter) const;

    VideoEditorModel* m_model;
    Drag m_drag = Drag::none;
    std::optional<QUuid> m_selected;
    double m_grabOffset = 0; // seconds between the pointer and the dragged zoom's start
};

} // namespace ui::video
