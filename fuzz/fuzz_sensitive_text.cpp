// Recognised text can hold anything a picture shows: any bytes as a line must scan and
// redact without crashing, hits must lie on the image with samples taken from the line,
// and redaction must keep the text's length.
#include "text/SensitiveScanner.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));

    // One cell per UTF-16 unit across the image; every third unit without a box, so both the
    // character boxes and the fallback to the line box are used.
    platform::RecognizedLine line;
    line.text = text;
    line.box = QRectF(0, 0.25, 1, 0.5);
    const double cell = text.isEmpty() ? 1.0 : 1.0 / static_cast<double>(text.size());
    for (qsizetype i = 0; i < text.size(); ++i)
        line.characterBoxes.append(i % 3 == 2 ? QRectF()
                                              : QRectF(static_cast<double>(i) * cell, 0.25, cell, 0.5));

    const QSize imageSize(4000, 100);
    const QRectF image(QPointF(0, 0), QSizeF(imageSize));
    for (const SensitiveHit& hit : SensitiveScanner::scanLines({line, line}, imageSize)) {
        if (!SensitiveScanner::kinds().contains(hit.kind) || hit.sample.size() < 4) std::abort();
        if (!text.contains(hit.sample)) std::abort();
        if (!std::isfinite(hit.rect.x()) || !std::isfinite(hit.rect.width())) std::abort();
        if (!image.adjusted(-0.01, -0.01, 0.01, 0.01).contains(hit.rect)) std::abort();
    }

    const QString all = SensitiveScanner::redactText(text, SensitiveScanner::kinds());
    if (all.size() != text.size()) std::abort();
    if (SensitiveScanner::redactText(text, {}) != text) std::abort();
    return 0;
}
