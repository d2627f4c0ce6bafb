#pragma once

#include "platform/TextRecognition.h"

namespace platform::ocr {

// Barcodes and QR codes read by ZXing-cpp: every symbology it knows (QR, Micro QR, Data
// Matrix, Aztec, PDF417, MaxiCode, Code 128, Code 39, Code 93, Codabar, EAN, UPC, ITF,
// DataBar), searched hard, rotated, and in light-on-dark form as well. Stateless, so safe
// from any thread.
class ZxingBarcodeReader : public BarcodeReader {
public:
    ZxingBarcodeReader() = default;
    // Each distinct payload once, in the order found; codes read on the dark-on-light pass
    // come first.
    QStringList read(const QImage& image) override;
};

} // namespace platform::ocr
