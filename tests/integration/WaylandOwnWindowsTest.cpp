// Our own windows kept out of recordings on a headless sway, which copies the screen as it is
// shown: a pin and a quick access card over what is recorded are not in any frame and come
// back once the recording ends; toasts shown meanwhile go beside the recorded area, to a display
// the recording leaves out, or wait for its end; the recording controls go to that display
// too; a window recording's toast goes beside the window. The running app gets its pin from an agent through
// pictavia-mcp, the card from a capture, and the toasts from the recording's start (the size of a scale-2
// recording, the clicks that cannot be watched) and from a command that cannot be done.

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

#include <future>
#include <thread>

namespace {

using namespace testsupport;

constexpr QRgb background = qRgb(0x33, 0x66, 0xcc);
constexpr QRgb pinned = qRgb(0xcc, 0x33, 0x44);
const std::string noPreviousArea = "No previous area yet. Capture an area first";

class WaylandOwnWindowsTest : public WaylandSessionTest {
protected:
    [[nodiscard]] bool startSession(const std::vector<WaylandSession::Output>& outputs, bool controls) {
        if (!WaylandSessionTest::startSession(
                {.outputs = outputs},
                std::string("recShowHUD = ") + (controls ? "true" : "false") +
                    "\ncopyToClipboard = false\ncaptureSound = false\nshowQuickAccess = true\nqaoAutoDismiss "
                    "= 0\n"
                    "recShowCursor = false\nrecCountdown = 0\nrecFPS = 10\n"
                    "recSystemAudio = false\nrecMic = false\n"
                    R"(agentPolicies = {"record":"allow"})"
                    "\n"
                    R"(agentApprovedClients = [{"key":"ownwindows-test","name":"ownwindows-test","approvedAt":"2026-01-01T00:00:00Z"}])"
                    "\n"))
            return false;
        session->startProcess("swaybg", {"-c", "#3366cc"});
        return waitUntil([&] { return grim(session->outputNames().front()).pixel(5, 5) == background; });
    }

    // The resident app, its stderr (where its toasts go too) in app.log, once what it shows as
    // it starts has gone again.
    void startApp() {
        session->startProcess("sh",
                              {"-c", "exec \"$0\" --background 2>>\"$XDG_RUNTIME_DIR/app.log\"", program});
        const QString socket = QString::fromStdString(session->directory() + "/pictavia/instance");
        ASSERT_TRUE(waitUntil([&] { return QFileInfo::exists(socket); })) << log();
        ASSERT_TRUE(waitUntil([&] { return bare(); }, std::chrono::seconds(30)))
            << "something of the app stays";
    }

    std::string log() const { return sessionLog("app"); }

    // Pixels of `part` of `image` dark as a toast: none of our other windows is.
    static int toastDark(const QImage& image, QRect part) {
        int count = 0;
        for (int y = part.top(); y <= part.bottom(); ++y)
            for (int x = part.left(); x <= part.right(); ++x) {
                const QRgb p = image.pixel(x, y);
                count += qRed(p) < 60 && qGreen(p) < 60 && qBlue(p) < 60;
            }
        return count;
    }

    bool bare() {
        for (const std::string& output : session->outputNames())
            if (pixelsNotOf(grim(output), background) != 0) return false;
        return true;
    }

    ProcessOutput agent(const std::string& tool, const std::string& arguments, int seconds = 3) {
        return askAgentTool("ownwindows-test", tool, arguments, seconds);
    }

    // A pin of a red picture, asked for by an agent: centred on the first display.
    void pinThroughAgent() {
        QImage red(300, 200, QImage::Format_RGB32);
        red.fill(pinned);
        const QString file = QString::fromStdString(session->directory()) + "/pinned.png";
        ASSERT_TRUE(red.save(file));
        QFile::setPermissions(file,
                              QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadOther);
        const ProcessOutput out = agent("pin_screenshot", R"({"path":")" + file.toStdString() + R"("})");
        ASSERT_NE(out.out.find(R"(\"pinned\": true)"), std::string::npos) << out.out << out.err << log();
    }

    // Waits until `output` shows our windows there: the card in its bottom-right corner, the
    // pin in its middle.
    bool cardAndPinShown(const std::string& output) {
        return waitUntil([&] {
            const QImage shot = grim(output);
            if (shot.isNull()) return false;
            const QPoint middle(shot.width() / 2, shot.height() / 2);
            const QRect corner(shot.width() - shot.width() / 4, shot.height() - shot.height() / 4,
                               shot.width() / 4, shot.height() / 4);
            return shot.pixel(middle) == pinned && shareNotOf(shot.copy(corner), background) > 0.01;
        });
    }

