// Watching clicks and keys: what xdotool presses arrives with the pointer's place, the key
// and the modifiers held, and nothing is taken away from the windows that get the presses.

#include "WaitUntil.h"
#include "XServer.h"

#include "platform/x11/X11InputMonitor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <vector>

namespace {

using namespace testsupport;

class X11InputMonitorTest : public ::testing::Test {
protected:
    void SetUp() override {
        server = XServer::start({.width = 800, .height = 600, .windowManager = false});
        qputenv("DISPLAY", server->display().c_str());
        platform::x11::X11InputMonitors monitors;
        auto created = monitors.create();
        ASSERT_TRUE(created.ok()) << created.error().message.toStdString();
        monitor = std::move(created).value();
        const Result<bool> started = monitor->start(
            [this](const platform::ButtonPress& press) {
                std::lock_guard lock(mutex);
                buttons.push_back(press);
            },
            [this](const platform::KeyPress& press) {
                std::lock_guard lock(mutex);
                keys.push_back(press);
            });
        ASSERT_TRUE(started.ok()) << started.error().message.toStdString();
    }

    void TearDown() override {
        if (monitor) monitor->stop();
    }

    void xdotool(const std::vector<std::string>& args) {
        const ProcessOutput result = server->run("xdotool", args);
        ASSERT_EQ(result.exitCode, 0) << result.err;
    }

    std::vector<platform::ButtonPress> buttonsWhen(size_t count) {
        waitUntil([&] {
            std::lock_guard lock(mutex);
            return buttons.size() >= count;
        });
        std::lock_guard lock(mutex);
        return buttons;
    }

    // The presses of keys that are not modifiers, once there are `count`.
    std::vector<platform::KeyPress> keysWhen(size_t count) {
        const auto typed = [this] {
            std::vector<platform::KeyPress> result;
            for (const platform::KeyPress& press : keys) {
                if (!press.isModifier) result.push_back(press);
            }
            return result;
        };
        waitUntil([&] {
            std::lock_guard lock(mutex);
            return typed().size() >= count;
        });
        std::lock_guard lock(mutex);
        return typed();
    }

    std::unique_ptr<XServer> server;
    std::unique_ptr<platform::InputMonitor> monitor;
    std::mutex mutex;
    std::vector<platform::ButtonPress> buttons;
    std::vector<platform::KeyPress> keys;
};

TEST_F(X11InputMonitorTest, ClicksArriveWithThePointersPlaceAndTheWheelIsNoClick) {
    xdotool({"mousemove", "123", "45", "click", "1"});
    xdotool({"mousemove", "700", "500", "click", "3"});
    // Wheel steps, then a middle click that shows they were passed over, not queued behind.
    xdotool({"click", "4", "click", "5", "click", "2"});
    const std::vector<platform::ButtonPress> seen = buttonsWhen(3);
    ASSERT_EQ(seen.size(), 3u);
    EXPECT_EQ(seen[0].button, Qt::LeftButton);
    EXPECT_EQ(seen[0].rootPosition, QPoint(123, 45));
    EXPECT_EQ(seen[1].button, Qt::RightButton);
    EXPECT_EQ(seen[1].rootPosition, QPoint(700, 500));
    EXPECT_EQ(seen[2].button, Qt::MiddleButton);
    EXPECT_LE(seen[0].time, seen[1].time);
}

TEST_F(X11InputMonitorTest, KeysArriveWithTheModifiersHeld) {
    xdotool({"key", "ctrl+shift+4"});
    xdotool({"key", "super+k"});
    xdotool({"key", "alt+F4"});
    xdotool({"key", "Return"});
    const std::vector<platform::KeyPress> seen = keysWhen(4);
    ASSERT_EQ(seen.size(), 4u);
    EXPECT_EQ(seen[0].key, Qt::Key_4);
    EXPECT_EQ(seen[0].modifiers, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(seen[1].key, Qt::Key_K);
    EXPECT_EQ(seen[1].modifiers, Qt::MetaModifier);
    EXPECT_EQ(seen[2].key, Qt::Key_F4);
    EXPECT_EQ(seen[2].modifiers, Qt::AltModifier);
    EXPECT_EQ(seen[3].key, Qt::Key_Return);
    EXPECT_EQ(seen[3].modifiers, Qt::NoModifier);

    // The modifiers themselves were seen too, marked as such.
    std::lock_guard lock(mutex);
    const auto modifierKeys = std::count_if(keys.begin(), keys.end(), [](const platform::KeyPress& press) {
        return press.isModifier && (press.key == Qt::Key_Control || press.key == Qt::Key_Shift ||
                                    press.key == Qt::Key_Meta || press.key == Qt::Key_Alt);
    });
    EXPECT_EQ(modifierKeys, 4); // Ctrl, Shift, Super, Alt
}

TEST_F(X11InputMonitorTest, StopEndsTheHandlersAndStartWatchesAgain) {
    monitor->stop();
    xdotool({"mousemove", "10", "10", "click", "1"});
    ASSERT_TRUE(monitor->start(
        [this](const platform::ButtonPress& press) {
            std::lock_guard lock(mutex);
            buttons.push_back(press);
        },
        {}));
    xdotool({"mousemove", "20", "30", "click", "1"});
    const std::vector<platform::ButtonPress> seen = buttonsWhen(1);
    ASSERT_FALSE(seen.empty());
    EXPECT_EQ(seen.front().rootPosition, QPoint(20, 30));
}

} // namespace
