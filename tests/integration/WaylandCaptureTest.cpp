// Captures in a headless sway session: the backend chosen from the session, displays from
// the compositor's outputs, full-screen pixels through the screenshot portal, windows from
// the compositor's tree, the clipboard through wl-copy, and plain sentences for the flows
// Wayland does not have yet.

#include "WaitUntil.h"
#include "WaylandSessionTest.h"

#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRect>

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

using namespace testsupport;

class WaylandCaptureTest : public WaylandSessionTest {
protected:
    [[nodiscard]] bool startSession(const WaylandSession::Options& options) {
        return WaylandSessionTest::startSession(
            options, "copyToClipboard = false\ncaptureSound = false\nwindowShadow = false\n");
    }

    ProcessOutput pictavia(std::vector<std::string> args) { return session->run(program, args); }

    // Pictavia run with `assignments` ("NAME=value") put before it by the shell, which replaces
    // what the session sets.
    ProcessOutput pictaviaWith(const std::string& assignments, std::vector<std::string> args) {
        args.insert(args.begin(), {"-c", assignments + " exec \"$0\" \"$@\"", program});
        return session->run("sh", args);
    }

    // Starts a Qt test window on the session's compositor, painted in one colour.
    void startWindow(const std::string& title, const std::string& appId, const std::string& colour,
                     const std::string& size) {
        const std::string window = session->reachable(TEST_WINDOW_BIN);
        ASSERT_FALSE(window.empty());
        session->startProcess(window,
                              {"--title", title, "--class", appId, "--pattern", colour, "--size", size},
                              {{"QT_QPA_PLATFORM", "wayland"}});
    }

    // `pictavia windows --json`, once it lists a window titled `title`.
    QJsonArray windowsListing(const std::string& title) {
        QJsonArray listed;
        waitUntil([&] {
            const ProcessOutput out = pictavia({"windows", "--json"});
            if (out.exitCode != 0) return false;
            listed = QJsonDocument::fromJson(QByteArray::fromStdString(out.out)).array();
            for (const QJsonValue& window : std::as_const(listed))
                if (window["title"].toString().toStdString() == title) return true;
            return false;
        });
        return listed;
    }

    static QJsonObject titled(const QJsonArray& windows, const QString& title) {
        for (const QJsonValue& window : windows)
            if (window["title"].toString() == title) return window.toObject();
        return {};
    }

    // The picture of one capture command, with the path it printed.
    QImage captured(const std::vector<std::string>& args) {
        const ProcessOutput out = pictavia(args);
        EXPECT_EQ(out.exitCode, 0) << out.err;
        EXPECT_EQ(out.err, "");
        const QString file = QString::fromStdString(out.out).trimmed();
        EXPECT_TRUE(QFileInfo(file).isFile()) << out.out;
        return QImage(file);
    }

    // Waits until the compositor shows `colour` at the centre of every output, as grim sees it.
    bool showing(const std::vector<std::string>& outputs, QRgb colour) {
        return waitUntil([&] {
            for (const std::string& output : outputs) {
                const ProcessOutput shot = session->run("grim", {"-o", output, "-t", "ppm", "-"});
                QImage image;
                if (shot.exitCode != 0 || !image.loadFromData(QByteArray::fromStdString(shot.out), "PPM"))
                    return false;
                if (image.pixel(image.width() / 2, image.height() / 2) != colour) return false;
            }
            return true;
        });
    }

    // How many pixels differ from `colour` by more than `tolerance` in a channel.
    static int pixelsNotOf(const QImage& image, QRgb colour, int tolerance = 0) {
        int wrong = 0;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const QRgb p = image.pixel(x, y);
                wrong += std::abs(qRed(p) - qRed(colour)) > tolerance ||
                         std::abs(qGreen(p) - qGreen(colour)) > tolerance ||
                         std::abs(qBlue(p) - qBlue(colour)) > tolerance;
            }
        }
        return wrong;
    }
};

TEST_F(WaylandCaptureTest, FullScreenComesBackWithTheColourOnScreen) {
    if (!startSession({.outputs = {{640, 480, 1.0}}})) return;
    session->startProcess("swaybg", {"-c", "#3366cc"});
    ASSERT_TRUE(showing(session->outputNames(), qRgb(0x33, 0x66, 0xcc)));

    // The session says Wayland: no --backend needed.
    const QImage image = captured({"capture", "fullscreen"});
    ASSERT_EQ(image.size(), QSize(640, 480));
    EXPECT_EQ(pixelsNotOf(image, qRgb(0x33, 0x66, 0xcc)), 0);

    // An area is cut from the same picture.
    EXPECT_EQ(captured({"capture", "area", "--rect", "10,20,100,50", "--backend", "wayland"}).size(),
              QSize(100, 50));
}

