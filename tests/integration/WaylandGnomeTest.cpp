// Captures and recordings on GNOME: gnome-shell on a headless virtual monitor, with
// xdg-desktop-portal-gnome. Unlike the sway session's portal, GNOME's asks the user: the shell's
// "Allow" dialog before the first screenshot, and the portal's "Screen Share" window before a
// recording it has no restore token for. The tests answer both as a user would, with keys and
// clicks through mutter's remote desktop interface, then check that the answer is not asked
// for again and that the pixels come back exactly.

#include "WaitUntil.h"
#include "WaylandGnomeSessionTest.h"

#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <future>

namespace {

using namespace testsupport;

// Far from every colour of the shell and of GTK's dialogs, so that a dialog left on screen shows.
constexpr QRgb known = qRgb(0xcc, 0x33, 0x66);

class WaylandGnomeTest : public WaylandGnomeSessionTest {
protected:
    [[nodiscard]] bool startGnome() {
        if (!WaylandGnomeSessionTest::startGnome(
                QSize(640, 480),
                "copyToClipboard = false\ncaptureSound = false\nrecFPS = 30\nrecShowClicks = false\n"))
            return false;
        const std::string window = session->reachable(TEST_WINDOW_BIN);
        EXPECT_FALSE(window.empty());
        // The output's whole picture in one colour: the shell's top bar goes under it.
        session->startProcess(window, {"--title", "Known", "--pattern", "#cc3366", "--fullscreen"},
                              {{"QT_QPA_PLATFORM", "wayland"}});
        return !window.empty();
    }

    // One `pictavia capture fullscreen`: the picture, or a null image with the failure recorded.
    QImage captured() {
        const ProcessOutput out = session->run(program, {"capture", "fullscreen"});
        EXPECT_EQ(out.exitCode, 0) << out.err;
        EXPECT_EQ(out.err, "");
        return QImage(QString::fromStdString(out.out).trimmed());
    }
};

TEST_F(WaylandGnomeTest, TheFirstScreenshotIsAllowedOnceAndEveryOneHasTheKnownPixels) {
    if (!startGnome()) return;
    const QImage first = firstScreenshotAllowed();
    ASSERT_EQ(first.size(), QSize(640, 480));

    // The answer is kept in the permission store: no question, no key pressed, and once the
    // window is up, its pixels exactly.
    QImage second;
    EXPECT_TRUE(waitUntil([&] {
        second = captured();
        return pixelsNotOf(second, known) == 0;
    })) << "pixels not of the window: "
        << pixelsNotOf(second, known);
    ASSERT_EQ(second.size(), QSize(640, 480));
    const ProcessOutput stored = session->run(
        "dbus-send",
        {"--session", "--print-reply", "--dest=org.freedesktop.impl.portal.PermissionStore",
         "/org/freedesktop/impl/portal/PermissionStore", "org.freedesktop.impl.portal.PermissionStore.Lookup",
         "string:screenshot", "string:screenshot"});
    EXPECT_NE(stored.out.find("\"yes\""), std::string::npos) << stored.out << stored.err;

    // The virtual monitor is the one display, by its connector's name.
    const ProcessOutput listing = session->run(program, {"displays", "--json"});
    ASSERT_EQ(listing.exitCode, 0) << listing.err;
    const QJsonArray displays = QJsonDocument::fromJson(QByteArray::fromStdString(listing.out)).array();
    ASSERT_EQ(displays.size(), 1) << listing.out;
    EXPECT_EQ(displays[0]["name"].toString().toStdString(), session->outputNames().front());
    EXPECT_EQ(displays[0]["frame"]["width"].toInt(), 640) << listing.out;
    EXPECT_EQ(displays[0]["scale"].toDouble(), 1.0);

    // An area is cut from the same picture.
    const ProcessOutput area = session->run(program, {"capture", "area", "--rect", "10,20,100,50"});
    ASSERT_EQ(area.exitCode, 0) << area.err;
    const QImage cut(QString::fromStdString(area.out).trimmed());
    EXPECT_EQ(cut.size(), QSize(100, 50));
    EXPECT_EQ(pixelsNotOf(cut, known), 0);
}

TEST_F(WaylandGnomeTest, ARecordingIsSharedOnceAndTheRestoreTokenSkipsTheQuestion) {
    if (!startGnome()) return;
    // The screenshots that find the portal's window need the screenshot permission first.
    ASSERT_FALSE(firstScreenshotAllowed().isNull());

    auto first = std::async(std::launch::async, [&] {
        return session->run(program, {"record", "fullscreen", "--duration", "2", "--no-audio"},
                            {.timeout = 180s});
    });
    ASSERT_TRUE(shareTheMonitor()) << "the portal's Screen Share window did not show";
    const ProcessOutput answered = first.get();
    ASSERT_EQ(answered.exitCode, 0) << answered.err;
    ASSERT_FALSE(savedRestoreToken().isEmpty());
    const std::size_t logged = sessionLog("portal").size();

    // Five seconds more, without a question: the portal restores the earlier answer.
    const ProcessOutput again =
        session->run(program, {"record", "fullscreen", "--duration", "5", "--no-audio"}, {.timeout = 60s});
    ASSERT_EQ(again.exitCode, 0) << again.err;
    EXPECT_NE(sessionLog("portal").substr(logged).find("Replacing 'restore_token' with portal-specific data"),
              std::string::npos);
    expectStillMovie(QString::fromStdString(again.out).trimmed(), QSize(640, 480), 5.0, known);

    // A still taken from the shared screen, as on desktops that ask before every screenshot:
    // the kept answer again, and the known pixels exactly.
    const std::size_t beforeStill = sessionLog("portal").size();
    const ProcessOutput still =
        session->run("sh", {"-c", "PICTAVIA_STILLS_FROM_SCREENCAST=1 exec \"$0\" \"$@\"", program, "capture",
                            "area", "--rect", "10,20,100,50"});
    ASSERT_EQ(still.exitCode, 0) << still.err;
    EXPECT_EQ(still.err, "");
    EXPECT_NE(
        sessionLog("portal").substr(beforeStill).find("Replacing 'restore_token' with portal-specific data"),
        std::string::npos);
    const QImage cut(QString::fromStdString(still.out).trimmed());
    EXPECT_EQ(cut.size(), QSize(100, 50));
    EXPECT_EQ(pixelsNotOf(cut, known), 0);
}

} // namespace
