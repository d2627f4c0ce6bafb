// Captures in a headless sway session: the backend chosen from the session, displays from
// the compositor's outputs, full-screen pixels through the screenshot portal, and plain
// sentences for the flows Wayland does not have yet.

#include "WaitUntil.h"
#include "WaylandSession.h"

#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

using namespace testsupport;

class WaylandCaptureTest : public ::testing::Test {
protected:
    void startSession(const WaylandSession::Options& options) {
        std::string whyNot;
        session = WaylandSession::start(options, &whyNot);
        if (!session) GTEST_SKIP() << "no headless Wayland session: " << whyNot;
        program = session->reachable(PICTAVIA_BIN);
        if (program.empty()) GTEST_SKIP() << "the session's user cannot run " << PICTAVIA_BIN;
        const ProcessOutput prefs = session->run(
            "sh", {"-c", "mkdir -p \"$XDG_CONFIG_HOME/pictavia\" && printf 'copyToClipboard = false\\n"
                         "captureSound = false\\n' > \"$XDG_CONFIG_HOME/pictavia/pictavia.conf\""});
        ASSERT_EQ(prefs.exitCode, 0) << prefs.err;
    }

    ProcessOutput pictavia(std::vector<std::string> args) { return session->run(program, args); }

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

    std::unique_ptr<WaylandSession> session;
    std::string program; // pictavia, where the session's user can run it
};

TEST_F(WaylandCaptureTest, FullScreenComesBackWithTheColourOnScreen) {
    startSession({.outputs = {{640, 480, 1.0}}});
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
    startSession({.outputs = {{640, 480, 1.0}, {640, 480, 2.0}}});
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
    startSession({.outputs = {{800, 600, 1.0}}});
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

    // No window list to pick from, and no hotkeys: it says so rather than show nothing.
    EXPECT_TRUE(logged("Global shortcuts are not available on Wayland yet"));
    EXPECT_EQ(pictavia({"pictavia://capture-window"}).exitCode, 0);
    EXPECT_TRUE(logged("pictavia: Window captures are not available on Wayland yet."));
}

TEST_F(WaylandCaptureTest, WhatWaylandCannotDoYetIsSaidPlainly) {
    startSession({});
    const auto expectFailure = [&](const std::vector<std::string>& args, const std::string& sentence) {
        const ProcessOutput out = pictavia(args);
        EXPECT_EQ(out.exitCode, 1) << sentence;
        EXPECT_EQ(out.out, "");
        EXPECT_NE(out.err.find(sentence), std::string::npos) << out.err;
    };
    expectFailure({"windows"}, "Window lists are not available on Wayland yet.");
    expectFailure({"capture", "window", "--app", "anything"},
                  "Window captures are not available on Wayland yet.");
    expectFailure({"capture", "scrolling", "--rect", "0,0,100,100"},
                  "Scrolling captures are not available on Wayland yet.");
    expectFailure({"capture", "fullscreen", "--display", "7"}, "Display not found");

    // Asked for X11 where no X server is, it says so instead of capturing anything.
    const ProcessOutput x11 = pictavia({"capture", "fullscreen", "--backend", "x11"});
    EXPECT_EQ(x11.exitCode, 1);
    EXPECT_NE(x11.err.find("DISPLAY"), std::string::npos) << x11.err;
    const ProcessOutput unknown = pictavia({"capture", "fullscreen", "--backend", "mir"});
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_NE(unknown.err.find("--backend is x11 or wayland"), std::string::npos) << unknown.err;
}

} // namespace
