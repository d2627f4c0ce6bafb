// The library page used like a person would: three windows captured, each showing one
// word, then that word typed into the library's search and the one result opened.

#include "AppSession.h"
#include "TestWindow.h"
#include "WaitUntil.h"

#include <QFile>
#include <QUrl>
#include <gtest/gtest.h>

#include <thread>

namespace {

using namespace testsupport;

void settle(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

class LibraryPageTest : public ::testing::Test {
protected:
    void SetUp() override {
        server = XServer::start({.width = 1280, .height = 800, .windowManager = true});
        app = std::make_unique<AppSession>(*server,
                                           "showQuickAccess = false\n[Hotkeys]\narea = F8\nallInOne = F9\n");
    }

    // Captures the window's client area through a URL and returns the new capture's name.
    QString captureWindowShowing(const std::string& word, QPoint position) {
        const TestWindow window = openTestWindow(
            *server, {.pattern = "#ffffff", .size = QSize(360, 120), .position = position, .text = word});
        const QRect client = clientRect(*server, window.id);
        const QStringList before = app->captures();
        app->open("pictavia://capture-area?x=" + std::to_string(client.x()) +
                  "&y=" + std::to_string(client.y()) + "&width=" + std::to_string(client.width()) +
                  "&height=" + std::to_string(client.height()));
        EXPECT_TRUE(app->waitForCaptures(before.size() + 1)) << app->log();
        for (const QString& name : app->captures())
            if (!before.contains(name)) return name;
        return {};
    }

    // True once the saved index holds the word, read from the pixels.
    bool indexed(const std::string& word) const {
        return waitUntil(
            [&] {
                QFile index(app->home().path() + "/data/Pictavia/index.json");
                return index.open(QIODevice::ReadOnly) &&
                       index.readAll().toLower().contains(QByteArray::fromStdString(word).toLower());
            },
            std::chrono::seconds(30));
    }

    // Typing goes to the window that has the keyboard; a new window may not have it yet.
    void activateMainWindow() {
        app->xdotool({"search", "--onlyvisible", "--name", "^Pictavia$", "windowactivate", "--sync"});
        settle(300);
    }

    std::unique_ptr<XServer> server;
    std::unique_ptr<AppSession> app;
};

TEST_F(LibraryPageTest, SearchFindsTheCaptureByAWordInsideItsPixels) {
    // The word sought is in the middle capture: neither newest nor oldest, so only a
    // working search puts it first.
    const QString lighthouse = captureWindowShowing("Lighthouse", QPoint(100, 100));
    const QString pelican = captureWindowShowing("Pelican", QPoint(500, 100));
    const QString saxophone = captureWindowShowing("Saxophone", QPoint(100, 400));
    ASSERT_FALSE(pelican.isEmpty());
    ASSERT_EQ(app->captures().size(), 3);
    for (const char* word : {"Lighthouse", "Pelican", "Saxophone"})
        ASSERT_TRUE(indexed(word)) << word << " was not read from its capture";
    // Only inside the pixels: no name, app or window title holds it.
    for (const QString& name : {lighthouse, pelican, saxophone})
        ASSERT_FALSE(name.contains("Pelican", Qt::CaseInsensitive));

    ASSERT_EQ(app->open("pictavia://history").exitCode, 0);
    ASSERT_TRUE(app->waitForWindows("Pictavia", 1)) << app->log();
    activateMainWindow();
    app->xdotool({"type", "--delay", "60", "pelican"});
    settle(800);
    app->screenshot("library-search");

    // Return moves from the search to the first result, and again opens it.
    app->xdotool({"key", "Return"});
    settle(300);
    app->xdotool({"key", "Return"});
    const std::string editor = "Pictavia Editor — " + pelican.toStdString();
    EXPECT_TRUE(app->waitForWindows(editor, 1))
        << "captures: " << lighthouse.toStdString() << ", " << pelican.toStdString() << ", "
        << saxophone.toStdString() << "\nwindows: "
        << app->run("xdotool", {"search", "--onlyvisible", "--name", "Pictavia", "getwindowname", "%@"}).out;
}

TEST_F(LibraryPageTest, SettingsSearchFindsASettingThatThenChangesThePreference) {
    ASSERT_EQ(app->open("pictavia://settings").exitCode, 0);
    ASSERT_TRUE(app->waitForWindows("Pictavia", 1)) << app->log();
    activateMainWindow();
    app->xdotool({"type", "--delay", "40", "shutter"});
    settle(500);
    app->screenshot("settings-search");
    // The search leaves one setting, the shutter sound (off in this session's file); Return
    // takes the keyboard to its switch.
    app->xdotool({"key", "Return"});
    settle(200);
    app->xdotool({"key", "space"});
    const auto line = [&] {
        QFile conf(app->home().path() + "/config/pictavia/pictavia.conf");
        if (!conf.open(QIODevice::ReadOnly)) return QByteArray();
        for (const QByteArray& text : conf.readAll().split('\n'))
            if (text.startsWith("captureSound")) return text.simplified();
        return QByteArray();
    };
    EXPECT_TRUE(waitUntil([&] { return line().endsWith("true"); })) << line().toStdString();
}

} // namespace
