#pragma once

#include "agents/LineFramer.h"

#include <QByteArray>
#include <QObject>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

class QSocketNotifier;

// Where a session's replies go: a connection, or a recorder in tests.
class AgentChannel {
public:
    virtual ~AgentChannel() = default;
    // One message; the channel adds the newline. Any thread.
    virtual void send(QByteArray message) = 0;
    virtual void close() = 0;
    // Bytes sent that the peer has not taken yet.
    virtual qsizetype backlog() const { return 0; }
    // Whether to read further messages; off while earlier ones are still being answered.
    virtual void setReading(bool reading) { (void)reading; }
};

// One accepted agent socket: newline-delimited messages in, serialised writes out.
//
// Reading happens on the thread the connection lives on (the main thread), when the
// socket is readable, at most LineFramer::readChunk bytes at a time, so onMessage is
// called there too. Writing is done by the sender as far as the socket takes it without
// waiting; what does not fit goes to a writer thread of the connection's own, which
// waits for the peer to read, so a slow agent never stalls the application. Sends from
// any thread keep their order and never interleave; onDrained tells when the writer
// thread has caught up, backlog() how far behind it is.
class AgentConnection : public QObject, public AgentChannel {
    Q_OBJECT
public:
    // Takes over `fd`, a blocking socket; it is closed when the connection is destroyed.
    explicit AgentConnection(int fd, QObject* parent = nullptr);
    ~AgentConnection() override;

    // Starts reading.
    void start();
    void send(QByteArray message) override;
    qsizetype backlog() const override;
    void setReading(bool reading) override;
    // Any thread; later calls do nothing. The peer sees the end of the stream at once;
    // onClose follows on the connection's thread.
    void close() override;
    bool isClosed() const;

    int fd() const { return m_fd; }

    // One message, without its newline.
    std::function<void(const QByteArray&)> onMessage;
    // At most once.
    std::function<void()> onClose;
    // The writer thread has sent everything it was given; on the connection's thread.
    std::function<void()> onDrained;

private:
    void readAvailable();
    void writeLoop();

    const int m_fd;
    QSocketNotifier* m_notifier = nullptr;
    LineFramer m_framer;

    mutable std::mutex m_lock; // guards everything below
    bool m_closed = false;
    std::deque<QByteArray> m_queue; // waiting for the writer thread, oldest first
    qsizetype m_queuedBytes = 0;    // in m_queue and the message being written
    bool m_writing = false;         // the writer thread holds a message outside the queue
    std::condition_variable m_wake;
    std::thread m_writer;
};
