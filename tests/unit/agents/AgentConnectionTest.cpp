// A connection over a real socket pair: messages reach the main thread in order, writes
// from any thread come out whole, and however it ends, onClose runs once.
#include "agents/AgentConnection.h"
#include "Spin.h"

#include <QCoreApplication>
#include <QThread>
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using agenttest::spinFor;
using agenttest::spinUntil;

class AgentConnectionTest : public ::testing::Test {
protected:
    void SetUp() override {
        int fds[2];
        ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0);
        connection = std::make_unique<AgentConnection>(fds[0]);
        peer = fds[1];
        connection->onMessage = [this](const QByteArray& message) {
            EXPECT_EQ(QThread::currentThread(), QCoreApplication::instance()->thread());
            messages.push_back(message);
        };
        connection->onClose = [this] {
            EXPECT_EQ(QThread::currentThread(), QCoreApplication::instance()->thread());
            ++closes;
        };
    }
    void TearDown() override {
        connection.reset();
        if (peer >= 0) ::close(peer);
    }

    void write(const QByteArray& bytes) {
        ASSERT_EQ(::send(peer, bytes.constData(), static_cast<size_t>(bytes.size()), MSG_NOSIGNAL),
                  bytes.size());
    }
    // Everything the connection sent until it closed its end.
    QByteArray readToEnd() {
        QByteArray all;
        char chunk[65536];
        ssize_t n = 0;
        while ((n = ::read(peer, chunk, sizeof chunk)) > 0)
            all.append(chunk, n);
        return all;
    }

    std::unique_ptr<AgentConnection> connection;
    int peer = -1;
    std::vector<QByteArray> messages;
    int closes = 0;
};

TEST_F(AgentConnectionTest, DeliversMessagesInOrderAndClosesOnceWhenThePeerEnds) {
    connection->start();
    write("{\"id\":1}\n{\"id\":");
    write("2}\r\n\n   \n{\"id\":3}\n");
    ASSERT_TRUE(spinUntil([&] { return messages.size() == 3; }));
    EXPECT_EQ(messages, (std::vector<QByteArray>{"{\"id\":1}", "{\"id\":2}\r", "{\"id\":3}"}));

    ::shutdown(peer, SHUT_WR);
    ASSERT_TRUE(spinUntil([&] { return closes == 1; }));
    EXPECT_TRUE(connection->isClosed());
    connection->close();
    std::thread([&] { connection->close(); }).join();
    spinFor(50ms);
    EXPECT_EQ(closes, 1);
    // Sends after closing go nowhere, and the peer has seen the end.
    connection->send("late");
    EXPECT_EQ(readToEnd(), QByteArray());
}

TEST_F(AgentConnectionTest, AMessageOverTheLimitClosesTheConnection) {
    connection->start();
    std::atomic<bool> writerDone{false};
    std::thread writer([&] {
        const QByteArray chunk(1 << 20, 'x');
        for (int i = 0; i <= 64; ++i) // 65 MiB without a newline
            if (::send(peer, chunk.constData(), static_cast<size_t>(chunk.size()), MSG_NOSIGNAL) < 0) break;
        writerDone = true;
    });
    const bool closed = spinUntil([&] { return closes == 1; }, 60s);
    ::shutdown(peer, SHUT_RDWR); // in case the writer still waits
    writer.join();
    ASSERT_TRUE(closed);
    EXPECT_TRUE(messages.empty());
}

TEST_F(AgentConnectionTest, SendsFromManyThreadsComeOutWholeAndInOrder) {
    connection->start();
    // Large enough that the socket fills and the writer thread takes over.
    constexpr int threads = 4;
    constexpr int perThread = 150;
    std::vector<std::thread> senders;
    for (int t = 0; t < threads; ++t)
        senders.emplace_back([&, t] {
            for (int i = 0; i < perThread; ++i) {
                const QByteArray body(1 + (i * 7919 + t * 104729) % 40000, static_cast<char>('a' + t));
                connection->send(QByteArray::number(t) + ':' + QByteArray::number(i) + ':' + body);
            }
        });
    QByteArray received;
    std::thread reader([&] {
        std::this_thread::sleep_for(100ms);
        char chunk[65536];
        int lines = 0;
        while (lines < threads * perThread) {
            const ssize_t n = ::read(peer, chunk, sizeof chunk);
            if (n <= 0) break;
            received.append(chunk, n);
            lines += static_cast<int>(std::count(chunk, chunk + n, '\n'));
        }
    });
    for (auto& sender : senders)
        sender.join();
    reader.join();
    std::map<int, int> next;
    const QList<QByteArray> lines = received.split('\n');
    ASSERT_EQ(lines.size(), threads * perThread + 1);
    for (qsizetype l = 0; l + 1 < lines.size(); ++l) {
        const QList<QByteArray> parts = lines[l].split(':');
        ASSERT_EQ(parts.size(), 3);
        const int t = parts[0].toInt();
        const int i = parts[1].toInt();
        EXPECT_EQ(i, next[t]++) << "thread " << t;
        const QByteArray expected(1 + (i * 7919 + t * 104729) % 40000, static_cast<char>('a' + t));
        EXPECT_EQ(parts[2], expected);
    }
}

TEST_F(AgentConnectionTest, APeerThatLeavesWhileBeingWrittenToClosesTheConnection) {
    connection->start();
    connection->send(QByteArray(4 << 20, 'y')); // more than the socket holds
    ::close(peer);
    peer = -1;
    ASSERT_TRUE(spinUntil([&] { return closes == 1; }));
    connection->send("more"); // no SIGPIPE, nothing happens
    spinFor(20ms);
    EXPECT_EQ(closes, 1);
}

TEST_F(AgentConnectionTest, ClosingFromAnotherThreadRunsOnCloseOnTheMainThread) {
    connection->start();
    std::thread([&] { connection->close(); }).join();
    EXPECT_EQ(closes, 0); // scheduled, not run in place
    ASSERT_TRUE(spinUntil([&] { return closes == 1; }));
    EXPECT_EQ(readToEnd(), QByteArray());
}

} // namespace
