// Windows on KDE: kwin_wayland on a virtual output tells its windows to a script Pictavia
// runs inside it. Two test windows, the second opened over the first, are listed front to
// back with their titles, app ids and frames; the screen as KWin itself copies it
// (kwin_screenshot) shows each window's colour exactly where its frame and the frame above it
// leave room for it; the covered window is refused a capture naming the one over it; the
// running app tells an agent the same windows; and KWin keeps no script of ours afterwards,
// nor the folder for temporary files a script file. Window pictures themselves cannot be checked here: KWin
// without a GPU sends the shared screen no frame (see WaylandKdeTest.cpp).

#include "WaitUntil.h"
#include "WaylandSessionTest.h"

#include <QColor>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <gtest/gtest.h>

namespace {

using namespace testsupport;

// A test window as it was asked for, and as `pictavia windows --json` lists it.
struct Probe {
    std::string title;
    QRgb colour;
    QSize size; // of what the window draws, without KWin's frame
    qint64 id = 0;
    std::string app;
    QRect frame;
    int rank = -1; // in the list, front first
};

Probe probe(const std::string& title, QRgb colour, QSize size) {
    Probe asked;
    asked.title = title;
    asked.colour = colour;
    asked.size = size;
    return asked;
}

class WaylandKdeWindowsTest : public WaylandSessionTest {
protected:
    [[nodiscard]] bool startKde() {
        if (!startSession(
                {.outputs = {{1280, 720, 1.0}}, .desktop = WaylandSession::Desktop::kde},
                "copyToClipboard = false\ncaptureSound = false\n"
                R"(agentApprovedClients = [{"key":"kde-windows-test","name":"kde-windows-test","approvedAt":"2026-01-01T00:00:00Z"}])"
                "\n"))
            return false;
        window = session->reachable(TEST_WINDOW_BIN);
        look = session->reachable(KWIN_SCREENSHOT_BIN);
        EXPECT_FALSE(window.empty() || look.empty());
        // Where Pictavia writes its script for KWin: a folder of the session's, to find it empty after.
        scripts = session->directory() + "/tmp";
        EXPECT_EQ(session->run("mkdir", {scripts}).exitCode, 0);
        return !window.empty() && !look.empty();
    }

    QJsonArray listed() {
        const ProcessOutput out =
            session->run(program, {"windows", "--json"}, {.environment = {{"TMPDIR", scripts}}});
        EXPECT_EQ(out.exitCode, 0) << out.err;
        return QJsonDocument::fromJson(QByteArray::fromStdString(out.out)).array();
    }

    // Finds the probe in the list; false where it is not listed.
    static bool find(const QJsonArray& list, Probe& probe) {
        for (qsizetype i = 0; i < list.size(); ++i) {
            if (list[i]["title"].toString().toStdString() != probe.title) continue;
            const QJsonObject f = list[i]["frame"].toObject();
            probe.id = list[i]["id"].toInteger();
            probe.app = list[i]["app"].toString().toStdString();
            probe.frame = QRect(f["x"].toInt(), f["y"].toInt(), f["width"].toInt(), f["height"].toInt());
            probe.rank = int(i);
            return true;
        }
        return false;
    }

    void open(Probe& probe) {
        session->startProcess(
            window,
            {"--title", probe.title, "--class", "probe" + probe.title, "--pattern",
             QColor(probe.colour).name().toStdString(), "--size",
             std::to_string(probe.size.width()) + "x" + std::to_string(probe.size.height())},
            {{"QT_QPA_PLATFORM", "wayland"}});
        EXPECT_TRUE(waitUntil([&] { return find(listed(), probe); })) << probe.title << " was not listed";
    }

    // The desktop as KWin copies it.
    QImage screen() {
        const ProcessOutput shot = session->run(look, {});
        QImage image;
        image.loadFromData(QByteArray::fromStdString(shot.out), "PPM");
        return image.convertToFormat(QImage::Format_RGB32);
    }

