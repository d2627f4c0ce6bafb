#include "ui/editor/EditorCanvas.h"

#include "editor/AnnotationRenderer.h"
#include "editor/EditorModel.h"
#include "ui/OverlayStyle.h"
#include "ui/editor/CropGeometry.h"
#include "ui/editor/InlineTextEditor.h"

#include <QHash>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QWheelEvent>

#include <cmath>

namespace ui::editor {

namespace {

const QColor surround(0x26, 0x27, 0x2B); // around the canvas
constexpr double dragThreshold = 3;      // view pixels before a press becomes a move

QBrush checkerboard() {
    static const QPixmap tile = [] {
        QPixmap pixmap(16, 16);
        pixmap.fill(QColor(0xF2, 0xF2, 0xF2));
        QPainter p(&pixmap);
        p.fillRect(0, 0, 8, 8, QColor(0xD9, 0xD9, 0xD9));
        p.fillRect(8, 8, 8, 8, QColor(0xD9, 0xD9, 0xD9));
        return pixmap;
    }();
    return QBrush(tile);
}

bool placesOnClick(EditorTool tool) {
    return tool == EditorTool::Counter || tool == EditorTool::Step || tool == EditorTool::Emoji;
}

} // namespace

EditorCanvas::EditorCanvas(EditorModel* model, QWidget* parent)
    : QAbstractScrollArea(parent), m_model(model) {
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::StrongFocus);
    viewport()->setMouseTracking(true);
    viewport()->setAttribute(Qt::WA_OpaquePaintEvent);
    horizontalScrollBar()->setSingleStep(24);
    verticalScrollBar()->setSingleStep(24);
    m_transform.contentSize = model->contentSize();
    m_shown = model->annotations();
    m_shownSelection = model->selectedID();

    connect(model, &EditorModel::annotationsChanged, this, &EditorCanvas::onAnnotationsChanged);
    connect(model, &EditorModel::selectionChanged, this, &EditorCanvas::onSelectionChanged);
    connect(model, &EditorModel::draftChanged, this, &EditorCanvas::onDraftChanged);
    connect(model, &EditorModel::baseImageChanged, this, [this] {
        setCropRect(std::nullopt);
        onSceneReshaped();
    });
    connect(model, &EditorModel::beautifyChanged, this, &EditorCanvas::onSceneReshaped);
    connect(model, &EditorModel::styleChanged, this, &EditorCanvas::onToolChanged);
}

// --- Zoom and scrolling ---------------------------------------------------------------------------

double EditorCanvas::zoomFactor() const {
    return m_transform.zoom * devicePixelRatioF();
}

void EditorCanvas::setZoomFactor(double factor) {
    m_fitting = false;
    const QPointF centre(viewport()->width() / 2.0, viewport()->height() / 2.0);
    setTransform(m_transform.zoomedAround(factor / devicePixelRatioF(), centre));
}

void EditorCanvas::zoomIn() {
    setZoomFactor(nextZoomStep(zoomFactor(), true));
}

void EditorCanvas::zoomOut() {
    setZoomFactor(nextZoomStep(zoomFactor(), false));
}

void EditorCanvas::zoomToFit() {
    m_fitting = true;
    refit();
}

void EditorCanvas::zoomActualSize() {
    setZoomFactor(1.0);
}

void EditorCanvas::refit() {
    CanvasTransform next = m_transform;
    next.viewportSize = viewport()->size();
    // Small images are not blown up past their pixels.
    next.zoom = next.fitZoom(1.0 / devicePixelRatioF());
    next.scroll = {};
    setTransform(next);
}

void EditorCanvas::setTransform(const CanvasTransform& transform) {
    const bool zoomed = transform.zoom != m_transform.zoom;
    m_transform = transform;
    m_transform.viewportSize = viewport()->size();
    m_transform.scroll = m_transform.clampedScroll(m_transform.scroll);
    syncScrollBars();
    invalidateAll();
    if (m_typing) m_typing->clearFocus(); // commits: the field no longer sits on its text
    if (zoomed) emit zoomChanged();
}

