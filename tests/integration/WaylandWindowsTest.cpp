// Windows on a headless sway with two outputs at scales 1 and 2: the running app's window
// picker placed over both outputs, the window under the pointer highlighted, the window
// clicked captured in exactly the pixels the screen shows of it, Escape and a right click
// leaving without a capture; a window recording that follows its window where swaymsg moves
// it. sway has no pointer of its own here: wayland_pointer lends the seat one.

#include "MovieFrames.h"
#include "WaitUntil.h"
#include "WaylandSessionTest.h"

#include "platform/media/FfmpegMediaReader.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <future>
#include <map>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace testsupport;

constexpr QRgb background = qRgb(0x33, 0x66, 0xcc);

// The two outputs side by side: 640x480 at scale 1, then 1280x720 at scale 2 (640x360 units).
// The screen backend places an output's pixels at its logical place times the highest scale.
struct Layout {
    QPoint origin; // of the output's pixels among all displays'
    QPoint logicalOrigin;
    double scale;
};
const std::map<std::string, Layout> layouts = {{"HEADLESS-1", {{0, 0}, {0, 0}, 1.0}},
                                               {"HEADLESS-2", {{1280, 0}, {640, 0}, 2.0}}};
const QSize logicalBounds(1280, 480);

// A window as `pictavia windows --json` lists it, and where it is.
struct Listed {
    std::string id;
    std::string output;
    QRect pixels; // on its output, from the output's top-left corner
    QPointF logicalCentre;
};

class WaylandWindowsTest : public WaylandSessionTest {
protected:
    void SetUp() override {
        if (!startSession({.outputs = {{640, 480, 1.0}, {1280, 720, 2.0}}},
                          "copyToClipboard = false\ncaptureSound = false\nwindowShadow = false\n"
                          "showQuickAccess = false\nrecShowClicks = false\nrecCountdown = 0\nrecFPS = 10\n"
                          "recSystemAudio = false\nrecMic = false\n"))
            return;
        session->startProcess("swaybg", {"-c", "#3366cc"});
        // Floating, a window has the size it asks for, centred on the output that has the focus.
        const ProcessOutput rules =
            session->run("swaymsg", {"for_window [app_id=\"^probe\"] floating enable"});
        ASSERT_EQ(rules.exitCode, 0) << rules.out << rules.err;
    }

    void TearDown() override {
        if (pointerInput >= 0) close(pointerInput);
    }

    // A test window on `output`, painted `pattern`, once pictavia lists it.
    Listed openWindow(const std::string& title, const std::string& output, const std::string& pattern) {
        const ProcessOutput focus = session->run("swaymsg", {"focus", "output", output});
        EXPECT_EQ(focus.exitCode, 0) << focus.err;
        const std::string window = session->reachable(TEST_WINDOW_BIN);
        EXPECT_FALSE(window.empty());
        session->startProcess(
            window, {"--title", title, "--class", "probe" + title, "--pattern", pattern, "--size", "200x150"},
            {{"QT_QPA_PLATFORM", "wayland"}});
        Listed listed;
        const bool found = waitUntil([&] {
            const ProcessOutput out = session->run(program, {"windows", "--json"});
            for (const QJsonValue& each :
                 QJsonDocument::fromJson(QByteArray::fromStdString(out.out)).array()) {
                if (each["title"].toString().toStdString() != title) continue;
                const QJsonObject f = each["frame"].toObject();
                const QRect frame(f["x"].toInt(), f["y"].toInt(), f["width"].toInt(), f["height"].toInt());
                const Layout& layout = layouts.at(output);
                listed = {
                    std::to_string(each["id"].toInteger()), output, frame.translated(-layout.origin), {}};
                const QPointF centre = QRectF(listed.pixels).center();
                listed.logicalCentre = QPointF(layout.logicalOrigin) + centre / layout.scale;
                return true;
            }
            return false;
        });
        EXPECT_TRUE(found) << title << " was not listed";
        // Drawn, not just mapped.
        EXPECT_TRUE(waitUntil([&] {
            const QImage shot = grim(output);
            return !shot.isNull() && shot.pixel(listed.pixels.topLeft() + QPoint(4, 4)) != background;
        })) << title
            << " did not show";
        return listed;
    }