    // What the window draws, inside its frame: KWin's decoration adds a title bar above it and
    // borders of one width on the other three sides (none, in Breeze's default).
    static QRect drawn(const Probe& probe) {
        const int border = (probe.frame.width() - probe.size.width()) / 2;
        return {probe.frame.left() + border, probe.frame.bottom() - border - probe.size.height() + 1,
                probe.size.width(), probe.size.height()};
    }

    // The window's frame and the one-pixel outline Breeze draws around it.
    static QRect outlined(const Probe& probe) { return probe.frame.adjusted(-1, -1, 1, 1); }

    // The pixels of the screen that contradict the listed frames: a window's colour missing
    // where its drawing is not under the frame above it, or found anywhere else. The first
    // of them goes to `first`.
    static int contradictions(const QImage& image, const Probe& below, const Probe& above,
                              std::string* first = nullptr) {
        int wrong = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x) {
                const QPoint at(x, y);
                const QRgb pixel = image.pixel(at);
                const bool aboveShows = drawn(above).contains(at);
                const bool belowShows = drawn(below).contains(at) && !outlined(above).contains(at);
                const int here =
                    ((pixel == above.colour) != aboveShows) + ((pixel == below.colour) != belowShows);
                if (here && !wrong && first)
                    *first = std::to_string(x) + "," + std::to_string(y) + " is " +
                             QColor(pixel).name().toStdString();
                wrong += here;
            }
        return wrong;
    }

    // The windows the resident app lists to an agent (the list_windows tool, through pictavia-mcp).
    QJsonArray agentWindows() {
        session->startProcess("sh",
                              {"-c", "exec \"$0\" --background 2>>\"$XDG_RUNTIME_DIR/app.log\"", program},
                              {{"TMPDIR", scripts}});
        const QString socket = QString::fromStdString(session->directory() + "/pictavia/instance");
        EXPECT_TRUE(waitUntil([&] { return QFileInfo::exists(socket); }));
        const std::string bridge = session->reachable(PICTAVIA_MCP_BIN);
        EXPECT_FALSE(bridge.empty());
        const std::string lines =
            R"({"jsonrpc":"2.0","id":1,"method":"initialize","params":{"protocolVersion":"2025-03-26",)"
            R"("capabilities":{},"clientInfo":{"name":"kde-windows-test","version":"1"}}})"
            "\n"
            R"({"jsonrpc":"2.0","method":"notifications/initialized"})"
            "\n"
            R"({"jsonrpc":"2.0","id":2,"method":"tools/call","params":{"name":"list_windows","arguments":{}}})"
            "\n";
        // The bridge relays what comes while its input stays open.
        const ProcessOutput out =
            session->run("sh", {"-c", "(printf '%s' \"$1\"; sleep 3) | \"$0\"", bridge, lines});
        for (const QString& line : QString::fromStdString(out.out).split(u'\n')) {
            const QJsonObject reply = QJsonDocument::fromJson(line.toUtf8()).object();
            if (reply["id"].toInt() != 2) continue;
            const QString text = reply["result"]["content"][0]["text"].toString();
            return QJsonDocument::fromJson(text.toUtf8()).object()["windows"].toArray();
        }
        ADD_FAILURE() << "no answer to list_windows: " << out.out << out.err;
        return {};
    }

    // Scripts KWin still holds: its objects for them are numbers ("/0") or, in newer KWin,
    // under /Scripting ("/Scripting/Script0").
    int loadedScripts() {
        int count = 0;
        for (const char* path : {"/", "/Scripting"}) {
            const ProcessOutput tree =
                session->run("dbus-send", {"--session", "--print-reply", "--dest=org.kde.KWin", path,
                                           "org.freedesktop.DBus.Introspectable.Introspect"});
            EXPECT_EQ(tree.exitCode, 0) << tree.err;
            static const QRegularExpression script(QStringLiteral(R"re(<node name="(\d+|Script\d+)"/>)re"));
            count += int(script.globalMatch(QString::fromStdString(tree.out)).hasNext());
        }
        return count;
    }

    std::string window;  // test_window
    std::string look;    // kwin_screenshot
    std::string scripts; // TMPDIR for Pictavia
};

