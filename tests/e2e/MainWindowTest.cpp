// The main window as a new user meets it on a desktop without a tray: a second start
// brings it forward, it comes back after a capture it started, and closing it quits.

#include "AppSession.h"
#include "TestWindow.h"
#include "WaitUntil.h"

#include <QFile>
#include <QString>
#include <QStringList>
#include <gtest/gtest.h>

#include <optional>
#include <thread>

namespace {

using namespace testsupport;

const std::string mainWindow = "Pictavia";
const std::string selection = "Pictavia Selection";

std::string trimmed(std::string text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == ' '))
        text.pop_back();
    return text;
}

// Where a button labelled `first second` is on the screen, read the way a person reads
// it: from a screenshot, by text recognition.
std::optional<QPoint> findLabel(AppSession& app, const QString& first, const QString& second) {
    const std::string shot = app.home().path().toStdString() + "/screen.png";
    app.run("import", {"-window", "root", shot});
    app.run("convert", {shot, "-resize", "200%", shot}); // small interface text reads better larger
    const ProcessOutput tsv = app.run("tesseract", {shot, "-", "tsv"});
    // level page block par line word left top width height conf text
    std::optional<QStringList> previous;
    for (const QString& line : QString::fromStdString(tsv.out).split(u'\n')) {
        const QStringList cells = line.split(u'\t');
        if (cells.size() < 12 || cells[0] != u"5") continue;
        if (previous && (*previous)[11] == first && cells[11] == second && (*previous)[4] == cells[4]) {
            const QRect a((*previous)[6].toInt(), (*previous)[7].toInt(), (*previous)[8].toInt(),
                          (*previous)[9].toInt());
            const QRect b(cells[6].toInt(), cells[7].toInt(), cells[8].toInt(), cells[9].toInt());
            return (a | b).center() / 2;
        }
        previous = cells;
    }
    return std::nullopt;
}

std::string activeWindowName(AppSession& app) {
    return trimmed(app.run("xdotool", {"getactivewindow", "getwindowname"}).out);
}

// Ended, or a zombie waiting for the test to reap it.
bool exited(pid_t pid) {
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly)) return true;
    const QByteArray text = stat.readAll();
    const qsizetype end = text.lastIndexOf(')');
    return end >= 0 && text.mid(end + 2, 1) == "Z";
}

TEST(MainWindowTest, ASecondStartBringsItForwardAndItReturnsAfterAFlowItStarted) {
    auto server = XServer::start({.width = 1280, .height = 800, .windowManager = true});
    AppSession app(*server, "showQuickAccess = false\n");

    // Started in the background: a second `pictavia` opens the window.
    ASSERT_EQ(app.send({}).exitCode, 0);
    ASSERT_TRUE(app.waitForWindows(mainWindow, 1)) << app.log();
    EXPECT_FALSE(app.waitForLog("Pictavia is already running", std::chrono::milliseconds(500)));

    // Capture Area on Home; Escape ends the flow and the window is back.
    std::this_thread::sleep_for(std::chrono::milliseconds(300)); // painted
    const auto button = findLabel(app, "Capture", "Area");
    ASSERT_TRUE(button) << "no Capture Area button on the screen";
    app.xdotool({"mousemove", std::to_string(button->x()), std::to_string(button->y()), "click", "1"});
    ASSERT_TRUE(app.waitForWindows(selection, 1)) << app.log();
    EXPECT_EQ(app.windowCount(mainWindow), 0) << "the window stays in front of the overlay";
    app.xdotool({"key", "Escape"});
    EXPECT_TRUE(app.waitForWindows(selection, 0));
    EXPECT_TRUE(app.waitForWindows(mainWindow, 1)) << "the window did not come back after Escape";

    // And after a capture.
    app.xdotool({"mousemove", std::to_string(button->x()), std::to_string(button->y()), "click", "1"});
    ASSERT_TRUE(app.waitForWindows(selection, 1)) << app.log();
    app.xdotool({"mousemove", "100", "100", "mousedown", "1"});
    app.xdotool({"mousemove", "200", "150"});
    app.xdotool({"mousemove", "300", "200", "mouseup", "1"});
    ASSERT_TRUE(app.waitForCaptures(1)) << app.log();
    EXPECT_TRUE(app.waitForWindows(mainWindow, 1)) << "the window did not come back after the capture";

    // Another program's window in front: a second start brings ours forward again.
    const TestWindow other =
        openTestWindow(*server, {.title = "Other program", .position = QPoint(200, 150)});
    app.xdotool({"windowactivate", "--sync", std::to_string(other.id)});
    ASSERT_EQ(activeWindowName(app), "Other program");
    ASSERT_EQ(app.send({}).exitCode, 0);
    EXPECT_TRUE(waitUntil([&] { return activeWindowName(app) == mainWindow; }, std::chrono::seconds(10)))
        << "active: " << activeWindowName(app);
}

TEST(MainWindowTest, WithoutATrayClosingTheWindowQuits) {
    auto server = XServer::start({.width = 1280, .height = 800, .windowManager = true});
    AppSession app(*server, "showQuickAccess = false\n");
    ASSERT_EQ(app.send({}).exitCode, 0);
    ASSERT_TRUE(app.waitForWindows(mainWindow, 1)) << app.log();
    const std::string id =
        trimmed(app.run("xdotool", {"search", "--onlyvisible", "--name", "^Pictavia$"}).out);
    const pid_t pid = std::stoi(trimmed(app.run("xdotool", {"getwindowpid", id}).out));
    // Closed from its title bar, as openbox does it for Alt+F4.
    app.xdotool({"windowactivate", "--sync", id});
    app.xdotool({"key", "alt+F4"});
    EXPECT_TRUE(waitUntil([&] { return exited(pid); }, std::chrono::seconds(20)))
        << "Pictavia is still running with no window and no tray";
}

} // namespace
