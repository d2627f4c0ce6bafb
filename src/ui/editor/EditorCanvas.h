#pragma once

#include "editor/Annotation.h"
#include "ui/editor/AnnotationGeometry.h"
#include "ui/editor/CanvasTransform.h"

#include <QAbstractScrollArea>
#include <QImage>
#include <QPointer>
#include <QRegion>

#include <optional>

class EditorModel;

namespace ui::editor {

class InlineTextEditor;

// The editing surface: shows the model's scene zoomed and scrolled, and turns the mouse
// into the current tool's operations on the model. The scene is kept rendered for the
// view in a cache of which only what changed is drawn again; the annotation being dragged
// and the hints go over it on every paint.
class EditorCanvas : public QAbstractScrollArea {
    Q_OBJECT
public:
    explicit EditorCanvas(EditorModel* model, QWidget* parent = nullptr);

    // The zoom as people read it: 1 is one image pixel to one screen pixel.
    double zoomFactor() const;
    void setZoomFactor(double factor);
    void zoomIn();
    void zoomOut();
    void zoomToFit();
    void zoomActualSize();
    bool isFitting() const { return m_fitting; }

    // Escape: ends typing, a crop or a drag, else clears the selection.
    void cancel();
    // Return: crops to the crop rectangle. False when there is none.
    bool applyCrop();
    bool hasCropRect() const { return m_cropRect.has_value(); }

    const CanvasTransform& transform() const { return m_transform; }

signals:
    void zoomChanged();
    void cropRectChanged();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    enum class Gesture { None, Drawing, Moving, Reshaping, Cropping, MovingCrop, Panning };

    // Model changes, each invalidating only what it touched.
    void onAnnotationsChanged();
    void onSelectionChanged();
    void onDraftChanged();
    void onSceneReshaped();
    void onToolChanged();

    void setTransform(const CanvasTransform& transform);
    void syncScrollBars();
    void refit();

    QPointF toImage(const QPointF& view) const;
    QRectF imageToView(const QRectF& image) const;
    // Where an annotation may leave ink on the view: its bounds with room for shadows,
    // outlines and the selection indicator.
    QRect paintedArea(const Annotation& annotation) const;
    QRect cropArea(const std::optional<QRectF>& rect) const;
    // Marks part of the view for rendering again and repaints it.
    void invalidate(const QRegion& region);
    void invalidateAll();
    void renderDirty();
    void paintCropHint(QPainter& painter);

    void startTyping(const QPointF& imagePoint, std::optional<Annotation> editing = std::nullopt);
    void placeAt(const QPointF& imagePoint);
    void finishDrawing();
    void setCropRect(const std::optional<QRectF>& rect);
    void updateCursor(const QPointF& viewPoint);
    double tolerance() const; // image pixels that a few screen pixels cover

    EditorModel* m_model;
    CanvasTransform m_transform;
    bool m_fitting = true;

    QImage m_cache; // the view's pixels without the draft, grips and hints
    QRegion m_dirty;
    QList<Annotation> m_shown; // the annotations that the cache shows
    std::optional<QUuid> m_shownSelection;
    std::optional<Annotation> m_shownDraft;

    Gesture m_gesture = Gesture::None;
    QPointF m_pressImage;
    QPointF m_pressView;
    QPointF m_scrollAtPress;
    Annotation m_original;
    geometry::Handle m_handle = geometry::Handle::None;
    bool m_undoRecorded = false;
    bool m_spaceHeld = false;
    std::optional<QRectF> m_cropRect;
    QRectF m_cropAtPress;
    QPointer<InlineTextEditor> m_typing;
};

} // namespace ui::editor
