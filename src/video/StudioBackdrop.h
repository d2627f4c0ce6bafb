#pragma once

#include "video/StudioStyle.h"

#include <QImage>
#include <QPainter>
#include <QRect>

#include <array>

// The still parts of a styled frame, made once for each frame size: the background with the
// card's shadow, and the four corners of the card as they look outside its rounded edge, so
// that rounding a frame's picture costs four small image copies rather than a clip path.
struct StudioBackdrop {
    QImage base;                   // the whole frame without the recording; null without a background
    QRect card;                    // where the recording goes
    std::array<QImage, 4> corners; // top-left, top-right, bottom-left, bottom-right; empty for square corners
    std::array<QPoint, 4> cornerPlaces;

    // `background` is the picture of an image-backed background (may be null).
    static StudioBackdrop make(const StudioStyle& style, QSize video, QSize target, QImage::Format format,
                               const QImage& background);

    // Draws the base around the card (the card itself is covered by the picture).
    void drawBase(QImage& target) const;
    void drawCorners(QPainter& painter) const;
};
