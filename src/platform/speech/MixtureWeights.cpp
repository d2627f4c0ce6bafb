#include "platform/speech/MixtureWeights.h"

#include <QFile>
#include <QtEndian>

#include <cmath>
#include <cstring>

namespace platform::speech {

namespace {

Error unreadable(const QString& path) {
    return Error{QStringLiteral("The mixture weights in %1 cannot be read.").arg(path),
                 QStringLiteral("com.corvanta.pictavia.speech"), 1};
}

// Little-endian 32-bit integer at `at`, which then points past it; false past the end.
bool takeInt(const QByteArray& data, qsizetype& at, qint32& value) {
    if (at + 4 > data.size()) return false;
    value = qFromLittleEndian<qint32>(data.constData() + at);
    at += 4;
    return true;
}

// The trainer's files sum every 32-bit word after the byte-order mark, rotating as they go.
quint32 addToChecksum(quint32 sum, quint32 word) {
    return ((sum << 20) | (sum >> 12)) + word;
}

} // namespace

Result<MixtureWeights> readSendump(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return unreadable(path);
    const QByteArray data = file.readAll();
    qsizetype at = 0;
    int streams = 1;
    // A header of length-prefixed strings, ended by a length of 0; "key value" ones describe it.
    for (qint32 length = 0;;) {
        if (!takeInt(data, at, length) || length < 0 || at + length > data.size()) return unreadable(path);
        if (length == 0) break;
        const QByteArray line(data.constData() + at, qstrnlen(data.constData() + at, size_t(length)));
        at += length;
        const QList<QByteArray> fields = line.split(' ');
        bool number = false;
        const int value = fields.size() == 2 ? fields[1].toInt(&number) : 0;
        if (fields[0] == "feature_count" && number) streams = value;
        // Clustered or 4-bit weights are laid out otherwise.
        if ((fields[0] == "cluster_count" && (!number || value != 0)) || fields[0] == "mixw_cb")
            return unreadable(path);
    }
    qint32 codewords = 0, senones = 0;
    if (!takeInt(data, at, codewords) || !takeInt(data, at, senones) || codewords <= 0 || senones <= 0 ||
        streams <= 0 || data.size() - at < qsizetype(streams) * codewords * senones)
        return unreadable(path);

    MixtureWeights mixture{senones, streams, codewords, {}};
    mixture.weights.resize(size_t(senones) * size_t(streams) * size_t(codewords));
    const double step = 1024.0 * std::log(1.0001);
    float weightOf[256];
    for (int v = 0; v < 256; ++v)
        weightOf[v] = float(std::exp(-v * step));
    // Stored stream by stream, codeword by codeword, a byte for every senone.
    const auto* bytes = reinterpret_cast<const unsigned char*>(data.constData() + at);
    for (int f = 0; f < streams; ++f)
        for (int c = 0; c < codewords; ++c)
            for (int s = 0; s < senones; ++s)
                mixture.weights[(size_t(s) * size_t(streams) + size_t(f)) * size_t(codewords) + size_t(c)] =
                    weightOf[*bytes++];
    // Rounding to bytes leaves the sums a little off 1.
    for (size_t first = 0; first < mixture.weights.size(); first += size_t(codewords)) {
        double sum = 0;
        for (int c = 0; c < codewords; ++c)
            sum += mixture.weights[first + size_t(c)];
        for (int c = 0; c < codewords; ++c)
            mixture.weights[first + size_t(c)] = float(mixture.weights[first + size_t(c)] / sum);
    }
    return mixture;
}

Result<bool> writeMixtureWeights(const MixtureWeights& mixture, const QString& path) {
    QByteArray out("s3\nversion 1.0\nchksum0 yes\nendhdr\n");
    const auto putWord = [&out](quint32 word) {
        char bytes[4];
        qToLittleEndian(word, bytes);
        out.append(bytes, 4);
    };
    putWord(0x11223344); // the byte-order mark
    quint32 checksum = 0;
    for (const quint32 dimension : {quint32(mixture.senones), quint32(mixture.streams),
                                    quint32(mixture.codewords), quint32(mixture.weights.size())}) {
        putWord(dimension);
        checksum = addToChecksum(checksum, dimension);
    }
    for (const float weight : mixture.weights) {
        quint32 word;
        std::memcpy(&word, &weight, 4);
        putWord(word);
        checksum = addToChecksum(checksum, word);
    }
    putWord(checksum);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(out) != out.size())
        return Error{QStringLiteral("The mixture weights cannot be written to %1.").arg(path),
                     QStringLiteral("com.corvanta.pictavia.speech"), 1};
    return true;
}

} // namespace platform::speech
