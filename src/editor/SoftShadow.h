#pragma once

#include <QByteArray>
#include <QRectF>

#include <functional>

class QPainter;

// Blurred drop shadows for QPainter, which has none of its own. Shadows are rendered at
// device resolution and kept as cached layers, because the editor redraws
// every annotation on every mouse move.
namespace SoftShadow {

struct Spec {
    double blurRadius = 3; // in the painter's user units
    double offsetDown = 1;
    double alpha = 0.38;
};

// Draws the shadow that `body` would cast, under the painter's current transform.
// `extent` bounds everything `body` draws; `key` names the body's look relative to
// `extent`'s top left, so a body that only moves keeps its cached shadow.
void drawFor(QPainter& painter, const Spec& spec, const QRectF& extent, const QByteArray& key,
             const std::function<void(QPainter&)>& body);

// A soft black shadow of a rounded rectangle (a window under its screenshot), built
// from nine slices so it costs the same at any size.
void drawRoundedRectShadow(QPainter& painter, const QRectF& rect, double cornerRadius, const Spec& spec);

} // namespace SoftShadow
