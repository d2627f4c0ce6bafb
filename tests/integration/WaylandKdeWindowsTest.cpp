// Windows on KDE: kwin_wayland on two virtual outputs at scale 2 tells its windows to a script
// Pictavia runs inside it. Three test windows, the second opened over the first and the third
// on the other output, are listed front to back with their titles, app ids and frames in the
// displays' pixels; the screen as KWin itself copies it (kwin_screenshot, in layout units)
// shows each window's colour exactly where its frame and the frames above it leave room for
// it; the covered window is refused a capture naming the one over it; a minimised one is not
// listed, and is refused saying it is not on screen; the running app tells an agent the same
// windows; and KWin keeps no script of ours afterwards, nor the folder for temporary files a
// script file. Window pictures themselves cannot be checked here: KWin without a GPU sends the
// shared screen no frame (see WaylandKdeTest.cpp).

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

#include <algorithm>
#include <vector>

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
                {.outputs = {{1280, 720, 2.0}, {1280, 720, 2.0}}, .desktop = WaylandSession::Desktop::kde},
                "copyToClipboard = false\ncaptureSound = false\n"
                R"(agentApprovedClients = [{"key":"kde-windows-test","name":"kde-windows-test","approvedAt":"2026-01-01T00:00:00Z"}])"
                "\n"))
            return false;
        window = session->reachable(TEST_WINDOW_BIN);
        look = session->reachable(KWIN_SCREENSHOT_BIN);
        hand = session->reachable(KWIN_CLICK_BIN);
        EXPECT_FALSE(window.empty() || look.empty() || hand.empty());
        // Where Pictavia writes its script for KWin: a folder of the session's, to find it empty after.
        scripts = session->directory() + "/tmp";
        EXPECT_EQ(session->run("mkdir", {scripts}).exitCode, 0);
        return !window.empty() && !look.empty() && !hand.empty();
    }

    // A and B on the first output, B opened over A, and C on the second: KWin opens a window
    // centred on the output the pointer is on.
    void openThree() {
        open(probes[0]);
        open(probes[1]);
        const ProcessOutput clicked = session->run(hand, {"1920,360"});
        EXPECT_EQ(clicked.exitCode, 0) << clicked.err;
        open(probes[2]);
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

    // Where a frame listed in the displays' pixels is in KWin's layout: both outputs are at
    // scale 2, side by side, so the displays' pixels are twice the layout's units.
    static QRect logical(const QRect& pixels) {
        return {pixels.x() / 2, pixels.y() / 2, pixels.width() / 2, pixels.height() / 2};
    }

    // What the window draws, inside its frame, in layout units: KWin's decoration adds a title
    // bar above it and borders of one width on the other three sides (none, in Breeze's default).
    static QRect drawn(const Probe& probe) {
        const QRect frame = logical(probe.frame);
        const int border = (frame.width() - probe.size.width()) / 2;
        return {frame.left() + border, frame.bottom() - border - probe.size.height() + 1, probe.size.width(),
                probe.size.height()};
    }

    // The window's frame and the outline Breeze draws around it, which at scale 2 shades the
    // second unit out too.
    static QRect outlined(const Probe& probe) { return logical(probe.frame).adjusted(-2, -2, 2, 2); }

    // The pixels of the screen (in layout units) that contradict the listed frames: a window's
    // colour missing where its drawing is not under a frame listed before it, or found anywhere
    // else. The first of them goes to `first`.
    static int contradictions(const QImage& image, std::vector<const Probe*> frontToBack,
                              std::string* first = nullptr) {
        int wrong = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x) {
                const QPoint at(x, y);
                const QRgb pixel = image.pixel(at);
                bool covered = false;
                int here = 0;
                for (const Probe* probe : frontToBack) {
                    const bool shows = !covered && drawn(*probe).contains(at);
                    here += (pixel == probe->colour) != shows;
                    covered = covered || outlined(*probe).contains(at);
                }
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

    // Minimises the window titled `title`, as its title bar's button would: through a script of
    // the test's own, unloaded again.
    void minimise(const std::string& title) {
        const std::string file = session->directory() + "/minimise.js";
        const std::string script = "var all = workspace.clientList();\n"
                                   "for (var i = 0; i < all.length; ++i)\n"
                                   "    if (all[i].caption === \"" +
                                   title + "\") all[i].minimized = true;\n";
        ASSERT_EQ(session->run("sh", {"-c", "printf '%s' \"$1\" > \"$0\"", file, script}).exitCode, 0);
        const auto scripting = [&](const std::string& path, const std::string& method,
                                   const std::vector<std::string>& arguments) {
            std::vector<std::string> call{"--session", "--print-reply", "--dest=org.kde.KWin", path, method};
            call.insert(call.end(), arguments.begin(), arguments.end());
            const ProcessOutput out = session->run("dbus-send", call);
            EXPECT_EQ(out.exitCode, 0) << method << ": " << out.err;
            return out.out;
        };
        const std::string loaded = scripting("/Scripting", "org.kde.kwin.Scripting.loadScript",
                                             {"string:" + file, "string:test-minimise"});
        const std::size_t number = loaded.find("int32 ");
        ASSERT_NE(number, std::string::npos) << loaded;
        scripting("/" + std::to_string(std::stoi(loaded.substr(number + 6))), "org.kde.kwin.Script.run", {});
        scripting("/Scripting", "org.kde.kwin.Scripting.unloadScript", {"string:test-minimise"});
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
    std::string hand;    // kwin_click
    std::string scripts; // TMPDIR for Pictavia
    Probe probes[3] = {probe("A", qRgb(0xcc, 0x33, 0x66), QSize(200, 150)),
                       probe("B", qRgb(0x33, 0xcc, 0x66), QSize(300, 100)),
                       probe("C", qRgb(0x66, 0x33, 0xcc), QSize(160, 120))};
};

TEST_F(WaylandKdeWindowsTest, WindowsAreListedFrontToBackWhereTheScreenShowsThem) {
    if (!startKde()) return;
    openThree();
    Probe& a = probes[0];
    Probe& b = probes[1];
    Probe& c = probes[2];

    // Listed again once all are drawn and KWin's opening effects are over.
    QImage image;
    std::vector<const Probe*> frontToBack;
    const bool agreed = waitUntil([&] {
        const QJsonArray list = listed();
        if (!find(list, a) || !find(list, b) || !find(list, c)) return false;
        frontToBack = {&a, &b, &c};
        std::sort(frontToBack.begin(), frontToBack.end(),
                  [](const Probe* x, const Probe* y) { return x->rank < y->rank; });
        image = screen();
        return contradictions(image, frontToBack) == 0;
    });
    std::string first;
    std::string frames;
    for (const Probe* probe : {&a, &b, &c})
        frames += " " + probe->title + " " + std::to_string(probe->frame.x()) + "," +
                  std::to_string(probe->frame.y()) + " " + std::to_string(probe->frame.width()) + "x" +
                  std::to_string(probe->frame.height());
    EXPECT_TRUE(agreed) << "the screen contradicts the listed frames in "
                        << contradictions(image, frontToBack, &first) << " pixels (" << first
                        << "); listed:" << frames;
    // The later window is in front of the one it covers; C has the other output to itself.
    EXPECT_LT(b.rank, a.rank);
    EXPECT_TRUE(b.frame.intersects(a.frame));
    const QRect firstDisplay(0, 0, 2560, 1440);
    const QRect secondDisplay(2560, 0, 2560, 1440);
    EXPECT_TRUE(firstDisplay.contains(a.frame));
    EXPECT_TRUE(firstDisplay.contains(b.frame));
    EXPECT_TRUE(secondDisplay.contains(c.frame));
    for (const Probe* probe : {&a, &b, &c}) {
        SCOPED_TRACE(probe->title);
        EXPECT_EQ(probe->app, "probe" + probe->title);
        EXPECT_NE(probe->id, 0);
        // A frame is what the window draws at scale 2 and KWin's decoration: a title bar at least.
        EXPECT_GT(probe->frame.height(), 2 * probe->size.height());
        EXPECT_GE(probe->frame.width(), 2 * probe->size.width());
    }
    EXPECT_NE(a.id, b.id);
    EXPECT_NE(b.id, c.id);

    // The window below cannot be cut from the screen whole: it is refused, saying what covers it.
    const ProcessOutput covered = session->run(program, {"capture", "window", "--id", std::to_string(a.id)});
    EXPECT_EQ(covered.exitCode, 1) << covered.out;
    EXPECT_EQ(covered.out, "");
    EXPECT_NE(covered.err.find("partly covered by \"B\""), std::string::npos) << covered.err;

    // Minimised, a window is no longer listed, and capturing it says why.
    minimise("B");
    EXPECT_TRUE(waitUntil([&] { return !find(listed(), b); })) << "a minimised window is listed";
    EXPECT_TRUE(find(listed(), a));
    const ProcessOutput hidden = session->run(program, {"capture", "window", "--id", std::to_string(b.id)});
    EXPECT_EQ(hidden.exitCode, 1) << hidden.out;
    EXPECT_NE(hidden.err.find("That window is not on screen"), std::string::npos) << hidden.err;

    EXPECT_EQ(loadedScripts(), 0);
    EXPECT_TRUE(QDir(QString::fromStdString(scripts))
                    .isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden));
}

// The running app asks KWin in the same way for the windows it lists to agents, in points:
// KWin's own layout units.
TEST_F(WaylandKdeWindowsTest, AnAgentIsToldTheSameWindowsInPoints) {
    if (!startKde()) return;
    openThree();
    const QJsonArray fromCommand = listed();
    ASSERT_EQ(fromCommand.size(), 3) << QJsonDocument(fromCommand).toJson().toStdString();
    const QJsonArray toAgent = agentWindows();
    ASSERT_EQ(toAgent.size(), 3) << QJsonDocument(toAgent).toJson().toStdString();
    for (qsizetype i = 0; i < 3; ++i) {
        SCOPED_TRACE(fromCommand[i]["title"].toString().toStdString());
        EXPECT_EQ(toAgent[i]["id"], fromCommand[i]["id"]);
        EXPECT_EQ(toAgent[i]["title"], fromCommand[i]["title"]);
        EXPECT_EQ(toAgent[i]["app"], fromCommand[i]["app"]);
        const QJsonObject pixels = fromCommand[i]["frame"].toObject();
        const QJsonObject points = toAgent[i]["frame"].toObject();
        for (const char* key : {"x", "y", "width", "height"})
            EXPECT_EQ(points[key].toDouble() * 2, pixels[key].toDouble()) << key;
    }
    EXPECT_EQ(loadedScripts(), 0);
    EXPECT_TRUE(QDir(QString::fromStdString(scripts))
                    .isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden));
}

} // namespace
