#pragma once

#include <QByteArray>

#include <functional>

// Splits a byte stream into newline-ended messages. Bytes are read straight into the
// framer's own buffer (prepare, then commit), at most readChunk at a time; a line holding
// only spaces, tabs and carriage returns is dropped, and a carriage return before the
// newline stays in its message. The buffer never grows past maxRemainder + readChunk
// bytes: an incomplete message longer than maxRemainder is refused. Once every message in
// it has been delivered, a buffer grown past a few chunks is released.
class LineFramer {
public:
    static constexpr qsizetype readChunk = 256 * 1024;
    static constexpr qsizetype maxRemainder = 64 * 1024 * 1024;

    using Deliver = std::function<void(const QByteArray& message)>;

    // Room for readChunk bytes; valid until the next commit.
    char* prepare();
    // Takes `count` bytes written at prepare() and delivers every complete message, in
    // order. False when the incomplete remainder is now longer than maxRemainder; the
    // framer is then unusable.
    bool commit(qsizetype count, const Deliver& deliver);

    // prepare and commit for bytes that are already somewhere else.
    bool append(const char* data, qsizetype size, const Deliver& deliver);

    // Bytes of the incomplete message held.
    qsizetype pending() const { return m_buffer.size() - m_start; }
    // Bytes the buffer has reserved.
    qsizetype capacity() const { return m_buffer.capacity(); }

private:
    QByteArray m_buffer;
    qsizetype m_start = 0;   // first byte of the incomplete message
    qsizetype m_scanned = 0; // bytes before this hold no newline
};
