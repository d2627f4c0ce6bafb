#pragma once

#include "editor/Annotation.h"
#include "editor/BackgroundStyle.h"

#include <QImage>
#include <QList>
#include <QRectF>
#include <QSizeF>

// What gets drawn: the document part of an editor, without its tools and history.
// Annotation coordinates are relative to the image's top left; the image sits inside
// `padding` on every side of the canvas.
struct EditorScene {
    QImage baseImage;
    double scale = 1.0;
    QList<Annotation> annotations;
    double padding = 0;
    double cornerRadius = 0;
    BackgroundStyle background = BackgroundStyle::None;
    bool isWindowCapture = false;
    bool windowShadow = true;
    QImage backdropImage;    // behind the `Desktop` background
    QImage customBackground; // behind the `CustomImage` background

    QSizeF imageSize() const { return baseImage.size(); }
    // The image plus padding on every side.
    QSizeF contentSize() const {
        return {imageSize().width() + 2 * padding, imageSize().height() + 2 * padding};
    }
    // Where the image sits on the canvas.
    QRectF imageRect() const { return {QPointF(padding, padding), imageSize()}; }
};
