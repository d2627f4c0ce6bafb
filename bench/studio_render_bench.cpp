// Composing one frame of a styled 1080p recording at 1920 × 1080, as the preview and the
// export do for every frame: a glass background with padding, rounded corners and a shadow,
// the zoom half way in, the drawn pointer and a click ripple (and, separately, with a caption
// and the camera bubble too). "Warm" frames reuse the scene's kept background and pointer
// images, as all frames after the first do; "first" starts each with a new scene.
// Times are CPU time of all threads, as Qt may spread large fills over a thread pool; the
// preview's budget is 16 ms a frame, and the export's a third of that.
#include "SceneArt.h"

#include "video/StudioScene.h"

#include <QBuffer>
#include <QGuiApplication>
#include <QPainter>

#include "BudgetReporter.h"

#include <benchmark/benchmark.h>

#include <cstdio>

namespace {

const QSize size1080(1920, 1080);

// A click at 9 s: the zoom that aims at it is half way in.
constexpr double midRamp = 9.0 - 0.36 + ZoomTrack::ramp / 2;

CursorShape arrowShape() {
    QImage image(24, 36, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(Qt::white, 2));
    p.setBrush(Qt::black);
    p.drawPolygon(QPolygonF({{2, 2}, {2, 32}, {10, 25}, {16, 34}, {20, 32}, {14, 23}, {24, 23}}));
    p.end();
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return {png, 12, 18, 1, 1};
}

// A minute of pointer moves (a sample per 60th of a second while moving) with a click every
// four seconds, captions one after another and a camera bubble in the bottom right.
StudioInputs inputs() {
    StudioInputs in;
    in.videoSize = size1080;
    in.duration = 60;
    RecordingTimeline t;
    t.studio = true;
    t.areaWidth = 960;
    t.areaHeight = 540;
    for (int i = 0; i < 60 * 60; ++i) {
        const double time = i / 60.0;
        t.cursor.append({time, 0.5 + 0.35 * std::sin(time * 0.7), 0.5 + 0.3 * std::cos(time * 0.45), 0});
    }
    t.cursorShapes = {arrowShape()};
    for (int i = 0; i < 15; ++i)
        t.clicks.append({1.0 + 4 * i, 0.3 + 0.03 * i, 0.6 - 0.02 * i});
    t.webcam = WebcamInfo{{{0, 0.78, 0.7, 0.18}}, false};
    in.zoom = ZoomTrack::automatic(t.clicks, 2.0, 1.6, in.duration);
    // A quick click just before the measured frame, whose ripple is showing there.
    t.clicks.append({midRamp - 0.15, 0.7, 0.4});
    in.timeline = t;
    for (int i = 0; i < 20; ++i)
        in.captions.append(
            CaptionLine{QUuid::createUuid(), 3.0 * i, 3.0 * i + 3.0,
                        QStringLiteral("Now we open the settings and pick a theme %1").arg(i)});
    in.hasCamera = true;
    return in;
}

StudioStyle look(bool extras) {
    StudioStyle style;
    style.background = BackgroundStyle::GlassCorvanta;
    style.padding = 0.06;
    style.cornerRadius = 0.02;
    style.shadow = true;
    style.drawPointer = true;
    style.clickRipples = true;
    style.captions = extras;
    style.camera = extras;
    return style;
}

const QImage& picture() {
    static const QImage screen = scene::composedScreen(size1080).convertToFormat(QImage::Format_RGB32);
    return screen;
}

QImage cameraPicture() {
    QImage camera(1280, 720, QImage::Format_RGB32);
    camera.fill(QColor(110, 120, 100));
    QPainter p(&camera);
    p.setBrush(QColor(220, 180, 150));
    p.drawEllipse(QPointF(640, 360), 180, 220);
    return camera;
}

void BM_StudioFrame(benchmark::State& state) {
    const bool extras = state.range(0) != 0;
    const StudioScene scene(look(extras), inputs());
    const QImage camera = cameraPicture();
    QImage frame(size1080, QImage::Format_RGB32);
    scene.render(frame, picture(), midRamp, camera);
    for (auto _ : state)
        scene.render(frame, picture(), midRamp, camera);
    state.SetLabel(extras ? "warm, caption and camera" : "warm");
}

void BM_StudioFirstFrame(benchmark::State& state) {
    const StudioInputs in = inputs();
    QImage frame(size1080, QImage::Format_RGB32);
    for (auto _ : state) {
        const StudioScene scene(look(false), in);
        scene.render(frame, picture(), midRamp);
    }
    state.SetLabel("first");
}

BENCHMARK(BM_StudioFrame)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK(BM_StudioFirstFrame)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();

} // namespace

// Prints the warm frame's time (the median, with --benchmark_repetitions) against the preview's
// budget.
int main(int argc, char** argv) {
    return runDrawingBenchmarks(argc, argv, [](const BudgetReporter::Run& run) -> std::optional<std::string> {
        if (run.report_label.rfind("warm", 0) != 0 ||
            (run.run_type == BudgetReporter::Run::RT_Aggregate && run.aggregate_name != "median"))
            return std::nullopt;
        return "1080p studio frame (" + run.report_label + "): " + std::to_string(run.GetAdjustedCPUTime()) +
               " ms, " + std::to_string(run.GetAdjustedCPUTime() / 16.0) + " of the 16 ms budget";
    });
}