TEST_F(WaylandCaptureTest, OutputsAtScalesOneAndTwoAreDisplaysOfTheirOwnPixels) {
    if (!startSession({.outputs = {{640, 480, 1.0}, {640, 480, 2.0}}})) return;
    session->startProcess("swaybg",
                          {"-o", "HEADLESS-1", "-c", "#3366cc", "-o", "HEADLESS-2", "-c", "#cc6633"});
    ASSERT_TRUE(showing({"HEADLESS-1"}, qRgb(0x33, 0x66, 0xcc)));
    ASSERT_TRUE(showing({"HEADLESS-2"}, qRgb(0xcc, 0x66, 0x33)));

    const ProcessOutput listing = pictavia({"displays", "--json", "--backend", "wayland"});
    ASSERT_EQ(listing.exitCode, 0) << listing.err;
    const QJsonArray displays = QJsonDocument::fromJson(QByteArray::fromStdString(listing.out)).array();
    ASSERT_EQ(displays.size(), 2) << listing.out;
    const QJsonObject first = displays[0].toObject(), second = displays[1].toObject();
    EXPECT_EQ(first["name"].toString(), "HEADLESS-1");
    EXPECT_EQ(first["scale"].toDouble(), 1.0);
    EXPECT_EQ(second["name"].toString(), "HEADLESS-2");
    EXPECT_EQ(second["scale"].toDouble(), 2.0);
    EXPECT_TRUE(first["primary"].toBool());

    const QImage left = captured({"capture", "fullscreen", "--display", "1"});
    ASSERT_EQ(left.size(), QSize(640, 480));
    // The portal's picture of both outputs is drawn at scale 2, so the scale-1 output comes
    // back from an enlarged copy: exact inside, its outermost pixels blended with what lies
    // beyond them by the enlargement.
    EXPECT_EQ(pixelsNotOf(left.copy(1, 1, 638, 478), qRgb(0x33, 0x66, 0xcc)), 0);
    EXPECT_EQ(pixelsNotOf(left, qRgb(0x33, 0x66, 0xcc), 2), 0);
    const QImage right = captured({"capture", "fullscreen", "--display", "2"});
    ASSERT_EQ(right.size(), QSize(640, 480));
    EXPECT_EQ(pixelsNotOf(right, qRgb(0xcc, 0x66, 0x33)), 0);
}

TEST_F(WaylandCaptureTest, TheRunningAppCapturesOnItsWorkerThreads) {
    if (!startSession({.outputs = {{800, 600, 1.0}}})) return;
    session->startProcess("swaybg", {"-c", "#22aa44"});
    ASSERT_TRUE(showing(session->outputNames(), qRgb(0x22, 0xaa, 0x44)));
    // Its stderr, where it also writes its toasts, into a file the test reads.
    session->startProcess("sh", {"-c", "exec \"$0\" --background 2>>\"$XDG_RUNTIME_DIR/app.log\"", program});
    const auto logged = [&](const std::string& text) {
        return waitUntil([&] {
            QFile log(QString::fromStdString(session->directory() + "/app.log"));
            return log.open(QIODevice::ReadOnly) &&
                   log.readAll().toStdString().find(text) != std::string::npos;
        });
    };
    const QString socket = QString::fromStdString(session->directory() + "/pictavia/instance");
    ASSERT_TRUE(waitUntil([&] { return QFileInfo::exists(socket); }));

    // Carried out by the running app, whose grabs run off its main thread.
    const QImage image = captured({"capture", "fullscreen"});
    ASSERT_EQ(image.size(), QSize(800, 600));
    EXPECT_EQ(pixelsNotOf(image, qRgb(0x22, 0xaa, 0x44)), 0);

    // No hotkeys: it says so rather than do nothing.
    EXPECT_TRUE(logged(
        "This desktop lets no program bind global shortcuts: bind \"pictavia pictavia://capture-area\""));
}

