// Windows on GNOME, which tells other programs nothing of its windows: `pictavia windows` says
// so, and a window is picked in the screen-cast portal's own chooser instead. The tests pick a
// window of one known colour there, as a user would, and check that its capture is the
// window's pixels exactly, at the window's size, and that a recording of it shows the window.

#include "WaylandGnomeSessionTest.h"

#include <QDir>
#include <QFileInfo>
#include <QImage>

#include <gtest/gtest.h>

#include <future>
#include <thread>

namespace {

using namespace testsupport;

// Far from every colour of the shell and of GTK's dialogs.
constexpr QRgb known = qRgb(0xcc, 0x33, 0x66);
const QSize windowSize(320, 240);
constexpr const char* approvedAgent =
    R"(agentApprovedClients = [{"key":"gnome-window-test","name":"gnome-window-test","approvedAt":"2026-01-01T00:00:00Z"}])"
    "\n";

class WaylandGnomeWindowTest : public WaylandGnomeSessionTest {
protected:
    // GNOME with the known window, not full screen, drawn without Qt's own title bar (mutter
    // draws none for Wayland clients), and the screenshot permission given, for the
    // screenshots that find the chooser.
    [[nodiscard]] bool startWithWindow() {
        if (!startGnome({640, 480}, "copyToClipboard = false\ncaptureSound = false\nwindowShadow = false\n"
                                    "showQuickAccess = false\nrecFPS = 30\nrecShowClicks = false\n"
                                    "recCountdown = 0\n" +
                                        std::string(approvedAgent)))
            return false;
        const std::string window = session->reachable(TEST_WINDOW_BIN);
        EXPECT_FALSE(window.empty());
        if (window.empty()) return false;
        session->startProcess(
            window,
            {"--title", "Known", "--pattern", "#cc3366", "--size",
             std::to_string(windowSize.width()) + "x" + std::to_string(windowSize.height())},
            {{"QT_QPA_PLATFORM", "wayland"}, {"QT_WAYLAND_DISABLE_WINDOWDECORATION", "1"}});
        return !firstScreenshotAllowed().isNull();
    }

