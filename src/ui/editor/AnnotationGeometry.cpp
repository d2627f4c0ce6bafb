#include "ui/editor/AnnotationGeometry.h"

#include <QLineF>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace ui::editor::geometry {

namespace {

bool isLine(EditorTool tool) {
    return tool == EditorTool::Arrow || tool == EditorTool::Line;
}

bool isBox(EditorTool tool) {
    switch (tool) {
    case EditorTool::Rect:
    case EditorTool::Ellipse:
    case EditorTool::Highlight:
    case EditorTool::Blur:
    case EditorTool::Spotlight:
        return true;
    default:
        return false;
    }
}

double distanceToSegment(const QPointF& p, const QPointF& a, const QPointF& b) {
    const QPointF ab = b - a;
    const double lengthSquared = QPointF::dotProduct(ab, ab);
    const double t =
        lengthSquared > 0 ? std::clamp(QPointF::dotProduct(p - a, ab) / lengthSquared, 0.0, 1.0) : 0;
    return QLineF(p, a + t * ab).length();
}

} // namespace

QList<Grip> grips(const Annotation& a) {
    if (isLine(a.tool)) return {{Handle::Start, a.p1}, {Handle::End, a.p2}};
    if (!isBox(a.tool)) return {};
    // On the corners of the selection frame, just outside the stroke.
    const QRectF frame = a.bounds().adjusted(-frameMargin, -frameMargin, frameMargin, frameMargin);
    return {{Handle::TopLeft, frame.topLeft()},
            {Handle::TopRight, frame.topRight()},
            {Handle::BottomLeft, frame.bottomLeft()},
            {Handle::BottomRight, frame.bottomRight()}};
}

Handle gripAt(const Annotation& annotation, const QPointF& point, double tolerance) {
    for (const Grip& grip : grips(annotation))
        if (QLineF(grip.position, point).length() <= tolerance) return grip.handle;
    return Handle::None;
}

bool hits(const Annotation& a, const QPointF& point, double tolerance) {
    const double reach = a.lineWidth / 2 + tolerance;
    if (isLine(a.tool)) return distanceToSegment(point, a.p1, a.p2) <= reach;
    if (a.tool == EditorTool::Freehand) {
        if (a.points.size() == 1) return QLineF(point, a.points.front()).length() <= reach;
        for (qsizetype i = 1; i < a.points.size(); ++i)
            if (distanceToSegment(point, a.points[i - 1], a.points[i]) <= reach) return true;
        return false;
    }
    return a.bounds().adjusted(-tolerance, -tolerance, tolerance, tolerance).contains(point);
}

std::optional<QUuid> topmostAt(const QList<Annotation>& annotations, const QPointF& point, double tolerance) {
    for (auto it = annotations.rbegin(); it != annotations.rend(); ++it)
        if (hits(*it, point, tolerance)) return it->id;
    return std::nullopt;
}

Annotation moved(const Annotation& annotation, const QPointF& delta) {
    Annotation result = annotation;
    result.p1 += delta;
    result.p2 += delta;
    for (QPointF& p : result.points)
        p += delta;
    return result;
}

Annotation reshaped(const Annotation& original, Handle handle, const QPointF& point) {
    Annotation result = original;
    if (handle == Handle::Start) result.p1 = point;
    if (handle == Handle::End) result.p2 = point;
    if (handle == Handle::Start || handle == Handle::End || handle == Handle::None) return result;

    // The corner opposite the grip stays where it is; the grip's corner follows the
    // pointer, keeping the distance between the grip and the corner it stands for.
    const QRectF r = QRectF(original.p1, original.p2).normalized();
    QPointF fixed, moving;
    switch (handle) {
    case Handle::TopLeft:
        fixed = r.bottomRight(), moving = r.topLeft();
        break;
    case Handle::TopRight:
        fixed = r.bottomLeft(), moving = r.topRight();
        break;
    case Handle::BottomLeft:
        fixed = r.topRight(), moving = r.bottomLeft();
        break;
    default:
        fixed = r.topLeft(), moving = r.bottomRight();
        break;
    }
    QPointF grip = moving;
    for (const Grip& g : grips(original))
        if (g.handle == handle) grip = g.position;
    result.p1 = fixed;
    result.p2 = moving + (point - grip);
    return result;
}

QPointF constrained(EditorTool tool, const QPointF& start, const QPointF& point) {
    const QPointF d = point - start;
    if (isLine(tool)) {
        const double length = std::hypot(d.x(), d.y());
        const double step = std::numbers::pi / 4;
        const double angle = std::round(std::atan2(d.y(), d.x()) / step) * step;
        return start + QPointF(std::cos(angle), std::sin(angle)) * length;
    }
    if (isBox(tool)) {
        const double side = std::max(std::abs(d.x()), std::abs(d.y()));
        return start + QPointF(d.x() < 0 ? -side : side, d.y() < 0 ? -side : side);
    }
    return point;
}

bool isNegligible(const Annotation& a) {
    if (a.tool == EditorTool::Freehand) return a.points.size() < 2;
    if (isLine(a.tool)) return QLineF(a.p1, a.p2).length() <= 2;
    // A highlight click still snaps to the word under it.
    if (a.tool == EditorTool::Highlight) return false;
    if (isBox(a.tool)) {
        const QRectF r = QRectF(a.p1, a.p2).normalized();
        return r.width() < 3 || r.height() < 3;
    }
    return false;
}

} // namespace ui::editor::geometry
