#pragma once

#include "common/Result.h"

#include <QImage>
#include <QList>
#include <QRectF>
#include <QString>
#include <QStringList>

#include <optional>

namespace platform {

// One recognised line: its best candidate string with the boxes of its characters.
// Boxes are normalised to the image (0 to 1) with the origin at the bottom left, the way
// the recognisers of desktop systems report them; the text subsystem converts them.
struct RecognizedLine {
    QString text;
    float confidence = 0; // 0 to 1
    QRectF box;           // the whole line
    // One box per UTF-16 unit of `text`; an empty box where the engine has none (spaces).
    QList<QRectF> characterBoxes;

    // The union of the boxes of a range of `text`; none when no character in it has one.
    std::optional<QRectF> boxFor(qsizetype start, qsizetype length) const {
        std::optional<QRectF> box;
        for (qsizetype i = start; i < start + length && i < characterBoxes.size(); ++i)
            if (!characterBoxes[i].isEmpty()) box = box ? box->united(characterBoxes[i]) : characterBoxes[i];
        return box;
    }
};

enum class RecognitionLevel {
    accurate, // everything the engine can do
    fast,     // boxes that steer snapping: speed over accuracy
};

// Reads the text of an image. Implementations must be safe to call from any thread and
// from several threads at once.
class TextRecognitionEngine {
public:
    virtual ~TextRecognitionEngine() = default;
    // Lines in any order. An image without text gives an empty list, not an error.
    virtual Result<QList<RecognizedLine>> recognize(const QImage& image, RecognitionLevel level,
                                                    bool languageCorrection) = 0;
};

// Reads the payloads of barcodes and QR codes. Safe to call from any thread.
class BarcodeReader {
public:
    virtual ~BarcodeReader() = default;
    virtual QStringList read(const QImage& image) = 0;
};

} // namespace platform
