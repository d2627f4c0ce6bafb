#pragma once

#include <QRectF>
#include <QString>

// A located piece of recognised text. Rectangles are in image pixels, origin top left.
struct TextBox {
    QString text;
    QRectF rect;
    float confidence = 0; // the recogniser's confidence, 0 to 1
    QRectF line;          // the whole line the piece belongs to
};
