#pragma once

#include "platform/GifWriter.h"

namespace platform::media {

// Animated GIFs: each frame's palette made by libimagequant (with dithering), the file
// written by giflib. A frame carries only the rectangle that changed since the one before,
// with the unchanged pixels inside it transparent; identical frames lengthen the one shown.
class GiflibWriter : public GifWriter {
public:
    Result<std::unique_ptr<GifFile>> create(const QString& path, QSize size) override;
};

} // namespace platform::media
