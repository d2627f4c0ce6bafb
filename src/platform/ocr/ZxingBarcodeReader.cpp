#include "platform/ocr/ZxingBarcodeReader.h"

// The UTF-8 form of Result::text(), which the next ZXing release makes the only one.
#define ZX_USE_UTF8 1
#include <ZXing/ReadBarcode.h>

namespace platform::ocr {
namespace {

void readInto(const QImage& gray, QStringList& payloads) {
    ZXing::DecodeHints hints;
    hints.setFormats(ZXing::BarcodeFormat::Any);
    hints.setTryHarder(true);
    hints.setTryRotate(true);
    hints.setTryDownscale(true);
    const ZXing::ImageView view(gray.constBits(), gray.width(), gray.height(), ZXing::ImageFormat::Lum,
                                int(gray.bytesPerLine()));
    for (const ZXing::Result& result : ZXing::ReadBarcodes(view, hints)) {
        if (!result.isValid()) continue;
        const QString text = QString::fromStdString(result.text());
        if (!text.isEmpty() && !payloads.contains(text)) payloads.append(text);
    }
}

} // namespace

QStringList ZxingBarcodeReader::read(const QImage& image) {
    QStringList payloads;
    if (image.isNull()) return payloads;
    QImage gray = image.convertToFormat(QImage::Format_Grayscale8);
    readInto(gray, payloads);
    // This version of ZXing has no inverted pass of its own: codes drawn light on dark (dark
    // themes) are read from the negative.
    gray.invertPixels();
    readInto(gray, payloads);
    return payloads;
}

} // namespace platform::ocr
