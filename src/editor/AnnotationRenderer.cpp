#include "editor/AnnotationRenderer.h"

#include "editor/BackgroundStyle.h"
#include "editor/CachedLayer.h"
#include "editor/SceneBase.h"
#include "editor/SoftShadow.h"

#include <QColorSpace>
#include <QDataStream>
#include <QFontMetricsF>
#include <QIODevice>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QPainterPathStroker>
#include <QPolygonF>

#include <algorithm>
#include <cmath>
#include <functional>

namespace AnnotationRenderer {

namespace {

const QColor accent(0x3B, 0x82, 0xF6);

// What an annotation's body looks like, independent of where it is: the shadow cache key.
QByteArray lookKey(const Annotation& a, QPointF origin, char part) {
    QByteArray key;
    QDataStream out(&key, QIODevice::WriteOnly);
    out << qint8(part) << int(a.tool) << (a.p1 - origin) << (a.p2 - origin) << qint32(a.points.size());
    for (const QPointF& point : a.points)
        out << (point - origin);
    out << a.text << a.number << quint64(a.color.rgba64()) << a.brandGradient << a.lineWidth << a.fontSize
        << a.fontName.value_or(QString()) << bool(a.fontName) << int(a.textStyle);
    return key;
}

// The colour, or the brand gradient from the bounds' top left to their bottom right.
QBrush fillBrush(const Annotation& a) {
    if (!a.brandGradient) return a.color;
    const QRectF bounds = a.bounds();
    QLinearGradient gradient(bounds.topLeft(), bounds.bottomRight());
    const QList<QColor> colors = Backgrounds::brandColors();
    for (qsizetype i = 0; i < colors.size(); ++i)
        gradient.setColorAt(double(i) / double(std::max<qsizetype>(colors.size() - 1, 1)), colors[i]);
    return gradient;
}

// Draws `body` with the object shadow when the annotation asks for one.
void withObjectShadow(QPainter& painter, const Annotation& a, const QRectF& extent, char part,
                      const std::function<void(QPainter&)>& body) {
    if (a.shadow) {
        const SoftShadow::Spec spec{std::max(a.lineWidth * 0.9, 3.0), std::max(a.lineWidth * 0.3, 1.0), 0.38};
        SoftShadow::drawFor(painter, spec, extent, lookKey(a, extent.topLeft(), part), body);
    }
    body(painter);
}

QPainterPath strokeOutline(const QPainterPath& path, double width) {
    QPainterPathStroker stroker;
    stroker.setWidth(width);
    stroker.setCapStyle(Qt::RoundCap);
    stroker.setJoinStyle(Qt::RoundJoin);
    return stroker.createStroke(path);
}

// Fills a body outline with the annotation's colour or gradient, shadowed if asked.
void fillShape(QPainter& painter, const Annotation& a, const QPainterPath& shape) {
    if (shape.isEmpty()) return;
    const QBrush brush = fillBrush(a);
    withObjectShadow(painter, a, shape.controlPointRect(), 's', [&](QPainter& p) {
        p.setPen(Qt::NoPen);
        p.setBrush(brush);
        p.drawPath(shape);
    });
}

void drawArrow(QPainter& painter, const Annotation& a) {
    const QPointF delta = a.p2 - a.p1;
    const double length = std::hypot(delta.x(), delta.y());
    if (length <= 2) return;
    const QPointF u = delta / length;
    const double headLength = std::max(a.lineWidth * 3.4, 12.0);
    const double headWidth = headLength * 0.9;

    QPainterPath shaft(a.p1);
    shaft.lineTo(a.p2 - u * headLength * 0.75);
    const QPointF base = a.p2 - u * headLength;
    const QPointF normal(-u.y(), u.x());

    // One path with the winding rule, so where shaft and head overlap nothing is painted twice.
    QPainterPath shape = strokeOutline(shaft, a.lineWidth);
    shape.setFillRule(Qt::WindingFill);
    shape.addPolygon(QPolygonF{a.p2, base + normal * headWidth / 2, base - normal * headWidth / 2, a.p2});
    fillShape(painter, a, shape);
}

void drawStroke(QPainter& painter, const Annotation& a) {
    QPainterPath path;
    const QRectF rect = QRectF(a.p1, a.p2).normalized();
    switch (a.tool) {
    case EditorTool::Line:
        path.moveTo(a.p1);
        path.lineTo(a.p2);
        break;
    case EditorTool::Rect:
        path.addRect(rect);
        break;
    case EditorTool::Ellipse:
        path.addEllipse(rect);
        break;
    case EditorTool::Freehand:
        if (a.points.isEmpty()) return;
        path.moveTo(a.points.first());
        for (const QPointF& point : a.points)
            path.lineTo(point);
        // A single click still leaves a round dot.
        if (a.points.size() == 1) path.lineTo(a.points.first() + QPointF(0.01, 0));
        break;
    default:
        return;
    }
    fillShape(painter, a, strokeOutline(path, a.lineWidth));
}

void drawHighlight(QPainter& painter, const Annotation& a) {
    QColor color = a.color;
    color.setAlphaF(color.alphaF() * 0.85f);
    painter.setCompositionMode(QPainter::CompositionMode_Multiply);
    painter.fillRect(QRectF(a.p1, a.p2).normalized(), color);
}

// The badge body (circle or pill) with white text centred on it.
void drawBadge(QPainter& painter, const Annotation& a, const QRectF& rect, double radius, const QFont& font,
               const QString& label) {
    const QBrush brush = fillBrush(a);
    const auto body = [&](QPainter& p) {
        p.setPen(Qt::NoPen);
        p.setBrush(brush);
        p.drawRoundedRect(rect, radius, radius);
        p.setPen(Qt::white);
        p.setFont(font);
        p.drawText(rect, Qt::AlignCenter, label);
    };
    withObjectShadow(painter, a, rect, 'b', body);
}

void drawCounter(QPainter& painter, const Annotation& a) {
    const QRectF rect = a.bounds();
    drawBadge(painter, a, rect, rect.width() / 2, boldSystemFont(a.fontSize), QString::number(a.number));
}

void drawStep(QPainter& painter, const Annotation& a) {
    const QRectF rect = a.bounds();
    drawBadge(painter, a, rect, rect.height() / 2, a.stepFont(), a.stepLabel());
}

// Text laid out line by line from the annotation's top left, inside the 2 px inset that
// textSize() adds, so plain drawing and outline paths line up.
struct TextLines {
    QFont font;
    QStringList lines;
    QList<QPointF> baselines;