    // The newest movie in the history, once there is one besides `known`.
    QString newMovie(const QStringList& known = {}) {
        const QDir history(QString::fromStdString(session->directory() + "/data/Pictavia/History"));
        QString movie;
        waitUntil([&] {
            for (const QString& name : history.entryList({"*.mov"}, QDir::Files, QDir::Name))
                if (!known.contains(name)) movie = history.filePath(name);
            return !movie.isEmpty();
        });
        return movie;
    }

    // Every frame of `movie`, which must show nothing but the background.
    void expectBareFrames(const QString& movie, QSize size) {
        ASSERT_FALSE(movie.isEmpty()) << log();
        const auto info = platform::media::FfmpegMediaReader().info(movie);
        ASSERT_TRUE(info) << info.error().message.toStdString();
        ASSERT_EQ(info->size, size);
        const QList<QImage> frames = movieFrames(movie, size);
        ASSERT_GT(frames.size(), 10);
        for (qsizetype i = 0; i < frames.size(); ++i) {
            const double shown = shareNotOf(frames[i], background);
            EXPECT_EQ(shown, 0.0) << "frame " << i << " of " << frames.size() << " is " << shown * 100
                                  << "% ours";
            if (shown != 0) {
                frames[i].save(QString::fromStdString(session->directory()) + "/frame.png");
                break;
            }
        }
    }
};

// The scale-2 display first: the app puts an agent's pin and the first card there, and a
// recording of it says its size in a toast.
TEST_F(WaylandOwnWindowsTest, AFullScreenRecordingLeavesOutPinCardToastsAndControlsWhichGoToTheOtherDisplay) {
    if (!startSession({{1280, 720, 2.0}, {640, 480, 1.0}}, true)) return;
    startApp();
    const std::string recorded = session->outputNames().at(0);
    const std::string other = session->outputNames().at(1);
    pinThroughAgent();
    ASSERT_EQ(session->run(program, {"pictavia://capture-fullscreen"}).exitCode, 0);
    ASSERT_TRUE(cardAndPinShown(recorded)) << log();

    ASSERT_EQ(session->run(program, {"pictavia://record?mode=fullscreen"}).exitCode, 0);
    ASSERT_TRUE(waitUntil([&] { return log().find("Recording 1280×720 at 10 fps") != std::string::npos; }))
        << log();
    // Up as the first frame is taken: under Wayland the clicks cannot be watched, and that is said.
    EXPECT_NE(log().find("recordings go on without click highlights"), std::string::npos) << log();
    // A toast while it records, and the controls: both on the display not recorded.
    ASSERT_EQ(session->run(program, {"pictavia://capture-previous"}).exitCode, 0);
    ASSERT_TRUE(waitUntil([&] { return log().find(noPreviousArea) != std::string::npos; })) << log();
    EXPECT_TRUE(waitUntil([&] { return toastDark(grim(other), QRect(0, 0, 320, 160)) > 2000; }))
        << "no toast on " << other;
    EXPECT_GT(toastDark(grim(other), QRect(0, 360, 640, 120)), 2000) << "no controls on " << other;
    std::this_thread::sleep_for(std::chrono::seconds(2));
    ASSERT_EQ(session->run(program, {"pictavia://stop"}).exitCode, 0);

    expectBareFrames(newMovie(), QSize(1280, 720));
    EXPECT_TRUE(cardAndPinShown(recorded)) << "the pin and the card did not come back";
}

// One display at scale 2, recordings an agent asked for: a toast goes below the recorded area
// where there is room, and waits for the end of a recording of the whole display.
TEST_F(WaylandOwnWindowsTest, AToastGoesBesideTheRecordedAreaOrWaitsForTheRecordingsEnd) {
    if (!startSession({{1280, 720, 2.0}}, false)) return;
    startApp();
    const std::string output = session->outputNames().front();
    pinThroughAgent();
    ASSERT_EQ(session->run(program, {"pictavia://capture-fullscreen"}).exitCode, 0);
    ASSERT_TRUE(cardAndPinShown(output)) << log();

    // The top 280 of 360 points: room for a toast below. The card reaches into the area.
    auto area = std::async(std::launch::async, [&] {
        return agent("record_screen", R"({"target":"area","rect":[0,0,640,280],"duration_seconds":4})", 8);
    });
    std::this_thread::sleep_for(std::chrono::seconds(2));
    ASSERT_EQ(session->run(program, {"pictavia://capture-previous"}).exitCode, 0);
    EXPECT_TRUE(waitUntil([&] {
        const QImage shot = grim(output);
        return !shot.isNull() && toastDark(shot, QRect(0, 560, 1280, 160)) > 2000;
    })) << "no toast below the recorded area";
    const ProcessOutput areaDone = area.get();
    ASSERT_NE(areaDone.out.find("\"result\""), std::string::npos) << areaDone.out << areaDone.err << log();
    const QString first = newMovie();
    expectBareFrames(first, QSize(1280, 560));
    ASSERT_TRUE(cardAndPinShown(output)) << "the pin and the card did not come back";

    auto whole = std::async(std::launch::async, [&] {
        return agent("record_screen", R"({"target":"screen","duration_seconds":3})", 7);
    });
    std::this_thread::sleep_for(std::chrono::seconds(2));
    const size_t said = log().rfind(noPreviousArea);
    ASSERT_EQ(session->run(program, {"pictavia://capture-previous"}).exitCode, 0);
    ASSERT_TRUE(waitUntil([&] { return log().rfind(noPreviousArea) != said; })) << log();
    // Once the recording ends it shows, near the pointer, top left, beside the pin.
    EXPECT_TRUE(waitUntil([&] {
        const QImage shot = grim(output);
        return !shot.isNull() && toastDark(shot, QRect(0, 0, 320, 160)) > 2000;
    })) << "the toast did not show after the recording";
    const ProcessOutput wholeDone = whole.get();
    ASSERT_NE(wholeDone.out.find("\"result\""), std::string::npos) << wholeDone.out << wholeDone.err << log();
    expectBareFrames(newMovie({QFileInfo(first).fileName()}), QSize(1280, 720));
}

// The toast that tells the size of a recording on a scale-2 output, where it would cover the
// window recorded: it goes beside the window, and no frame holds it.
TEST_F(WaylandOwnWindowsTest, AWindowRecordingsToastGoesBesideTheWindow) {
    if (!startSession({{1280, 720, 2.0}}, false)) return;
    // In the top-left corner, where the toasts of a pointer Qt has not seen show.
    const ProcessOutput rule = session->run("swaymsg", {"for_window [app_id=\"^probe\"] floating enable"});
    ASSERT_EQ(rule.exitCode, 0) << rule.out << rule.err;
    startApp();
    const std::string output = session->outputNames().front();
    session->startProcess(
        session->reachable(TEST_WINDOW_BIN),
        {"--title", "Filmed", "--class", "probe", "--pattern", "#cc3344", "--size", "300x200"},
        {{"QT_QPA_PLATFORM", "wayland"}});
    std::string id;
    ASSERT_TRUE(waitUntil(
        [&] { return session->run("swaymsg", {"[app_id=\"^probe\"] move position 0 0"}).exitCode == 0; }));
    ASSERT_TRUE(waitUntil([&] {
        const ProcessOutput out = session->run(program, {"windows", "--json"});
        for (const QJsonValue& each : QJsonDocument::fromJson(QByteArray::fromStdString(out.out)).array())
            if (each["title"].toString() == u"Filmed") id = std::to_string(each["id"].toInteger());
        return !id.empty() && grim(output).pixel(100, 100) == qRgb(0xcc, 0x33, 0x44);
    })) << "the window did not show";

    // The window's border is dark too.
    const QRect below(0, 400, 640, 200);
    const int darkBefore = toastDark(grim(output), below);

    auto recording = std::async(std::launch::async, [&] {
        return agent("record_screen", R"({"target":"window","window_id":)" + id + R"(,"duration_seconds":3})",
                     7);
    });
    ASSERT_TRUE(waitUntil([&] { return log().find("Recording 600×400 at 10 fps") != std::string::npos; }))
        << log();
    // Below the window.
    EXPECT_TRUE(waitUntil([&] { return toastDark(grim(output), below) > darkBefore + 2000; }))
        << "no toast below the window";
    const ProcessOutput done = recording.get();
    ASSERT_NE(done.out.find("\"result\""), std::string::npos) << done.out << done.err << log();
    const QString movie = newMovie();
    ASSERT_FALSE(movie.isEmpty()) << log();
    const QList<QImage> frames = movieFrames(movie, QSize(600, 400));
    ASSERT_GT(frames.size(), 10);
    for (qsizetype i = 0; i < frames.size(); ++i) {
        const int wrong = toastDark(frames[i], frames[i].rect());
        EXPECT_EQ(wrong, 0) << "frame " << i << " of " << frames.size() << " holds the toast";
        if (wrong != 0) break;
    }
}

} // namespace
