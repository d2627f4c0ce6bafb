#pragma once

#include "platform/TextRecognition.h"

#include <QList>

namespace platform::ocr {

// Tesseract's sparse layout returns the words of one visual row in pieces wherever a gap is
// wide: a menu bar as "File" and "Edit View Help", a status bar's right-aligned parts on
// their own. Readers order lines by their vertical centres, which only works when each line
// is a whole row, so the pieces that share a row are joined left to right, one space apart
// (an empty character box), their character boxes kept as they were.
QList<RecognizedLine> joinVisualRows(const QList<RecognizedLine>& lines);

} // namespace platform::ocr