    // The resident app, its stderr (where its toasts go too) in app.log, once what it shows
    // as it starts (a toast about hotkeys) has gone again.
    void startApp(const std::string& assignments = "") {
        std::map<std::string, QImage> before;
        for (const std::string& output : session->outputNames())
            before[output] = grim(output);
        session->startProcess(
            "sh", {"-c", assignments + " exec \"$0\" --background 2>>\"$XDG_RUNTIME_DIR/app.log\"", program});
        const QString socket = QString::fromStdString(session->directory() + "/pictavia/instance");
        ASSERT_TRUE(waitUntil([&] { return QFileInfo::exists(socket); })) << log();
        EXPECT_TRUE(waitUntil(
            [&] {
                for (const std::string& output : session->outputNames())
                    if (differingPixels(grim(output), before[output]) != 0) return false;
                return true;
            },
            std::chrono::seconds(30)))
            << "something of the app stays on screen";
    }

    std::string log() const {
        QFile file(QString::fromStdString(session->directory() + "/app.log"));
        return file.open(QIODevice::ReadOnly) ? file.readAll().toStdString() : std::string();
    }

    QStringList captures() const {
        return QDir(QString::fromStdString(session->directory() + "/data/Pictavia/History"))
            .entryList(QDir::Files, QDir::Name);
    }

    // The seat's pointer: wayland_pointer fed through a pipe in the session's folder.
    void startPointer() {
        const std::string helper = session->reachable(WAYLAND_POINTER_BIN);
        ASSERT_FALSE(helper.empty());
        const std::string commands = session->directory() + "/pointer";
        ASSERT_EQ(mkfifo(commands.c_str(), 0600), 0);
        ASSERT_EQ(chmod(commands.c_str(), 0666), 0);
        pointerLog = session->directory() + "/pointer.log";
        session->startProcess("sh", {"-c", "exec \"$0\" \"$1\" \"$2\" < \"$3\" > \"$4\" 2>&1", helper,
                                     std::to_string(logicalBounds.width()),
                                     std::to_string(logicalBounds.height()), commands, pointerLog});
        ASSERT_TRUE(waitUntil([&] {
            return (pointerInput = open(commands.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC)) >= 0;
        })) << "the pointer did not open its commands";
        ASSERT_TRUE(waitUntil([&] { return said().find("ready") != std::string::npos; })) << said();
    }

    std::string said() const {
        QFile file(QString::fromStdString(pointerLog));
        return file.open(QIODevice::ReadOnly) ? file.readAll().toStdString() : std::string();
    }

    // Sends one command and waits until the compositor has handled it.
    void pointer(const std::string& command) {
        const std::string line = command + "\n";
        ASSERT_EQ(write(pointerInput, line.data(), line.size()), ssize_t(line.size()));
        ++pointerCommands;
        const auto answered = [&] {
            const std::string all = said();
            int oks = 0;
            for (size_t at = all.find("ok\n"); at != std::string::npos; at = all.find("ok\n", at + 1))
                ++oks;
            return oks >= pointerCommands;
        };
        ASSERT_TRUE(waitUntil(answered)) << command << ": " << said();
    }

    void moveTo(QPointF logical) {
        pointer("move " + std::to_string(logical.x()) + " " + std::to_string(logical.y()));
    }

    // Whether `shown` is the picker's backdrop over `original`: black at 56/255 over it.
    static bool dimmed(QRgb shown, QRgb original) {
        const auto near = [](int shown, int original) { return std::abs(shown - original * 199 / 255) <= 3; };
        return near(qRed(shown), qRed(original)) && near(qGreen(shown), qGreen(original)) &&
               near(qBlue(shown), qBlue(original));
    }

    // The bottom-right corner of an output: background, away from the windows and the pointer.
    static QPoint corner(const QImage& shot) { return {shot.width() - 3, shot.height() - 3}; }

    // Waits until `output` shows the picker: its background darkened.
    bool pickerShown(const std::string& output) {
        return waitUntil([&] {
            const QImage shot = grim(output);
            return !shot.isNull() && dimmed(shot.pixel(corner(shot)), background);
        });
    }

    bool pickerGone() {
        return waitUntil([&] {
            for (const std::string& output : session->outputNames()) {
                const QImage shot = grim(output);
                if (shot.isNull() || shot.pixel(corner(shot)) != background) return false;
            }
            return true;
        });
    }

