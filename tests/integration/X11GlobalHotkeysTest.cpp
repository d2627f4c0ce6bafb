// Global shortcuts: presses reach the callback through the Qt event loop, grabs held by
// other clients are refused, and the lock keys do not get in the way.

#include "KeyGrabClient.h"
#include "WaitUntil.h"
#include "XServer.h"

#include "platform/x11/X11GlobalHotkeys.h"
#include "platform/x11/X11KeySymbols.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QRegularExpression>
#include <QThread>

#include <X11/keysym.h>
#include <xcb/xcb_keysyms.h>

#include <cstdlib>
#include <stdexcept>

namespace {

using namespace testsupport;

class X11GlobalHotkeysTest : public ::testing::Test {
protected:
    void SetUp() override {
        // No window manager: openbox's default configuration grabs Print itself.
        server = XServer::start({.width = 640, .height = 480, .windowManager = false});
        qputenv("DISPLAY", server->display().c_str());
        Result<std::unique_ptr<platform::GlobalHotkeys>> connected = platform::x11::connectHotkeys();
        ASSERT_TRUE(connected.ok()) << connected.error().message.toStdString();
        hotkeys = std::move(connected).value();
    }

    // Binds and counts presses, checking that each arrives on the main thread.
    int bindCounting(const QKeySequence& keys) {
        const Result<int> handle = hotkeys->bind(keys, [this] {
            ++presses;
            if (QThread::currentThread() != QCoreApplication::instance()->thread()) ++offThread;
        });
        if (!handle) throw std::runtime_error(handle.error().message.toStdString());
        return *handle;
    }

    void xdotool(const std::vector<std::string>& args) {
        const ProcessOutput result = server->run("xdotool", args);
        ASSERT_EQ(result.exitCode, 0) << result.err;
    }

    bool waitForPresses(int count) {
        return waitUntil([&] {
            QCoreApplication::processEvents();
            return presses >= count;
        });
    }

    // Gives stray events time to arrive, then says how many presses there were.
    int settledPresses() {
        waitUntil(
            [] {
                QCoreApplication::processEvents();
                return false;
            },
            std::chrono::milliseconds(300));
        return presses;
    }

