#pragma once

#include <QImage>
#include <QRect>
#include <QRectF>

#include <vector>

namespace platform::ocr {

// How a screenshot is turned into the image Tesseract reads.
struct Preparation {
    // Prepared pixels per original pixel; 0 chooses it from the median height of the glyphs,
    // so that it reaches targetGlyphHeight, or from the image's devicePixelRatio where there
    // are too few glyphs to tell.
    double scale = 0;
    double targetGlyphHeight = 14;
    double maxScale = 3;
    // Whatever the scale, the prepared image stays within Tesseract's limit of 32767 pixels a
    // side and within this many pixels (a long scrolling capture would need gigabytes).
    double maxPixels = 60e6;
    // Light text on dark backgrounds made dark on light: nowhere, across the whole image when
    // its mean is dark, or wherever the nearest background is dark (a dark sidebar, a
    // selected row, a coloured button in an otherwise light window), every background then
    // stretched to white.
    enum class Inversion { none, wholeImage, local };
    Inversion inversion = Inversion::local;
    // Outlines of buttons and fields, and rules, erased: Tesseract reads them as | [ ] _ and
    // the like. Only with local inversion, which leaves them dark on white.
    bool eraseFrames = true;
    // Background added around the image, in prepared pixels: glyphs touching the edge are
    // otherwise often lost.
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