    // The share of a movie frame's pixels that are not `colour`: movies are compressed, so
    // colours come back close, not exact.
    static double shareNotOf(const QImage& image, QRgb colour) {
        qint64 wrong = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x) {
                const QRgb p = image.pixel(x, y);
                wrong += std::abs(qRed(p) - qRed(colour)) > 12 || std::abs(qGreen(p) - qGreen(colour)) > 12 ||
                         std::abs(qBlue(p) - qBlue(colour)) > 12;
            }
        return double(wrong) / std::max(1, image.width() * image.height());
    }

    std::string pointerLog;
    int pointerInput = -1;
    int pointerCommands = 0;
};

TEST_F(WaylandWindowsTest, ThePickerCapturesTheWindowClickedInItsPixelsAtEitherScale) {
    if (!session) return;
    const Listed left = openWindow("Left", "HEADLESS-1", "quadrants");
    const Listed right = openWindow("Right", "HEADLESS-2", "quadrants");
    EXPECT_EQ(right.pixels.size(), QSize(400, 300)) << "a 200x150 window at scale 2";
    startApp();
    startPointer();

    for (const Listed& window : {right, left}) {
        SCOPED_TRACE(window.output);
        // Away from both windows, so that neither is highlighted as the picker comes up.
        moveTo(QPointF(5, 5));
        // What the screen shows of the window, which is what the capture must hold.
        const QImage shown = grim(window.output).copy(window.pixels);
        ASSERT_EQ(session->run(program, {"pictavia://capture-window"}).exitCode, 0);
        ASSERT_TRUE(pickerShown(window.output)) << log();
        // Inside the window's frame, clear of its outline and of the name in the middle.
        const QPoint inside = window.pixels.topLeft() + QPoint(12, 12);
        const QRgb original = shown.pixel(12, 12);
        EXPECT_TRUE(dimmed(grim(window.output).pixel(inside), original))
            << "highlighted before the pointer came";
        moveTo(window.logicalCentre);
        EXPECT_TRUE(waitUntil([&] {
            const QImage shot = grim(window.output);
            return !shot.isNull() && !dimmed(shot.pixel(inside), original);
        })) << "the window under the pointer is not highlighted";

        // The pointer goes as it clicks: the compositor draws it into the output's pixels.
        const QStringList before = captures();
        pointer("click-remove left");
        ASSERT_TRUE(waitUntil([&] { return captures().size() > before.size(); })) << log();
        QStringList added = captures();
        added.removeIf([&](const QString& name) { return before.contains(name); });
        ASSERT_EQ(added.size(), 1);
        const QImage captured(QString::fromStdString(session->directory() + "/data/Pictavia/History/") +
                              added.first());
        ASSERT_EQ(captured.size(), window.pixels.size()) << added.first().toStdString();
        EXPECT_EQ(differingPixels(captured.convertToFormat(QImage::Format_RGB32), shown), 0);
        EXPECT_TRUE(pickerGone());
    }
}

TEST_F(WaylandWindowsTest, EscapeOrARightClickLeavesThePickerWithoutACapture) {
    if (!session) return;
    if (session->run("sh", {"-c", "command -v wtype"}).exitCode != 0)
        GTEST_SKIP() << "wtype (a virtual keyboard for wlroots desktops) is not installed";
    const Listed window = openWindow("Kept", "HEADLESS-2", "#cc3344");
    startApp();
    startPointer();

    ASSERT_EQ(session->run(program, {"pictavia://capture-window"}).exitCode, 0);
    ASSERT_TRUE(pickerShown("HEADLESS-1")) << log();
    moveTo(window.logicalCentre);
    // The seat has a keyboard only while wtype's exists: it waits for the picker to take it.
    const ProcessOutput typed = session->run("wtype", {"-s", "500", "-k", "Escape"});
    ASSERT_EQ(typed.exitCode, 0) << typed.err;
    EXPECT_TRUE(pickerGone());

    ASSERT_EQ(session->run(program, {"pictavia://capture-window"}).exitCode, 0);
    ASSERT_TRUE(pickerShown("HEADLESS-2")) << log();
    // The pointer stood over the window as this picker came up: it learns where from the
    // pointer's entering it, and highlights the window before any move.
    const QPoint inside = window.pixels.topLeft() + QPoint(12, 12);
    EXPECT_TRUE(waitUntil([&] {
        const QImage shot = grim("HEADLESS-2");
        return !shot.isNull() && !dimmed(shot.pixel(inside), qRgb(0xcc, 0x33, 0x44));
    })) << "the window under a pointer that did not move is not highlighted";
    pointer("click right");
    EXPECT_TRUE(pickerGone());
    std::this_thread::sleep_for(std::chrono::seconds(1));
    EXPECT_TRUE(captures().isEmpty()) << captures().join(' ').toStdString();
}

