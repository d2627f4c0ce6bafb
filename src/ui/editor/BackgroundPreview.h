#pragma once

#include "editor/BackgroundStyle.h"

#include <QImage>
#include <QSize>

namespace ui::editor {

// A small picture of `thumbnail` on a background style, the way the beautify picker shows
// each choice. `size` is in points; the result has `ratio` pixels per point.
QImage backgroundPreview(BackgroundStyle style, const QImage& thumbnail, const QImage& backdrop, QSize size,
                         double ratio);

// The image scaled down for previews, at most `longest` pixels on its longer side.
QImage previewThumbnail(const QImage& image, int longest);

} // namespace ui::editor
