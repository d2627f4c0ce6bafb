// The decoder's compact mixture weights ("sendump") become the trainer's full ones: the bytes
// are negative logarithms, stored stream by stream and codeword by codeword, and come out
// senone by senone, each distribution summing to 1; layouts other than the plain 8-bit one
// are refused rather than misread.

#include "platform/speech/MixtureWeights.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtEndian>
#include <gtest/gtest.h>

#include <cmath>

using platform::speech::readSendump;
using platform::speech::writeMixtureWeights;

namespace {

void putInt(QByteArray& out, qint32 value) {
    char bytes[4];
    qToLittleEndian(value, bytes);
    out.append(bytes, 4);
}

void putString(QByteArray& out, const QByteArray& text) {
    putInt(out, qint32(text.size() + 1));
    out.append(text);
    out.append('\0');
}

// A sendump with `header` lines, then `codewords` x `senones` bytes for each stream.
QByteArray sendump(const QList<QByteArray>& header, int codewords, int senones, const QByteArray& bytes) {
    QByteArray out;
    putString(out, "BEGIN FILE FORMAT DESCRIPTION");
    for (const QByteArray& line : header)
        putString(out, line);
    putInt(out, 0);
    putInt(out, codewords);
    putInt(out, senones);
    return out + bytes;
}

QString save(const QTemporaryDir& dir, const QByteArray& data) {
    const QString path = dir.filePath(QStringLiteral("sendump"));
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(data);
    return path;
}

} // namespace

TEST(MixtureWeightsTest, CompactWeightsAreSpreadOutPerSenoneAndNormalised) {
    QTemporaryDir dir;
    // Two streams, two codewords, three senones. A step of 1024 * ln(1.0001) makes byte 0 a
    // weight of 1 and byte 7 one of about exp(-0.717) = 0.488.
    const QByteArray bytes("\x00\x07\xff"  // stream 0, codeword 0: senones 0, 1, 2
                           "\x07\x00\xff"  // stream 0, codeword 1
                           "\x00\x00\x00"  // stream 1, codeword 0
                           "\xff\xff\x00", // stream 1, codeword 1
                           12);
    const auto mixture = readSendump(
        save(dir, sendump({"cluster_count 0", "codebook_count 1", "feature_count 2"}, 2, 3, bytes)));
    ASSERT_TRUE(mixture) << mixture.error().message.toStdString();
    EXPECT_EQ(mixture->senones, 3);
    EXPECT_EQ(mixture->streams, 2);
    EXPECT_EQ(mixture->codewords, 2);
    const double half = std::exp(-7 * 1024 * std::log(1.0001));
    EXPECT_NEAR(mixture->at(0, 0, 0), 1 / (1 + half), 1e-6);
    EXPECT_NEAR(mixture->at(0, 0, 1), half / (1 + half), 1e-6);
    EXPECT_NEAR(mixture->at(1, 0, 0), half / (1 + half), 1e-6);
    EXPECT_NEAR(mixture->at(2, 0, 0), 0.5, 1e-6); // both at the floor: an even split
    EXPECT_NEAR(mixture->at(0, 1, 0), 1.0, 1e-6);
    EXPECT_NEAR(mixture->at(2, 1, 0), 0.5, 1e-6);
    EXPECT_NEAR(mixture->at(1, 1, 1), 0.0, 1e-6);
}

TEST(MixtureWeightsTest, OtherLayoutsAndShortFilesAreRefused) {
    QTemporaryDir dir;
    const QByteArray bytes(8, '\0');
    EXPECT_FALSE(readSendump(save(dir, sendump({"cluster_count 16", "feature_count 1"}, 2, 4, bytes))));
    EXPECT_FALSE(readSendump(save(dir, sendump({"mixw_cb", "feature_count 1"}, 2, 4, bytes))));
    EXPECT_FALSE(readSendump(save(dir, sendump({"feature_count 2"}, 2, 4, bytes)))); // half the bytes
    const auto missing = readSendump(dir.filePath(QStringLiteral("none")));
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().message, QStringLiteral("The mixture weights in %1 cannot be read.")
                                           .arg(dir.filePath(QStringLiteral("none"))));
    EXPECT_TRUE(readSendump(save(dir, sendump({"feature_count 1"}, 2, 4, bytes))));
}

TEST(MixtureWeightsTest, WrittenInTheTrainersFormat) {
    QTemporaryDir dir;
    const platform::speech::MixtureWeights mixture{2, 1, 2, {0.25f, 0.75f, 1.0f, 0.0f}};
    const QString path = dir.filePath(QStringLiteral("mixture_weights"));
    ASSERT_TRUE(writeMixtureWeights(mixture, path));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray data = file.readAll();
    const QByteArray header("s3\nversion 1.0\nchksum0 yes\nendhdr\n");
    ASSERT_TRUE(data.startsWith(header));
    // The byte-order mark, the dimensions and the count, the weights, a checksum.
    ASSERT_EQ(data.size(), header.size() + 4 * (1 + 4 + 4 + 1));
    const auto word = [&](int index) {
        return qFromLittleEndian<quint32>(data.constData() + header.size() + 4 * index);
    };
    EXPECT_EQ(word(0), 0x11223344u);
    EXPECT_EQ(word(1), 2u);
    EXPECT_EQ(word(2), 1u);
    EXPECT_EQ(word(3), 2u);
    EXPECT_EQ(word(4), 4u);
    float second;
    const quint32 bits = word(6);
    std::memcpy(&second, &bits, 4);
    EXPECT_EQ(second, 0.75f);
}
