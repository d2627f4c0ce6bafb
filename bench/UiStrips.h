#pragma once

// Small crops of interface text as people select them for reading: menu bars and tab strips
// with wide gaps, status bars with parts pushed to the right, two columns side by side,
// terminal prompts, prices and codes. Made up from a seed, in two sets that share no seed,
// font or string, so that what is tuned on one can be judged on the other.
#include "TextCorpus.h"

namespace corpus {

enum class StripSet {
    tuning,  // DejaVu Sans, DejaVu Sans Mono
    judging, // Liberation Sans, Liberation Mono
};

// Always the same images for a set (60 of them), 10 to 16 px, light and dark, mostly at 1x.
// The ground truth joins the parts of a visual row left to right with one space. Needs a
// QGuiApplication for the fonts.
QList<TextImage> uiStrips(StripSet set);

// The kind of strip an image shows, the first part of its name ("menubar", "status"...).
QString stripKind(const TextImage& image);

} // namespace corpus
