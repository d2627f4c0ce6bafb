#include "capture/ScrollStitch.h"

#include <QPainter>

#include <algorithm>

namespace ScrollStitch {

QList<Piece> pieces(const QList<int>& offsets, int frameLength, int frozenTrail, int maxLength) {
    QList<Piece> result;
    const int trail = std::clamp(frozenTrail, 0, frameLength);
    int total = 0;
    const auto add = [&](int frame, int start, int length) {
        length = std::min(length, maxLength - total);
        if (length <= 0) return false;
        result.append({frame, start, length});
        total += length;
        return true;
    };
    add(0, 0, frameLength - trail);
    int last = 0;
    for (int i = 0; i < offsets.size(); ++i) {
        const int moved = std::min(offsets[i], frameLength - trail);
        if (moved <= 0) continue;
        if (!add(i + 1, frameLength - trail - moved, moved)) break;
        last = i + 1;
    }
    if (trail > 0) add(last, frameLength - trail, trail);
    return result;
}

QList<int> positions(const QList<int>& offsets) {
    QList<int> result{0};
    for (int offset : offsets)
        result.append(result.last() + offset);
    return result;
}

std::optional<QImage> stitch(const QList<QImage>& frames, const QList<Piece>& pieces, bool horizontal) {
    if (frames.isEmpty()) return std::nullopt;
    const QImage& first = frames.first();
    int total = 0;
    for (const Piece& piece : pieces)
        if (piece.length > 0) total += piece.length;
    if (pieces.isEmpty() || total < 1) return first;
    const QSize size = horizontal ? QSize(total, first.height()) : QSize(first.width(), total);
    QImage output(size, QImage::Format_ARGB32_Premultiplied);
    if (output.isNull()) return first;
    output.fill(Qt::transparent);
    QPainter painter(&output);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    int at = 0;
    for (const Piece& piece : pieces) {
        if (piece.length <= 0 || piece.frame < 0 || piece.frame >= frames.size()) continue;
        const QImage& frame = frames[piece.frame];
        if (horizontal)
            painter.drawImage(QPoint(at, 0), frame, QRect(piece.start, 0, piece.length, frame.height()));
        else
            painter.drawImage(QPoint(0, at), frame, QRect(0, piece.start, frame.width(), piece.length));
        at += piece.length;
    }
    painter.end();
    return output;
}

} // namespace ScrollStitch
