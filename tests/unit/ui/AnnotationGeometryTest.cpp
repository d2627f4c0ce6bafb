#include "ui/editor/AnnotationGeometry.h"

#include <gtest/gtest.h>

namespace geometry = ui::editor::geometry;
using geometry::Handle;

namespace {

Annotation make(EditorTool tool, QPointF p1, QPointF p2) {
    Annotation a;
    a.tool = tool;
    a.p1 = p1;
    a.p2 = p2;
    a.lineWidth = 4;
    return a;
}

} // namespace

TEST(AnnotationGeometryTest, LinesAreHitNearTheStrokeOnlyAndTheTopmostWins) {
    const Annotation arrow = make(EditorTool::Arrow, {0, 0}, {100, 100});
    EXPECT_TRUE(geometry::hits(arrow, {50, 52}, 2));
    EXPECT_FALSE(geometry::hits(arrow, {90, 10}, 2)); // inside the bounds, far from the line
    const Annotation box = make(EditorTool::Rect, {40, 40}, {200, 200});
    EXPECT_EQ(geometry::topmostAt({arrow, box}, {50, 50}, 2), box.id);
    EXPECT_EQ(geometry::topmostAt({box, arrow}, {50, 50}, 2), arrow.id);
    EXPECT_FALSE(geometry::topmostAt({arrow, box}, {300, 20}, 2).has_value());

    Annotation stroke = make(EditorTool::Freehand, {}, {});
    stroke.points = {{0, 0}, {10, 0}, {10, 10}};
    EXPECT_TRUE(geometry::hits(stroke, {11, 5}, 1));
    EXPECT_FALSE(geometry::hits(stroke, {3, 7}, 1));
}

TEST(AnnotationGeometryTest, MovingShiftsEveryPoint) {
    Annotation stroke = make(EditorTool::Freehand, {1, 1}, {5, 5});
    stroke.points = {{1, 1}, {5, 5}};
    const Annotation moved = geometry::moved(stroke, {10, -1});
    EXPECT_EQ(moved.p1, QPointF(11, 0));
    EXPECT_EQ(moved.p2, QPointF(15, 4));
    EXPECT_EQ(moved.points, (QList<QPointF>{{11, 0}, {15, 4}}));
    EXPECT_EQ(moved.id, stroke.id);
}

TEST(AnnotationGeometryTest, GripsReshapeFromTheOppositeCorner) {
    const Annotation box = make(EditorTool::Rect, {100, 80}, {20, 10}); // drawn up and left
    // The grips sit on the selection frame: the bounds (grown by the line width) plus 5.
    EXPECT_EQ(geometry::gripAt(box, {12, 2}, 3), Handle::TopLeft);
    EXPECT_EQ(geometry::gripAt(box, {109, 1}, 3), Handle::TopRight);
    EXPECT_EQ(geometry::gripAt(box, {60, 45}, 3), Handle::None);
    // Dragged 50 right and 10 up: the rectangle's corner moves as much.
    const Annotation grown = geometry::reshaped(box, Handle::TopRight, {159, -9});
    EXPECT_EQ(QRectF(grown.p1, grown.p2).normalized(), QRectF(20, 0, 130, 80));

    const Annotation arrow = make(EditorTool::Arrow, {0, 0}, {50, 0});
    EXPECT_EQ(geometry::reshaped(arrow, Handle::End, {60, 30}).p2, QPointF(60, 30));
    EXPECT_EQ(geometry::reshaped(arrow, Handle::End, {60, 30}).p1, QPointF(0, 0));
    EXPECT_TRUE(geometry::grips(make(EditorTool::Counter, {5, 5}, {5, 5})).isEmpty());
}

TEST(AnnotationGeometryTest, ShiftSnapsLinesToEighthTurnsAndBoxesToSquares) {
    const QPointF end = geometry::constrained(EditorTool::Arrow, {0, 0}, {100, 10});
    EXPECT_NEAR(end.x(), std::hypot(100, 10), 1e-9);
    EXPECT_NEAR(end.y(), 0, 1e-9);
    const QPointF diagonal = geometry::constrained(EditorTool::Line, {0, 0}, {-50, 45});
    EXPECT_NEAR(-diagonal.x(), diagonal.y(), 1e-9);
    EXPECT_EQ(geometry::constrained(EditorTool::Rect, {10, 10}, {-30, 20}), QPointF(-30, 50));
}

TEST(AnnotationGeometryTest, NegligibleDragsAreDroppedButHighlightClicksKept) {
    EXPECT_TRUE(geometry::isNegligible(make(EditorTool::Arrow, {0, 0}, {1, 1})));
    EXPECT_FALSE(geometry::isNegligible(make(EditorTool::Arrow, {0, 0}, {3, 0})));
    EXPECT_TRUE(geometry::isNegligible(make(EditorTool::Blur, {0, 0}, {40, 2})));
    EXPECT_FALSE(geometry::isNegligible(make(EditorTool::Highlight, {5, 5}, {5, 5})));
}
