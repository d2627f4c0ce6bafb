#pragma once

#include <QImage>
#include <QRect>
#include <QRectF>

#include <vector>

namespace platform::ocr {

// How a screenshot is turned into the image Tesseract reads. The defaults are what
// bench/ocr_bench.cpp --sweep measured best on its 64 images of interface text (character
// error rates over all, 1x and 2x images, with the other settings at their defaults).
struct Preparation {
    // Prepared pixels per original pixel; 0 chooses it from the median height of the glyphs,
    // so that it reaches targetGlyphHeight, or from the image's devicePixelRatio where there
    // are too few glyphs to tell. Target 12, 14, 16, 20, 28: 1.22, 1.13, 1.20, 1.27, 1.43%.
    // A fixed scale cannot serve both kinds of capture: 1x images read at 3.50% unscaled and
    // 1.47% doubled, 2x ones at 0.96% unscaled and 1.29% doubled.
    double scale = 0;
    double targetGlyphHeight = 14;
    double maxScale = 3;
    // Whatever the scale, the prepared image stays within Tesseract's limit of 32767 pixels a
    // side and within this many pixels (a long scrolling capture would need gigabytes).
    double maxPixels = 60e6;
    // Light text on dark backgrounds made dark on light: nowhere (4.00%), across the whole
    // image when its mean is dark (3.32%), or wherever the nearest background is dark (a dark
    // sidebar, a selected row, a coloured button in a light window), every background then
    // stretched to white (1.13%).
    enum class Inversion { none, wholeImage, local };
    Inversion inversion = Inversion::local;
    // Outlines of buttons and fields, and rules, erased: Tesseract reads them as | [ ] _ and
    // the like (1.21% kept). Only with local inversion, which leaves them dark on white.
    bool eraseFrames = true;
    // Background added around the image, in prepared pixels. The corpus, whose images have
    // margins, reads the same with 0 to 16; a word cropped to its ink reads at confidence
    // 0.62 without and 0.97 with 4.
    int padding = 4;
};

// The image to recognise and the way back from its pixels to the original's.
struct PreparedImage {
    QImage gray; // Format_Grayscale8, dark text on a light background
    double scale = 1;
    int padding = 4;
    double glyphHeight = 0; // the median glyph height in prepared pixels; 0 when unknown

    // A rectangle of prepared pixels in original pixels, clipped to the original image.
    QRectF toOriginal(const QRect& prepared, const QSize& original) const;
};

// Luminance, light text made dark where `how` asks, scaled and padded.
PreparedImage prepareImage(const QImage& image, const Preparation& how);

// The bounding boxes of the 8-connected marks darker than `below` in a grayscale image.
std::vector<QRect> inkMarks(const QImage& gray, int below = 160);

// The median height in pixels of the glyph-sized marks of a grayscale image of dark text on
// a light background; 0 when there are too few to tell.
double medianGlyphHeight(const QImage& gray);

} // namespace platform::ocr
