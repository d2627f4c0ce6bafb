#include "platform/codecs/PngEncoder.h"

#include "platform/codecs/PngScanlines.h"

#include <QThread>
#include <QtEndian>

#include <isa-l/igzip_lib.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

namespace platform::codecs {

namespace {

constexpr size_t kWindow = 32768;       // deflate's history: what each chunk gets as dictionary
constexpr size_t kBatchBytes = 1 << 17; // filtered rows handed to deflate at a time, cache sized
// Below this many filtered bytes, starting threads costs more than it saves.
constexpr size_t kParallelThreshold = size_t(1) << 19;
// The smallest chunk: below this, priming each one with a dictionary costs more than the
// better balance between threads gains.
constexpr size_t kMinChunkBytes = size_t(1) << 17;

// One stretch of rows compressed as raw deflate data that continues the stream of the
// stretch before it: primed with that stretch's last 32 KiB, ended on a byte boundary.
struct Chunk {
    int firstRow = 0;
    int endRow = 0;
    bool last = false;

    std::unique_ptr<uint8_t[]> data;
    size_t capacity = 0;
    size_t size = 0;
    uLong adler = 1; // of the filtered rows, to join into the stream's checksum
    size_t rawSize = 0;
    uLong crc = 0; // of `data`, to join into the IDAT checksum
    bool ok = false;
};

void reserveOutput(Chunk& chunk, isal_zstream& zs) {
    chunk.size = size_t(zs.next_out - chunk.data.get());
    if (zs.avail_out >= 64) return;
    const size_t capacity = chunk.capacity + chunk.capacity / 2 + 4096;
    auto grown = std::make_unique_for_overwrite<uint8_t[]>(capacity);
    std::memcpy(grown.get(), chunk.data.get(), chunk.size);
    chunk.data = std::move(grown);
    chunk.capacity = capacity;
    zs.next_out = chunk.data.get() + chunk.size;
    zs.avail_out = uint32_t(capacity - chunk.size);
}

uint32_t levelBufferSize(int level) {
    switch (level) {
    case 1:
        return ISAL_DEF_LVL1_DEFAULT;
    case 2:
        return ISAL_DEF_LVL2_DEFAULT;
    case 3:
        return ISAL_DEF_LVL3_DEFAULT;
    }
    return 0;
}

// One thread's deflate state and buffers, reused from chunk to chunk: fresh ones would fault
// in new pages each time.
class ChunkCompressor {
public:
    ChunkCompressor(const PngPixels& src, const PngEncoder::Options& options)
        : src_(src), filter_(options.filter), level_(std::clamp(options.level, 0, 3)),
          rowBytes_(src.scanlineBytes()), dictionaryRows_(int((kWindow + rowBytes_ - 1) / rowBytes_)),
          batchRows_(std::max<int>(1, int(kBatchBytes / rowBytes_))), scratch_(size_t(src.width) * 4),
          buffer_(size_t(std::max(batchRows_, dictionaryRows_)) * rowBytes_),
          levelBuffer_(levelBufferSize(level_)) {}

    void compress(Chunk& chunk) {
        isal_deflate_init(&zs_);
        zs_.level = uint32_t(level_);
        zs_.level_buf = levelBuffer_.empty() ? nullptr : levelBuffer_.data();
        zs_.level_buf_size = uint32_t(levelBuffer_.size());
        zs_.gzip_flag = IGZIP_DEFLATE;
        bool ok = true;
        if (chunk.firstRow > 0) ok = primeWithRowsBefore(chunk.firstRow);

        chunk.rawSize = size_t(chunk.endRow - chunk.firstRow) * rowBytes_;
        chunk.capacity = compressBound(uLong(chunk.rawSize)) + 64;
        chunk.data = std::make_unique_for_overwrite<uint8_t[]>(chunk.capacity);
        zs_.next_out = chunk.data.get();
        zs_.avail_out = uint32_t(chunk.capacity);

        chunk.adler = adler32(0, nullptr, 0);
        for (int y = chunk.firstRow; ok && y < chunk.endRow; y += batchRows_) {
            const uint32_t length = filterRows(y, std::min(chunk.endRow, y + batchRows_));
            chunk.adler = adler32(chunk.adler, buffer_.data(), length);
            zs_.next_in = buffer_.data();
            zs_.avail_in = length;
            while (ok && zs_.avail_in > 0) {
                reserveOutput(chunk, zs_);
                ok = isal_deflate(&zs_) == COMP_OK;
            }
        }

        // A sync flush ends on a byte boundary without closing the stream, so the next chunk's
        // data follows directly; only the last chunk finishes it.
        if (chunk.last)
            zs_.end_of_stream = 1;
        else
            zs_.flush = SYNC_FLUSH;
        const int done = chunk.last ? ZSTATE_END : ZSTATE_NEW_HDR;
        while (ok) {
            reserveOutput(chunk, zs_);
            ok = isal_deflate(&zs_) == COMP_OK;
            if (zs_.internal_state.state == done && zs_.avail_out > 0) break;
        }
        chunk.size = size_t(zs_.next_out - chunk.data.get());
        if (!ok) return;
        chunk.crc = crc32(0, chunk.data.get(), uInt(chunk.size));
        chunk.ok = true;
    }

private:
    // Filters rows [from, to) into the buffer; the byte count.
    uint32_t filterRows(int from, int to) {
        uint8_t* out = buffer_.data();
        for (int y = from; y < to; ++y, out += rowBytes_)
            writeScanline(src_, y, filter_, scratch_.data(), out);
        return uint32_t(out - buffer_.data());
    }