    // Runs `args` of pictavia while the chooser it opens is answered: the one window chosen.
    ProcessOutput runPickingTheWindow(const std::vector<std::string>& args) {
        auto run =
            std::async(std::launch::async, [&] { return session->run(program, args, {.timeout = 100s}); });
        EXPECT_TRUE(shareTheOneRow()) << "the portal's window chooser did not show";
        return run.get();
    }
};

TEST_F(WaylandGnomeWindowTest, AWindowPickedInTheDesktopsChooserIsCapturedExactly) {
    if (!startWithWindow()) return;

    // No list, said plainly, with what the desktop offers instead.
    const ProcessOutput listing = session->run(program, {"windows"});
    EXPECT_NE(listing.exitCode, 0);
    EXPECT_NE(listing.err.find("Window lists are not available on this desktop"), std::string::npos)
        << listing.err;
    EXPECT_NE(listing.err.find("the desktop's own window chooser"), std::string::npos) << listing.err;
    const ProcessOutput byNumber = session->run(program, {"capture", "window", "--id", "1"});
    EXPECT_NE(byNumber.exitCode, 0);
    EXPECT_NE(byNumber.err.find("Pick the window in the desktop's own window chooser"), std::string::npos)
        << byNumber.err;

    // Cancelling the chooser picks nothing, and says so. Its "Cancel" mirrors "Share" about
    // the middle of the dialog, which GNOME centres on the output.
    auto cancelled = std::async(std::launch::async, [&] {
        return session->run(program, {"capture", "window"});
    });
    QImage screen;
    const std::optional<QPoint> share = chooseTheOneRow(&screen);
    EXPECT_TRUE(share) << "the portal's window chooser did not show";
    if (share) click(QPoint(screen.width() - 1 - share->x(), share->y()), screen.size());
    const ProcessOutput nothing = cancelled.get();
    EXPECT_EQ(nothing.exitCode, 1);
    EXPECT_EQ(nothing.out, "");
    EXPECT_NE(nothing.err.find("No window was picked."), std::string::npos) << nothing.err;

    const ProcessOutput picked = runPickingTheWindow({"capture", "window"});
    ASSERT_EQ(picked.exitCode, 0) << picked.err;
    EXPECT_EQ(picked.err, "");
    const QImage image(QString::fromStdString(picked.out).trimmed());
    EXPECT_EQ(image.size(), windowSize);
    EXPECT_EQ(pixelsNotOf(image, known), 0);
}

TEST_F(WaylandGnomeWindowTest, ARecordingOfAPickedWindowShowsTheWindow) {
    if (!startWithWindow()) return;
    const std::size_t logged = sessionLog("portal").size();
    const ProcessOutput recorded = runPickingTheWindow({"record", "window", "--duration", "2", "--no-audio"});
    // The recording shares the window just picked again with that pick's token: the desktop asks
    // once (a second question, unanswered here, would hold the recording up). No answer is kept
    // for the next run.
    ASSERT_EQ(recorded.exitCode, 0) << recorded.err;
    EXPECT_NE(sessionLog("portal").substr(logged).find("Replacing 'restore_token' with portal-specific data"),
              std::string::npos);
    EXPECT_TRUE(savedRestoreToken().isEmpty());
    expectStillMovie(QString::fromStdString(recorded.out).trimmed(), windowSize, 2.0, known);
}

// In the resident app the capture-window and window recording flows open the same chooser in
// place of the picker, and so does a window capture asked of the app from the command line. The
// chooser waits on a thread of its own: the app takes the screenshots that find it meanwhile.
TEST_F(WaylandGnomeWindowTest, TheAppsWindowFlowsOpenTheDesktopsChooser) {
    if (!startWithWindow()) return;
    const QImage before = screenshot();
    session->startProcess("sh", {"-c", "exec \"$0\" --background 2>>\"$XDG_RUNTIME_DIR/app.log\"", program});
    const QString socket = QString::fromStdString(session->directory() + "/pictavia/instance");
    ASSERT_TRUE(waitUntil([&] { return QFileInfo::exists(socket); })) << sessionLog("app");
    // Once what the app shows as it starts has gone, the chooser lists the known window alone.
    ASSERT_TRUE(waitUntil([&] { return differingPixels(screenshot(), before) == 0; }, 30s))
        << "something of the app stays on screen";
    const QDir history(QString::fromStdString(session->directory() + "/data/Pictavia/History"));
    // The screenshots that found the chooser are in the history too, at the output's size.
    const auto windowCaptures = [&] {
        QList<QImage> images;
        for (const QString& name : history.entryList({"*.png"}, QDir::Files))
            if (const QImage image(history.filePath(name)); image.size() == windowSize) images.append(image);
        return images;
    };

    // An agent hears that there is no list, and what the desktop offers instead.
    const ProcessOutput listed = askAgentTool("gnome-window-test", "list_windows", "{}");
    EXPECT_NE(listed.out.find("it tells other programs nothing of its windows"), std::string::npos)
        << listed.out << listed.err;
    EXPECT_NE(listed.out.find("the desktop's own window chooser"), std::string::npos) << listed.out;

    ASSERT_EQ(session->run(program, {"pictavia://capture-window"}).exitCode, 0);
    ASSERT_TRUE(shareTheOneRow()) << "the portal's window chooser did not show: " << sessionLog("app");
    QList<QImage> picked;
    ASSERT_TRUE(waitUntil([&] { return !(picked = windowCaptures()).isEmpty(); })) << sessionLog("app");
    EXPECT_EQ(picked.size(), 1);
    EXPECT_EQ(pixelsNotOf(picked.front(), known), 0);

    const ProcessOutput asked = runPickingTheWindow({"capture", "window"});
    ASSERT_EQ(asked.exitCode, 0) << asked.err << sessionLog("app");
    const QImage image(QString::fromStdString(asked.out).trimmed());
    EXPECT_EQ(image.size(), windowSize);
    EXPECT_EQ(pixelsNotOf(image, known), 0);

    ASSERT_EQ(session->run(program, {"pictavia://record?mode=window"}).exitCode, 0);
    ASSERT_TRUE(shareTheOneRow()) << "the portal's window chooser did not show: " << sessionLog("app");
    // The pick is shared again before the first frame, which can take a while on a busy machine:
    // until then there is no recording to stop.
    std::this_thread::sleep_for(2s);
    ASSERT_TRUE(waitUntil(
        [&] {
            if (session->run(program, {"pictavia://stop"}).exitCode == 0) return true;
            std::this_thread::sleep_for(1s);
            return false;
        },
        60s))
        << sessionLog("app");
    QString movie;
    ASSERT_TRUE(waitUntil([&] {
        const QStringList movies = history.entryList({"*.mov"}, QDir::Files);
        if (!movies.isEmpty()) movie = history.filePath(movies.front());
        return !movie.isEmpty();
    })) << sessionLog("app");
    // Its length depends on when sharing began; the picked window's recording test counts frames.
    const QList<QImage> frames = movieFrames(movie, windowSize);
    ASSERT_FALSE(frames.empty());
    for (const qsizetype i : {qsizetype(0), frames.size() / 2, frames.size() - 1})
        EXPECT_LT(shareNotOf(frames[i], known), 0.01) << "frame " << i;
}

} // namespace
