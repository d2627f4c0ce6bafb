#include "platform/codecs/HeifItemGraph.h"

#include <QtEndian>

#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <optional>
#include <vector>

namespace platform::codecs {

namespace {

// Real files nest a grid's alpha plane's tiles at most: three levels.
constexpr int kMaxDepth = 8;

struct Box {
    uint32_t type = 0;
    const uchar* body = nullptr; // after the header
    size_t length = 0;           // of the body
};

constexpr uint32_t fourcc(const char (&code)[5]) {
    return uint32_t(uchar(code[0])) << 24 | uint32_t(uchar(code[1])) << 16 | uint32_t(uchar(code[2])) << 8 |
           uint32_t(uchar(code[3]));
}

// The boxes in [data, data + length), or nothing when one overruns it.
std::optional<std::vector<Box>> children(const uchar* data, size_t length) {
    std::vector<Box> boxes;
    size_t at = 0;
    while (at < length) {
        if (length - at < 8) return std::nullopt;
        uint64_t size = qFromBigEndian<quint32>(data + at);
        const uint32_t type = qFromBigEndian<quint32>(data + at + 4);
        size_t header = 8;
        if (size == 1) {
            if (length - at < 16) return std::nullopt;
            size = qFromBigEndian<quint64>(data + at + 8);
            header = 16;
        } else if (size == 0) {
            size = length - at;
        }
        if (size < header || size > length - at) return std::nullopt;
        boxes.push_back({type, data + at + header, size_t(size) - header});
        at += size_t(size);
    }
    return boxes;
}

const Box* find(const std::vector<Box>& boxes, uint32_t type) {
    for (const Box& box : boxes)
        if (box.type == type) return &box;
    return nullptr;
}

class Reader {
public:
    Reader(const uchar* data, size_t length) : data_(data), length_(length) {}
    bool read(int bytes, uint32_t& value) {
        if (length_ - at_ < size_t(bytes)) return false;
        value = 0;
        for (int i = 0; i < bytes; ++i)
            value = value << 8 | data_[at_++];
        return true;
    }

private:
    const uchar* data_;
    size_t length_;
    size_t at_ = 0;
};

using Graph = std::map<uint32_t, std::vector<uint32_t>>;

// Edges from an image to the images decoding it needs, read from the iref box. libheif reads
// the references one after another, trusting each one's count of ids rather than its size;
// only when the two agree does it see what this sees.
std::optional<Graph> dependencies(const Box& iref) {
    if (iref.length < 4) return std::nullopt;
    const int idBytes = iref.body[0] == 0 ? 2 : 4; // FullBox version picks 16- or 32-bit ids
    const uchar* at = iref.body + 4;
    size_t left = iref.length - 4;
    Graph graph;
    while (left > 0) {
        if (left < 8) return std::nullopt;
        const uint32_t size = qFromBigEndian<quint32>(at);
        const uint32_t type = qFromBigEndian<quint32>(at + 4);
        if (size < 8 || size > left) return std::nullopt;
        Reader reader(at + 8, size - 8);
        uint32_t from = 0, count = 0;
        if (!reader.read(idBytes, from) || !reader.read(2, count)) return std::nullopt;
        if (size != 8 + uint32_t(idBytes) + 2 + count * uint32_t(idBytes)) return std::nullopt;
        for (uint32_t i = 0; i < count; ++i) {
            uint32_t to = 0;
            if (!reader.read(idBytes, to)) return std::nullopt;
            // A derived image (grid, overlay) needs its inputs; an image needs its auxiliary
            // images (alpha, depth), which point at it.
            if (type == fourcc("dimg") || type == fourcc("base"))
                graph[from].push_back(to);
            else if (type == fourcc("auxl"))
                graph[to].push_back(from);
        }
        at += size;
        left -= size;
    }
    return graph;
}

// Depth-first search that fails on a cycle or a chain deeper than kMaxDepth.
bool acyclicAndShallow(const Graph& graph) {
    enum class State { Unvisited, OnPath, Done };
    std::map<uint32_t, State> state;
    std::map<uint32_t, int> height;
    std::function<bool(uint32_t, int)> visit = [&](uint32_t node, int depth) {
        if (depth > kMaxDepth) return false;
        State& s = state[node];
        if (s == State::OnPath) return false;
        if (s == State::Done) return depth + height[node] <= kMaxDepth;
        s = State::OnPath;
        int tallest = 0;
        if (const auto it = graph.find(node); it != graph.end())
            for (const uint32_t next : it->second) {
                if (!visit(next, depth + 1)) return false;
                tallest = std::max(tallest, height[next] + 1);
            }
        state[node] = State::Done;
        height[node] = tallest;
        return true;
    };
    for (const auto& [node, edges] : graph)
        if (!visit(node, 0)) return false;
    return true;
}

} // namespace

bool heifItemGraphIsSound(const QByteArray& bytes) {
    const auto* data = reinterpret_cast<const uchar*>(bytes.constData());
    const auto top = children(data, size_t(bytes.size()));
    if (!top) return false;
    const Box* meta = find(*top, fourcc("meta"));
    if (!meta || meta->length < 4) return false;
    const auto inMeta = children(meta->body + 4, meta->length - 4); // after the FullBox header
    if (!inMeta) return false;
    const Box* iref = find(*inMeta, fourcc("iref"));
    if (!iref) return true; // nothing refers to anything
    const auto graph = dependencies(*iref);
    return graph && acyclicAndShallow(*graph);
}

} // namespace platform::codecs