void EditorCanvas::syncScrollBars() {
    const QPointF limit = m_transform.maxScroll();
    const QPointF wanted = m_transform.scroll;
    QScrollBar* h = horizontalScrollBar();
    QScrollBar* v = verticalScrollBar();
    const QSignalBlocker blockH(h);
    const QSignalBlocker blockV(v);
    h->setRange(0, int(std::ceil(limit.x())));
    v->setRange(0, int(std::ceil(limit.y())));
    h->setPageStep(viewport()->width());
    v->setPageStep(viewport()->height());
    h->setValue(int(std::round(wanted.x())));
    v->setValue(int(std::round(wanted.y())));
    m_transform.scroll = QPointF(h->value(), v->value());
}

void EditorCanvas::scrollContentsBy(int, int) {
    m_transform.scroll = QPointF(horizontalScrollBar()->value(), verticalScrollBar()->value());
    invalidateAll();
}

void EditorCanvas::resizeEvent(QResizeEvent* event) {
    QAbstractScrollArea::resizeEvent(event);
    if (m_fitting)
        refit();
    else
        setTransform(m_transform);
}

void EditorCanvas::onSceneReshaped() {
    m_transform.contentSize = m_model->contentSize();
    m_shown = m_model->annotations();
    if (m_fitting)
        refit();
    else
        setTransform(m_transform);
}

void EditorCanvas::wheelEvent(QWheelEvent* event) {
    if (!(event->modifiers() & Qt::ControlModifier)) {
        QAbstractScrollArea::wheelEvent(event);
        return;
    }
    const double steps = event->angleDelta().y() / 120.0;
    if (steps == 0) return;
    m_fitting = false;
    const double factor = zoomFactor() * std::pow(1.2, steps);
    setTransform(m_transform.zoomedAround(factor / devicePixelRatioF(), event->position()));
    event->accept();
}

// --- Coordinates ------------------------------------------------------------------------------------

QPointF EditorCanvas::toImage(const QPointF& view) const {
    const double padding = m_model->padding();
    return m_transform.toCanvas(view) - QPointF(padding, padding);
}

QRectF EditorCanvas::imageToView(const QRectF& image) const {
    const double padding = m_model->padding();
    return m_transform.toView(image.translated(padding, padding));
}

double EditorCanvas::tolerance() const {
    return 6 / m_transform.zoom;
}

QRect EditorCanvas::paintedArea(const Annotation& annotation) const {
    if (annotation.tool == EditorTool::Spotlight) return viewport()->rect();
    // Shadows reach about twice the line width; outlines and the selection frame a little more.
    const double margin = 2 * annotation.lineWidth + 14;
    const QRectF bounds = annotation.bounds().adjusted(-margin, -margin, margin, margin);
    return imageToView(bounds).toAlignedRect().adjusted(-3, -3, 3, 3);
}

QRect EditorCanvas::cropArea(const std::optional<QRectF>& rect) const {
    const QRectF image = rect ? *rect : QRectF(QPointF(), m_model->imageSize());
    return imageToView(image).toAlignedRect().adjusted(-4, -4, 4, 4);
}

// --- Invalidation ----------------------------------------------------------------------------------

void EditorCanvas::invalidate(const QRegion& region) {
    const QRegion visible = region & viewport()->rect();
    if (visible.isEmpty()) return;
    m_dirty += visible;
    viewport()->update(visible);
}

void EditorCanvas::invalidateAll() {
    invalidate(viewport()->rect());
}

void EditorCanvas::onAnnotationsChanged() {
    const QList<Annotation>& now = m_model->annotations();
    QHash<QUuid, const Annotation*> before;
    for (const Annotation& a : std::as_const(m_shown))
        before.insert(a.id, &a);
    QHash<QUuid, const Annotation*> after;
    for (const Annotation& a : now)
        after.insert(a.id, &a);

    // A change of drawing order can matter anywhere two annotations overlap.
    QList<QUuid> keptBefore, keptAfter;
    for (const Annotation& a : std::as_const(m_shown))
        if (after.contains(a.id)) keptBefore.append(a.id);
    for (const Annotation& a : now)
        if (before.contains(a.id)) keptAfter.append(a.id);
    if (keptBefore != keptAfter) {
        m_shown = now;
        invalidateAll();
        return;
    }

    QRegion changed;
    auto touch = [&](const Annotation& a) { changed += paintedArea(a); };
    for (const Annotation& a : now) {
        const Annotation* old = before.value(a.id);
        if (old && *old == a) continue;
        touch(a);
        if (old) touch(*old);
    }
    for (const Annotation& a : std::as_const(m_shown))
        if (!after.contains(a.id)) touch(a);
    m_shown = now;
    invalidate(changed);
}

