#include "text/TextRecognizer.h"

#include "platform/Platform.h"

#include <algorithm>

namespace TextRecognizer {

namespace {

using platform::RecognitionLevel;
using platform::RecognizedLine;

Result<QList<RecognizedLine>> lines(const QImage& image, RecognitionLevel level, bool languageCorrection) {
    auto& engine = platform::services().textRecognition;
    if (!engine) return Error{QStringLiteral("Text recognition is not available")};
    return engine->recognize(image, level, languageCorrection);
}

} // namespace

QRectF toImageRect(const QRectF& normalised, const QSize& imageSize) {
    const double width = imageSize.width();
    const double height = imageSize.height();
    return {normalised.left() * width, (1.0 - normalised.bottom()) * height, normalised.width() * width,
            normalised.height() * height};
}

QList<std::pair<qsizetype, qsizetype>> wordRanges(const QString& text) {
    QList<std::pair<qsizetype, qsizetype>> ranges;
    qsizetype start = -1;
    for (qsizetype i = 0; i <= text.size(); ++i) {
        const bool space = i == text.size() || text[i].isSpace();
        if (!space && start < 0) start = i;
        if (space && start >= 0) {
            ranges.append({start, i - start});
            start = -1;
        }
    }
    return ranges;
}

Result<QString> recognize(const QImage& image) {
    auto found = lines(image, RecognitionLevel::accurate, true);
    if (!found) return found.error();
    QList<RecognizedLine> ordered = *found;
    // The boxes' origin is at the bottom: a larger centre is higher up and reads first.
    std::stable_sort(ordered.begin(), ordered.end(), [](const RecognizedLine& a, const RecognizedLine& b) {
        return a.box.center().y() > b.box.center().y();
    });
    QStringList text;
    for (const RecognizedLine& line : std::as_const(ordered))
        if (!line.text.isEmpty()) text << line.text;
    return text.join(QLatin1Char('\n'));
}

QList<QRectF> wordBoxes(const QImage& image) {
    const auto found = lines(image, RecognitionLevel::fast, false);
    if (!found) return {};
    QList<QRectF> boxes;
    for (const RecognizedLine& line : *found)
        for (const auto& [start, length] : wordRanges(line.text))
            if (const auto box = line.boxFor(start, length)) boxes << toImageRect(*box, image.size());
    return boxes;
}

QStringList barcodePayloads(const QImage& image) {
    auto& reader = platform::services().barcodes;
    return reader ? reader->read(image) : QStringList();
}

} // namespace TextRecognizer
