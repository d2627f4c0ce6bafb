// Recordings on Wayland. The PipeWire frame stream against a real PipeWire with a source
// that shares pictures as a compositor does (pipewire_source): the frame rate kept while
// nothing changes, areas cut, the pointer drawn in, the end of the stream reported. Then
// `pictavia record` in a headless sway session: a movie of the output or an area of it
// through sway's screencopy (with the session bus out of reach, so no portal can be
// involved), and, with screencopy switched off, through the screen-cast portal: the user's
// answer kept and offered again, and what the desktop cannot share said plainly.
// xdg-desktop-portal-wlr 0.7 shares nothing where the compositor renders without a GPU;
// the portal's tests then say so and skip.

#include "FrameCollector.h"
#include "MovieFrames.h"
#include "WaitUntil.h"
#include "WaylandSessionTest.h"

#include "platform/media/FfmpegMediaReader.h"
#include "platform/wayland/pipewire/PipeWireFrameStream.h"

#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPainter>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <mutex>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

using namespace testsupport;

constexpr QRgb blue = qRgb(0x33, 0x66, 0xcc);

// Recordings through the desktop's screen-cast portal even where the compositor offers
// screencopy.
const Environment portalOnly = {{"PICTAVIA_NO_SCREENCOPY", "1"}};
// A session bus nobody answers on: no portal can take part in what still works.
const Environment noBus = {{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent"}};

class WaylandRecordingTest : public WaylandSessionTest {
protected:
    [[nodiscard]] bool startSession(const WaylandSession::Options& options) {
        return WaylandSessionTest::startSession(
            options, "copyToClipboard = false\ncaptureSound = false\nrecFPS = 30\nrecShowClicks = false\n");
    }

    std::string variable(const std::string& name) const {
        for (const auto& [key, value] : session->environment())
            if (key == name) return value;
        return {};
    }

    // Whether this desktop's portal shares screens at all; the sentence why not if it does not.
    std::optional<std::string> castingRefused() {
        const ProcessOutput out = session->run(
            program, {"record", "fullscreen", "--duration", "1", "--no-audio"}, {.environment = portalOnly});
        if (out.exitCode == 0) return std::nullopt;
        if (portalLog().find("unable to receive a valid format") != std::string::npos)
            return "xdg-desktop-portal-wlr shares screens only from a compositor that renders on a GPU "
                   "(DMA-BUF), and this sway renders with pixman: \"" +
                   out.err.substr(0, out.err.find('\n')) + "\"";
        return "the recording failed: " + out.err;
    }

    // The movie one `pictavia record` made, with what it said on the way.
    QString recorded(const std::vector<std::string>& args, const Environment& environment) {
        std::vector<std::string> all = {"record"};
        all.insert(all.end(), args.begin(), args.end());
        all.insert(all.end(), {"--no-audio"});
        const ProcessOutput out = session->run(program, all, {.environment = environment});
        EXPECT_EQ(out.exitCode, 0) << out.err;
        EXPECT_EQ(out.err, "");
        const QString file = QString::fromStdString(out.out).trimmed();
        EXPECT_TRUE(QFileInfo(file).isFile()) << out.out;
        return file;
    }

    // Waits until grim sees `colour` at the centre of the first output.
    bool showing(QRgb colour) {
        return waitUntil([&] {
            const ProcessOutput shot =
                session->run("grim", {"-o", session->outputNames().front(), "-t", "ppm", "-"});
            QImage image;
            return shot.exitCode == 0 && image.loadFromData(QByteArray::fromStdString(shot.out), "PPM") &&
                   image.pixel(image.width() / 2, image.height() / 2) == colour;
        });
    }

    QString tokenFile() const {
        return QString::fromStdString(variable("XDG_DATA_HOME")) + "/Pictavia/ScreenCast.json";
    }

    QString savedToken() const {
        QFile file(tokenFile());
        if (!file.open(QIODevice::ReadOnly)) return {};
        return QJsonDocument::fromJson(file.readAll()).object().value("screenCastRestoreToken").toString();
    }

    std::string portalLog() const {
        QFile log(QString::fromStdString(session->directory() + "/portal-wlr.log"));
        return log.open(QIODevice::ReadOnly) ? log.readAll().toStdString() : std::string();
    }

    platform::media::FfmpegMediaReader reader;
};

TEST_F(WaylandRecordingTest, AStillScreenForFiveSecondsIsAMovieAtTheFrameRateInItsColour) {
    if (!startSession({.outputs = {{640, 480, 1.0}}})) return;
    session->startProcess("swaybg", {"-c", "#3366cc"});
    ASSERT_TRUE(showing(blue));

    // A copy for every frame, though nothing moves.
    expectStillMovie(recorded({"fullscreen", "--duration", "5"}, noBus), QSize(640, 480), 5.0, blue);
}

TEST_F(WaylandRecordingTest, AnAreaIsCutFromTheOutputAtItsPlace) {
    if (!startSession({.outputs = {{640, 480, 1.0}}})) return;
    // Four quadrants, so that a misplaced cut shows.
    QImage quadrants(640, 480, QImage::Format_RGB32);
    QPainter painter(&quadrants);
    painter.fillRect(0, 0, 320, 240, QColor(0xcc, 0x33, 0x33));
    painter.fillRect(320, 0, 320, 240, QColor(0x33, 0xcc, 0x33));
    painter.fillRect(0, 240, 320, 240, QColor(0x33, 0x33, 0xcc));
    painter.fillRect(320, 240, 320, 240, QColor(0xee, 0xee, 0x22));
    painter.end();
    const QString background = QString::fromStdString(session->directory()) + "/quadrants.png";
    ASSERT_TRUE(quadrants.save(background));
    QFile::setPermissions(background,
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadOther);
    session->startProcess("swaybg", {"-i", background.toStdString(), "-m", "stretch"});
    ASSERT_TRUE(waitUntil([&] {
        const ProcessOutput shot = session->run("grim", {"-t", "ppm", "-"});
        QImage image;
        return shot.exitCode == 0 && image.loadFromData(QByteArray::fromStdString(shot.out), "PPM") &&
               image.pixel(480, 120) == qRgb(0x33, 0xcc, 0x33);
    }));

    // The top-right quadrant with a margin into its neighbours below and to the left.
    const QString movie = recorded({"area", "--rect", "300,0,340,260", "--duration", "2"}, noBus);
    const auto info = reader.info(movie);
    ASSERT_TRUE(info) << info.error().message.toStdString();
    EXPECT_EQ(info->size, QSize(340, 260));
    const QList<QImage> frames = movieFrames(movie, QSize(340, 260));
    ASSERT_GT(frames.size(), 30);
    const QImage& frame = frames[frames.size() / 2];
    EXPECT_LT(shareNotOf(frame.copy(24, 4, 312, 232), qRgb(0x33, 0xcc, 0x33)), 0.01);
    EXPECT_LT(shareNotOf(frame.copy(0, 0, 16, 236), qRgb(0xcc, 0x33, 0x33)), 0.01);
    EXPECT_LT(shareNotOf(frame.copy(24, 244, 312, 16), qRgb(0xee, 0xee, 0x22)), 0.01);
}

TEST_F(WaylandRecordingTest, TheDesktopsAnswerIsKeptAndOfferedAgain) {
    if (!startSession({.outputs = {{320, 240, 1.0}}})) return;
    session->startProcess("swaybg", {"-c", "#3366cc"});
    ASSERT_TRUE(showing(blue));
    ASSERT_FALSE(QFile::exists(tokenFile()));
    if (const auto refused = castingRefused()) GTEST_SKIP() << *refused;
    const QString first = savedToken();
    ASSERT_FALSE(first.isEmpty()) << "no restore token in " << tokenFile().toStdString();
    const std::size_t logged = portalLog().size();

    recorded({"fullscreen", "--duration", "1"}, portalOnly);
    // The portal restored the earlier answer instead of choosing again.
    const std::string second = portalLog().substr(logged);
    EXPECT_NE(second.find("restore"), std::string::npos) << second;
    EXPECT_FALSE(savedToken().isEmpty());

    // A damaged file is passed over: the desktop is asked again and a new token kept.
    QFile damaged(tokenFile());
    ASSERT_TRUE(damaged.open(QIODevice::WriteOnly | QIODevice::Truncate));
    damaged.write("{\"screenCastRestoreToken\": ");
    damaged.close();
    const ProcessOutput out = session->run(program, {"record", "fullscreen", "--duration", "1", "--no-audio"},
                                           {.environment = portalOnly});
    EXPECT_EQ(out.exitCode, 0) << out.err;
    EXPECT_NE(out.err.find("is damaged and was ignored"), std::string::npos) << out.err;
    EXPECT_FALSE(savedToken().isEmpty());
}

TEST_F(WaylandRecordingTest, WhatTheDesktopCannotShareIsSaidPlainly) {
    if (!startSession({.outputs = {{320, 240, 1.0}}})) return;
    const std::string testWindow = session->reachable(TEST_WINDOW_BIN);
    ASSERT_FALSE(testWindow.empty());
    session->startProcess(testWindow, {"--title", "Recorded", "--pattern", "#22aa44", "--size", "200x100"},
                          {{"QT_QPA_PLATFORM", "wayland"}});
    std::string id;
    ASSERT_TRUE(waitUntil([&] {
        const ProcessOutput listing = session->run(program, {"windows", "--json"});
        for (const QJsonValue& each : QJsonDocument::fromJson(QByteArray::fromStdString(listing.out)).array())
            if (each["title"].toString() == "Recorded") id = std::to_string(each["id"].toInteger());
        return !id.empty();
    }));
    // Through the portal: with screencopy, sway's windows are cut from their outputs.
    const ProcessOutput window =
        session->run(program, {"record", "window", "--id", id, "--duration", "1", "--no-audio"},
                     {.environment = portalOnly});
    EXPECT_EQ(window.exitCode, 1);
    EXPECT_NE(window.err.find("Window recordings are not available on this desktop"), std::string::npos)
        << window.err;

    // A bus without the portal, and no bus at all: one sentence each, no library's words.
    // A bus of its own that starts no services, so no portal either.
    const QString busConfig = QString::fromStdString(session->directory()) + "/bare-bus.conf";
    QFile config(busConfig);
    ASSERT_TRUE(config.open(QIODevice::WriteOnly));
    config.write(
        "<busconfig><type>session</type><listen>unix:tmpdir=/tmp</listen><policy context=\"default\">"
        "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/><allow own=\"*\"/>"
        "</policy></busconfig>");
    config.close();
    QFile::setPermissions(busConfig,
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadOther);
    const ProcessOutput noPortal = session->run("dbus-run-session",
                                                {"--config-file=" + busConfig.toStdString(), "--", program,
                                                 "record", "fullscreen", "--duration", "1", "--no-audio"},
                                                {.environment = portalOnly});
    EXPECT_EQ(noPortal.exitCode, 1);
    EXPECT_EQ(noPortal.err,
              "pictavia: This desktop offers no screen recording portal: xdg-desktop-portal with a "
              "backend for this desktop must be running.\n");
    Environment portalWithoutBus = portalOnly;
    portalWithoutBus.insert(portalWithoutBus.end(), noBus.begin(), noBus.end());
    const ProcessOutput withoutBus =
        session->run(program, {"record", "fullscreen", "--duration", "1", "--no-audio"},
                     {.environment = portalWithoutBus});
    EXPECT_EQ(withoutBus.exitCode, 1);
    EXPECT_EQ(withoutBus.err,
              "pictavia: There is no D-Bus session bus to reach the screen recording portal.\n");

    // Whether or not this desktop shares its screen, a recording ends in a movie or in one
    // sentence, never in a library's words.
    const ProcessOutput full = session->run(
        program, {"record", "fullscreen", "--duration", "1", "--no-audio"}, {.environment = portalOnly});
    if (full.exitCode != 0) {
        EXPECT_EQ(full.exitCode, 1);
        EXPECT_EQ(std::count(full.err.begin(), full.err.end(), '\n'), 1) << full.err;
        EXPECT_EQ(full.err.rfind("pictavia: ", 0), 0u) << full.err;
    }
    // Either way the desktop was asked to remember the answer, and, since it cannot send
    // the pointer apart from the picture, to draw it in (xdg-desktop-portal-wlr logs the
    // options it gets).
    const std::string log = portalLog();
    EXPECT_NE(log.find("option persist_mode:2"), std::string::npos) << log;
    EXPECT_NE(log.find("option cursor_mode:2"), std::string::npos) << log;
}

// The frame stream on its own, connected straight to the session's PipeWire.
class PipeWireFrameStreamTest : public WaylandRecordingTest {
protected:
    // Starts a source with `args` and returns its node id.
    uint32_t startSource(std::vector<std::string> args) {
        const std::string source = session->reachable(PIPEWIRE_SOURCE_BIN);
        EXPECT_FALSE(source.empty());
        const std::string nodeFile = session->directory() + "/node" + std::to_string(++sources);
        args.insert(args.end(), {"--node-file", nodeFile});
        sourceProcess = &session->startProcess(source, args);
        QFile file(QString::fromStdString(nodeFile));
        EXPECT_TRUE(waitUntil([&] { return file.exists(); })) << "the test source never came up";
        if (!file.open(QIODevice::ReadOnly)) return 0;
        return file.readAll().trimmed().toUInt();
    }

    // A connection to the session's PipeWire, as the portal hands one over.
    int pipeWireConnection() const {
        const std::string path = variable("XDG_RUNTIME_DIR") + "/pipewire-0";
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::snprintf(address.sun_path, sizeof(address.sun_path), "%s", path.c_str());
        const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
            close(fd);
            return -1;
        }
        return fd;
    }

    Result<bool> start(platform::wayland::PipeWireStream& stream, const platform::wayland::CastTarget& target,
                       bool showCursor) {
        platform::FrameStreamSettings settings;
        settings.fps = 30;
        settings.showCursor = showCursor;
        return stream.start(target, settings, received.onFrame(), received.onError());
    }

    FrameCollector received;
    ChildProcess* sourceProcess = nullptr;
    int sources = 0;
    platform::wayland::PipeWireFrameStreams streams;
};

TEST_F(PipeWireFrameStreamTest, OnePictureIsRepeatedAsFramesWithItsPixelsExact) {
    if (!startSession({.outputs = {{320, 240, 1.0}}})) return;
    // Three pictures in a tenth of a second, then nothing: a still screen.
    const uint32_t node = startSource({"--size", "320x240", "--frames", "3"});
    ASSERT_NE(node, 0u);
    const auto stream = streams.create();
    const auto started = start(*stream, {pipeWireConnection(), node, QSize(320, 240), std::nullopt}, false);
    ASSERT_TRUE(started) << started.error().message.toStdString();
    received.waitForFrames(60);
    stream->stop();

    const std::lock_guard lock(received.mutex);
    ASSERT_GE(received.frames.size(), 60);
    const QImage& frame = received.frames.back();
    ASSERT_EQ(frame.size(), QSize(320, 240));
    EXPECT_EQ(frame.pixel(0, 0), qRgb(0xcc, 0x33, 0x33));
    EXPECT_EQ(frame.pixel(319, 0), qRgb(0x33, 0xcc, 0x33));
    EXPECT_EQ(frame.pixel(0, 239), qRgb(0x33, 0x33, 0xcc));
    EXPECT_EQ(frame.pixel(319, 239), qRgb(0xee, 0xee, 0x22));
    // Each with a time of its own on the steady clock, later than the one before.
    EXPECT_EQ(std::adjacent_find(received.times.begin(), received.times.end(), std::greater_equal<qint64>()),
              received.times.end());
    EXPECT_EQ(received.errors, 0);
}

TEST_F(PipeWireFrameStreamTest, AnAreaIsCutAndThePointerDrawnInWhereAsked) {
    if (!startSession({.outputs = {{320, 240, 1.0}}})) return;
    const uint32_t node = startSource({"--size", "320x240", "--frames", "-1", "--pointer", "200,50"});
    ASSERT_NE(node, 0u);
    // Across the middle of the top half: red on the left, green on the right, the pointer at
    // (50, 30) of the area.
    const QRect area(150, 20, 100, 100);
    for (const bool showCursor : {true, false}) {
        received.clear();
        const auto stream = streams.create();
        const auto started = start(*stream, {pipeWireConnection(), node, QSize(320, 240), area}, showCursor);
        ASSERT_TRUE(started) << started.error().message.toStdString();
        received.waitForFrames(5);
        stream->stop();
        const std::lock_guard lock(received.mutex);
        ASSERT_FALSE(received.frames.isEmpty());
        const QImage& frame = received.frames.back();
        ASSERT_EQ(frame.size(), QSize(100, 100));
        EXPECT_EQ(frame.pixel(0, 0), qRgb(0xcc, 0x33, 0x33));
        EXPECT_EQ(frame.pixel(9, 99), qRgb(0xcc, 0x33, 0x33));
        EXPECT_EQ(frame.pixel(10, 0), qRgb(0x33, 0xcc, 0x33));
        EXPECT_EQ(frame.pixel(99, 99), qRgb(0x33, 0xcc, 0x33));
        const QRgb underPointer = showCursor ? qRgb(255, 255, 255) : qRgb(0x33, 0xcc, 0x33);
        EXPECT_EQ(frame.pixel(50, 30), underPointer) << "pointer shown: " << showCursor;
        EXPECT_EQ(frame.pixel(65, 45), underPointer) << "pointer shown: " << showCursor;
        EXPECT_EQ(frame.pixel(66, 46), qRgb(0x33, 0xcc, 0x33));
    }
}

TEST_F(PipeWireFrameStreamTest, TheEndOfTheSourceIsReportedOnceAndNoPictureIsAFailure) {
    if (!startSession({.outputs = {{320, 240, 1.0}}})) return;
    const uint32_t node = startSource({"--size", "320x240", "--frames", "-1"});
    ASSERT_NE(node, 0u);
    const auto stream = streams.create();
    ASSERT_TRUE(start(*stream, {pipeWireConnection(), node, QSize(320, 240), std::nullopt}, false));
    received.waitForFrames(5);
    sourceProcess->stop();
    received.waitForError(std::chrono::seconds(30));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    stream->stop();
    {
        const std::lock_guard lock(received.mutex);
        EXPECT_EQ(received.errors, 1);
        EXPECT_FALSE(received.error.isEmpty());
        EXPECT_EQ(received.frames.size(), received.framesAtError) << "frames after the end";
    }

    // A source that never sends a picture fails the start with a sentence.
    const uint32_t silent = startSource({"--size", "320x240", "--frames", "0"});
    const auto quiet = streams.create();
    const auto refused = start(*quiet, {pipeWireConnection(), silent, QSize(320, 240), std::nullopt}, false);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().message, "The desktop's screen recording sent no picture.");
}

} // namespace
