#include "platform/codecs/HeifItemGraph.h"

#include <QtEndian>

#include <gtest/gtest.h>

#include <initializer_list>

using platform::codecs::heifItemGraphIsSound;

namespace {

QByteArray box(const char* type, const QByteArray& body) {
    QByteArray out(8, '\0');
    qToBigEndian(quint32(8 + body.size()), out.data());
    out.replace(4, 4, QByteArray(type, 4));
    return out + body;
}

QByteArray fullBox(const char* type, const QByteArray& body) {
    return box(type, QByteArray(4, '\0') + body);
}

// One reference of `type` from `from` to `to`, with version-0 (16-bit) item ids.
QByteArray reference(const char* type, quint16 from, std::initializer_list<quint16> to) {
    QByteArray body(4, '\0');
    qToBigEndian(from, body.data());
    qToBigEndian(quint16(to.size()), body.data() + 2);
    for (const quint16 id : to) {
        QByteArray bytes(2, '\0');
        qToBigEndian(id, bytes.data());
        body += bytes;
    }
    return box(type, body);
}

QByteArray heifWith(const QByteArray& references) {
    return box("ftyp", QByteArray("heic\0\0\0\0mif1heic", 16)) +
           fullBox("meta", fullBox("hdlr", QByteArray(20, '\0')) + fullBox("iref", references));
}

} // namespace

// A grid (2) of one tile (1) whose alpha plane (4) is a grid of another tile (3): the shape
// libheif writes for small images.
TEST(HeifItemGraph, AcceptsGridsWithAlpha) {
    EXPECT_TRUE(heifItemGraphIsSound(
        heifWith(reference("dimg", 2, {1}) + reference("dimg", 4, {3}) + reference("auxl", 4, {2}))));
    EXPECT_TRUE(heifItemGraphIsSound(heifWith({})));
}

TEST(HeifItemGraph, RejectsCyclesAndDeepChains) {
    // The alpha grid uses the image it is the alpha of as a tile.
    EXPECT_FALSE(heifItemGraphIsSound(
        heifWith(reference("dimg", 2, {1}) + reference("dimg", 4, {2}) + reference("auxl", 4, {2}))));
    EXPECT_FALSE(heifItemGraphIsSound(heifWith(reference("dimg", 7, {7}))));

    QByteArray chain;
    for (quint16 id = 1; id < 20; ++id)
        chain += reference("dimg", id, {quint16(id + 1)});
    EXPECT_FALSE(heifItemGraphIsSound(heifWith(chain)));
}

TEST(HeifItemGraph, RejectsMalformedBoxes) {
    const QByteArray good = heifWith(reference("dimg", 2, {1}));
    EXPECT_FALSE(heifItemGraphIsSound(good.left(good.size() - 1)));
    EXPECT_FALSE(heifItemGraphIsSound(QByteArray("\0\0\0\x04", 4)));
    EXPECT_FALSE(heifItemGraphIsSound(box("ftyp", "heic")));

    // A reference whose size disagrees with its count of ids: libheif goes by the count and
    // would read the next reference from inside this one.
    QByteArray padded = reference("dimg", 2, {1}) + QByteArray(2, '\0');
    qToBigEndian(quint32(padded.size()), padded.data());
    EXPECT_FALSE(heifItemGraphIsSound(heifWith(padded)));
    QByteArray unsized = reference("dimg", 2, {1});
    qToBigEndian(quint32(0), unsized.data());
    EXPECT_FALSE(heifItemGraphIsSound(heifWith(unsized)));
}
