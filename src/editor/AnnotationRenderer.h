#pragma once

#include "editor/Annotation.h"
#include "editor/BlurCache.h"
#include "editor/EditorScene.h"

#include <QImage>
#include <QRectF>
#include <QUuid>

#include <optional>

class QPainter;

// Draws scenes and annotations with QPainter, antialiased, on the canvas and when an
// image is flattened for output.
namespace AnnotationRenderer {

struct Extras {
    std::optional<QUuid> selectedID; // outlined with the selection indicator
    std::optional<Annotation> draft; // the annotation being dragged
    bool showHints = false;          // editing aids such as the crop overlay
    std::optional<QRectF> cropRect;  // the crop tool's rectangle, in image coordinates
};

// The whole scene in canvas coordinates (0,0 to contentSize): background, image,
// annotations in order, the draft, then the selection and hints.
void drawScene(QPainter& painter, const EditorScene& scene, BlurCache& blurs, const Extras& extras = {});

// One annotation; the painter's origin is the image's top left.
void draw(QPainter& painter, const Annotation& annotation, const EditorScene& scene, BlurCache& blurs);

// The flattened image at contentSize, with the scene's scale as device pixel ratio
// information left to the caller. Null when the scene has no image.
QImage render(const EditorScene& scene, BlurCache& blurs);

} // namespace AnnotationRenderer
