// pictavia-mcp against a running Pictavia: how long an AI client waits for its first
// reply after starting the bridge, how many requests go back and forth per second, and
// how long a second client waits while the first one's huge batch is being answered.
//
//   agent_bench PICTAVIA_MCP [RUNS]     with HOME pointing where Pictavia serves agents
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

struct Bridge {
    pid_t pid = -1;
    int in = -1;  // its stdin
    int out = -1; // its stdout
    std::string buffer;

    explicit Bridge(const char* program) {
        int toChild[2], fromChild[2];
        if (::pipe(toChild) != 0 || ::pipe(fromChild) != 0) std::exit(2);
        pid = ::fork();
        if (pid == 0) {
            ::dup2(toChild[0], 0);
            ::dup2(fromChild[1], 1);
            ::close(toChild[1]);
            ::close(fromChild[0]);
            ::execl(program, program, nullptr);
            ::_exit(127);
        }
        ::close(toChild[0]);
        ::close(fromChild[1]);
        in = toChild[1];
        out = fromChild[0];
    }
    ~Bridge() {
        if (in >= 0) ::close(in);
        int status = 0;
        ::waitpid(pid, &status, 0);
        ::close(out);
    }

    void write(const std::string& text) const {
        std::size_t done = 0;
        while (done < text.size()) {
            const ssize_t n = ::write(in, text.data() + done, text.size() - done);
            if (n <= 0) std::exit(3);
            done += static_cast<std::size_t>(n);
        }
    }
    // The next line; exits when the bridge ends or stays silent for 10 seconds.
    std::string line() {
        while (true) {
            const std::size_t end = buffer.find('\n');
            if (end != std::string::npos) {
                std::string result = buffer.substr(0, end);
                buffer.erase(0, end + 1);
                return result;
            }
            pollfd readable{out, POLLIN, 0};
            if (::poll(&readable, 1, 10000) <= 0) {
                std::fprintf(stderr, "agent_bench: no reply from the bridge\n");
                std::exit(4);
            }
            char chunk[65536];
            const ssize_t n = ::read(out, chunk, sizeof chunk);
            if (n <= 0) {
                std::fprintf(stderr, "agent_bench: the bridge ended\n");
                std::exit(4);
            }
            buffer.append(chunk, static_cast<std::size_t>(n));
        }
    }
};

std::string ping(int id) {
    return "{\"jsonrpc\":\"2.0\",\"id\":" + std::to_string(id) + ",\"method\":\"ping\"}\n";
}

double milliseconds(Clock::duration d) {
    return std::chrono::duration<double, std::milli>(d).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: agent_bench PICTAVIA_MCP [RUNS]\n");
        return 2;
    }
    ::signal(SIGPIPE, SIG_IGN);
    const char* program = argv[1];
    const int runs = argc > 2 ? std::atoi(argv[2]) : 30;
    constexpr double firstReplyTarget = 50;   // ms
    constexpr double roundTripTarget = 10000; // per second
    constexpr int pings = 10000;

    { // warm the page cache and the server
        Bridge bridge(program);
        bridge.write(ping(0));
        if (bridge.line().find("\"result\"") == std::string::npos) {
            std::fprintf(stderr, "agent_bench: Pictavia did not answer a ping\n");
            return 4;
        }
    }

    std::vector<double> first;
    for (int run = 0; run < runs; ++run) {
        const auto start = Clock::now();
        Bridge bridge(program);
        bridge.write(
            "{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"initialize\",\"params\":{\"protocolVersion\":"
            "\"2025-06-18\",\"capabilities\":{},\"clientInfo\":{\"name\":\"agent_bench\"}}}\n");
        bridge.line();
        first.push_back(milliseconds(Clock::now() - start));
    }
    const double firstMedian = median(first);
    std::printf(
        "Bridge start to first reply (initialize), %d runs: median %.2f ms, best %.2f ms, worst %.2f ms\n",
        runs, firstMedian, *std::min_element(first.begin(), first.end()),
        *std::max_element(first.begin(), first.end()));
    std::printf("  target < %.0f ms: %.1fx under the limit\n", firstReplyTarget,
                firstReplyTarget / firstMedian);

    {
        Bridge bridge(program);
        const auto start = Clock::now();
        for (int id = 1; id <= pings; ++id) {
            bridge.write(ping(id));
            bridge.line();
        }
        const double seconds = milliseconds(Clock::now() - start) / 1000;
        const double rate = pings / seconds;
        std::printf("%d pings one after another through the bridge: %.0f round trips/s (%.1f us each)\n",
                    pings, rate, seconds * 1e6 / pings);
        std::printf("  target >= %.0f/s: %.2fx the target\n", roundTripTarget, rate / roundTripTarget);
    }
    {
        Bridge bridge(program);
        const auto start = Clock::now();
        std::thread writer([&] {
            std::string all;
            for (int id = 1; id <= pings; ++id)
                all += ping(id);
            bridge.write(all);
        });
        for (int id = 1; id <= pings; ++id)
            bridge.line();
        writer.join();
        const double seconds = milliseconds(Clock::now() - start) / 1000;
        std::printf("%d pings sent at once through the bridge: %.0f replies/s\n", pings, pings / seconds);
        std::printf("  target >= %.0f/s: %.2fx the target\n", roundTripTarget,
                    pings / seconds / roundTripTarget);
    }
    {
        // One client asks for the tool list 60,000 times in one batch; another pings meanwhile.
        constexpr int batchSize = 60000;
        constexpr double waitTarget = 100; // ms
        Bridge busy(program);
        Bridge other(program);
        other.write(ping(0));
        other.line();
        std::string batch = "[";
        for (int id = 0; id < batchSize; ++id)
            batch += (id ? "," : "") + std::string("{\"jsonrpc\":\"2.0\",\"id\":") + std::to_string(id) +
                     ",\"method\":\"tools/list\"}";
        batch += "]\n";
        std::atomic<int> received{0};
        std::size_t replyBytes = 0;
        const auto start = Clock::now();
        std::thread writer([&] { busy.write(batch); });
        std::thread reader([&] {
            for (int i = 0; i < batchSize; ++i) {
                replyBytes += busy.line().size() + 1;
                ++received;
            }
        });
        while (received < 1000)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        std::vector<double> waits;
        int leftAtLast = 0;
        for (int id = 1; received < batchSize - 2000 && waits.size() < 50; ++id) {
            const auto sent = Clock::now();
            other.write(ping(id));
            other.line();
            waits.push_back(milliseconds(Clock::now() - sent));
            leftAtLast = batchSize - received;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        reader.join();
        writer.join();
        const double seconds = milliseconds(Clock::now() - start) / 1000;
        std::printf("%d tools/list in one batch (%.0f MB of replies): %.1f s, %.0f replies/s\n", batchSize,
                    static_cast<double>(replyBytes) / 1e6, seconds, batchSize / seconds);
        if (waits.empty()) {
            std::printf("  the batch was answered before a second client could ping\n");
        } else {
            std::printf("Second client's ping during that batch, %zu pings: median %.2f ms, worst %.2f ms "
                        "(%d replies of the batch still to come at the last)\n",
                        waits.size(), median(waits), *std::max_element(waits.begin(), waits.end()),
                        leftAtLast);
            std::printf("  target < %.0f ms: %.1fx under the limit\n", waitTarget,
                        waitTarget / median(waits));
        }
    }
    return 0;
}
