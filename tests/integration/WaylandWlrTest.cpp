// Captures on sway through wlroots' own protocols: outputs at scales 1 and 2 and areas of
// them, copied by screencopy and compared pixel for pixel with grim's copies; the portal
// taking over where screencopy is off or cannot copy an output; and a scrolling capture of a
// Qt page on Wayland, scrolled through a virtual pointer, compared with the page rendered
// whole.

#include "PatternMatching.h"
#include "WaitUntil.h"
#include "WaylandSessionTest.h"
#include "platform/wayland/WaylandConnection.h"

#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRect>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

using namespace testsupport;

const QRgb leftBackground = qRgb(0x33, 0x66, 0xcc);
const QRgb rightBackground = qRgb(0xcc, 0x66, 0x33);

class WaylandWlrTest : public WaylandSessionTest {
protected:
    [[nodiscard]] bool startSession(const WaylandSession::Options& options) {
        if (!WaylandSessionTest::startSession(
                options, "copyToClipboard = false\ncaptureSound = false\nshowQuickAccess = false\n"))
            return false;
        page = session->reachable(SCROLL_PAGE_BIN);
        EXPECT_FALSE(page.empty()) << "the session's user cannot run " << SCROLL_PAGE_BIN;
        if (page.empty()) return false;
        // Pages float at the size they ask for, centred on the focused output, borderless.
        const ProcessOutput rules = session->run(
            "swaymsg", {"default_border none; default_floating_border none; for_window [title=\"^Scroll "
                        "page$\"] floating enable"});
        EXPECT_EQ(rules.exitCode, 0) << rules.out << rules.err;
        return rules.exitCode == 0;
    }

    // Pictavia run with `assignments` ("NAME=value") put before it by the shell.
    ProcessOutput pictavia(std::vector<std::string> args, const std::string& assignments = "") {
        args.insert(args.begin(), {"-c", assignments + " exec \"$0\" \"$@\"", program});
        return session->run("sh", args, {.timeout = 120s});
    }

    // The picture of one capture command.
    QImage captured(const std::vector<std::string>& args, const std::string& assignments = "") {
        const ProcessOutput out = pictavia(args, assignments);
        EXPECT_EQ(out.exitCode, 0) << out.err;
        EXPECT_EQ(out.err, "");
        const QString file = QString::fromStdString(out.out).trimmed();
        EXPECT_TRUE(QFileInfo(file).isFile()) << out.out;
        return QImage(file).convertToFormat(QImage::Format_RGB32);
    }

    // Shows a scroll page on `output` and returns its frame in Pictavia's pixels once drawn.
    QRect showPage(const std::string& output, QRgb background, const std::vector<std::string>& args,
                   std::string* id = nullptr) {
        EXPECT_EQ(session->run("swaymsg", {"focus", "output", output}).exitCode, 0);
        const int pid = session->startProcess(page, args).pid();
        QRect frame;
        const bool drawn = waitUntil([&] {
            const ProcessOutput out = pictavia({"windows", "--json"});
            const QJsonArray windows = QJsonDocument::fromJson(QByteArray::fromStdString(out.out)).array();
            for (const QJsonValue& window : windows) {
                const QJsonObject f = window["frame"].toObject();
                if (window["pid"].toInteger() != pid) continue;
                frame = QRect(f["x"].toInt(), f["y"].toInt(), f["width"].toInt(), f["height"].toInt());
                if (id) *id = std::to_string(window["id"].toInteger());
            }
            const QImage shown = grim(output);
            return !frame.isEmpty() && !shown.isNull() &&
                   shown.pixel(shown.width() / 2, shown.height() / 2) != background;
        });
        EXPECT_TRUE(drawn) << "the page on " << output << " did not come up";
        return frame;
    }

    static std::string rectArgument(const QRect& r) {
        return QStringLiteral("%1,%2,%3,%4")
            .arg(r.x())
            .arg(r.y())
            .arg(r.width())
            .arg(r.height())
            .toStdString();
    }

    std::string page;
};

