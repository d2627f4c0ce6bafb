#pragma once

#include "app/PreferenceEnums.h"

#include <QImage>
#include <QString>

#include <functional>

// Assembles a folder of numbered still frames (what a GIF recording writes) into one
// animated GIF that repeats for ever, every frame shown for the same time.
namespace GIFEncoder {

// The frames of a GIF recording: JPEG files named frame_000000.jpg, frame_000001.jpg, ...
inline constexpr int frameQuality = 85;
QString frameName(int index);

// Told how many of `total` frames are done; returning false cancels the encoding.
using Progress = std::function<bool(int done, int total)>;

// Writes the "jpg" files of `framesDir`, in the order of their names, to `destination` at
// `fps` frames a second (below 2 counts as 1). Frames that cannot be read are left out.
// False when no GIF was written: no frames, an unwritable destination, a cancel.
bool encode(const QString& framesDir, int fps, const QString& destination, GIFQuality quality,
            const Progress& progress = {});

// The brightness values per colour channel a GIF of `quality` keeps; 0 keeps them all.
int levels(GIFQuality quality);

// `levels` brightness values per colour channel, spread evenly from black to full.
QImage posterized(const QImage& image, int levels);

} // namespace GIFEncoder
