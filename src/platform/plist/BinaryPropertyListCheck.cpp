#include "platform/plist/BinaryPropertyListCheck.h"

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace BinaryPropertyList {

namespace {

constexpr qsizetype HeaderSize = 8;
constexpr qsizetype TrailerSize = 32;
// Far beyond anything this application writes, far below what overflows a parser's stack.
constexpr int MaxDepth = 128;
// Shared references expand into copies when parsed; this bounds the expanded tree.
constexpr uint64_t MaxExpandedObjects = 1'000'000;

enum Marker : uint8_t {
    Singleton = 0x0,
    Integer = 0x1,
    Real = 0x2,
    Date = 0x3,
    Data = 0x4,
    AsciiString = 0x5,
    Utf16String = 0x6,
    Uid = 0x8,
    Array = 0xA,
    Dictionary = 0xD,
};

QString malformed() {
    return QStringLiteral("The file is damaged: its property list is malformed.");
}
QString tooLarge() {
    return QStringLiteral("The file's property list is too deeply nested or too large to read.");
}

class Reader {
public:
    explicit Reader(const QByteArray& bytes)
        : m_data(reinterpret_cast<const uint8_t*>(bytes.constData())), m_size(uint64_t(bytes.size())) {}

    uint64_t size() const { return m_size; }
    uint8_t byte(uint64_t at) const { return m_data[at]; }

    // A big-endian unsigned number of `width` bytes; the caller has checked the range.
    uint64_t number(uint64_t at, unsigned width) const {
        uint64_t value = 0;
        for (unsigned i = 0; i < width; ++i)
            value = (value << 8) | m_data[at + i];
        return value;
    }

private:
    const uint8_t* m_data;
    uint64_t m_size;
};

// The layout described by the trailer at the end of the file.
struct Layout {
    unsigned offsetSize = 0;
    unsigned referenceSize = 0;
    uint64_t objectCount = 0;
    uint64_t topObject = 0;
    uint64_t offsetTable = 0;
};

// One object's extent: where its payload starts, how many payload bytes follow, and for
// containers how many references.
struct Extent {
    uint8_t kind = 0;
    uint64_t payload = 0;
    uint64_t count = 0;
};

class Checker {
public:
    explicit Checker(const QByteArray& bytes) : m_reader(bytes) {}

    QString run() {
        if (!readLayout())
            return QStringLiteral("The file is damaged: its property list's table of objects is invalid.");
        return walk();
    }

private:
    bool readLayout() {
        const uint64_t trailer = m_reader.size() - TrailerSize;
        m_layout.offsetSize = m_reader.byte(trailer + 6);
        m_layout.referenceSize = m_reader.byte(trailer + 7);
        m_layout.objectCount = m_reader.number(trailer + 8, 8);
        m_layout.topObject = m_reader.number(trailer + 16, 8);
        m_layout.offsetTable = m_reader.number(trailer + 24, 8);
        const Layout& l = m_layout;
        if (l.offsetSize < 1 || l.offsetSize > 8 || l.referenceSize < 1 || l.referenceSize > 8) return false;
        if (l.objectCount == 0 || l.topObject >= l.objectCount || l.offsetTable < uint64_t(HeaderSize))
            return false;
        if (l.offsetTable > trailer || (trailer - l.offsetTable) / l.offsetSize < l.objectCount) return false;
        // References narrower than the object count could not name every object.
        return l.referenceSize >= 8 || l.objectCount <= (uint64_t(1) << (8 * l.referenceSize));
    }

    std::optional<uint64_t> objectOffset(uint64_t index) const {
        const uint64_t offset =
            m_reader.number(m_layout.offsetTable + index * m_layout.offsetSize, m_layout.offsetSize);
        if (offset < uint64_t(HeaderSize) || offset >= m_layout.offsetTable) return std::nullopt;
        return offset;
    }

    // Bytes still available for objects from `at` up to the offset table.
    uint64_t room(uint64_t at) const { return at <= m_layout.offsetTable ? m_layout.offsetTable - at : 0; }

    // The element count of a variable-length object: in the marker's low nibble, or
    // when that is 0xF, in an integer object that follows.
    std::optional<std::pair<uint64_t, uint64_t>> count(uint64_t at) const {
        const uint8_t low = m_reader.byte(at) & 0x0F;
        if (low != 0x0F) return std::pair{uint64_t(low), at + 1};
        if (room(at + 1) < 1) return std::nullopt;
        const uint8_t marker = m_reader.byte(at + 1);
        const unsigned width = 1u << (marker & 0x0F);
        if ((marker >> 4) != Integer || width > 8 || room(at + 2) < width) return std::nullopt;
        return std::pair{m_reader.number(at + 2, width), at + 2 + width};
    }

    std::optional<Extent> extent(uint64_t index) const {
        const auto offset = objectOffset(index);
        if (!offset) return std::nullopt;
        const uint8_t marker = m_reader.byte(*offset);
        const uint8_t kind = marker >> 4;
        const uint8_t low = marker & 0x0F;
        Extent e{kind, *offset + 1, 0};
        uint64_t payloadBytes = 0;
        switch (kind) {
        case Singleton:
            if (low != 0x0 && low != 0x8 && low != 0x9) return std::nullopt;
            break;
        case Integer:
            if (low > 4) return std::nullopt;
            payloadBytes = uint64_t(1) << low;
            break;
        case Real:
            if (low != 2 && low != 3) return std::nullopt;
            payloadBytes = uint64_t(1) << low;
            break;
        case Date:
            if (low != 3) return std::nullopt;
            payloadBytes = 8;
            break;
        case Uid:
            payloadBytes = uint64_t(low) + 1;
            break;
        case Data:
        case AsciiString:
        case Utf16String:
        case Array:
        case Dictionary: {
            const auto counted = count(*offset);
            if (!counted) return std::nullopt;
            e.payload = counted->second;
            e.count = counted->first;
            const uint64_t unit = kind == Utf16String  ? 2
                                  : kind == Array      ? m_layout.referenceSize
                                  : kind == Dictionary ? 2 * uint64_t(m_layout.referenceSize)
                                                       : 1;
            if (e.count > room(e.payload) / unit) return std::nullopt;
            payloadBytes = e.count * unit;
            break;
        }
        default:
            return std::nullopt;
        }
        if (room(e.payload) < payloadBytes) return std::nullopt;
        if ((kind == AsciiString || kind == Utf16String) && containsNul(e)) return std::nullopt;
        return e;
    }

    // libplist asserts that a string's length matches its C string length, so an
    // embedded NUL would abort the program rather than fail the read.
    bool containsNul(const Extent& e) const {
        if (e.kind == AsciiString) {
            for (uint64_t i = 0; i < e.count; ++i)
                if (m_reader.byte(e.payload + i) == 0) return true;
            return false;
        }
        for (uint64_t i = 0; i < e.count; ++i)
            if (m_reader.number(e.payload + 2 * i, 2) == 0) return true;
        return false;
    }

    std::optional<uint64_t> reference(uint64_t at) const {
        const uint64_t target = m_reader.number(at, m_layout.referenceSize);
        if (target >= m_layout.objectCount) return std::nullopt;
        return target;
    }

    // Visits the tree as a parser would expand it, without recursion.
    QString walk() {
        std::vector<std::pair<uint64_t, int>> pending{{m_layout.topObject, 0}};
        uint64_t visited = 0;
        while (!pending.empty()) {
            const auto [index, depth] = pending.back();
            pending.pop_back();
            if (++visited > MaxExpandedObjects || depth > MaxDepth) return tooLarge();
            const auto e = extent(index);
            if (!e) return malformed();
            if (e->kind != Array && e->kind != Dictionary) continue;
            const uint64_t references = e->kind == Dictionary ? 2 * e->count : e->count;
            visited += references;
            if (visited > MaxExpandedObjects) return tooLarge();
            for (uint64_t i = 0; i < references; ++i) {
                const auto child = reference(e->payload + i * m_layout.referenceSize);
                if (!child) return malformed();
                const bool isKey = e->kind == Dictionary && i < e->count;
                if (isKey) {
                    const auto key = extent(*child);
                    if (!key || (key->kind != AsciiString && key->kind != Utf16String)) return malformed();
                    continue;
                }
                pending.emplace_back(*child, depth + 1);
            }
        }
        return {};
    }

    Reader m_reader;
    Layout m_layout;
};

} // namespace

QString structuralProblem(const QByteArray& bytes) {
    if (bytes.size() < HeaderSize + TrailerSize + 1 || !bytes.startsWith("bplist00"))
        return QStringLiteral("The file is not a binary property list.");
    return Checker(bytes).run();
}

} // namespace BinaryPropertyList