    // The previous chunk's last 32 KiB as history, as if the stream had run on from it.
    bool primeWithRowsBefore(int row) {
        const size_t filled = filterRows(std::max(0, row - dictionaryRows_), row);
        const size_t length = std::min(filled, kWindow);
        return isal_deflate_set_dict(&zs_, buffer_.data() + filled - length, uint32_t(length)) == COMP_OK;
    }

    const PngPixels& src_;
    const PngEncoder::Filter filter_;
    const int level_;
    const size_t rowBytes_;
    const int dictionaryRows_;
    const int batchRows_;
    std::vector<uint8_t> scratch_;
    std::vector<uint8_t> buffer_;
    std::vector<uint8_t> levelBuffer_;
    isal_zstream zs_{};
};

// Guided scheduling: chunks shrink as the rows run out, so whichever thread takes the last
// one is not left working alone for long. How costly rows are varies with what they show
// (a photograph costs several times more than text), so equal shares would not finish together.
std::vector<Chunk> planChunks(const PngPixels& src, int threads) {
    std::vector<Chunk> chunks;
    const int minRows = std::max(1, int(kMinChunkBytes / src.scanlineBytes()));
    int row = 0;
    while (row < src.height) {
        const int remaining = src.height - row;
        int rows = threads == 1 ? remaining : std::max(minRows, remaining / (2 * threads));
        if (remaining - rows < minRows) rows = remaining;
        Chunk chunk;
        chunk.firstRow = row;
        chunk.endRow = row + rows;
        chunks.push_back(std::move(chunk));
        row += rows;
    }
    chunks.back().last = true;
    return chunks;
}

bool allOpaque(const QImage& image) {
    for (int y = 0; y < image.height(); ++y) {
        const auto* row = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x)
            if (qAlpha(row[x]) != 255) return false;
    }
    return true;
}

// The image as 32-bit pixels the filters read directly; converts only what is not already
// RGB32 or straight ARGB32 (premultiplied colour must be divided out before writing).
QImage pixelsForPng(const QImage& image, bool& alpha) {
    switch (image.format()) {
    case QImage::Format_RGB32:
        alpha = false;
        return image;
    case QImage::Format_ARGB32:
    case QImage::Format_ARGB32_Premultiplied:
        alpha = !allOpaque(image);
        if (alpha && image.format() == QImage::Format_ARGB32_Premultiplied)
            return image.convertToFormat(QImage::Format_ARGB32);
        return image;
    default:
        break;
    }
    if (!image.hasAlphaChannel()) {
        alpha = false;
        return image.convertToFormat(QImage::Format_RGB32);
    }
    QImage converted = image.convertToFormat(QImage::Format_ARGB32);
    alpha = !allOpaque(converted);
    return converted;
}

class ByteWriter {
public:
    explicit ByteWriter(QByteArray& bytes) : p_(reinterpret_cast<uint8_t*>(bytes.data())) {}
    uint8_t* position() const { return p_; }
    void raw(const void* data, size_t length) {
        if (length > 0) std::memcpy(p_, data, length);
        p_ += length;
    }
    void u8(uint8_t value) { *p_++ = value; }
    void u32(uint32_t value) {
        qToBigEndian(value, p_);
        p_ += 4;
    }

private:
    uint8_t* p_;
};

// A whole chunk whose data is already known: length, type, data, CRC over type and data.
void writeChunk(ByteWriter& out, const char* type, const uint8_t* data, uint32_t length) {
    out.u32(length);
    const uint8_t* start = out.position();
    out.raw(type, 4);
    out.raw(data, length);
    out.u32(uint32_t(crc32(0, start, uInt(4 + length))));
}

// The two-byte zlib header announcing a 32 KiB window and the compression level.
std::array<uint8_t, 2> zlibHeader(int level) {
    const int levelFlags = level < 2 ? 0 : level < 6 ? 1 : level == 6 ? 2 : 3;
    int header = (0x78 << 8) | (levelFlags << 6);
    header += 31 - header % 31;
    return {uint8_t(header >> 8), uint8_t(header & 0xff)};
}

} // namespace

