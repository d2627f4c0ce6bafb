#include "editor/Beautifier.h"

#include "editor/AnnotationRenderer.h"

namespace Beautifier {

QImage apply(const QImage& image, double scale, const BeautifyPreset& preset, bool transparentSubject) {
    if (image.isNull()) return {};
    EditorScene scene;
    scene.baseImage = image;
    scene.scale = scale;
    scene.padding = std::max(0, preset.padding) * scale;
    // A subject with its own outline (a window, a cut-out) is not rounded off.
    scene.cornerRadius = transparentSubject ? 0 : std::max(0, preset.radius) * scale;
    scene.background = Backgrounds::parse(preset.style).value_or(BackgroundStyle::None);
    BlurCache blurs;
    return AnnotationRenderer::render(scene, blurs);
}

} // namespace Beautifier
