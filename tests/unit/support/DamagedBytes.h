#pragma once

#include <QByteArray>
#include <QList>

#include <cstdint>

namespace testsupport {

// Copies of a file's bytes as damage leaves them: cut short at each of `lengths` (those
// within the file), then `rounds` copies with `flips` bytes each overwritten. The same seed
// gives the same copies, so a failure can be replayed.
inline QList<QByteArray> damagedCopies(const QByteArray& bytes, const QList<qsizetype>& lengths, int rounds,
                                       int flips, uint32_t seed) {
    QList<QByteArray> copies;
    for (const qsizetype length : lengths)
        if (length >= 0 && length < bytes.size()) copies.append(bytes.left(length));
    if (bytes.isEmpty()) return copies;
    uint32_t state = seed ? seed : 1; // xorshift never leaves zero
    for (int round = 0; round < rounds; ++round) {
        QByteArray flipped = bytes;
        for (int flip = 0; flip < flips; ++flip) {
            state ^= state << 13;
            state ^= state >> 17;
            state ^= state << 5;
            flipped[qsizetype(state % uint32_t(bytes.size()))] = char(state >> 24);
        }
        copies.append(flipped);
    }
    return copies;
}

} // namespace testsupport