void EditorCanvas::onSelectionChanged() {
    QRegion changed;
    for (const Annotation& a : std::as_const(m_shown))
        if (a.id == m_shownSelection || a.id == m_model->selectedID()) changed += paintedArea(a);
    m_shownSelection = m_model->selectedID();
    invalidate(changed);
}

void EditorCanvas::onDraftChanged() {
    // The draft is painted over the cache, so only the screen needs repainting.
    QRegion changed;
    if (m_shownDraft) changed += paintedArea(*m_shownDraft);
    if (m_model->draft()) changed += paintedArea(*m_model->draft());
    m_shownDraft = m_model->draft();
    viewport()->update(changed);
}

void EditorCanvas::onToolChanged() {
    if (m_model->tool() != EditorTool::Crop && m_cropRect) setCropRect(std::nullopt);
    updateCursor(viewport()->mapFromGlobal(QCursor::pos()));
}

// --- Painting ------------------------------------------------------------------------------------------

void EditorCanvas::renderDirty() {
    const double ratio = devicePixelRatioF();
    const QSize pixels = (QSizeF(viewport()->size()) * ratio).toSize();
    if (m_cache.size() != pixels || m_cache.devicePixelRatio() != ratio) {
        m_cache = QImage(pixels, QImage::Format_ARGB32_Premultiplied);
        m_cache.setDevicePixelRatio(ratio);
        m_dirty = viewport()->rect();
    }
    if (m_dirty.isEmpty() || m_cache.isNull()) return;

    QPainter painter(&m_cache);
    painter.setClipRegion(m_dirty);
    for (const QRect& rect : m_dirty)
        painter.fillRect(rect, surround);
    const QRectF content = m_transform.toView(QRectF(QPointF(), m_transform.contentSize));
    painter.fillRect(content, checkerboard());
    // What lies outside the canvas is not part of the picture, so it is not shown either.
    painter.setClipRect(content, Qt::IntersectClip);
    painter.setRenderHint(QPainter::Antialiasing);
    // Pixels stay crisp once they are large enough to tell apart.
    painter.setRenderHint(QPainter::SmoothPixmapTransform, zoomFactor() < 2);
    painter.setTransform(m_transform.painterTransform());

    AnnotationRenderer::Extras extras;
    extras.selectedID = m_model->selectedID();
    extras.showHints = true;
    if (m_model->tool() == EditorTool::Crop) extras.cropRect = m_cropRect;
    AnnotationRenderer::drawScene(painter, m_model->scene(), m_model->blurCache(), extras);
    m_dirty = QRegion();
}

void EditorCanvas::paintEvent(QPaintEvent*) {
    renderDirty();
    QPainter painter(viewport());
    painter.drawImage(QPointF(0, 0), m_cache);

    if (const auto& draft = m_model->draft()) {
        painter.save();
        painter.setClipRect(m_transform.toView(QRectF(QPointF(), m_transform.contentSize)));
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setRenderHint(QPainter::SmoothPixmapTransform, zoomFactor() < 2);
        painter.setTransform(m_transform.painterTransform());
        painter.translate(m_model->padding(), m_model->padding());
        AnnotationRenderer::draw(painter, *draft, m_model->scene(), m_model->blurCache());
        painter.restore();
    }
    paintCropHint(painter);
}

void EditorCanvas::paintCropHint(QPainter& painter) {
    if (!m_cropRect || m_gesture == Gesture::Cropping) return;
    const QRectF image = pixelAligned(*m_cropRect, m_model->imageSize());
    const QString text =
        tr("%1 × %2   ·   Return to crop, Esc to cancel").arg(int(image.width())).arg(int(image.height()));
    const QFont font = overlaystyle::font(12, QFont::Medium);
    const QSizeF size = overlaystyle::textPillSize(font, text, {12, 6});
    const QRectF pill(
        QPointF((viewport()->width() - size.width()) / 2, viewport()->height() - size.height() - 16), size);
    overlaystyle::drawTextPill(painter, pill, font, text);
}

