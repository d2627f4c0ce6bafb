#pragma once

#include <chrono>
#include <thread>

namespace testsupport {

// Polls until `condition` holds; false when `timeout` passed first. Tests wait for the X
// server, the window manager and clients this way instead of sleeping a fixed time, with
// timeouts generous enough for a loaded two-core machine.
template <typename Condition>
bool waitUntil(Condition condition, std::chrono::milliseconds timeout = std::chrono::seconds(20)) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (true) {
        if (condition()) return true;
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
}

} // namespace testsupport