    TextLines(const Annotation& a, const QFont& f) : font(f), lines(a.text.split(QLatin1Char('\n'))) {
        const QFontMetricsF metrics(font);
        for (qsizetype i = 0; i < lines.size(); ++i)
            baselines.append(a.p1 + QPointF(2, 1 + metrics.ascent() + double(i) * metrics.lineSpacing()));
    }
    void draw(QPainter& p) const {
        p.setFont(font);
        for (qsizetype i = 0; i < lines.size(); ++i)
            p.drawText(baselines[i], lines[i]);
    }
    QPainterPath path() const {
        QPainterPath path;
        for (qsizetype i = 0; i < lines.size(); ++i)
            path.addText(baselines[i], font, lines[i]);
        return path;
    }
};

// White text over a shadow, over the glyphs thickened in the annotation's colour and
// repeated 2 px around.
void drawOutlinedText(QPainter& painter, const Annotation& a, const TextLines& text) {
    const QPainterPath glyphs = text.path();
    QPainterPath outline = glyphs;
    outline.setFillRule(Qt::WindingFill);
    outline.addPath(strokeOutline(glyphs, a.fontSize * 0.09));
    QPainterPath ring;
    ring.setFillRule(Qt::WindingFill);
    for (const QPointF offset : {QPointF(-2, -2), QPointF(0, -2), QPointF(2, -2), QPointF(-2, 0),
                                 QPointF(2, 0), QPointF(-2, 2), QPointF(0, 2), QPointF(2, 2)})
        ring.addPath(outline.translated(offset));
    painter.setPen(Qt::NoPen);
    painter.setBrush(fillBrush(a));
    painter.drawPath(ring);

    const QRectF extent = a.bounds().adjusted(-4, -4, 4, 4);
    SoftShadow::drawFor(painter, {3, 1, 0.45}, extent, lookKey(a, extent.topLeft(), 'o'), [&](QPainter& p) {
        p.setPen(Qt::white);
        text.draw(p);
    });
    painter.setPen(Qt::white);
    text.draw(painter);
}

void drawText(QPainter& painter, const Annotation& a) {
    if (a.text.isEmpty()) return;
    const TextLines text(a, a.textFont());
    const QRectF bounds = a.bounds();
    switch (a.textStyle) {
    case TextStyle::Plain:
        withObjectShadow(painter, a, bounds, 't', [&](QPainter& p) {
            p.setPen(QPen(fillBrush(a), 1));
            text.draw(p);
        });
        return;
    case TextStyle::Filled: {
        const double radius = a.fontSize * 0.28;
        const QBrush brush = fillBrush(a);
        withObjectShadow(painter, a, bounds, 'f', [&](QPainter& p) {
            p.setPen(Qt::NoPen);
            p.setBrush(brush);
            p.drawRoundedRect(bounds, radius, radius);
            p.setPen(Qt::white);
            text.draw(p);
        });
        return;
    }
    case TextStyle::Outlined: {
        // Glyph outlines are slow to build and fill, so the finished text is kept as an image.
        const double reach = 2 + a.fontSize * 0.045 + 6;
        const QRectF extent = bounds.adjusted(-reach, -reach, reach, reach);
        CachedLayer::draw(painter, extent, lookKey(a, extent.topLeft(), 'O'),
                          [&](QPainter& p) { drawOutlinedText(p, a, text); });
        return;
    }
    }
}

void drawEmoji(QPainter& painter, const Annotation& a) {
    if (a.text.isEmpty()) return;
    const QFont font = a.emojiFont();
    const QPointF baseline = a.p1 + QPointF(0, QFontMetricsF(font).ascent());
    withObjectShadow(painter, a, a.bounds(), 'e', [&](QPainter& p) {
        p.setFont(font);
        p.setPen(Qt::black);
        p.drawText(baseline, a.text);
    });
}

void drawBlur(QPainter& painter, const Annotation& a, const EditorScene& scene, BlurCache& blurs) {
    const QImage patch = blurs.patch(a, scene.baseImage);
    if (patch.isNull()) return;
    painter.drawImage(BlurCache::pixelRect(a, scene.baseImage.size()).topLeft(), patch);
}

void drawSpotlight(QPainter& painter, const Annotation& a, const QRectF& imageBounds) {
    const QRectF hole = QRectF(a.p1, a.p2).normalized();
    const QColor dim = QColor::fromRgbF(0, 0, 0, 0.55f);
    // Whole-pixel bands away from the hole are plain fills; only the ring of pixels that
    // meets the rounded hole goes through the path rasterizer, so a large image stays cheap.
    const QRectF snapped = QRectF(QPointF(std::floor(hole.left()), std::floor(hole.top())),
                                  QPointF(std::ceil(hole.right()), std::ceil(hole.bottom())))
                               .intersected(imageBounds);
    if (snapped.isEmpty()) {
        painter.fillRect(imageBounds, dim);
        return;
    }
    const QRectF bands[] = {
        {imageBounds.topLeft(), QPointF(imageBounds.right(), snapped.top())},
        {QPointF(imageBounds.left(), snapped.bottom()), imageBounds.bottomRight()},
        {QPointF(imageBounds.left(), snapped.top()), snapped.bottomLeft()},
        {snapped.topRight(), QPointF(imageBounds.right(), snapped.bottom())},
    };
    for (const QRectF& band : bands)
        if (!band.isEmpty()) painter.fillRect(band, dim);

    QPainterPath ring;
    ring.setFillRule(Qt::OddEvenFill);
    ring.addRect(snapped);
    ring.addRoundedRect(hole, 6, 6);
    painter.save();
    painter.setClipRect(snapped, Qt::IntersectClip);
    painter.setPen(Qt::NoPen);
    painter.setBrush(dim);
    painter.drawPath(ring);
    painter.restore();
}

void drawSelectionIndicator(QPainter& painter, const Annotation& a) {
    const QRectF frame = a.bounds().adjusted(-5, -5, 5, 5);
    painter.save();
    painter.setBrush(Qt::NoBrush);
    // A white line under the dashes keeps the frame visible on any colour.
    painter.setPen(QPen(QColor(255, 255, 255, 220), 1.5));
    painter.drawRect(frame);
    QPen dashes(accent, 1.5);
    dashes.setDashPattern({4, 3});
    painter.setPen(dashes);
    painter.drawRect(frame);

    // Handles where a drag reshapes the annotation: the ends of a line, else the corners.
    QList<QPointF> handles;
    if (a.tool == EditorTool::Arrow || a.tool == EditorTool::Line)
        handles = {a.p1, a.p2};
    else
        handles = {frame.topLeft(), frame.topRight(), frame.bottomLeft(), frame.bottomRight()};
    painter.setPen(QPen(accent, 1.5));
    painter.setBrush(Qt::white);
    for (const QPointF& handle : handles)
        painter.drawEllipse(handle, 4, 4);
    painter.restore();
}

void drawCropOverlay(QPainter& painter, const QRectF& crop, const QRectF& imageBounds) {
    const QRectF rect = crop.normalized();
    QPainterPath outside;
    outside.setFillRule(Qt::OddEvenFill);
    outside.addRect(imageBounds);
    outside.addRect(rect);
    painter.save();
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor::fromRgbF(0, 0, 0, 0.4f));
    painter.drawPath(outside);
    painter.setPen(QPen(Qt::white, 2));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(rect);
    painter.restore();
}

} // namespace

