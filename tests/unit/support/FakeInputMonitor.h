#pragma once

#include "platform/InputMonitor.h"

#include <optional>

namespace testsupport {

// An input monitor the test drives: presses arrive when the test calls press(), on the
// test's thread.
class FakeInputMonitor : public platform::InputMonitor {
public:
    explicit FakeInputMonitor(int& stops) : m_stops(stops) {}
    ButtonHandler onButton;
    KeyHandler onKey;
    bool running = false;

    Result<bool> start(ButtonHandler buttons, KeyHandler keys) override {
        onButton = std::move(buttons);
        onKey = std::move(keys);
        running = true;
        return true;
    }
    void stop() override {
        if (!running) return;
        running = false;
        ++m_stops;
    }

    void press(const platform::ButtonPress& press) {
        if (running && onButton) onButton(press);
    }
    void press(const platform::KeyPress& press) {
        if (running && onKey) onKey(press);
    }

private:
    int& m_stops;
};

class FakeInputMonitors : public platform::InputMonitors {
public:
    FakeInputMonitor* last = nullptr; // valid while its owner keeps it
    int stops = 0;
    std::optional<Error> failure; // what create() says instead of making a monitor

    Result<std::unique_ptr<platform::InputMonitor>> create() override {
        if (failure) return *failure;
        auto monitor = std::make_unique<FakeInputMonitor>(stops);
        last = monitor.get();
        return std::unique_ptr<platform::InputMonitor>(std::move(monitor));
    }
};

} // namespace testsupport
