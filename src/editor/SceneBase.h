#pragma once

#include "editor/EditorScene.h"

class QPainter;

// The part of a scene under the annotations: background, window shadow and the image
// with rounded corners. Drawn on every redraw of the editor, so it avoids whole-canvas
// work: background and window shadow are rendered once per look and size and only their
// visible parts are copied, and the image is copied in straight blocks with only its
// corners rounded.
namespace SceneBase {

void draw(QPainter& painter, const EditorScene& scene);

// Whether every pixel is opaque (remembered per image, the check reads all of it).
bool isOpaque(const QImage& image);

// Forgets the kept backgrounds (for measurements of a cold start).
void clearCache();

} // namespace SceneBase