TEST_F(WaylandWlrTest, OutputsAndAreasAtScalesOneAndTwoAreCopiedPixelForPixel) {
    if (!startSession({.outputs = {{800, 600, 1.0}, {1280, 960, 2.0}}})) return;
    session->startProcess("swaybg",
                          {"-o", "HEADLESS-1", "-c", "#3366cc", "-o", "HEADLESS-2", "-c", "#cc6633"});
    // Text and edges at each output's own pixels: any scaling or shift shows.
    showPage("HEADLESS-1", leftBackground, {"--lines", "60", "--size", "400x300"});
    const QRect sharp = showPage("HEADLESS-2", rightBackground, {"--lines", "60", "--size", "400x300"});
    // 400 by 300 units, centred on an output of 640 by 480 units placed at twice 800 pixels.
    ASSERT_EQ(sharp, QRect(1600 + 240, 180, 800, 600));

    const QImage left = grim("HEADLESS-1"), right = grim("HEADLESS-2");
    ASSERT_EQ(left.size(), QSize(800, 600));
    ASSERT_EQ(right.size(), QSize(1280, 960));
    EXPECT_EQ(differingPixels(captured({"capture", "fullscreen", "--display", "1"}), left), 0);
    EXPECT_EQ(differingPixels(captured({"capture", "fullscreen", "--display", "2"}), right), 0);

    // An area is given in points of its display: on the double-scale output, twice as many
    // pixels, as they are.
    const QImage area = captured({"capture", "area", "--rect", "100,50,300,200", "--display", "2"});
    EXPECT_EQ(differingPixels(area, right.copy(200, 100, 600, 400)), 0);
    const QRect odd(17, 23, 333, 211);
    EXPECT_EQ(differingPixels(captured({"capture", "area", "--rect", rectArgument(odd), "--display", "1"}),
                              left.copy(odd)),
              0);
}

TEST_F(WaylandWlrTest, ThePortalTakesOverWhereScreencopyIsOffOrCannotCopy) {
    if (!startSession({.outputs = {{640, 480, 1.0}}})) return;
    session->startProcess("swaybg", {"-c", "#3366cc"});
    showPage("HEADLESS-1", leftBackground, {"--lines", "60", "--size", "400x300"});
    const QImage shown = grim("HEADLESS-1");

    // Screencopy needs no portal: with the session bus out of reach the capture still works.
    const std::string noBus = "DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent";
    EXPECT_EQ(differingPixels(captured({"capture", "fullscreen"}, noBus), shown), 0);

    // Switched off, the capture goes through the portal, which needs the bus.
    EXPECT_EQ(differingPixels(captured({"capture", "fullscreen"}, "PICTAVIA_NO_SCREENCOPY=1"), shown), 0);
    const ProcessOutput portalOnly = pictavia({"capture", "fullscreen"}, "PICTAVIA_NO_SCREENCOPY=1 " + noBus);
    EXPECT_EQ(portalOnly.exitCode, 1);
    EXPECT_EQ(portalOnly.out, "");
    EXPECT_NE(portalOnly.err, "");
}

TEST_F(WaylandWlrTest, AtAFractionalScaleCapturesAreTheOutputsOwnPixels) {
    if (!startSession({.outputs = {{640, 480, 1.0}}})) return;
    // 960 × 720 pixels at 1.5: 640 × 480 units, which Qt 6.4 would lay out at a scale of 2.
    ASSERT_EQ(session->run("swaymsg", {"output", "HEADLESS-1", "mode", "960x720", "scale", "1.5"}).exitCode,
              0);
    session->startProcess("swaybg", {"-c", "#3366cc"});
    showPage("HEADLESS-1", leftBackground, {"--lines", "60", "--size", "400x300"});
    const QImage shown = grim("HEADLESS-1");
    ASSERT_EQ(shown.size(), QSize(960, 720));
    EXPECT_EQ(differingPixels(captured({"capture", "fullscreen"}), shown), 0);
    // An area in points of the display is 1.5 times as many pixels, as they are.
    EXPECT_EQ(differingPixels(captured({"capture", "area", "--rect", "100,50,300,200"}),
                              shown.copy(150, 75, 450, 300)),
              0);
}

