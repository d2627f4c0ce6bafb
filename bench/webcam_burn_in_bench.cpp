// Drawing the camera into a recording: a 60 s 1920×1080 30 fps screen movie with sound and a
// 60 s 640×480 camera movie (the test pattern), made first; then the camera is burned in at
// places that change every 10 s. Prints the time it took against the movie's length. With
// --movies DIR it keeps the two source movies there, for bench/webcam_burn_in.sh to hand to
// other programs.

#include "SceneArt.h"
#include "platform/TestPatternCamera.h"
#include "platform/media/FfmpegMovieRewriter.h"
#include "platform/media/FfmpegMovieWriter.h"
#include "recording/WebcamComposer.h"
#include "recording/WebcamWriter.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QPainter>
#include <QTemporaryDir>

#include <cmath>
#include <cstdio>
#include <vector>

namespace {

constexpr int seconds = 60;
constexpr int fps = 30;

bool makeScreenMovie(platform::MovieWriter& writer, const QString& path) {
    platform::MovieSettings settings;
    settings.size = {1920, 1080};
    settings.fps = fps;
    settings.bitRate = qint64(1920 * 1080 * fps * 0.09);
    settings.audioTracks = 1;
    auto file = writer.create(path, settings);
    if (!file) {
        std::fprintf(stderr, "webcam_burn_in: %s\n", qPrintable(file.error().message));
        return false;
    }
    // The benchmark desktop with a window that moves, as in a recording of real work.
    const QImage desktop = scene::composedScreen(QSize(1920, 1080));
    std::vector<float> tone(1600 * 2);
    for (int frame = 0; frame < seconds * fps; ++frame) {
        QImage picture = desktop.copy();
        QPainter(&picture).fillRect(QRect(200 + (frame * 7) % 1200, 300, 320, 200), QColor(250, 250, 250));
        for (int i = 0; i < 1600; ++i) // 1/30 s of a 440 Hz tone
            tone[size_t(2 * i)] = tone[size_t(2 * i + 1)] =
                float(0.3 * std::sin(2 * M_PI * 440 * (frame * 1600 + i) / 48000.0));
        const qint64 time = qint64(frame) * 1'000'000 / fps;
        if (!(*file)->addAudio(0, tone.data(), 1600, time) || !(*file)->addVideo(picture, time)) return false;
    }
    return bool((*file)->finish());
}

QString makeCameraMovie(platform::MovieWriter& writer, const QString& path) {
    WebcamWriter camera(writer, path, fps);
    for (int frame = 0; frame < seconds * fps; ++frame)
        camera.append(platform::TestPatternCamera::paint(QSize(640, 480), frame),
                      qint64(frame) * 1'000'000 / fps, 0);
    return camera.finish().result().value_or(QString());
}

} // namespace

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv); // fonts for the benchmark desktop
    QString keep;
    const QStringList arguments = app.arguments();
    if (const qsizetype at = arguments.indexOf(QStringLiteral("--movies"));
        at > 0 && at + 1 < arguments.size())
        keep = arguments[at + 1];
    QTemporaryDir work;
    const QDir dir(keep.isEmpty() ? work.path() : keep);
    platform::media::FfmpegMovieWriter writer;
    const QString screen = dir.filePath(QStringLiteral("screen.mov"));
    if (!makeScreenMovie(writer, screen)) return 1;
    const QString camera = makeCameraMovie(writer, dir.filePath(QStringLiteral("camera.mov")));
    if (camera.isEmpty()) {
        std::fprintf(stderr, "webcam_burn_in: the camera movie could not be written\n");
        return 1;
    }
    WebcamInfo timeline;
    timeline.mirrored = true;
    for (int i = 0; i < seconds / 10; ++i)
        timeline.placements.append({i * 10.0, 0.05 + 0.12 * i, i % 2 == 0 ? 0.7 : 0.1, 0.1 + 0.02 * i});

    platform::media::FfmpegMovieRewriter rewriter;
    WebcamComposer composer(rewriter);
    QElapsedTimer clock;
    clock.start();
    const auto drawn = composer.burnIn(screen, camera, timeline);
    const double taken = clock.nsecsElapsed() / 1e9;
    if (!drawn) {
        std::fprintf(stderr, "webcam_burn_in: %s\n", qPrintable(drawn.error().message));
        return 1;
    }
    std::printf(
        "burn-in of a %d s 1920x1080 %d fps movie with sound: %.1f s, %.2fx real time (%.0f frames/s)\n",
        seconds, fps, taken, seconds / taken, seconds * fps / taken);
    return 0;
}
