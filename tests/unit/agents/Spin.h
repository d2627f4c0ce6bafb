#pragma once

#include <QEventLoop>
#include <QTimer>

#include <chrono>

namespace agenttest {

// Runs the event loop until `condition` holds; false when `timeout` passed first.
template <typename Condition>
bool spinUntil(Condition condition, std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        QEventLoop loop;
        QTimer::singleShot(2, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}

// Runs the event loop for a while.
inline void spinFor(std::chrono::milliseconds time) {
    QEventLoop loop;
    QTimer::singleShot(time, &loop, &QEventLoop::quit);
    loop.exec();
}

} // namespace agenttest
