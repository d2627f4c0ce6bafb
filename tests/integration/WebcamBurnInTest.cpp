// The camera's way into a recording with the real media stack: pictures from the test-pattern
// camera (no real camera is needed, or used) written by the camera writer, then drawn into a
// screen movie made by the movie writer, read back by decoding.

#include "platform/TestPatternCamera.h"
#include "platform/media/FfmpegCameras.h"
#include "platform/media/FfmpegMediaReader.h"
#include "platform/media/FfmpegMovieRewriter.h"
#include "platform/media/FfmpegMovieWriter.h"
#include "recording/WebcamComposer.h"
#include "recording/WebcamWriter.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <mutex>
#include <thread>
#include <vector>

namespace {

constexpr QRgb screenGrey = 0xff808080;

qint64 steadyNow() {
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// Red, green and blue of a pixel each within `tolerance` of `expected`.
bool near(QRgb pixel, QColor expected, int tolerance = 40) {
    return std::abs(qRed(pixel) - expected.red()) <= tolerance &&
           std::abs(qGreen(pixel) - expected.green()) <= tolerance &&
           std::abs(qBlue(pixel) - expected.blue()) <= tolerance;
}

class WebcamBurnInTest : public ::testing::Test {
protected:
    QTemporaryDir dir;
    platform::media::FfmpegMovieWriter writer;
    platform::media::FfmpegMediaReader reader;
    platform::media::FfmpegMovieRewriter rewriter;

    // Two seconds of a grey 640×360 screen with a 440 Hz tone.
    QString screenMovie() {
        const QString path = dir.filePath(QStringLiteral("screen.mov"));
        platform::MovieSettings settings;
        settings.size = {640, 360};
        settings.bitRate = 1'500'000;
        settings.audioTracks = 1;
        auto file = writer.create(path, settings);
        EXPECT_TRUE(file) << file.error().message.toStdString();
        if (!file) return {};
        QImage frame(640, 360, QImage::Format_RGB32);
        frame.fill(screenGrey);
        std::vector<float> tone(480 * 2);
        for (int block = 0; block < 200; ++block) {
            for (int i = 0; i < 480; ++i)
                tone[size_t(2 * i)] = tone[size_t(2 * i + 1)] =
                    float(0.4 * std::sin(2 * M_PI * 440 * (block * 480 + i) / 48000.0));
            EXPECT_TRUE((*file)->addAudio(0, tone.data(), 480, block * 10'000));
            if (block % 10 < 3) (*file)->addVideo(frame, (block / 10 * 3 + block % 10) * 33'333);
        }
        EXPECT_TRUE((*file)->finish());
        return path;
    }

    // About 2.2 s of the test-pattern camera through the camera writer, on a session that
    // starts 0.2 s after the camera does: the pictures before it are dropped.
    QString cameraMovie() {
        WebcamWriter camera(writer, dir.filePath(QStringLiteral("camera.mov")));
        platform::TestPatternCamera pattern;
        const qint64 sessionStart = steadyNow() + 200'000;
        std::atomic<int> early{0};
        auto started = pattern.start(platform::CameraSettings{},
                                     [&](const QImage& frame, qint64 time) {
                                         if (time < sessionStart) ++early;
                                         camera.append(frame, time, sessionStart);
                                     },
                                     {});
        EXPECT_TRUE(started);
        std::this_thread::sleep_for(std::chrono::milliseconds(2400));
        pattern.stop();
        EXPECT_GT(early, 0);
        const auto finished = camera.finish().result();
        EXPECT_TRUE(finished.has_value());
        const auto info = reader.info(finished.value_or(QString()));
        EXPECT_TRUE(info) << "the camera movie plays";
        if (info) {
            EXPECT_EQ(info->size, QSize(640, 480));
            EXPECT_FALSE(info->hasAudio);
        }
        return finished.value_or(QString());
    }
};

TEST_F(WebcamBurnInTest, TheCameraIsDrawnAtItsPlacesMirroredWhenAskedAndTheSoundIsKept) {
    const QString screen = screenMovie();
    const QString camera = cameraMovie();
    ASSERT_FALSE(screen.isEmpty());
    ASSERT_FALSE(camera.isEmpty());

    WebcamInfo timeline;
    timeline.placements = {{0.0, 0.5, 0.1, 0.25}, {1.0, 0.1, 0.4, 0.25}};
    for (bool mirrored : {false, true}) {
        SCOPED_TRACE(mirrored ? "mirrored" : "as the camera sees it");
        timeline.mirrored = mirrored;
        WebcamComposer composer(rewriter);
        double reported = 0;
        const auto drawn = composer.burnIn(screen, camera, timeline, [&](double done) {
            reported = done;
            return true;
        });
        ASSERT_TRUE(drawn) << drawn.error().message.toStdString();
        EXPECT_GT(reported, 0.8);
        const auto info = reader.info(*drawn);
        ASSERT_TRUE(info);
        EXPECT_EQ(info->size, QSize(640, 360));
        EXPECT_TRUE(info->hasAudio) << "the sound is kept";
        EXPECT_EQ(info->audioCodec, QStringLiteral("aac"));
        EXPECT_NEAR(info->duration, 2.0, 0.2);

        // Bubble side 160 px; first at (320, 36), from 1 s on at (64, 144). The camera's left
        // half is red, its right half blue; a mirror swaps them.
        const QColor left = mirrored ? QColor(30, 30, 220) : QColor(220, 30, 30);
        const QColor right = mirrored ? QColor(220, 30, 30) : QColor(30, 30, 220);
        for (const auto& [time, place] : {std::pair{0.5, QPoint(320, 36)}, std::pair{1.5, QPoint(64, 144)}}) {
            const auto frame = reader.frameAt(*drawn, time);
            ASSERT_TRUE(frame);
            // Points at mid height, clear of the moving bar at the side, inside the circle.
            const auto at = [&](int dx, int dy) { return frame->pixel(place + QPoint(dx, dy)); };
            const bool barNear = !near(at(40, 80), left) && !near(at(40, 60), left);
            const int dy = barNear ? 110 : 80;
            EXPECT_TRUE(near(at(40, dy), left)) << "at " << time << " s the bubble's left side";
            EXPECT_TRUE(near(at(120, dy), right)) << "at " << time << " s the bubble's right side";
            EXPECT_TRUE(near(at(2, 2), QColor(screenGrey)))
                << "the corner outside the circle shows the screen";
            EXPECT_TRUE(near(frame->pixel(600, 340), QColor(screenGrey)));
        }
        QFile::remove(*drawn);
    }
}

TEST_F(WebcamBurnInTest, CancellingOrADamagedCameraMovieLeavesTheScreenMovieAlone) {
    const QString screen = screenMovie();
    ASSERT_FALSE(screen.isEmpty());
    const QString broken = dir.filePath(QStringLiteral("broken.mov"));
    QFile file(broken);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(QByteArray(4096, 'x'));
    file.close();
    WebcamComposer composer(rewriter);
    const WebcamInfo timeline{{{0, 0.1, 0.1, 0.2}}, false};
    const auto damaged = composer.burnIn(screen, broken, timeline);
    ASSERT_FALSE(damaged);
    EXPECT_EQ(damaged.error().message, QStringLiteral("“broken.mov” is not a video Pictavia can read."));
    EXPECT_FALSE(composer.drawInto(screen, broken, timeline));

    const QString camera = cameraMovie();
    const auto cancelled = composer.burnIn(screen, camera, timeline, [](double done) { return done < 0.3; });
    ASSERT_FALSE(cancelled);
    EXPECT_EQ(cancelled.error().code, platform::MovieRewriter::Cancelled);
    EXPECT_EQ(QDir(dir.path()).entryList({QStringLiteral("*-camera.mov")}), QStringList())
        << "nothing left behind";
    const auto info = reader.info(screen);
    ASSERT_TRUE(info);
    EXPECT_NEAR(info->duration, 2.0, 0.2);

    ASSERT_TRUE(composer.drawInto(screen, camera, timeline));
    const auto drawn = reader.frameAt(screen, 1.0);
    ASSERT_TRUE(drawn);
    EXPECT_FALSE(near(drawn->pixel(64 + 64, 36 + 64), QColor(screenGrey), 10))
        << "the camera is in the screen movie";
}

TEST_F(WebcamBurnInTest, CameraPicturesKeepTheirPlaceOnTheScreensTimeline) {
    // A camera that starts half a second into the recording, and a picture from before it.
    WebcamWriter camera(writer, dir.filePath(QStringLiteral("late.mov")));
    const qint64 sessionStart = 10'000'000;
    camera.append(platform::TestPatternCamera::paint({320, 240}, 0), sessionStart - 1, sessionStart);
    camera.append(platform::TestPatternCamera::paint({320, 240}, 0), sessionStart, std::nullopt);
    for (int i = 0; i < 15; ++i)
        camera.append(platform::TestPatternCamera::paint({320, 240}, i), sessionStart + 500'000 + i * 33'333,
                      sessionStart);
    EXPECT_EQ(camera.frames(), 15);
    const auto written = camera.finish().result();
    ASSERT_TRUE(written.has_value());
    auto frames = rewriter.frames(*written);
    ASSERT_TRUE(frames);
    // The first picture stands in from the start; the second keeps its place.
    std::vector<qint64> times;
    for (auto next = (*frames)->next(); next && next->has_value(); next = (*frames)->next())
        times.push_back((*next)->time);
    ASSERT_EQ(times.size(), 15u);
    EXPECT_EQ(times[0], 0);
    EXPECT_NEAR(times[1], 533'333, 20'000);
    EXPECT_NEAR(times[14], 966'667, 20'000);

    WebcamWriter unused(writer, dir.filePath(QStringLiteral("unused.mov")));
    EXPECT_FALSE(unused.finish().result().has_value()) << "no picture, no movie";
    EXPECT_FALSE(QFile::exists(dir.filePath(QStringLiteral("unused.mov"))));
}

TEST(FfmpegCamerasTest, WithoutACameraNothingIsListedAndOpeningSaysSo) {
    if (!QDir(QStringLiteral("/dev")).entryList({QStringLiteral("video*")}, QDir::System).isEmpty())
        GTEST_SKIP() << "this machine has a /dev/video device; the test needs a machine without one";
    platform::media::FfmpegCameras cameras;
    EXPECT_TRUE(cameras.list().isEmpty());
    const auto opened = cameras.open(QString());
    ASSERT_FALSE(opened);
    EXPECT_EQ(opened.error().message, QStringLiteral("No camera is connected."));

    // With PICTAVIA_TEST_CAMERA=1 the test pattern stands in, listed and as the default.
    qputenv("PICTAVIA_TEST_CAMERA", "1");
    platform::CamerasWithTestPattern withPattern(std::make_unique<platform::media::FfmpegCameras>());
    const auto listed = withPattern.list();
    qunsetenv("PICTAVIA_TEST_CAMERA");
    ASSERT_EQ(listed.size(), 1);
    EXPECT_EQ(listed.first().name, QStringLiteral("Test pattern"));
}

} // namespace

namespace {

TEST(FfmpegCamerasTest, ARealCameraDeliversPicturesOnTheSteadyClock) {
    platform::media::FfmpegCameras cameras;
    const auto listed = cameras.list();
    if (listed.isEmpty()) GTEST_SKIP() << "no Video4Linux2 camera on this machine";
    auto camera = cameras.open(listed.first().id);
    ASSERT_TRUE(camera) << camera.error().message.toStdString();
    std::mutex lock;
    std::vector<qint64> times;
    QSize size;
    const qint64 before = steadyNow();
    auto started = (*camera)->start(platform::CameraSettings{},
                                    [&](const QImage& frame, qint64 time) {
                                        const std::lock_guard guard(lock);
                                        times.push_back(time);
                                        size = frame.size();
                                    },
                                    {});
    if (!started) GTEST_SKIP() << started.error().message.toStdString(); // in use by another program
    for (int i = 0; i < 50; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        const std::lock_guard guard(lock);
        if (times.size() >= 5) break;
    }
    (*camera)->stop();
    ASSERT_GE(times.size(), 5u);
    EXPECT_FALSE(size.isEmpty());
    EXPECT_GE(times.front(), before);
    EXPECT_TRUE(std::is_sorted(times.begin(), times.end()));
}

} // namespace
