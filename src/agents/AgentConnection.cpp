#include "agents/AgentConnection.h"

#include "platform/posix/UnixSocket.h"

#include <QPointer>
#include <QSocketNotifier>

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

AgentConnection::AgentConnection(int fd, QObject* parent) : QObject(parent), m_fd(fd) {}

AgentConnection::~AgentConnection() {
    close();
    if (m_writer.joinable()) m_writer.join();
    delete m_notifier;
    ::close(m_fd);
}

void AgentConnection::start() {
    if (m_notifier || isClosed()) return;
    m_notifier = new QSocketNotifier(m_fd, QSocketNotifier::Read);
    connect(m_notifier, &QSocketNotifier::activated, this, &AgentConnection::readAvailable);
}

bool AgentConnection::isClosed() const {
    const std::lock_guard guard(m_lock);
    return m_closed;
}

qsizetype AgentConnection::backlog() const {
    const std::lock_guard guard(m_lock);
    return m_queuedBytes;
}

void AgentConnection::setReading(bool reading) {
    if (m_notifier) m_notifier->setEnabled(reading && !isClosed());
}

void AgentConnection::readAvailable() {
    if (isClosed()) {
        m_notifier->setEnabled(false);
        return;
    }
    const long n = posix::receiveSome(m_fd, m_framer.prepare(), LineFramer::readChunk);
    if (n < 0 && (errno == EINTR || errno == EAGAIN)) return;
    if (n <= 0) {
        close();
        return;
    }
    // A handler may close the connection or even delete it.
    QPointer self(this);
    const bool fits = m_framer.commit(n, [&](const QByteArray& message) {
        if (self && onMessage) onMessage(message);
    });
    if (self && !fits) close();
}

void AgentConnection::send(QByteArray message) {
    message.append('\n');
    std::unique_lock guard(m_lock);
    if (m_closed) return;
    if (m_queue.empty() && !m_writing) {
        // Nothing ahead of this message: as much as the socket takes now.
        qsizetype written = 0;
        while (written < message.size()) {
            const long n = posix::sendSome(m_fd, message.constData() + written,
                                           static_cast<size_t>(message.size() - written));
            if (n > 0) {
                written += n;
            } else if (n < 0 && errno == EINTR) {
                continue;
            } else if (n < 0 && errno == EAGAIN) {
                break;
            } else {
                guard.unlock();
                close();
                return;
            }
        }
        if (written == message.size()) return;
        message.remove(0, written);
    }
    m_queuedBytes += message.size();
    m_queue.push_back(std::move(message));
    if (!m_writer.joinable()) m_writer = std::thread([this] { writeLoop(); });
    m_wake.notify_one();
}

void AgentConnection::writeLoop() {
    std::unique_lock guard(m_lock);
    while (true) {
        m_wake.wait(guard, [this] { return m_closed || !m_queue.empty(); });
        if (m_closed) return;
        QByteArray message = std::move(m_queue.front());
        m_queue.pop_front();
        m_writing = true;
        guard.unlock();
        // Blocks until the peer makes room; close() ends the wait by shutting the socket.
        const bool ok = posix::writeAll(m_fd, message.constData(), static_cast<size_t>(message.size()));
        guard.lock();
        m_writing = false;
        if (m_closed) return;
        m_queuedBytes -= message.size();
        if (!ok) {
            guard.unlock();
            close();
            return;
        }
        if (m_queue.empty()) {
            QMetaObject::invokeMethod(
                this,
                [this] {
                    if (onDrained) onDrained();
                },
                Qt::QueuedConnection);
        }
    }
}

void AgentConnection::close() {
    {
        const std::lock_guard guard(m_lock);
        if (m_closed) return;
        m_closed = true;
        m_queue.clear();
        m_queuedBytes = 0;
    }
    m_wake.notify_all();
    ::shutdown(m_fd, SHUT_RDWR);
    QMetaObject::invokeMethod(
        this,
        [this] {
            if (m_notifier) m_notifier->setEnabled(false);
            auto handler = std::move(onClose);
            onClose = nullptr;
            if (handler) handler();
        },
        Qt::QueuedConnection);
}