TEST_F(WaylandKdeWindowsTest, TwoWindowsAreListedFrontToBackWhereTheScreenShowsThem) {
    if (!startKde()) return;
    Probe below = probe("A", qRgb(0xcc, 0x33, 0x66), QSize(200, 150));
    Probe above = probe("B", qRgb(0x33, 0xcc, 0x66), QSize(300, 100));
    open(below);
    open(above);
    ASSERT_GE(above.rank, 0);
    ASSERT_GE(below.rank, 0);

    // Listed again once both are drawn and KWin's opening effects are over.
    QImage image;
    const bool agreed = waitUntil([&] {
        if (!find(listed(), below) || !find(listed(), above)) return false;
        image = screen();
        return contradictions(image, below, above) == 0;
    });
    std::string first;
    EXPECT_TRUE(agreed) << "the screen contradicts the listed frames in "
                        << contradictions(image, below, above, &first) << " pixels (" << first << "); "
                        << below.title << " at " << below.frame.x() << "," << below.frame.y() << " "
                        << below.frame.width() << "x" << below.frame.height() << ", " << above.title << " at "
                        << above.frame.x() << "," << above.frame.y() << " " << above.frame.width() << "x"
                        << above.frame.height();
    // The later window is in front, and both overlap: KWin centres new windows.
    EXPECT_LT(above.rank, below.rank);
    EXPECT_TRUE(above.frame.intersects(below.frame));
    for (const Probe* probe : {&below, &above}) {
        EXPECT_EQ(probe->app, "probe" + probe->title);
        EXPECT_NE(probe->id, 0);
        EXPECT_TRUE(QRect(0, 0, 1280, 720).contains(probe->frame)) << probe->title;
        // A frame is what the window draws and KWin's decoration: a title bar at least.
        EXPECT_GT(probe->frame.height(), probe->size.height()) << probe->title;
        EXPECT_GE(probe->frame.width(), probe->size.width()) << probe->title;
    }
    EXPECT_NE(above.id, below.id);

    // The window below cannot be cut from the screen whole: it is refused, saying what covers it.
    const ProcessOutput covered =
        session->run(program, {"capture", "window", "--id", std::to_string(below.id)});
    EXPECT_EQ(covered.exitCode, 1) << covered.out;
    EXPECT_EQ(covered.out, "");
    EXPECT_NE(covered.err.find("partly covered by \"B\""), std::string::npos) << covered.err;

    EXPECT_EQ(loadedScripts(), 0);
    EXPECT_TRUE(QDir(QString::fromStdString(scripts))
                    .isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden));
}

// The running app asks KWin in the same way for the windows it lists to agents.
TEST_F(WaylandKdeWindowsTest, AnAgentIsToldTheSameWindows) {
    if (!startKde()) return;
    Probe below = probe("A", qRgb(0xcc, 0x33, 0x66), QSize(200, 150));
    Probe above = probe("B", qRgb(0x33, 0xcc, 0x66), QSize(300, 100));
    open(below);
    open(above);
    const QJsonArray fromCommand = listed();
    ASSERT_EQ(fromCommand.size(), 2) << QJsonDocument(fromCommand).toJson().toStdString();
    const QJsonArray toAgent = agentWindows();
    ASSERT_EQ(toAgent.size(), 2) << QJsonDocument(toAgent).toJson().toStdString();
    for (qsizetype i = 0; i < 2; ++i) {
        SCOPED_TRACE(fromCommand[i]["title"].toString().toStdString());
        EXPECT_EQ(toAgent[i]["id"], fromCommand[i]["id"]);
        EXPECT_EQ(toAgent[i]["title"], fromCommand[i]["title"]);
        EXPECT_EQ(toAgent[i]["app"], fromCommand[i]["app"]);
        // At scale 1 an agent's points are the listing's pixels.
        EXPECT_EQ(toAgent[i]["frame"], fromCommand[i]["frame"]);
    }
    EXPECT_EQ(loadedScripts(), 0);
    EXPECT_TRUE(QDir(QString::fromStdString(scripts))
                    .isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden));
}

} // namespace
