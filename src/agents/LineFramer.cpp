#include "agents/LineFramer.h"

#include <algorithm>
#include <cstring>

namespace {

bool isBlank(const char* begin, const char* end) {
    return std::all_of(begin, end, [](char c) { return c == ' ' || c == '\t' || c == '\r'; });
}

} // namespace

char* LineFramer::prepare() {
    const qsizetype held = pending();
    // Consumed messages are dropped from the front once they are at least as long as
    // what would be moved, or when that saves growing the buffer.
    if (m_start > 0 && (m_start >= held || m_buffer.size() + readChunk > m_buffer.capacity())) {
        std::memmove(m_buffer.data(), m_buffer.constData() + m_start, static_cast<size_t>(held));
        m_buffer.resize(held);
        m_scanned -= m_start;
        m_start = 0;
    }
    const qsizetype needed = m_buffer.size() + readChunk;
    if (needed > m_buffer.capacity())
        m_buffer.reserve(std::min(std::max(needed, m_buffer.capacity() * 2), maxRemainder + readChunk));
    const qsizetype size = m_buffer.size();
    m_buffer.resize(needed); // uninitialised bytes, within the reserved capacity
    m_buffer.resize(size);
    return m_buffer.data() + size;
}

bool LineFramer::commit(qsizetype count, const Deliver& deliver) {
    m_buffer.resize(m_buffer.size() + count);
    const char* data = m_buffer.constData();
    const qsizetype size = m_buffer.size();
    while (m_scanned < size) {
        const void* found = std::memchr(data + m_scanned, '\n', static_cast<size_t>(size - m_scanned));
        if (!found) {
            m_scanned = size;
            break;
        }
        const qsizetype end = static_cast<const char*>(found) - data;
        if (!isBlank(data + m_start, data + end)) deliver(QByteArray(data + m_start, end - m_start));
        m_start = end + 1;
        m_scanned = m_start;
    }
    if (m_start == size) {
        // Room grown for one long message is given back, not kept for the connection's life.
        if (m_buffer.capacity() > 4 * readChunk)
            m_buffer = QByteArray();
        else
            m_buffer.resize(0);
        m_start = m_scanned = 0;
    }
    return pending() <= maxRemainder;
}

bool LineFramer::append(const char* data, qsizetype size, const Deliver& deliver) {
    while (size > 0) {
        const qsizetype count = std::min(size, readChunk);
        std::memcpy(prepare(), data, static_cast<size_t>(count));
        if (!commit(count, deliver)) return false;
        data += count;
        size -= count;
    }
    return true;
}
