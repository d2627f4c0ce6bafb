#pragma once

#include "MovieFrames.h"
#include "WaylandSession.h"
#include "platform/media/FfmpegMediaReader.h"

#include <QFile>
#include <QImage>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

namespace testsupport {

// A test on a headless Wayland session of its own, with Pictavia where the session's user can
// run it. Where this machine cannot start a session the test is skipped.
class WaylandSessionTest : public ::testing::Test {
protected:
    // Starts the session and writes Pictavia's `preferences` ("key = value" lines). False, with
    // the test skipped or failed, where there is nothing to test on: the caller returns.
    [[nodiscard]] bool startSession(const WaylandSession::Options& options, const std::string& preferences) {
        std::string whyNot;
        session = WaylandSession::start(options, &whyNot);
        // GTEST_SKIP returns from the function it stands in: a lambda, so that this one can
        // tell the test to return too.
        const auto skip = [](const std::string& why) { GTEST_SKIP() << why; };
        if (!session) {
            skip("no headless Wayland session: " + whyNot);
            return false;
        }
        program = session->reachable(PICTAVIA_BIN);
        if (program.empty()) {
            skip(std::string("the session's user cannot run ") + PICTAVIA_BIN);
            return false;
        }
        const ProcessOutput prefs = session->writePreferences(preferences);
        EXPECT_EQ(prefs.exitCode, 0) << prefs.err;
        return prefs.exitCode == 0;
    }

    // An output as grim copies it, in its own pixels.
    QImage grim(const std::string& output) {
        const ProcessOutput shot = session->run("grim", {"-o", output, "-t", "ppm", "-"});
        QImage image;
        EXPECT_EQ(shot.exitCode, 0) << shot.err;
        image.loadFromData(QByteArray::fromStdString(shot.out), "PPM");
        return image.convertToFormat(QImage::Format_RGB32);
    }

    // How many pixels are not exactly `colour`.
    static int pixelsNotOf(const QImage& image, QRgb colour) {
        int wrong = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                wrong += image.pixel(x, y) != colour;
        return wrong;
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

    // A recording of a still screen: `seconds` long at 30 frames a second, `size`, and its first,
    // middle and last frames all `colour`.
    static void expectStillMovie(const QString& movie, QSize size, double seconds, QRgb colour) {
        const auto info = platform::media::FfmpegMediaReader().info(movie);
        ASSERT_TRUE(info) << info.error().message.toStdString();
        EXPECT_EQ(info->size, size);
        EXPECT_NEAR(info->duration, seconds, 0.5);
        const QList<QImage> frames = movieFrames(movie, size);
        EXPECT_NEAR(frames.size(), 30 * seconds, 15);
        ASSERT_FALSE(frames.isEmpty());
        for (const qsizetype i : {qsizetype(0), frames.size() / 2, frames.size() - 1})
            EXPECT_LT(shareNotOf(frames[i], colour), 0.01) << "frame " << i;
    }

    // What the running app answered an agent, `client` (as its preferences approve it), that
    // called `tool` with `arguments` (JSON) through pictavia-mcp, given `seconds` to answer.
    ProcessOutput askAgentTool(const std::string& client, const std::string& tool,
                               const std::string& arguments, int seconds = 3) {
        const std::string bridge = session->reachable(PICTAVIA_MCP_BIN);
        EXPECT_FALSE(bridge.empty());
        const std::string lines =
            R"({"jsonrpc":"2.0","id":1,"method":"initialize","params":{"protocolVersion":"2025-03-26",)"
            R"("capabilities":{},"clientInfo":{"name":")" +
            client +
            R"(","version":"1"}}})"
            "\n"
            R"({"jsonrpc":"2.0","method":"notifications/initialized"})"
            "\n"
            R"({"jsonrpc":"2.0","id":2,"method":"tools/call","params":{"name":")" +
            tool + R"(","arguments":)" + arguments + "}}\n";
        // The bridge relays what comes while its input stays open.
        return session->run("sh", {"-c", "(printf '%s' \"$1\"; sleep \"$2\") | \"$0\"", bridge, lines,
                                   std::to_string(seconds)});
    }

    // What one of the session's programs logged ("portal", "gnome-shell", ...).
    std::string sessionLog(const std::string& name) const {
        QFile log(QString::fromStdString(session->directory() + "/" + name + ".log"));
        return log.open(QIODevice::ReadOnly) ? log.readAll().toStdString() : std::string();
    }

    // The screen-cast restore token Pictavia kept, empty where it kept none.
    QString savedRestoreToken() const {
        std::string dataHome;
        for (const auto& [key, value] : session->environment())
            if (key == "XDG_DATA_HOME") dataHome = value;
        QFile file(QString::fromStdString(dataHome) + "/Pictavia/ScreenCast.json");
        if (!file.open(QIODevice::ReadOnly)) return {};
        return QJsonDocument::fromJson(file.readAll()).object().value("screenCastRestoreToken").toString();
    }

    // How many pixels differ; more than there are where the sizes differ.
    static int differingPixels(const QImage& a, const QImage& b) {
        if (a.size() != b.size()) return a.width() * a.height() + 1;
        int differing = 0;
        for (int y = 0; y < a.height(); ++y)
            for (int x = 0; x < a.width(); ++x)
                differing += a.pixel(x, y) != b.pixel(x, y);
        return differing;
    }

    std::unique_ptr<WaylandSession> session;
    std::string program; // pictavia, where the session's user can run it
};

} // namespace testsupport
