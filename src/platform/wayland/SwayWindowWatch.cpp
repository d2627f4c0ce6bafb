#include "platform/wayland/SwayWindowWatch.h"

#include <algorithm>

namespace platform::wayland {

Result<SwayWindow> findSwayWindow(uint32_t id) {
    const Result<QList<SwayWindow>> windows = requestSwayWindows();
    if (!windows) return windows.error();
    const auto found =
        std::find_if(windows->begin(), windows->end(), [&](const SwayWindow& w) { return w.id == id; });
    if (found == windows->end()) return Error{QStringLiteral("The window being recorded is gone")};
    return *found;
}

SwayWindowWatch::SwayWindowWatch(uint32_t id, SwayWindow first)
    : m_id(id), m_latest(std::move(first)), m_thread([this] { run(); }) {}

SwayWindowWatch::~SwayWindowWatch() {
    {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_all();
    m_thread.join();
}

Result<SwayWindow> SwayWindowWatch::latest() const {
    const std::lock_guard lock(m_mutex);
    return m_latest;
}

void SwayWindowWatch::run() {
    for (;;) {
        {
            std::unique_lock lock(m_mutex);
            if (m_wake.wait_for(lock, interval, [&] { return m_stopping; })) return;
        }
        Result<SwayWindow> now = findSwayWindow(m_id);
        const bool failed = !now;
        const std::lock_guard lock(m_mutex);
        m_latest = std::move(now);
        if (failed) return;
    }
}

} // namespace platform::wayland