TEST_F(WaylandCaptureTest, WhatWaylandCannotDoYetIsSaidPlainly) {
    if (!startSession({})) return;
    const auto expectFailure = [&](const std::vector<std::string>& args, const std::string& sentence) {
        const ProcessOutput out = pictavia(args);
        EXPECT_EQ(out.exitCode, 1) << sentence;
        EXPECT_EQ(out.out, "");
        EXPECT_NE(out.err.find(sentence), std::string::npos) << out.err;
    };
    // A compositor that does not list its windows, as GNOME and KDE do not.
    const auto expectRefused = [&](const std::vector<std::string>& args, const std::string& sentence) {
        const ProcessOutput out = pictaviaWith("SWAYSOCK= I3SOCK= PICTAVIA_NO_TOPLEVEL_LIST=1", args);
        EXPECT_EQ(out.exitCode, 1) << sentence;
        EXPECT_EQ(out.out, "");
        EXPECT_NE(out.err.find(sentence), std::string::npos) << out.err;
    };
    expectRefused({"windows"}, "Window lists are not available on this desktop");
    // A compositor whose socket has gone: no windows, and a sentence that says why.
    const ProcessOutput dead =
        pictaviaWith("SWAYSOCK=/nonexistent/sway.sock", {"capture", "window", "--id", "5"});
    EXPECT_EQ(dead.exitCode, 1);
    EXPECT_NE(dead.err.find("Cannot reach the compositor's IPC socket at /nonexistent/sway.sock."),
              std::string::npos)
        << dead.err;
    expectRefused({"capture", "window", "--app", "anything"},
                  "Window captures are not available on this desktop");
    expectFailure({"capture", "fullscreen", "--display", "7"}, "Display not found");

    // Asked for X11 where no X server is, it says so instead of capturing anything.
    const ProcessOutput x11 = pictavia({"capture", "fullscreen", "--backend", "x11"});
    EXPECT_EQ(x11.exitCode, 1);
    EXPECT_NE(x11.err.find("DISPLAY"), std::string::npos) << x11.err;
    const ProcessOutput unknown = pictavia({"capture", "fullscreen", "--backend", "mir"});
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_NE(unknown.err.find("--backend is x11 or wayland"), std::string::npos) << unknown.err;
}

TEST_F(WaylandCaptureTest, WindowsAreListedFromTheCompositorAndCapturedWhileShown) {
    if (!startSession({.outputs = {{640, 480, 1.0}}})) return;
    session->startProcess("swaybg", {"-c", "#3366cc"});
    ASSERT_TRUE(showing(session->outputNames(), qRgb(0x33, 0x66, 0xcc)));
    // Floating and without borders, a window has the size it asks for, centred on the output.
    const ProcessOutput rules = session->run("swaymsg", {"default_border none; default_floating_border none; "
                                                         "for_window [app_id=\"^known\"] floating enable"});
    ASSERT_EQ(rules.exitCode, 0) << rules.out << rules.err;

    startWindow("Known window", "knownapp", "#cc3344", "200x150");
    // Listed as soon as it is mapped, shown once it has drawn.
    ASSERT_TRUE(showing(session->outputNames(), qRgb(0xcc, 0x33, 0x44)));
    const QJsonArray listed = windowsListing("Known window");
    const QJsonObject known = titled(listed, QStringLiteral("Known window"));
    ASSERT_FALSE(known.isEmpty()) << QJsonDocument(listed).toJson().toStdString();
    EXPECT_EQ(known["app"].toString(), "knownapp");
    EXPECT_GT(known["pid"].toInteger(), 0);
    const QJsonObject frame = known["frame"].toObject();
    EXPECT_EQ(QRect(frame["x"].toInt(), frame["y"].toInt(), frame["width"].toInt(), frame["height"].toInt()),
              QRect(220, 165, 200, 150));

    const std::string id = std::to_string(known["id"].toInteger());
    const QImage image = captured({"capture", "window", "--id", id});
    ASSERT_EQ(image.size(), QSize(200, 150));
    EXPECT_EQ(pixelsNotOf(image, qRgb(0xcc, 0x33, 0x44)), 0);
    EXPECT_EQ(captured({"capture", "window", "--app", "knownapp"}).size(), QSize(200, 150));

    // A window in front of it: its pixels are not the known window's, and it says so.
    startWindow("Cover", "knowncover", "#11ee11", "100x100");
    windowsListing("Cover");
    const ProcessOutput covered = pictavia({"capture", "window", "--id", id});
    EXPECT_EQ(covered.exitCode, 1);
    EXPECT_EQ(covered.out, "");
    EXPECT_NE(covered.err.find("That window is partly covered by \"Cover\""), std::string::npos)
        << covered.err;

    // On a workspace that is not shown it is neither listed nor captured.
    ASSERT_EQ(session->run("swaymsg", {"workspace", "2"}).exitCode, 0);
    ASSERT_TRUE(waitUntil([&] {
        const ProcessOutput out = pictavia({"windows", "--json"});
        return out.exitCode == 0 && out.out.find("Known window") == std::string::npos;
    }));
    const ProcessOutput hidden = pictavia({"capture", "window", "--id", id});
    EXPECT_EQ(hidden.exitCode, 1);
    EXPECT_NE(hidden.err.find("That window is not on screen"), std::string::npos) << hidden.err;
    const ProcessOutput gone = pictavia({"capture", "window", "--id", "999999"});
    EXPECT_EQ(gone.exitCode, 1);
    EXPECT_NE(gone.err.find("Window not found"), std::string::npos) << gone.err;
}