TEST_F(WaylandWindowsTest, AWindowPickedForRecordingIsRecordedInItsOwnPixels) {
    if (!session) return;
    const Listed window = openWindow("Filmed", "HEADLESS-2", "#cc3344");
    startApp();
    startPointer();
    moveTo(QPointF(5, 5));
    ASSERT_EQ(session->run(program, {"pictavia://record?mode=window"}).exitCode, 0);
    ASSERT_TRUE(pickerShown("HEADLESS-2")) << log();
    moveTo(window.logicalCentre);
    pointer("click-remove left");
    ASSERT_TRUE(pickerGone()) << log();
    std::this_thread::sleep_for(std::chrono::seconds(2));
    const ProcessOutput stopped = session->run(program, {"pictavia://stop"});
    ASSERT_EQ(stopped.exitCode, 0) << stopped.err << log();
    QString movie;
    ASSERT_TRUE(waitUntil([&] {
        for (const QString& name : captures())
            if (name.endsWith(".mov")) movie = name;
        return !movie.isEmpty();
    })) << log();
    const QString path = QString::fromStdString(session->directory() + "/data/Pictavia/History/") + movie;
    platform::media::FfmpegMediaReader reader;
    const auto info = reader.info(path);
    ASSERT_TRUE(info) << info.error().message.toStdString();
    // A 200x150 window on the scale-2 output, in that output's pixels.
    EXPECT_EQ(info->size, QSize(400, 300));
    const QList<QImage> frames = movieFrames(path, info->size);
    ASSERT_GT(frames.size(), 5);
    // The toast that tells the recording's size keeps off the window from the first frame on.
    for (const qsizetype i : {qsizetype(0), frames.size() / 2, frames.size() - 1})
        EXPECT_LT(shareNotOf(frames[i], qRgb(0xcc, 0x33, 0x44)), 0.01) << "frame " << i;
}

// Other wlroots compositors tell only the titles and app ids of their windows (the foreign
// toplevel list, which sway has too): listed, but neither picked nor captured, and said so.
TEST_F(WaylandWindowsTest, WhereOnlyTitlesAreToldWindowsAreListedButNeitherPickedNorCaptured) {
    if (!session) return;
    openWindow("Listed", "HEADLESS-1", "#cc3344");
    const auto withoutSway = [&](const std::vector<std::string>& args) {
        std::vector<std::string> all = {"-c", "SWAYSOCK= I3SOCK= exec \"$0\" \"$@\"", program};
        all.insert(all.end(), args.begin(), args.end());
        return session->run("sh", all);
    };
    const ProcessOutput listing = withoutSway({"windows", "--json"});
    ASSERT_EQ(listing.exitCode, 0) << listing.err;
    EXPECT_EQ(listing.err, "");
    std::optional<QJsonObject> listed;
    for (const QJsonValue& each : QJsonDocument::fromJson(QByteArray::fromStdString(listing.out)).array())
        if (each["title"].toString() == "Listed") listed = each.toObject();
    ASSERT_TRUE(listed) << listing.out;
    EXPECT_EQ((*listed)["app"].toString(), "probeListed");
    EXPECT_EQ((*listed)["frame"].toObject()["width"].toInt(), 0);

    const std::string why =
        "Window captures are not available on this desktop: it tells other programs which "
        "windows are open but not where they are.";
    const ProcessOutput capture =
        withoutSway({"capture", "window", "--id", std::to_string((*listed)["id"].toInteger())});
    EXPECT_EQ(capture.exitCode, 1);
    EXPECT_NE(capture.err.find(why), std::string::npos) << capture.err;

    startApp("SWAYSOCK= I3SOCK=");
    EXPECT_EQ(session->run(program, {"pictavia://capture-window"}).exitCode, 0);
    EXPECT_TRUE(waitUntil([&] { return log().find(why) != std::string::npos; })) << log();
}

