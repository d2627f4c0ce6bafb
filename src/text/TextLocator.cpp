#include "text/TextLocator.h"

#include "platform/Platform.h"
#include "text/TextRecognizer.h"

#include <algorithm>

namespace TextLocator {

namespace {

using platform::RecognizedLine;

QList<RecognizedLine> recognise(const QImage& image) {
    auto& engine = platform::services().textRecognition;
    if (!engine) return {};
    // Corrections would change the very strings being looked for.
    auto lines = engine->recognize(image, platform::RecognitionLevel::accurate, false);
    return lines ? *lines : QList<RecognizedLine>();
}

TextBox boxOf(const RecognizedLine& line, qsizetype start, qsizetype length, const QSize& size) {
    const QRectF lineRect = TextRecognizer::toImageRect(line.box, size);
    const auto range = line.boxFor(start, length);
    return {line.text.mid(start, length), range ? TextRecognizer::toImageRect(*range, size) : lineRect,
            line.confidence, lineRect};
}

QList<TextBox> occurrences(const QList<RecognizedLine>& lines, const QString& phrase, bool fold,
                           const QSize& size) {
    QList<TextBox> found;
    const QString needle = fold ? folded(phrase) : phrase;
    for (const RecognizedLine& line : lines) {
        const QString haystack = fold ? folded(line.text) : line.text;
        for (qsizetype at = haystack.indexOf(needle, 0, Qt::CaseInsensitive); at >= 0;
             at = haystack.indexOf(needle, at + needle.size(), Qt::CaseInsensitive))
            found << boxOf(line, at, needle.size(), size);
    }
    return found;
}

void sortByPosition(QList<TextBox>& boxes) {
    std::stable_sort(boxes.begin(), boxes.end(), [](const TextBox& a, const TextBox& b) {
        if (a.rect.top() != b.rect.top()) return a.rect.top() < b.rect.top();
        return a.rect.left() < b.rect.left();
    });
}

} // namespace

QString folded(const QString& text) {
    QString result = text;
    for (QChar& c : result) {
        switch (c.unicode()) {
        case u'I':
        case u'l':
        case u'1':
        case u'|':
        case u'\u00ED': // í
        case u'\u00EC': // ì
            c = u'l';
            break;
        case u'O':
        case u'0':
        case u'o':
            c = u'o';
            break;
        case u'\u2018':
        case u'\u2019':
        case u'`':
            c = u'\'';
            break;
        case u'\u201C':
        case u'\u201D':
            c = u'"';
            break;
        default:
            if (!c.isSurrogate()) c = c.toLower();
        }
    }
    return result;
}

QList<TextBox> find(const QString& phrase, const QImage& image) {
    if (phrase.isEmpty()) return {};
    const QList<RecognizedLine> lines = recognise(image);
    QList<TextBox> found = occurrences(lines, phrase, false, image.size());
    if (found.isEmpty()) found = occurrences(lines, phrase, true, image.size());
    return found;
}

Reading read(const QImage& image) {
    Reading reading;
    for (const RecognizedLine& line : recognise(image)) {
        reading.lines << boxOf(line, 0, line.text.size(), image.size());
        for (const auto& [start, length] : TextRecognizer::wordRanges(line.text))
            reading.words << boxOf(line, start, length, image.size());
    }
    sortByPosition(reading.lines);
    sortByPosition(reading.words);
    return reading;
}

} // namespace TextLocator