TEST_F(WaylandCaptureTest, ACopyPutsAPngOnTheClipboardOrSaysWhyNot) {
    if (!startSession({.outputs = {{640, 480, 1.0}}})) return;
    session->startProcess("swaybg", {"-c", "#884422"});
    ASSERT_TRUE(showing(session->outputNames(), qRgb(0x88, 0x44, 0x22)));

    const ProcessOutput copied = pictavia({"capture", "area", "--rect", "0,0,640,480", "--copy"});
    ASSERT_EQ(copied.exitCode, 0) << copied.err;
    EXPECT_EQ(copied.out, "");
    // wl-copy serves the picture after pictavia has ended.
    const ProcessOutput pasted = session->run("wl-paste", {"--type", "image/png"});
    ASSERT_EQ(pasted.exitCode, 0) << pasted.err;
    QImage image;
    ASSERT_TRUE(image.loadFromData(QByteArray::fromStdString(pasted.out), "PNG"));
    ASSERT_EQ(image.size(), QSize(640, 480));
    EXPECT_EQ(pixelsNotOf(image, qRgb(0x88, 0x44, 0x22)), 0);

    // Without wl-copy nothing can set the clipboard, and the command does not claim it did.
    const ProcessOutput missing =
        pictaviaWith("PATH=/nonexistent", {"capture", "area", "--rect", "0,0,640,480", "--copy"});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_NE(missing.err.find("Could not copy to the clipboard: wl-copy is not installed"),
              std::string::npos)
        << missing.err;
    EXPECT_EQ(missing.err.find("Copied to clipboard"), std::string::npos) << missing.err;

    // The same copy carried out by a running app without wl-copy: the command says it too.
    session->startProcess("sh", {"-c", "PATH=/nonexistent exec \"$0\" --background", program});
    const QString socket = QString::fromStdString(session->directory() + "/pictavia/instance");
    ASSERT_TRUE(waitUntil([&] { return QFileInfo::exists(socket); }));
    const ProcessOutput hosted = pictavia({"capture", "area", "--rect", "0,0,640,480", "--copy"});
    EXPECT_EQ(hosted.exitCode, 1);
    EXPECT_NE(hosted.err.find("Could not copy to the clipboard: wl-copy is not installed"), std::string::npos)
        << hosted.err;
}

TEST_F(WaylandCaptureTest, AWindowOnADoubleScaleOutputIsListedAndCapturedInItsPixels) {
    if (!startSession({.outputs = {{640, 480, 1.0}, {640, 480, 2.0}}})) return;
    session->startProcess("swaybg",
                          {"-o", "HEADLESS-1", "-c", "#3366cc", "-o", "HEADLESS-2", "-c", "#cc6633"});
    ASSERT_TRUE(showing({"HEADLESS-2"}, qRgb(0xcc, 0x66, 0x33)));
    const ProcessOutput rules = session->run(
        "swaymsg",
        {"default_border none; default_floating_border none; for_window [app_id=\"^known\"] floating "
         "enable; focus output HEADLESS-2"});
    ASSERT_EQ(rules.exitCode, 0) << rules.out << rules.err;

    // 200 by 150 units, centred on an output of 320 by 240 units that starts at unit 640:
    // twice as many pixels, beside the first output's at twice its position.
    startWindow("Sharp window", "knownsharp", "#cc3344", "200x150");
    ASSERT_TRUE(showing({"HEADLESS-2"}, qRgb(0xcc, 0x33, 0x44)));
    const QJsonObject sharp = titled(windowsListing("Sharp window"), QStringLiteral("Sharp window"));
    ASSERT_FALSE(sharp.isEmpty());
    const QJsonObject frame = sharp["frame"].toObject();
    EXPECT_EQ(QRect(frame["x"].toInt(), frame["y"].toInt(), frame["width"].toInt(), frame["height"].toInt()),
              QRect(1280 + 120, 90, 400, 300));

    const QImage image = captured({"capture", "window", "--id", std::to_string(sharp["id"].toInteger())});
    ASSERT_EQ(image.size(), QSize(400, 300));
    EXPECT_EQ(pixelsNotOf(image, qRgb(0xcc, 0x33, 0x44)), 0);
}

} // namespace