    std::unique_ptr<XServer> server;
    std::unique_ptr<platform::GlobalHotkeys> hotkeys;
    int presses = 0;
    int offThread = 0;
};

TEST_F(X11GlobalHotkeysTest, EachPressRunsTheCallbackOnceOnTheMainThread) {
    bindCounting(QKeySequence(Qt::Key_Print));

    xdotool({"key", "Print"});
    ASSERT_TRUE(waitForPresses(1));

    // Held past the repeat delay: the server repeats the key, we must not.
    xdotool({"keydown", "Print", "sleep", "1.2", "keyup", "Print"});
    ASSERT_TRUE(waitForPresses(2));
    EXPECT_EQ(settledPresses(), 2);

    // Other modifiers make another combination.
    xdotool({"key", "ctrl+Print"});
    EXPECT_EQ(settledPresses(), 2);
    EXPECT_EQ(offThread, 0);
}

TEST_F(X11GlobalHotkeysTest, LockKeysDoNotStopTheShortcut) {
    bindCounting(QKeySequence(Qt::SHIFT | Qt::Key_F5));

    xdotool({"key", "Num_Lock", "Caps_Lock"});
    ASSERT_TRUE(QString::fromStdString(server->run("xset", {"q"}).out)
                    .contains(QRegularExpression(QStringLiteral("Num Lock:\\s+on"))));
    xdotool({"key", "shift+F5"});
    ASSERT_TRUE(waitForPresses(1));

    xdotool({"key", "Caps_Lock", "Num_Lock"});
    xdotool({"key", "shift+F5"});
    ASSERT_TRUE(waitForPresses(2));
}

TEST_F(X11GlobalHotkeysTest, CombinationHeldElsewhereIsRefusedAndReleasedAfterUnbind) {
    KeyGrabClient other(server->display());
    const std::vector<xcb_keycode_t> printKeys = other.keycodes(XK_Print);
    ASSERT_EQ(printKeys.size(), 2u) << "Xvfb's keymap has Print on two keys";

    // The other client holds one key of the two; the one we could grab must be let go.
    ASSERT_TRUE(other.grab(printKeys[0], XCB_MOD_MASK_SHIFT));
    const Result<int> refused = hotkeys->bind(QKeySequence(Qt::SHIFT | Qt::Key_Print), [] {});
    ASSERT_FALSE(refused.ok());
    EXPECT_EQ(refused.error().message.toStdString(), "Shift+Print is already used by another program");
    EXPECT_TRUE(other.grab(printKeys[1], XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_2));
    other.ungrab(printKeys[0], XCB_MOD_MASK_SHIFT);
    other.ungrab(printKeys[1], XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_2);

    // Bound here: the other client cannot have it, until we unbind.
    const int handle = bindCounting(QKeySequence(Qt::SHIFT | Qt::Key_Print));
    EXPECT_FALSE(other.grab(printKeys[0], XCB_MOD_MASK_SHIFT));
    EXPECT_FALSE(other.grab(printKeys[1], XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_LOCK));
    hotkeys->unbind(handle);
    EXPECT_TRUE(other.grab(printKeys[0], XCB_MOD_MASK_SHIFT));
    EXPECT_TRUE(other.grab(printKeys[1], XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_LOCK));

    // Bound and unbound again, as a countdown does with Escape.
    for (int i = 0; i < 3; ++i) {
        const int escape = bindCounting(QKeySequence(Qt::Key_Escape));
        hotkeys->unbind(escape);
    }
    const int escape = bindCounting(QKeySequence(Qt::Key_Escape));
    xdotool({"key", "Escape"});
    EXPECT_TRUE(waitForPresses(1));
    hotkeys->unbind(escape);
}

TEST_F(X11GlobalHotkeysTest, BindingsThatCannotWorkSaySo) {
    auto refusal = [&](const QKeySequence& keys) {
        const Result<int> handle = hotkeys->bind(keys, [] {});
        return handle ? std::string("bound") : handle.error().message.toStdString();
    };
    bindCounting(QKeySequence(Qt::CTRL | Qt::Key_P));
    EXPECT_EQ(refusal(QKeySequence(Qt::CTRL | Qt::Key_P)),
              "Ctrl+P is already used by another shortcut of Pictavia");
    EXPECT_EQ(refusal(QKeySequence(Qt::Key_F35)), "There is no F35 key on this keyboard");
    EXPECT_EQ(refusal(QKeySequence()), "A global shortcut needs a key");
    EXPECT_EQ(refusal(QKeySequence(Qt::Key_Control)), "Control cannot be used as a global shortcut");

    // "!" is Shift+1 on this keyboard.
    bindCounting(QKeySequence(Qt::CTRL | Qt::Key_Exclam));
    xdotool({"key", "ctrl+1"});
    xdotool({"key", "ctrl+shift+1"});
    ASSERT_TRUE(waitForPresses(1));
    EXPECT_EQ(settledPresses(), 1);
}

TEST(X11HotkeyKeySymbols, QtKeysMapToKeysyms) {
    using platform::x11::keysymForKey;
    EXPECT_EQ(keysymForKey(Qt::Key_Z), xcb_keysym_t(XK_z)); // the first level's symbol
    EXPECT_EQ(keysymForKey(Qt::Key_7), xcb_keysym_t(XK_7));
    EXPECT_EQ(keysymForKey(Qt::Key_F35), xcb_keysym_t(XK_F35));
    EXPECT_EQ(keysymForKey(Qt::Key_PageDown), xcb_keysym_t(XK_Next));
    EXPECT_EQ(keysymForKey(Qt::Key_BracketLeft), xcb_keysym_t(XK_bracketleft));
    EXPECT_EQ(keysymForKey(Qt::Key_Adiaeresis), xcb_keysym_t(XK_adiaeresis));
    EXPECT_EQ(keysymForKey(Qt::Key_multiply), xcb_keysym_t(XK_multiply)); // not a letter
    EXPECT_EQ(keysymForKey(Qt::Key_Control), xcb_keysym_t(XCB_NO_SYMBOL));
}

} // namespace
