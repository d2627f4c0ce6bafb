#include "main/InstanceChannel.h"

#include "platform/posix/UnixSocket.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSocketNotifier>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>

namespace InstanceChannel {

namespace {

// A request: a header line, the working directory, an argument a line, an empty line.
// Replies are frames: "T" once taken, "O n" or "E n" and n bytes of output, "X code" at
// the end.
constexpr char header[] = "pictavia-request-2";
constexpr qsizetype maxMessage = 1 << 20;
// An instance that has not taken a request in this time is stuck; its callers say so
// rather than hang. A command it has taken may run as long as it needs (a name prompt
// waits for the user).
constexpr int takeTimeoutSeconds = 10;

QByteArray oneLine(const QString& text) {
    QString line = text;
    return line.replace(QLatin1Char('\n'), QLatin1Char(' ')).toUtf8() + '\n';
}

// The path as bytes, when it fits a socket address.
std::optional<std::string> addressOf(const QString& path) {
    const QByteArray bytes = QFile::encodeName(path);
    if (static_cast<size_t>(bytes.size()) >= sizeof(sockaddr_un::sun_path)) return std::nullopt;
    return bytes.toStdString();
}

void relay(std::FILE* stream, const QByteArray& bytes) {
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stream);
    std::fflush(stream);
}

// Reads the reply frames of one request from a blocking socket.
class ReplyReader {
public:
    explicit ReplyReader(int fd) : m_fd(fd) {}

    Forwarded run() {
        bool taken = false;
        while (true) {
            const auto line = readLine();
            if (!line || line->isEmpty()) break;
            const char tag = line->at(0);
            const QByteArray value = line->mid(2);
            if (tag == 'T') {
                taken = true;
                // The command itself may take long: only taking it is bounded.
                timeval none{0, 0};
                ::setsockopt(m_fd, SOL_SOCKET, SO_RCVTIMEO, &none, sizeof none);
            } else if (tag == 'X' && taken) {
                return {Outcome::done, value.toInt()};
            } else if ((tag == 'O' || tag == 'E') && taken) {
                const auto bytes = readBytes(value.toLongLong());
                if (!bytes) break;
                relay(tag == 'O' ? stdout : stderr, *bytes);
            } else {
                break; // not our protocol: an instance of another version
            }
        }
        if (taken) return {Outcome::cutOff, 0};
        return {m_timedOut ? Outcome::notTaken : Outcome::noInstance, 0};
    }

private:
    bool fill() {
        char chunk[65536];
        while (true) {
            const ssize_t n = ::read(m_fd, chunk, sizeof chunk);
            if (n > 0) {
                m_buffer.append(chunk, n);
                return true;
            }
            if (n < 0 && errno == EINTR) continue;
            m_timedOut = n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
            return false;
        }
    }
    std::optional<QByteArray> readLine() {
        qsizetype end = -1;
        while ((end = m_buffer.indexOf('\n')) < 0)
            if (m_buffer.size() > 64 || !fill()) return std::nullopt;
        QByteArray line = m_buffer.left(end);
        m_buffer.remove(0, end + 1);
        return line;
    }
    std::optional<QByteArray> readBytes(qint64 count) {
        if (count < 0 || count > maxMessage) return std::nullopt;
        while (m_buffer.size() < count)
            if (!fill()) return std::nullopt;
        QByteArray bytes = m_buffer.left(count);
        m_buffer.remove(0, count);
        return bytes;
    }

    int m_fd;
    QByteArray m_buffer;
    bool m_timedOut = false;
};

} // namespace

QString socketPath() {
    QString base = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (base.isEmpty() || !QDir(base).exists())
        base = QStringLiteral("/tmp/pictavia-%1").arg(::getuid());
    else
        base += QStringLiteral("/pictavia");
    return base + QStringLiteral("/instance");
}

