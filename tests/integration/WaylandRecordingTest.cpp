// Recordings in a headless sway session: the desktop's screen-cast portal shares an output
// over PipeWire, and `pictavia record` makes a movie of it (or of an area of it) with the
// frame rate asked for, even while nothing on screen moves; the user's answer is kept and
// offered again, and what the desktop cannot share is said plainly.

#include "MovieFrames.h"
#include "WaitUntil.h"
#include "WaylandSession.h"

#include "platform/media/FfmpegMediaReader.h"

#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPainter>

#include <gtest/gtest.h>

namespace {

using namespace testsupport;

constexpr QRgb blue = qRgb(0x33, 0x66, 0xcc);

class WaylandRecordingTest : public ::testing::Test {
protected:
    void startSession(const WaylandSession::Options& options) {
        std::string whyNot;
        session = WaylandSession::start(options, &whyNot);
        if (!session) GTEST_SKIP() << "no headless Wayland session: " << whyNot;
        program = session->reachable(PICTAVIA_BIN);
        if (program.empty()) GTEST_SKIP() << "the session's user cannot run " << PICTAVIA_BIN;
        const ProcessOutput prefs = session->run(
            "sh",
            {"-c", "mkdir -p \"$XDG_CONFIG_HOME/pictavia\" && printf 'copyToClipboard = false\\n"
                   "captureSound = false\\nrecFPS = 30\\n' > \"$XDG_CONFIG_HOME/pictavia/pictavia.conf\""});
        ASSERT_EQ(prefs.exitCode, 0) << prefs.err;
    }

    std::string variable(const std::string& name) const {
        for (const auto& [key, value] : session->environment())
            if (key == name) return value;
        return {};
    }

    // The movie one `pictavia record` made, with what it said on the way.
    QString recorded(const std::vector<std::string>& args) {
        std::vector<std::string> all = {"record"};
        all.insert(all.end(), args.begin(), args.end());
        all.insert(all.end(), {"--no-audio"});
        const ProcessOutput out = session->run(program, all);
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

    // The share of pixels further than `tolerance` from `colour` in some channel (movies are
    // compressed, so colours come back close, not exact).
    static double shareNotOf(const QImage& image, QRgb colour, int tolerance = 12) {
        qint64 wrong = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x) {
                const QRgb p = image.pixel(x, y);
                wrong += std::abs(qRed(p) - qRed(colour)) > tolerance ||
                         std::abs(qGreen(p) - qGreen(colour)) > tolerance ||
                         std::abs(qBlue(p) - qBlue(colour)) > tolerance;
            }
        return double(wrong) / std::max<qint64>(1, qint64(image.width()) * image.height());
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

    std::unique_ptr<WaylandSession> session;
    std::string program;
    platform::media::FfmpegMediaReader reader;
};

TEST_F(WaylandRecordingTest, AStillScreenForFiveSecondsIsAMovieAtTheFrameRateInItsColour) {
    startSession({.outputs = {{640, 480, 1.0}}});
    session->startProcess("swaybg", {"-c", "#3366cc"});
    ASSERT_TRUE(showing(blue));

    const QString movie = recorded({"fullscreen", "--duration", "5"});
    const auto info = reader.info(movie);
    ASSERT_TRUE(info) << info.error().message.toStdString();
    EXPECT_EQ(info->size, QSize(640, 480));
    EXPECT_NEAR(info->duration, 5.0, 0.5);
    // Nothing moves, so the desktop sends hardly a picture: the last one is repeated.
    const QList<QImage> frames = movieFrames(movie, QSize(640, 480));
    EXPECT_NEAR(frames.size(), 150, 15);
    ASSERT_FALSE(frames.isEmpty());
    for (const qsizetype i : {qsizetype(0), frames.size() / 2, frames.size() - 1})
        EXPECT_LT(shareNotOf(frames[i], blue), 0.01) << "frame " << i;
}

TEST_F(WaylandRecordingTest, AnAreaIsCutFromTheOutputAndFollowsWhatChanges) {
    startSession({.outputs = {{640, 480, 1.0}}});
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
    const QString movie = recorded({"area", "--rect", "300,0,340,260", "--duration", "2"});
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
    startSession({.outputs = {{320, 240, 1.0}}});
    session->startProcess("swaybg", {"-c", "#3366cc"});
    ASSERT_TRUE(showing(blue));
    ASSERT_FALSE(QFile::exists(tokenFile()));

    recorded({"fullscreen", "--duration", "1"});
    const QString first = savedToken();
    ASSERT_FALSE(first.isEmpty()) << "no restore token in " << tokenFile().toStdString();
    const std::size_t logged = portalLog().size();

    recorded({"fullscreen", "--duration", "1"});
    // The portal restored the earlier answer instead of choosing again.
    const std::string second = portalLog().substr(logged);
    EXPECT_NE(second.find("restore"), std::string::npos) << second;
    EXPECT_FALSE(savedToken().isEmpty());

    // A damaged file is passed over: the desktop is asked again and a new token kept.
    QFile damaged(tokenFile());
    ASSERT_TRUE(damaged.open(QIODevice::WriteOnly | QIODevice::Truncate));
    damaged.write("{\"screenCastRestoreToken\": ");
    damaged.close();
    const ProcessOutput out =
        session->run(program, {"record", "fullscreen", "--duration", "1", "--no-audio"});
    EXPECT_EQ(out.exitCode, 0) << out.err;
    EXPECT_NE(out.err.find("is damaged and was ignored"), std::string::npos) << out.err;
    EXPECT_FALSE(savedToken().isEmpty());
}

TEST_F(WaylandRecordingTest, WhatTheDesktopCannotShareIsSaidPlainly) {
    startSession({.outputs = {{320, 240, 1.0}}});
    const ProcessOutput window =
        session->run(program, {"record", "window", "--id", "1", "--duration", "1", "--no-audio"});
    EXPECT_EQ(window.exitCode, 1);
    EXPECT_NE(window.err.find("Window recordings are not available on this desktop"), std::string::npos)
        << window.err;

    // Without the portal: one sentence, no library's words.
    const ProcessOutput noPortal = session->run("sh", {"-c",
                                                       "DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent exec "
                                                       "\"$0\" record fullscreen --duration 1 --no-audio",
                                                       program});
    EXPECT_EQ(noPortal.exitCode, 1);
    EXPECT_NE(noPortal.err.find("screen recording portal"), std::string::npos) << noPortal.err;
    EXPECT_EQ(std::count(noPortal.err.begin(), noPortal.err.end(), '\n'), 1) << noPortal.err;
}

} // namespace