TEST_F(WaylandWlrTest, RotatedAndMirroredOutputsComeBackAsTheyAreSeen) {
    if (!startSession({.outputs = {{640, 480, 1.0}}})) return;
    session->startProcess("swaybg", {"-c", "#3366cc"});
    showPage("HEADLESS-1", leftBackground, {"--lines", "60", "--size", "400x300"});
    for (const char* transform : {"90", "180", "270", "flipped", "flipped-90"}) {
        ASSERT_EQ(session->run("swaymsg", {"output", "HEADLESS-1", "transform", transform}).exitCode, 0);
        const QSize seen = transform == std::string("180") || transform == std::string("flipped")
                               ? QSize(640, 480)
                               : QSize(480, 640);
        QImage shown;
        ASSERT_TRUE(waitUntil([&] {
            shown = grim("HEADLESS-1");
            return shown.size() == seen;
        }));
        EXPECT_EQ(differingPixels(captured({"capture", "fullscreen"}), shown), 0) << transform;
        const QImage area = captured({"capture", "area", "--rect", "30,40,200,100"});
        EXPECT_EQ(differingPixels(area, shown.copy(30, 40, 200, 100)), 0) << transform;
    }
}

TEST_F(WaylandWlrTest, AQtPageIsScrolledThroughAVirtualPointerAndComesOutWhole) {
    if (!startSession({.outputs = {{1024, 768, 1.0}}})) return;
    session->startProcess("swaybg", {"-c", "#3366cc"});
    const std::string reference = session->directory() + "/page.png";
    ASSERT_EQ(session->run(page, {"--lines", "160", "--render", reference}).exitCode, 0);
    const QRect client = showPage("HEADLESS-1", leftBackground, {"--lines", "160"});
    ASSERT_EQ(client.size(), QSize(520, 420));

    const ProcessOutput out = pictavia({"capture", "scrolling", "--rect", rectArgument(client)});
    ASSERT_EQ(out.exitCode, 0) << out.err;
    const QImage result(QString::fromStdString(out.out).trimmed());
    const QImage whole(QString::fromStdString(reference));
    // The scroll bar's column (the rightmost 20 pixels) is not part of the page.
    ASSERT_NO_FATAL_FAILURE(expectWholePage(result, whole, whole.width() - 20));

    // A second page at its top, over the first: aimed at by its id from the compositor's
    // tree, it comes out the same.
    std::string id;
    showPage("HEADLESS-1", leftBackground, {"--lines", "160"}, &id);
    const ProcessOutput byId = pictavia({"capture", "scrolling", "--id", id});
    ASSERT_EQ(byId.exitCode, 0) << byId.err;
    const RowComparison again =
        compareRows(QImage(QString::fromStdString(byId.out).trimmed()), whole, whole.width() - 20);
    EXPECT_TRUE(again.sameSize);
    EXPECT_EQ(again.differingRows, 0);
}

TEST_F(WaylandWlrTest, AtDoubleScaleThePageComesOutInTwiceItsPixels) {
    if (!startSession({.outputs = {{1280, 960, 2.0}}})) return;
    session->startProcess("swaybg", {"-c", "#3366cc"});
    const std::string reference = session->directory() + "/page.png";
    ASSERT_EQ(session->run(page, {"--lines", "60", "--size", "400x300", "--render", reference}).exitCode, 0);
    const QRect frame = showPage("HEADLESS-1", leftBackground, {"--lines", "60", "--size", "400x300"});
    ASSERT_EQ(frame, QRect(240, 180, 800, 600));

    // The area in points; the wheel turns over its centre, wherever the output's pixels are.
    const ProcessOutput out =
        pictavia({"capture", "scrolling", "--rect", "120,90,400,300", "--display", "1"});
    ASSERT_EQ(out.exitCode, 0) << out.err;
    const QImage result(QString::fromStdString(out.out).trimmed());
    EXPECT_EQ(result.size(), QImage(QString::fromStdString(reference)).size() * 2);
}

// A compositor that takes the connection and then never answers: the connection gives up
// after its timeout with a sentence.
TEST(WaylandConnectionTest, ASilentCompositorFailsWithASentenceInsteadOfHanging) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QByteArray path = QFile::encodeName(dir.filePath(QStringLiteral("silent-0")));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.constData(), size_t(path.size()));
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    ASSERT_EQ(listen(listener, 1), 0); // connections wait in the backlog, unanswered
    const QByteArray before = qgetenv("WAYLAND_DISPLAY");
    qputenv("WAYLAND_DISPLAY", path);
    const auto opened = platform::wayland::WaylandConnection::open(std::chrono::milliseconds(300));
    qputenv("WAYLAND_DISPLAY", before);
    close(listener);
    ASSERT_FALSE(opened.ok());
    EXPECT_EQ(opened.error().message, "The Wayland compositor did not answer within 0.3 seconds.");
}

} // namespace
