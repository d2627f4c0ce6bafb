// A real Pictavia on a private X server, asked by one agent for 60,000 tool lists in one
// batch: it answers every one, in order, in bounded memory, and meanwhile answers another
// agent.
#include "XServer.h"
#include "agents/AgentSocket.h"
#include "platform/posix/UnixSocket.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <optional>
#include <string>
#include <thread>

namespace {

using namespace std::chrono_literals;
using testsupport::XServer;

// Lines from a socket, read as far as the test asks.
class LineReader {
public:
    explicit LineReader(int fd) : m_fd(fd) {}

    // The next line; nullopt when the socket ends or stays silent for `timeout`.
    std::optional<std::string> next(std::chrono::milliseconds timeout = 60s) {
        while (true) {
            const char* start = m_buffer.data() + m_offset;
            if (const void* end = std::memchr(start, '\n', m_buffer.size() - m_offset)) {
                std::string line(start, static_cast<const char*>(end));
                m_offset = static_cast<const char*>(end) - m_buffer.data() + 1;
                return line;
            }
            m_buffer.erase(0, m_offset);
            m_offset = 0;
            pollfd readable{m_fd, POLLIN, 0};
            if (::poll(&readable, 1, static_cast<int>(timeout.count())) <= 0) return std::nullopt;
            char chunk[1 << 16];
            const ssize_t n = ::recv(m_fd, chunk, sizeof chunk, 0);
            if (n <= 0) return std::nullopt;
            m_buffer.append(chunk, static_cast<std::size_t>(n));
        }
    }

private:
    int m_fd;
    std::string m_buffer;
    std::size_t m_offset = 0;
};

std::string replyStart(int id) {
    return "{\"jsonrpc\":\"2.0\",\"id\":" + std::to_string(id) + ',';
}

bool startsWith(const std::string& text, const std::string& start) {
    return text.compare(0, start.size(), start) == 0;
}

// VmHWM (the most it ever held) of a process, in MiB.
double peakMemoryMiB(pid_t pid) {
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly)) return -1;
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith("VmHWM:")) return line.mid(6).trimmed().split(' ').value(0).toDouble() / 1024;
    return -1;
}

TEST(AgentBatch, SixtyThousandToolListsInOneBatchAreAnsweredInBoundedMemoryWhileAnotherAgentIsServed) {
    auto display = XServer::start({.windowManager = false});
    QTemporaryDir home;
    const std::string dir = home.path().toStdString();
    QDir().mkpath(home.path() + "/config/pictavia");
    QDir().mkpath(home.path() + "/runtime");
    QFile::setPermissions(home.path() + "/runtime", QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QFile prefs(home.path() + "/config/pictavia/pictavia.conf");
    ASSERT_TRUE(prefs.open(QIODevice::WriteOnly));
    prefs.write("captureSound = false\n");
    prefs.close();
    // The test's sockets stand in for the bridge.
    testsupport::ChildProcess& app =
        display->startProcess(PICTAVIA_BIN, {"--background", "--trust-any-agent"},
                              {{"HOME", dir},
                               {"XDG_CONFIG_HOME", dir + "/config"},
                               {"XDG_DATA_HOME", dir + "/data"},
                               {"XDG_RUNTIME_DIR", dir + "/runtime"}});
    const std::string socket = AgentSocket::path(home.path(), ::getuid()).toStdString();
    int first = -1;
    for (int i = 0; i < 600 && first < 0; ++i) {
        first = posix::connectTo(socket);
        if (first < 0) std::this_thread::sleep_for(50ms);
    }
    ASSERT_GE(first, 0) << "Pictavia did not serve agents at " << socket;

    constexpr int count = 60000;
    std::string batch = "[";
    for (int id = 0; id < count; ++id)
        batch += (id ? ",{\"jsonrpc\":\"2.0\",\"id\":" : "{\"jsonrpc\":\"2.0\",\"id\":") +
                 std::to_string(id) + ",\"method\":\"tools/list\"}";
    batch += "]\n";
    std::thread writer([&] { posix::writeAll(first, batch.data(), batch.size()); });

    // The first agent reads a few replies, then nothing for a while.
    LineReader replies(first);
    int received = 0;
    std::size_t replySize = 0;
    for (; received < 1000; ++received) {
        const auto line = replies.next();
        ASSERT_TRUE(line) << "reply " << received << " did not come";
        ASSERT_TRUE(startsWith(*line, replyStart(received) + "\"result\":{\"tools\":["))
            << line->substr(0, 60);
        replySize = line->size();
    }

    // Another agent is answered meanwhile: the batch, 59,000 replies from its end, is
    // waiting for the first agent to read.
    const int second = posix::connectTo(socket);
    ASSERT_GE(second, 0);
    const std::string ping = "{\"jsonrpc\":\"2.0\",\"id\":\"other\",\"method\":\"ping\"}\n";
    ASSERT_TRUE(posix::writeAll(second, ping.data(), ping.size()));
    LineReader other(second);
    EXPECT_EQ(other.next(), "{\"jsonrpc\":\"2.0\",\"id\":\"other\",\"result\":{}}");

    // Then the rest of the batch, every reply once and in order.
    for (; received < count; ++received) {
        const auto line = replies.next();
        ASSERT_TRUE(line) << "reply " << received << " did not come";
        ASSERT_TRUE(startsWith(*line, replyStart(received))) << line->substr(0, 60);
    }
    writer.join();

    const double peak = peakMemoryMiB(app.pid());
    RecordProperty("peak_memory_mib", std::to_string(peak));
    RecordProperty("reply_bytes", std::to_string(replySize));
    EXPECT_GT(peak, 0);
    EXPECT_LT(peak, 300) << "VmHWM " << peak << " MiB after " << count << " replies of " << replySize
                         << " bytes";
    ::close(second);
    ::close(first);
}

} // namespace
