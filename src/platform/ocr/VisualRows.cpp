#include "platform/ocr/VisualRows.h"

#include <algorithm>
#include <numeric>
#include <vector>

namespace platform::ocr {
namespace {

double verticalOverlap(const QRectF& a, const QRectF& b) {
    return std::min(a.bottom(), b.bottom()) - std::max(a.top(), b.top());
}

double horizontalOverlap(const QRectF& a, const QRectF& b) {
    return std::min(a.right(), b.right()) - std::max(a.left(), b.left());
}

// Pieces share a row when they overlap by half the height of the lower one: text of two sizes
// on one baseline does, neighbouring rows (a line height or more apart) do not. Pieces that
// cover each other sideways are stacked, not neighbours.
bool sameRow(const QRectF& a, const QRectF& b) {
    const double shorter = std::min(a.height(), b.height());
    return verticalOverlap(a, b) >= shorter / 2 &&
           horizontalOverlap(a, b) <= 0.3 * std::min(a.width(), b.width());
}

qsizetype inkCharacters(const RecognizedLine& line) {
    return std::count_if(line.characterBoxes.begin(), line.characterBoxes.end(),
                         [](const QRectF& box) { return !box.isEmpty(); });
}

RecognizedLine joined(QList<RecognizedLine> pieces) {
    std::sort(pieces.begin(), pieces.end(),
              [](const RecognizedLine& a, const RecognizedLine& b) { return a.box.left() < b.box.left(); });
    RecognizedLine row = pieces.first();
    double weightedConfidence = double(row.confidence) * double(inkCharacters(row));
    qsizetype characters = inkCharacters(row);
    for (qsizetype i = 1; i < pieces.size(); ++i) {
        const RecognizedLine& piece = pieces[i];
        row.text += QLatin1Char(' ') + piece.text;
        row.characterBoxes.append(QRectF());
        row.characterBoxes.append(piece.characterBoxes);
        row.box = row.box.united(piece.box);
        weightedConfidence += double(piece.confidence) * double(inkCharacters(piece));
        characters += inkCharacters(piece);
    }
    if (characters > 0) row.confidence = float(weightedConfidence / double(characters));
    return row;
}

} // namespace

QList<RecognizedLine> joinVisualRows(const QList<RecognizedLine>& lines) {
    // Top to bottom (the boxes' origin is at the bottom), each piece joining the row whose
    // first piece it overlaps most.
    std::vector<qsizetype> order(size_t(lines.size()));
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](qsizetype a, qsizetype b) {
        return lines[a].box.center().y() > lines[b].box.center().y();
    });
    QList<QList<RecognizedLine>> rows;
    for (const qsizetype index : order) {
        const RecognizedLine& line = lines[index];
        QList<RecognizedLine>* best = nullptr;
        double bestOverlap = 0;
        for (QList<RecognizedLine>& row : rows) {
            const bool fits = std::all_of(row.begin(), row.end(), [&](const RecognizedLine& other) {
                return sameRow(other.box, line.box);
            });
            const double overlap = verticalOverlap(row.first().box, line.box);
            if (fits && overlap > bestOverlap) best = &row, bestOverlap = overlap;
        }
        if (best)
            best->append(line);
        else
            rows.append({line});
    }
    QList<RecognizedLine> out;
    for (const QList<RecognizedLine>& row : std::as_const(rows))
        out.append(row.size() == 1 ? row.first() : joined(row));
    return out;
}

} // namespace platform::ocr
