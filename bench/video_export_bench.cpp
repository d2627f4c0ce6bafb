// The recording bench/video_export.sh exports: 60 s of a 1920×1080 30 fps studio recording
// made of the benchmark desktop with work going on in it (a window dragged about, lines
// typed into an editor, a page scrolled), a tone, and the timeline a studio recording keeps
// beside it: the pointer's track at 60 samples a second and a click every few seconds where
// the work happens. Also times one styled 1080p frame of the studio look, as the preview
// draws it.
//
//   video_export_bench DIR     writes DIR/studio.mov and its timeline, prints the frame time

#include "SceneArt.h"
#include "platform/media/FfmpegMovieWriter.h"
#include "video/RecordingTimeline.h"
#include "video/StudioPresets.h"
#include "video/StudioScene.h"

#include <QDir>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QPainter>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

namespace {

constexpr int seconds = 60;
constexpr int fps = 30;
const QSize screen(1920, 1080);

// Where the pointer is at `time`: it goes from one place of work to the next every 6 s and
// wanders a little while it is there.
QPointF pointerAt(double time) {
    static const std::vector<QPointF> places = {{0.30, 0.40}, {0.70, 0.30}, {0.55, 0.70}, {0.20, 0.75},
                                                {0.80, 0.60}, {0.45, 0.25}, {0.65, 0.45}, {0.35, 0.55},
                                                {0.75, 0.80}, {0.25, 0.30}, {0.50, 0.50}};
    const int leg = std::min(int(time / 6), int(places.size()) - 2);
    const double u = std::clamp((time - leg * 6) / 1.0, 0.0, 1.0); // a second to get there
    const double eased = u * u * (3 - 2 * u);
    const QPointF from = places[size_t(leg)];
    const QPointF to = places[size_t(leg) + 1];
    const QPointF wander(0.01 * std::sin(time * 3.1), 0.008 * std::cos(time * 2.3));
    return from + (to - from) * eased + wander;
}

bool makeRecording(const QString& path) {
    platform::media::FfmpegMovieWriter writer;
    platform::MovieSettings settings;
    settings.size = screen;
    settings.fps = fps;
    settings.bitRate = qint64(screen.width() * screen.height() * fps * 0.09);
    settings.audioTracks = 1;
    auto file = writer.create(path, settings);
    if (!file) {
        std::fprintf(stderr, "video_export: %s\n", qPrintable(file.error().message));
        return false;
    }
    const QImage desktop = scene::composedScreen(screen);
    QImage page(900, 3000, QImage::Format_RGB32);
    {
        QPainter painter(&page);
        scene::paintPanel(painter, page.rect(), scene::Panel::Document, 1);
    }
    QFont font(QStringLiteral("DejaVu Sans Mono"), 13);
    std::vector<float> tone(1600 * 2);
    for (int frame = 0; frame < seconds * fps; ++frame) {
        const double time = double(frame) / fps;
        QImage picture = desktop.copy();
        {
            QPainter painter(&picture);
            // A page scrolled through in a window on the right.
            const QRect pageWindow(980, 120, 900, 620);
            painter.drawImage(pageWindow.topLeft(), page, QRect(0, (frame * 4) % 2300, 900, 620));
            // An editor dragged across the left half, with a line typed every few frames.
            const QRect editor(120 + int(200 * std::sin(time / 7)), 160 + int(80 * std::cos(time / 5)), 760,
                               520);
            painter.fillRect(editor, QColor(250, 250, 250));
            painter.fillRect(editor.adjusted(0, 0, 0, -editor.height() + 28), QColor(60, 64, 72));
            painter.setFont(font);
            painter.setPen(QColor(30, 30, 30));
            const int typed = frame / 3;
            for (int line = 0; line < 18; ++line) {
                const int length = std::clamp(typed - line * 40, 0, 60);
                if (length == 0) break;
                painter.drawText(
                    editor.topLeft() + QPoint(14, 54 + 24 * line),
                    QStringLiteral("let value%1 = compute(%2, \"studio\"); // step %3 of the work")
                        .arg(line)
                        .arg(line * 7)
                        .arg(line + 1)
                        .left(length));
            }
        }
        for (int i = 0; i < 1600; ++i)
            tone[size_t(2 * i)] = tone[size_t(2 * i + 1)] =
                float(0.3 * std::sin(2 * M_PI * 440 * (frame * 1600 + i) / 48000.0));
        const qint64 at = qint64(frame) * 1'000'000 / fps;
        if (!(*file)->addAudio(0, tone.data(), 1600, at) || !(*file)->addVideo(picture, at)) return false;
    }
    return bool((*file)->finish());
}

RecordingTimeline makeTimeline() {
    RecordingTimeline timeline;
    timeline.studio = true;
    timeline.clicksTracked = true;
    timeline.areaWidth = screen.width();
    timeline.areaHeight = screen.height();
    for (int sample = 0; sample < seconds * 60; ++sample) {
        const double time = sample / 60.0;
        const QPointF at = pointerAt(time);
        timeline.cursor.append({time, at.x(), at.y(), 0});
    }
    for (double time = 1.5; time < seconds - 1; time += 6) {
        const QPointF at = pointerAt(time);
        timeline.clicks.append({time, at.x(), at.y()});
        if (int(time) % 12 == 7) timeline.clicks.append({time + 0.5, at.x(), at.y()}); // a double-check click
    }
    return timeline;
}

// Milliseconds to draw one styled 1080p frame, the median of many at zooming times.
double frameTime(const RecordingTimeline& timeline) {
    const StudioPreset look = *StudioPresets::named(QStringLiteral("studio"));
    StudioInputs inputs;
    inputs.videoSize = screen;
    inputs.duration = seconds;
    inputs.timeline = timeline;
    inputs.zoom = ZoomTrack::automatic(timeline.clicks, look.zoomLevel, look.zoomHold, seconds);
    StudioStyle style = look.style;
    style.drawPointer = look.pointer;
    const StudioScene studio(style, inputs);
    const QImage picture = scene::composedScreen(screen);
    QImage target(studio.frameSize(), QImage::Format_RGB32);
    std::vector<double> times;
    for (int i = 0; i < 60; ++i) {
        QElapsedTimer clock;
        clock.start();
        studio.render(target, picture, 1.0 + i * 0.1);
        times.push_back(clock.nsecsElapsed() / 1e6);
    }
    std::nth_element(times.begin(), times.begin() + long(times.size() / 2), times.end());
    return times[times.size() / 2];
}

} // namespace

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv); // fonts for the desktop
    if (app.arguments().size() != 2) {
        std::fprintf(stderr, "usage: video_export_bench DIR\n");
        return 2;
    }
    const QDir dir(app.arguments()[1]);
    const QString movie = dir.filePath(QStringLiteral("studio.mov"));
    if (!makeRecording(movie)) return 1;
    const RecordingTimeline timeline = makeTimeline();
    if (const auto saved = TimelineStore::save(timeline, movie); !saved) {
        std::fprintf(stderr, "video_export: %s\n", qPrintable(saved.error().message));
        return 1;
    }
    std::printf("studio look, one 1920x1080 frame drawn (median of 60): %.1f ms\n", frameTime(timeline));
    return 0;
}
