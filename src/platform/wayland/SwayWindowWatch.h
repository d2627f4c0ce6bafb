#pragma once

#include "common/Result.h"
#include "platform/wayland/SwayTree.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace platform::wayland {

// The window of the compositor's tree with this id, asked now; fails with "The window being
// recorded is gone" where the tree has no such window, or with why the compositor could not
// be asked.
Result<SwayWindow> findSwayWindow(uint32_t id);

// Keeps asking the compositor where one window is, on a thread of its own, so that whoever
// follows the window (a recording's copies) reads the latest answer without waiting for the
// compositor. sway reports no move of a floating window, so the tree is asked at an interval.
// The asking stops at the first failure, which stays the answer.
class SwayWindowWatch {
public:
    static constexpr std::chrono::milliseconds interval{100};

    // Starts with what the caller already knows of the window.
    SwayWindowWatch(uint32_t id, SwayWindow first);
    ~SwayWindowWatch();
    SwayWindowWatch(const SwayWindowWatch&) = delete;
    SwayWindowWatch& operator=(const SwayWindowWatch&) = delete;

    Result<SwayWindow> latest() const;

private:
    void run();

    const uint32_t m_id;
    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    Result<SwayWindow> m_latest;
    bool m_stopping = false;
    std::thread m_thread;
};

} // namespace platform::wayland
