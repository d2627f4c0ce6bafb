#pragma once

#include "editor/BeautifyPreset.h"

#include <QImage>

// Places a finished image on a beautify canvas without opening an editor: for
// "autoBeautify" deliveries and styled exports.
namespace Beautifier {

// Padding and radius are points, multiplied by `scale`. With `transparentSubject` the
// image keeps its own alpha (a window capture or a cut-out) and is not clipped to a
// rounded rectangle.
QImage apply(const QImage& image, double scale, const BeautifyPreset& preset,
             bool transparentSubject = false);

} // namespace Beautifier