// --- Mouse ------------------------------------------------------------------------------------------------

void EditorCanvas::mousePressEvent(QMouseEvent* event) {
    const QPointF view = event->position();
    const QPointF image = toImage(view);
    m_pressView = view;
    m_pressImage = image;
    m_undoRecorded = false;

    if (event->button() == Qt::MiddleButton || (event->button() == Qt::LeftButton && m_spaceHeld)) {
        m_gesture = Gesture::Panning;
        m_scrollAtPress = m_transform.scroll;
        viewport()->setCursor(Qt::ClosedHandCursor);
        return;
    }
    if (event->button() != Qt::LeftButton) return;
    if (m_typing) {
        m_typing->clearFocus(); // a click elsewhere finishes the text
        return;
    }

    const EditorTool tool = m_model->tool();
    // The selection's grips work with every tool, so a fresh arrow can be adjusted at once.
    if (const auto selected = m_model->selectedAnnotation(); selected && tool != EditorTool::Crop) {
        const geometry::Handle handle =
            geometry::gripAt(*selected, image, tolerance() + 2 / m_transform.zoom);
        if (handle != geometry::Handle::None) {
            m_gesture = Gesture::Reshaping;
            m_handle = handle;
            m_original = *selected;
            return;
        }
    }

    switch (tool) {
    case EditorTool::Select: {
        const auto hit = geometry::topmostAt(m_model->annotations(), image, tolerance());
        m_model->setSelectedID(hit);
        if (hit) {
            m_gesture = Gesture::Moving;
            m_original = *m_model->selectedAnnotation();
        }
        return;
    }
    case EditorTool::Crop:
        if (m_cropRect && m_cropRect->contains(image)) {
            m_gesture = Gesture::MovingCrop;
            m_cropAtPress = *m_cropRect;
        } else {
            m_gesture = Gesture::Cropping;
            setCropRect(
                cropRectForDrag(image, image, aspectRatio(m_model->cropAspect()), m_model->imageSize()));
        }
        return;
    case EditorTool::Text:
        startTyping(image);
        return;
    default:
        break;
    }
    if (placesOnClick(tool)) {
        placeAt(image);
        return;
    }
    Annotation draft = m_model->newAnnotation(image, image);
    if (tool == EditorTool::Freehand) draft.points = {image};
    m_gesture = Gesture::Drawing;
    m_model->setDraft(draft);
}

void EditorCanvas::mouseMoveEvent(QMouseEvent* event) {
    const QPointF view = event->position();
    const QPointF image = toImage(view);
    const bool shift = event->modifiers() & Qt::ShiftModifier;
    switch (m_gesture) {
    case Gesture::None:
        updateCursor(view);
        return;
    case Gesture::Panning: {
        CanvasTransform next = m_transform;
        next.scroll = m_scrollAtPress - (view - m_pressView);
        setTransform(next);
        return;
    }
    case Gesture::Drawing: {
        if (!m_model->draft()) return;
        Annotation draft = *m_model->draft();
        if (draft.tool == EditorTool::Freehand) {
            if (QLineF(draft.points.back(), image).length() * m_transform.zoom < 1) return;
            draft.points.append(image);
            draft.p2 = image;
        } else {
            draft.p2 = shift ? geometry::constrained(draft.tool, draft.p1, image) : image;
        }
        m_model->setDraft(draft);
        return;
    }
    case Gesture::Moving:
    case Gesture::Reshaping: {
        if (!m_undoRecorded) {
            if ((view - m_pressView).manhattanLength() < dragThreshold) return;
            m_model->pushUndo(); // the whole drag is one step
            m_undoRecorded = true;
        }
        if (m_gesture == Gesture::Moving) {
            m_model->updateAnnotation(geometry::moved(m_original, image - m_pressImage));
        } else {
            const bool endpoint = m_handle == geometry::Handle::Start || m_handle == geometry::Handle::End;
            const QPointF fixed = m_handle == geometry::Handle::Start ? m_original.p2 : m_original.p1;
            const QPointF point =
                shift && endpoint ? geometry::constrained(m_original.tool, fixed, image) : image;
            m_model->updateAnnotation(geometry::reshaped(m_original, m_handle, point));
        }
        return;
    }
    case Gesture::Cropping:
        setCropRect(
            cropRectForDrag(m_pressImage, image, aspectRatio(m_model->cropAspect()), m_model->imageSize()));
        return;
    case Gesture::MovingCrop: {
        const QSizeF bounds = m_model->imageSize();
        QRectF moved = m_cropAtPress.translated(image - m_pressImage);
        moved.moveLeft(std::clamp(moved.left(), 0.0, std::max(0.0, bounds.width() - moved.width())));
        moved.moveTop(std::clamp(moved.top(), 0.0, std::max(0.0, bounds.height() - moved.height())));
        setCropRect(moved);
        return;
    }
    }
}