TEST_F(WaylandWindowsTest, AWindowRecordingFollowsTheWindowWhereItIsMoved) {
    if (!session) return;
    const Listed window = openWindow("Moving", "HEADLESS-1", "#cc3344");
    const QRgb colour = qRgb(0xcc, 0x33, 0x44);
    auto recording = std::async(std::launch::async, [&] {
        return session->run(program,
                            {"record", "window", "--id", window.id, "--duration", "4", "--no-audio"});
    });
    // Halfway through, far enough that its old middle is clear.
    std::this_thread::sleep_for(std::chrono::seconds(2));
    const ProcessOutput moved =
        session->run("swaymsg", {"[app_id=\"^probeMoving\"]", "move", "position", "420", "320"});
    EXPECT_EQ(moved.exitCode, 0) << moved.out << moved.err;
    const ProcessOutput out = recording.get();
    ASSERT_EQ(out.exitCode, 0) << out.err;
    // A machine this busy may drop a frame, which is said; nothing else is.
    EXPECT_TRUE(out.err.empty() || out.err.find("frames were dropped") != std::string::npos) << out.err;
    const QString movie = QString::fromStdString(out.out).trimmed();
    platform::media::FfmpegMediaReader reader;
    const auto info = reader.info(movie);
    ASSERT_TRUE(info) << info.error().message.toStdString();
    ASSERT_EQ(info->size, QSize(200, 150));
    const QList<QImage> frames = movieFrames(movie, info->size);
    ASSERT_GT(frames.size(), 20); // 4 s at 10 a second
    EXPECT_LT(shareNotOf(frames.first(), colour), 0.01);
    EXPECT_LT(shareNotOf(frames[frames.size() / 4], colour), 0.01);
    EXPECT_LT(shareNotOf(frames.last(), colour), 0.01)
        << "the window's old place was recorded after it moved";
    const QImage there = grim("HEADLESS-1");
    EXPECT_EQ(there.pixel(window.pixels.center()), background) << "the window did not move";
    EXPECT_EQ(there.pixel(520, 395), colour) << "the window is not where it was moved";

    // Sent to a workspace that is not shown and back, it is recorded again once it is back.
    auto away = std::async(std::launch::async, [&] {
        return session->run(program,
                            {"record", "window", "--id", window.id, "--duration", "5", "--no-audio"});
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    EXPECT_EQ(session->run("swaymsg", {"[app_id=\"^probeMoving\"]", "move", "to", "workspace", "9"}).exitCode,
              0);
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    EXPECT_EQ(session->run("swaymsg", {"[app_id=\"^probeMoving\"]", "move", "to", "workspace", "1"}).exitCode,
              0);
    const ProcessOutput back = away.get();
    ASSERT_EQ(back.exitCode, 0) << back.err;
    const QString backMovie = QString::fromStdString(back.out).trimmed();
    const QList<QImage> backFrames = movieFrames(backMovie, QSize(200, 150));
    ASSERT_FALSE(backFrames.isEmpty());
    EXPECT_LT(shareNotOf(backFrames.last(), colour), 0.01);

    // Its closing ends the recording, with what was recorded kept.
    auto closed = std::async(std::launch::async, [&] {
        return session->run(program,
                            {"record", "window", "--id", window.id, "--duration", "30", "--no-audio"});
    });
    std::this_thread::sleep_for(std::chrono::seconds(2));
    const ProcessOutput killed = session->run("swaymsg", {"[app_id=\"^probeMoving\"]", "kill"});
    EXPECT_EQ(killed.exitCode, 0) << killed.out << killed.err;
    const ProcessOutput ended = closed.get();
    ASSERT_EQ(ended.exitCode, 0) << ended.err;
    const auto cut = reader.info(QString::fromStdString(ended.out).trimmed());
    ASSERT_TRUE(cut) << cut.error().message.toStdString();
    EXPECT_LT(cut->duration, 20.0);
}

} // namespace