QByteArray PngEncoder::encode(const QImage& image, double scale) const {
    if (image.isNull()) return {};

    bool alpha = false;
    const QImage pixels = pixelsForPng(image, alpha);
    if (pixels.isNull()) return {};

    PngPixels src;
    src.bits = pixels.constBits();
    src.stride = pixels.bytesPerLine();
    src.width = pixels.width();
    src.height = pixels.height();
    src.alpha = alpha;

    const size_t rawSize = src.scanlineBytes() * size_t(src.height);
    const int threads =
        rawSize < kParallelThreshold
            ? 1
            : std::max(1, options_.threads > 0 ? options_.threads : QThread::idealThreadCount());
    std::vector<Chunk> chunks = planChunks(src, threads);
    const int chunkCount = int(chunks.size());

    std::atomic<int> next{0};
    auto work = [&] {
        ChunkCompressor compressor(src, options_);
        for (int i = next++; i < chunkCount; i = next++)
            compressor.compress(chunks[size_t(i)]);
    };
    {
        std::vector<std::jthread> helpers;
        for (int t = 1; t < std::min(threads, chunkCount); ++t)
            helpers.emplace_back(work);
        work();
    }

    size_t compressedSize = 0;
    uLong adler = adler32(0, nullptr, 0);
    for (const Chunk& chunk : chunks) {
        if (!chunk.ok) return {};
        compressedSize += chunk.size;
        adler = adler32_combine(adler, chunk.adler, z_off_t(chunk.rawSize));
    }

    const bool withPhys = scale > 1.0;
    const size_t idatLength = 2 + compressedSize + 4;
    if (idatLength > 0x7fffffffu) return {};

    static constexpr uint8_t signature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
    QByteArray bytes;
    const size_t fileSize = sizeof signature + (12 + 13) + (withPhys ? 12 + 9 : 0) + 12 + idatLength + 12;
    bytes.resize(qsizetype(fileSize));
    ByteWriter out(bytes);
    out.raw(signature, sizeof signature);

    uint8_t ihdr[13];
    qToBigEndian(uint32_t(src.width), ihdr);
    qToBigEndian(uint32_t(src.height), ihdr + 4);
    ihdr[8] = 8;                        // bits per sample
    ihdr[9] = alpha ? 6 : 2;            // RGBA or RGB
    ihdr[10] = ihdr[11] = ihdr[12] = 0; // deflate, adaptive filtering, not interlaced
    writeChunk(out, "IHDR", ihdr, sizeof ihdr);

    if (withPhys) {
        uint8_t phys[9];
        const auto perMetre = uint32_t(std::lround(scale * 3780.0)); // 96 dpi is 3780 px/m
        qToBigEndian(perMetre, phys);
        qToBigEndian(perMetre, phys + 4);
        phys[8] = 1; // unit: metre
        writeChunk(out, "pHYs", phys, sizeof phys);
    }

    // IDAT's CRC joins the CRCs the workers computed over their own data.
    out.u32(uint32_t(idatLength));
    const uint8_t* idatStart = out.position();
    out.raw("IDAT", 4);
    const auto header = zlibHeader(options_.level);
    out.raw(header.data(), header.size());
    uLong crc = crc32(0, idatStart, 6);
    for (const Chunk& chunk : chunks) {
        out.raw(chunk.data.get(), chunk.size);
        crc = crc32_combine(crc, chunk.crc, z_off_t(chunk.size));
    }
    uint8_t trailer[4];
    qToBigEndian(uint32_t(adler), trailer);
    out.raw(trailer, 4);
    crc = crc32(crc, trailer, 4);
    out.u32(uint32_t(crc));

    writeChunk(out, "IEND", nullptr, 0);
    return bytes;
}

} // namespace platform::codecs