void draw(QPainter& painter, const Annotation& annotation, const EditorScene& scene, BlurCache& blurs) {
    painter.save();
    painter.setOpacity(painter.opacity() * std::clamp(annotation.opacity, 0.0, 1.0));
    switch (annotation.tool) {
    case EditorTool::Arrow:
        drawArrow(painter, annotation);
        break;
    case EditorTool::Line:
    case EditorTool::Rect:
    case EditorTool::Ellipse:
    case EditorTool::Freehand:
        drawStroke(painter, annotation);
        break;
    case EditorTool::Highlight:
        drawHighlight(painter, annotation);
        break;
    case EditorTool::Text:
        drawText(painter, annotation);
        break;
    case EditorTool::Emoji:
        drawEmoji(painter, annotation);
        break;
    case EditorTool::Counter:
        drawCounter(painter, annotation);
        break;
    case EditorTool::Step:
        drawStep(painter, annotation);
        break;
    case EditorTool::Blur:
        drawBlur(painter, annotation, scene, blurs);
        break;
    case EditorTool::Spotlight:
        drawSpotlight(painter, annotation, QRectF(QPointF(0, 0), scene.imageSize()));
        break;
    case EditorTool::Select:
    case EditorTool::Crop:
        break;
    }
    painter.restore();
}

