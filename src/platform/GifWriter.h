#pragma once

#include "common/Result.h"

#include <QImage>
#include <QSize>
#include <QString>

#include <memory>

namespace platform {

// One animated GIF being written, frame by frame; it repeats for ever.
class GifFile {
public:
    virtual ~GifFile() = default;
    // Adds a frame of the file's size (other sizes are scaled to it), shown for
    // `delayCentiseconds`. Parts that did not change since the frame before are left
    // transparent, so the file carries only what moves.
    virtual Result<bool> add(const QImage& frame, int delayCentiseconds) = 0;
    // Completes the file. Without it (a failure, a cancel), the file is removed.
    virtual Result<bool> finish() = 0;
};

// Makes animated GIFs.
class GifWriter {
public:
    virtual ~GifWriter() = default;
    // Starts a GIF of `size` pixels at `path`, replacing what is there.
    virtual Result<std::unique_ptr<GifFile>> create(const QString& path, QSize size) = 0;
};

} // namespace platform
