#pragma once

#include "editor/Annotation.h"

#include <QList>
#include <QPointF>
#include <QRectF>
#include <QUuid>

#include <optional>

// How the select tool finds, moves and reshapes annotations. Image coordinates.
namespace ui::editor::geometry {

// How far the selection frame (and the corner grips on it) lies outside the bounds.
inline constexpr double frameMargin = 5;

// The grips of a selected annotation. Lines and arrows have their two ends; boxes have
// the corners of their selection frame; badges, text, emoji and freehand strokes only move.
enum class Handle { None, Start, End, TopLeft, TopRight, BottomLeft, BottomRight };

struct Grip {
    Handle handle;
    QPointF position;
};
QList<Grip> grips(const Annotation& annotation);

// The grip within `tolerance` of `point`, if any.
Handle gripAt(const Annotation& annotation, const QPointF& point, double tolerance);

// Whether `point` is on the annotation: near the stroke of lines, arrows and freehand
// paths, inside the bounds of everything else.
bool hits(const Annotation& annotation, const QPointF& point, double tolerance);

// The topmost annotation at `point` (the last one drawn).
std::optional<QUuid> topmostAt(const QList<Annotation>& annotations, const QPointF& point, double tolerance);

Annotation moved(const Annotation& annotation, const QPointF& delta);
// `original` with the grip dragged to `point`.
Annotation reshaped(const Annotation& original, Handle handle, const QPointF& point);

// With Shift held: lines and arrows snap to 45° steps, boxes become squares.
QPointF constrained(EditorTool tool, const QPointF& start, const QPointF& point);

// Whether a finished drag of the tool is too small to keep.
bool isNegligible(const Annotation& annotation);

} // namespace ui::editor::geometry