QByteArray encode(const Request& request) {
    QByteArray message = header;
    message += request.kind == Kind::run ? " run\n" : " open\n";
    message += oneLine(request.workingDirectory);
    for (const QString& argument : request.arguments)
        message += oneLine(argument.isEmpty() ? QStringLiteral(" ") : argument);
    return message + '\n';
}

std::optional<Request> decode(const QByteArray& message) {
    QList<QByteArray> lines;
    qsizetype start = 0;
    while (true) {
        const qsizetype end = message.indexOf('\n', start);
        if (end < 0) return std::nullopt; // not complete yet
        if (end == start && lines.size() >= 2) break;
        lines << message.mid(start, end - start);
        start = end + 1;
    }
    const QByteArray first = lines.takeFirst();
    Request request;
    if (first == QByteArray(header) + " run")
        request.kind = Kind::run;
    else if (first != QByteArray(header) + " open")
        return std::nullopt;
    request.workingDirectory = QString::fromUtf8(lines.takeFirst());
    for (const QByteArray& line : std::as_const(lines))
        request.arguments << QString::fromUtf8(line);
    return request;
}

Forwarded forward(const Request& request) {
    const auto address = addressOf(socketPath());
    if (!address) return {};
    const int fd = posix::connectTo(*address);
    if (fd < 0) return {};
    timeval timeout{takeTimeoutSeconds, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    const QByteArray bytes = encode(request);
    Forwarded forwarded;
    if (posix::writeAll(fd, bytes.constData(), static_cast<size_t>(bytes.size())))
        forwarded = ReplyReader(fd).run();
    ::close(fd);
    return forwarded;
}

std::unique_ptr<QLockFile> tryClaim() {
    const QString folder = QFileInfo(socketPath()).absolutePath();
    QDir().mkpath(folder);
    ::chmod(QFile::encodeName(folder).constData(), 0700);
    auto lock = std::make_unique<QLockFile>(socketPath() + QStringLiteral(".lock"));
    lock->setStaleLockTime(0); // a lock of a process that is gone is taken over at once
    if (!lock->tryLock(0)) return nullptr;
    return lock;
}

QString failureMessage(Outcome outcome) {
    switch (outcome) {
    case Outcome::notTaken:
        return QStringLiteral("another Pictavia is running but does not answer");
    case Outcome::cutOff:
        return QStringLiteral("Pictavia ended before it finished the command");
    case Outcome::noInstance:
        return QStringLiteral("Pictavia is not running");
    case Outcome::done:
        break;
    }
    return {};
}

std::variant<int, std::unique_ptr<QLockFile>> elect(const Request& request) {
    // Long enough for an instance to start with a large history and a slow display.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (true) {
        const Forwarded forwarded = forward(request);
        if (forwarded.outcome == Outcome::done) return forwarded.exitCode;
        if (forwarded.outcome != Outcome::noInstance) {
            std::fprintf(stderr, "pictavia: %s\n", qPrintable(failureMessage(forwarded.outcome)));
            return 1;
        }
        // Whoever holds the claim is starting and listens once it is ready.
        if (auto claim = tryClaim()) return claim;
        if (std::chrono::steady_clock::now() > deadline) {
            std::fprintf(stderr, "pictavia: another Pictavia is starting but does not answer\n");
            return 1;
        }
        ::usleep(20'000);
    }
}

// One client: reads its request, then writes the reply frames as the handler gives them,
// without blocking the instance on a slow reader.
class Server::Connection : public Reply {
public:
    Connection(Server* server, int fd) : m_server(server), m_fd(fd) {
        m_reader = new QSocketNotifier(fd, QSocketNotifier::Read, server);
        m_writer = new QSocketNotifier(fd, QSocketNotifier::Write, server);
        m_writer->setEnabled(false);
        QObject::connect(m_reader, &QSocketNotifier::activated, server, [this] { read(); });
        QObject::connect(m_writer, &QSocketNotifier::activated, server, [this] { flush(); });
    }
    ~Connection() override {
        // Possibly from inside one of their own signals.
        for (QSocketNotifier* notifier : {m_reader, m_writer}) {
            notifier->setEnabled(false);
            notifier->deleteLater();
        }
        ::close(m_fd);
    }

    void out(const QByteArray& bytes) override { frame('O', bytes); }
    void err(const QByteArray& bytes) override { frame('E', bytes); }
    void finish(int exitCode) override {
        if (m_finished) return;
        m_finished = true;
        if (!m_taken) send("T\n");
        send("X " + QByteArray::number(exitCode) + '\n');
    }
    void take() override {
        if (m_taken) return;
        m_taken = true;
        send("T\n");
    }

private:
    void frame(char tag, const QByteArray& bytes) {
        if (bytes.isEmpty() || m_finished) return;
        if (!m_taken) take();
        send(QByteArray(1, tag) + ' ' + QByteArray::number(bytes.size()) + '\n' + bytes);
    }
    void send(const QByteArray& bytes) {
        m_pending += bytes;
        flush();
    }
    void flush() {
        while (!m_pending.isEmpty()) {
            const long n =
                posix::sendSome(m_fd, m_pending.constData(), static_cast<size_t>(m_pending.size()));
            if (n < 0 && errno == EINTR) continue;
            if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
                m_writer->setEnabled(true);
                return;
            }
            if (n <= 0) { // the caller has gone: what is left of the command still runs
                m_pending.clear();
                break;
            }
            m_pending.remove(0, n);
        }
        m_writer->setEnabled(false);
        if (m_finished) m_server->m_connections.remove(m_fd); // deletes this
    }
    void read() {
        char chunk[4096];
        long n = 0;
        while ((n = posix::receiveSome(m_fd, chunk, sizeof chunk)) > 0)
            m_request.append(chunk, n);
        const bool ended = n == 0 || (n < 0 && errno != EAGAIN && errno != EINTR);
        if (m_received) {
            if (ended) m_reader->setEnabled(false);
            return;
        }
        auto request = decode(m_request);
        if (!request) {
            if (ended || m_request.size() > maxMessage) m_server->m_connections.remove(m_fd); // deletes this
            return;
        }
        m_received = true;
        m_request.clear();
        // The handler holds the reply for as long as its work runs; the connection stays
        // in the server's table until the reply is written.
        // A command is taken at once and may then run as long as it needs; resident
        // arguments are taken once acted on.
        if (request->kind == Kind::run) take();
        auto self = m_server->m_connections.value(m_fd);
        std::shared_ptr<Reply> reply(self.get(), [self](Reply* r) { r->finish(1); });
        emit m_server->received(*request, std::move(reply));
    }

    Server* m_server;
    int m_fd;
    QSocketNotifier* m_reader = nullptr;
    QSocketNotifier* m_writer = nullptr;
    QByteArray m_request;
    QByteArray m_pending;
    bool m_received = false;
    bool m_taken = false;
    bool m_finished = false;
};

Server::~Server() {
    m_connections.clear();
    if (m_listener >= 0) ::close(m_listener);
}

Result<bool> Server::listen() {
    const QString path = socketPath();
    const auto address = addressOf(path);
    if (!address) return Error{QStringLiteral("The socket path %1 is too long").arg(path)};
    // The caller holds the claim and forwarding failed, so a socket file here is stale.
    ::unlink(address->c_str());
    const auto listened = posix::listenAt(*address, 64, 0600); // the socket file: this user only
    if (const auto* failure = std::get_if<posix::ListenFailure>(&listened))
        return Error{QStringLiteral("Cannot listen on %1: %2")
                         .arg(path, QString::fromLocal8Bit(posix::errorText(failure->error).c_str()))};
    m_listener = std::get<int>(listened);
    auto* notifier = new QSocketNotifier(m_listener, QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &Server::accept);
    return true;
}

void Server::accept() {
    while (true) {
        const int fd = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (fd < 0) return;
        m_connections.insert(fd, std::make_shared<Connection>(this, fd));
    }
}

} // namespace InstanceChannel
