#pragma once

#include "capture/ScrollerRemoval.h"

#include <QImage>
#include <QList>

#include <optional>

// Turns the frames of a scrolling capture and the offsets between them into one image.
namespace ScrollStitch {

using Piece = ScrollerRemoval::Piece;

// The pieces of frames `frameLength` lines long, where frame i moved `offsets[i - 1]`
// lines past frame i - 1 and the last `frozenTrail` lines stay in place (a fixed footer):
// all of the first frame above the footer (a fixed header with it, once), then from every
// later frame the lines that came into view, then the footer of the last frame, once.
// The total length stops at `maxLength`.
QList<Piece> pieces(const QList<int>& offsets, int frameLength, int frozenTrail, int maxLength);

// Where each frame's first line sits in the content, from the offsets.
QList<int> positions(const QList<int>& offsets);

// The pieces drawn one after another from the top (left): as wide (tall) as the first
// frame. None without frames; the first frame as it is without pieces, with a total
// length below 1, or when the bitmap cannot be made. Pieces not above 0 lines long are
// skipped and leave no gap.
std::optional<QImage> stitch(const QList<QImage>& frames, const QList<Piece>& pieces, bool horizontal);

} // namespace ScrollStitch