void EditorCanvas::mouseReleaseEvent(QMouseEvent* event) {
    const Gesture gesture = m_gesture;
    if (gesture == Gesture::Panning && event->button() != Qt::LeftButton &&
        event->button() != Qt::MiddleButton)
        return;
    if (gesture != Gesture::Panning && event->button() != Qt::LeftButton) return;
    m_gesture = Gesture::None;
    switch (gesture) {
    case Gesture::Drawing:
        finishDrawing();
        break;
    case Gesture::Cropping:
        if (m_cropRect && (m_cropRect->width() < 2 || m_cropRect->height() < 2)) setCropRect(std::nullopt);
        viewport()->update(); // the hint appears
        break;
    default:
        break;
    }
    updateCursor(event->position());
}

void EditorCanvas::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    const QPointF image = toImage(event->position());
    const EditorTool tool = m_model->tool();
    if (tool != EditorTool::Select && tool != EditorTool::Text) {
        mousePressEvent(event);
        return;
    }
    // Double-clicking a text opens it for editing.
    for (auto it = m_model->annotations().rbegin(); it != m_model->annotations().rend(); ++it)
        if (it->tool == EditorTool::Text && it->bounds().contains(image)) {
            m_gesture = Gesture::None;
            m_model->setSelectedID(it->id);
            startTyping(it->p1, *it);
            return;
        }
    mousePressEvent(event);
}

void EditorCanvas::finishDrawing() {
    const auto draft = m_model->draft();
    m_model->setDraft(std::nullopt);
    if (!draft || geometry::isNegligible(*draft)) return;
    Annotation annotation = *draft;
    if (annotation.tool == EditorTool::Highlight) {
        const QRectF snapped =
            m_model->snappedHighlightRect(QRectF(annotation.p1, annotation.p2).normalized());
        // A click that found no word under it marks nothing.
        if (snapped.width() < 3 || snapped.height() < 3) return;
        annotation.p1 = snapped.topLeft();
        annotation.p2 = snapped.bottomRight();
    }
    m_model->addAnnotation(annotation);
}

void EditorCanvas::placeAt(const QPointF& image) {
    Annotation annotation = m_model->newAnnotation(image, image);
    if (annotation.tool == EditorTool::Emoji) {
        // Emoji are placed by their top left; the click means their middle.
        const QSizeF size = annotation.emojiSize();
        annotation.p1 = image - QPointF(size.width() / 2, size.height() / 2);
        annotation.p2 = annotation.p1;
    }
    m_model->addAnnotation(annotation);
}

void EditorCanvas::startTyping(const QPointF& image, std::optional<Annotation> editing) {
    const Annotation style = editing ? *editing : m_model->newAnnotation(image, image);
    QFont font = style.textFont();
    font.setPixelSize(std::max(1, int(std::round(style.fontSize * m_transform.zoom))));
    const QColor ink = style.textStyle == TextStyle::Plain ? style.color : QColor(Qt::white);
    auto* field = new InlineTextEditor(font, ink, viewport());
    if (editing) field->setText(editing->text);
    if (style.textStyle != TextStyle::Plain)
        field->setStyleSheet(field->styleSheet() +
                             QStringLiteral("QLineEdit { background: %1; }").arg(style.color.name()));
    field->move(imageToView(QRectF(style.p1, QSizeF())).topLeft().toPoint() - QPoint(1, 1));
    m_typing = field;

    connect(field, &InlineTextEditor::committed, this, [this, image, editing](const QString& text) {
        setFocus();
        if (editing) {
            if (text == editing->text) return;
            if (text.trimmed().isEmpty()) {
                m_model->setSelectedID(editing->id);
                m_model->deleteSelected();
                return;
            }
            Annotation changed = *editing;
            changed.text = text;
            m_model->pushUndo();
            m_model->updateAnnotation(changed);
            return;
        }
        if (text.trimmed().isEmpty()) return;
        Annotation annotation = m_model->newAnnotation(image, image);
        annotation.text = text;
        m_model->addAnnotation(annotation);
    });
    field->show();
    field->setFocus();
}

