// The global hotkeys on the settings page, used as a person would: found by searching,
// a new key recorded from the keyboard and held for the whole desktop at once, a key that
// another hotkey has refused, the default brought back, and the file edited by hand
// taking effect while the application runs. Another X client checks which keys are held.

#include "AppSession.h"
#include "KeyGrabClient.h"
#include "WaitUntil.h"

#include <QFile>
#include <QSaveFile>
#include <gtest/gtest.h>

#include <X11/keysym.h>

#include <thread>

namespace {

using namespace testsupport;

void settle(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

class ShortcutEditorTest : public ::testing::Test {
protected:
    void SetUp() override {
        server = XServer::start({.width = 1280, .height = 800, .windowManager = true});
        app = std::make_unique<AppSession>(*server, "[Hotkeys]\narea = F8\nallInOne = F9\n");
        grabber = std::make_unique<KeyGrabClient>(server->display());
    }

    QString confPath() const { return app->home().path() + "/config/pictavia/pictavia.conf"; }

    // The value of a key under [Hotkeys] as the file has it now.
    QByteArray hotkeyInFile(const QByteArray& name) const {
        QFile conf(confPath());
        if (!conf.open(QIODevice::ReadOnly)) return "(no file)";
        for (const QByteArray& line : conf.readAll().split('\n')) {
            const QByteArray text = line.simplified();
            if (text.startsWith(name + " =") || text.startsWith(name + "="))
                return text.mid(text.indexOf('=') + 1).trimmed();
        }
        return "(missing)";
    }

    bool waitForHotkeyInFile(const QByteArray& name, const QByteArray& keys) const {
        return waitUntil([&] { return hotkeyInFile(name) == keys; });
    }

    // Whether another program could take the key without modifiers now; it lets go at once.
    bool free(xcb_keysym_t key) {
        const xcb_keycode_t code = grabber->keycodes(key).at(0);
        if (!grabber->grab(code, 0)) return false;
        grabber->ungrab(code, 0);
        return true;
    }

    void openHotkeySetting(const std::string& search) {
        ASSERT_EQ(app->open("pictavia://settings").exitCode, 0);
        ASSERT_TRUE(app->waitForWindows("Pictavia", 1)) << app->log();
        app->xdotool({"search", "--onlyvisible", "--name", "^Pictavia$", "windowactivate", "--sync"});
        settle(300);
        app->xdotool({"type", "--delay", "40", search});
        settle(400);
        // Return takes the keyboard to the first setting found: the hotkey's recorder.
        app->xdotool({"key", "Return"});
        settle(200);
    }

    // Space starts recording, then the combination is pressed.
    void record(const std::string& keys) {
        app->xdotool({"key", "space"});
        settle(300);
        app->xdotool({"key", keys});
        settle(300);
    }

    std::unique_ptr<XServer> server;
    std::unique_ptr<AppSession> app;
    std::unique_ptr<KeyGrabClient> grabber;
};

TEST_F(ShortcutEditorTest, ARecordedKeyIsHeldAtOnceConflictsAreRefusedAndResetRestores) {
    ASSERT_FALSE(free(XK_F8)) << "the area hotkey from the file is not held";
    openHotkeySetting("capture an area");
    record("F7");
    ASSERT_TRUE(waitForHotkeyInFile("area", "F7")) << hotkeyInFile("area").toStdString();
    EXPECT_FALSE(free(XK_F7)) << "the recorded key is not held";
    EXPECT_TRUE(free(XK_F8)) << "the old key was not let go";

    // F9 is the all-in-one hotkey: refused, and the area keeps F7.
    record("F9");
    app->screenshot("settings-hotkey-conflict");
    EXPECT_EQ(hotkeyInFile("area"), "F7");
    EXPECT_EQ(hotkeyInFile("allInOne"), "F9");
    EXPECT_FALSE(free(XK_F7));

    // Tab reaches the reset button beside the recorder.
    app->xdotool({"key", "Tab"});
    settle(200);
    app->xdotool({"key", "space"});
    EXPECT_TRUE(waitForHotkeyInFile("area", "Print")) << hotkeyInFile("area").toStdString();
    EXPECT_TRUE(free(XK_F7)) << "the reset hotkey still holds the recorded key";
}

TEST_F(ShortcutEditorTest, KeysEditedInTheFileTakeEffectWhileRunning) {
    ASSERT_FALSE(free(XK_F8));
    // The application writes its default keys at start; an edit of the same size in the same
    // clock tick would carry the same time stamp, and Qt's settings, which compare only size
    // and time stamp, would not read it again.
    settle(50);
    QFile conf(confPath());
    ASSERT_TRUE(conf.open(QIODevice::ReadOnly));
    QByteArray text = conf.readAll();
    conf.close();
    ASSERT_TRUE(text.contains("area = F8")) << text.toStdString();
    // Saved the way editors save: a new file renamed over the old one.
    QSaveFile edited(confPath());
    ASSERT_TRUE(edited.open(QIODevice::WriteOnly));
    edited.write(text.replace("area = F8", "area = F6"));
    ASSERT_TRUE(edited.commit());

    EXPECT_TRUE(waitUntil([&] { return free(XK_F8); })) << "the old key is still held";
    // The application lets go of F8 and grabs F6 in one step; once it answers a request,
    // that step is over.
    ASSERT_EQ(app->open("pictavia://settings").exitCode, 0);
    EXPECT_FALSE(free(XK_F6)) << "the key written in the file is not held";
}

} // namespace
