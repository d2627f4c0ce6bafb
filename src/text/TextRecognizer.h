#pragma once

#include "common/Result.h"

#include <QImage>
#include <QList>
#include <QRectF>
#include <QString>
#include <QStringList>

#include <utility>

// The text and codes of an image, through the platform's recogniser. Every operation
// blocks for the length of a recognition: callers run them off the main thread. They keep
// no state and may run concurrently.
namespace TextRecognizer {

// All text, lines top to bottom joined by line feeds. No text is an empty text; a failing
// recogniser is an error.
Result<QString> recognize(const QImage& image);

// One box per recognised word, in image pixels; quick rather than thorough.
QList<QRectF> wordBoxes(const QImage& image);

// The payloads of every barcode and QR code.
QStringList barcodePayloads(const QImage& image);

// A recogniser's box (normalised, origin bottom left) in image pixels, origin top left.
QRectF toImageRect(const QRectF& normalised, const QSize& imageSize);

// The words of a recognised string, divided at white space, as (start, length) ranges.
QList<std::pair<qsizetype, qsizetype>> wordRanges(const QString& text);

} // namespace TextRecognizer