// --- Crop
// ---------------------------------------------------------------------------------------------------

void EditorCanvas::setCropRect(const std::optional<QRectF>& rect) {
    if (rect == m_cropRect) return;
    const bool appeared = rect.has_value() != m_cropRect.has_value();
    // Dimming covers the whole image while there is a rectangle; a changed rectangle only
    // changes what lies inside the old or new one.
    invalidate(QRegion(cropArea(m_cropRect)) | cropArea(rect));
    m_cropRect = rect;
    if (appeared) viewport()->update();
    emit cropRectChanged();
}

bool EditorCanvas::applyCrop() {
    if (!m_cropRect) return false;
    const QRectF rect = pixelAligned(*m_cropRect, m_model->imageSize());
    setCropRect(std::nullopt);
    if (!rect.isEmpty() && rect != QRectF(QPointF(), m_model->imageSize())) m_model->applyCrop(rect);
    return true;
}

void EditorCanvas::cancel() {
    if (m_gesture == Gesture::Drawing) {
        m_gesture = Gesture::None;
        m_model->setDraft(std::nullopt);
    } else if (m_cropRect) {
        setCropRect(std::nullopt);
    } else {
        m_model->setSelectedID(std::nullopt);
    }
}

// --- Keys and cursor
// --------------------------------------------------------------------------------------------

void EditorCanvas::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Space) {
        if (!event->isAutoRepeat()) {
            m_spaceHeld = true;
            if (m_gesture == Gesture::None) viewport()->setCursor(Qt::OpenHandCursor);
        }
        return;
    }
    QAbstractScrollArea::keyPressEvent(event);
}

void EditorCanvas::keyReleaseEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Space && !event->isAutoRepeat()) {
        m_spaceHeld = false;
        updateCursor(viewport()->mapFromGlobal(QCursor::pos()));
        return;
    }
    QAbstractScrollArea::keyReleaseEvent(event);
}

void EditorCanvas::focusOutEvent(QFocusEvent* event) {
    m_spaceHeld = false;
    QAbstractScrollArea::focusOutEvent(event);
}

void EditorCanvas::updateCursor(const QPointF& view) {
    if (m_spaceHeld) {
        viewport()->setCursor(Qt::OpenHandCursor);
        return;
    }
    const QPointF image = toImage(view);
    const EditorTool tool = m_model->tool();
    if (const auto selected = m_model->selectedAnnotation(); selected && tool != EditorTool::Crop) {
        const geometry::Handle handle =
            geometry::gripAt(*selected, image, tolerance() + 2 / m_transform.zoom);
        if (handle == geometry::Handle::TopLeft || handle == geometry::Handle::BottomRight) {
            viewport()->setCursor(Qt::SizeFDiagCursor);
            return;
        }
        if (handle == geometry::Handle::TopRight || handle == geometry::Handle::BottomLeft) {
            viewport()->setCursor(Qt::SizeBDiagCursor);
            return;
        }
        if (handle != geometry::Handle::None) {
            viewport()->setCursor(Qt::SizeAllCursor);
            return;
        }
    }
    switch (tool) {
    case EditorTool::Select:
        viewport()->setCursor(geometry::topmostAt(m_model->annotations(), image, tolerance())
                                  ? Qt::SizeAllCursor
                                  : Qt::ArrowCursor);
        break;
    case EditorTool::Text:
        viewport()->setCursor(Qt::IBeamCursor);
        break;
    case EditorTool::Crop:
        viewport()->setCursor(m_cropRect && m_cropRect->contains(image) ? Qt::SizeAllCursor
                                                                        : Qt::CrossCursor);
        break;
    case EditorTool::Counter:
    case EditorTool::Step:
    case EditorTool::Emoji:
        viewport()->setCursor(Qt::PointingHandCursor);
        break;
    default:
        viewport()->setCursor(Qt::CrossCursor);
        break;
    }
}

} // namespace ui::editor