void drawScene(QPainter& painter, const EditorScene& scene, BlurCache& blurs, const Extras& extras) {
    painter.save();
    painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing |
                           QPainter::SmoothPixmapTransform);

    SceneBase::draw(painter, scene);

    painter.translate(scene.padding, scene.padding);
    for (const Annotation& annotation : scene.annotations)
        draw(painter, annotation, scene, blurs);
    if (extras.draft) draw(painter, *extras.draft, scene, blurs);

    if (extras.selectedID) {
        const auto selected = std::find_if(scene.annotations.begin(), scene.annotations.end(),
                                           [&](const Annotation& a) { return a.id == *extras.selectedID; });
        if (selected != scene.annotations.end())
            drawSelectionIndicator(painter, *selected);
        else if (extras.draft && extras.draft->id == *extras.selectedID)
            drawSelectionIndicator(painter, *extras.draft);
    }
    if (extras.showHints && extras.cropRect)
        drawCropOverlay(painter, *extras.cropRect, QRectF(QPointF(0, 0), scene.imageSize()));
    painter.restore();
}

QImage render(const EditorScene& scene, BlurCache& blurs) {
    if (scene.baseImage.isNull()) return {};
    const QSizeF size = scene.contentSize();
    QImage out(QSize(int(std::ceil(size.width())), int(std::ceil(size.height()))),
               QImage::Format_ARGB32_Premultiplied);
    out.fill(Qt::transparent);
    QPainter painter(&out);
    drawScene(painter, scene, blurs);
    painter.end();
    out.setColorSpace(QColorSpace::SRgb);
    return out;
}

} // namespace AnnotationRenderer
