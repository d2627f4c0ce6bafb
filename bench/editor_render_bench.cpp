// Redrawing the editor's scene, as on every mouse move, and flattening it to a PNG: a
// desktop screenshot under 50 annotations (5 of them blurs) on a glass background, at
// 1080p and 2160p. "Cached" keeps the blur patches between frames like the editor does;
// "uncached" starts each frame with an empty blur cache, "cold" also without any kept
// shadows, layers or backgrounds (the first frame of a new look). Times are CPU time of
// all threads, as Qt spreads large fills over a thread pool.
#include "SceneArt.h"

#include "editor/AnnotationRenderer.h"
#include "editor/CachedLayer.h"
#include "editor/SceneBase.h"
#include "platform/codecs/PngEncoder.h"

#include <QGuiApplication>
#include <QPainter>

#include "BudgetReporter.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <map>

namespace {

enum Mode { Cached, Uncached, Cold };

Annotation make(EditorTool tool, QPointF p1, QPointF p2, double unit) {
    Annotation a;
    a.tool = tool;
    a.p1 = p1 * unit;
    a.p2 = p2 * unit;
    a.lineWidth = 4 * unit;
    a.fontSize = 28 * unit;
    return a;
}

// 50 annotations spread over a 1920 × 1080 layout, scaled with the image.
QList<Annotation> annotations(double unit) {
    QList<Annotation> list;
    const auto grid = [](int i, int columns) {
        return QPointF(80 + (i % columns) * 300, 80 + (i / columns) * 200);
    };
    for (int i = 0; i < 8; ++i)
        list.append(make(EditorTool::Arrow, grid(i, 4), grid(i, 4) + QPointF(220, 120), unit));
    for (int i = 0; i < 5; ++i) {
        Annotation a = make(EditorTool::Rect, grid(i + 2, 6), grid(i + 2, 6) + QPointF(240, 150), unit);
        a.brandGradient = i % 2;
        list.append(a);
    }
    for (int i = 0; i < 4; ++i)
        list.append(make(EditorTool::Ellipse, grid(i + 8, 6), grid(i + 8, 6) + QPointF(200, 130), unit));
    for (int i = 0; i < 4; ++i)
        list.append(make(EditorTool::Line, grid(i + 12, 6), grid(i + 12, 6) + QPointF(260, -60), unit));
    for (int i = 0; i < 4; ++i) {
        Annotation a = make(EditorTool::Freehand, {}, {}, unit);
        for (int k = 0; k <= 60; ++k)
            a.points.append((grid(i + 16, 6) + QPointF(k * 4, 40 * std::sin(k / 6.0))) * unit);
        list.append(a);
    }
    for (int i = 0; i < 4; ++i) {
        Annotation a =
            make(EditorTool::Highlight, grid(i, 5) + QPointF(0, 500), grid(i, 5) + QPointF(260, 530), unit);
        a.color = QColor(255, 214, 10);
        list.append(a);
    }
    for (int i = 0; i < 5; ++i) {
        Annotation a = make(EditorTool::Text, grid(i + 5, 5) + QPointF(0, 300), {}, unit);
        a.text = QStringLiteral("Look here %1").arg(i);
        a.textStyle = TextStyle(i % 3);
        list.append(a);
    }
    for (int i = 0; i < 3; ++i) {
        Annotation a = make(EditorTool::Emoji, grid(i + 10, 5) + QPointF(0, 350), {}, unit);
        a.text = QStringLiteral("😀");
        list.append(a);
    }
    for (int i = 0; i < 4; ++i) {
        Annotation a = make(EditorTool::Counter, grid(i + 14, 5) + QPointF(40, 40), {}, unit);
        a.number = i + 1;
        list.append(a);
    }
    for (int i = 0; i < 3; ++i) {
        Annotation a = make(EditorTool::Step, grid(i + 18, 5) + QPointF(100, 40), {}, unit);
        a.number = i + 1;
        list.append(a);
    }
    for (int i = 0; i < 5; ++i) {
        Annotation a =
            make(EditorTool::Blur, grid(i, 5) + QPointF(0, 620), grid(i, 5) + QPointF(250, 760), unit);
        a.blurStyle = i % 2 ? BlurStyle::Gaussian : BlurStyle::Pixelate;
        list.append(a);
    }
    list.append(make(EditorTool::Spotlight, {300, 200}, {1500, 900}, unit));
    return list;
}

const EditorScene& sceneOf(int height) {
    static std::map<int, EditorScene> scenes;
    auto it = scenes.find(height);
    if (it == scenes.end()) {
        const double unit = height / 1080.0;
        EditorScene scene;
        scene.baseImage = scene::composedScreen(QSize(height * 16 / 9, height))
                              .convertToFormat(QImage::Format_ARGB32_Premultiplied);
        scene.scale = unit;
        scene.annotations = annotations(unit);
        scene.padding = 64 * unit;
        scene.cornerRadius = 14 * unit;
        scene.background = BackgroundStyle::GlassCorvanta;
        scene.isWindowCapture = true;
        it = scenes.emplace(height, scene).first;
    }
    return it->second;
}

void BM_Redraw(benchmark::State& state) {
    const EditorScene& scene = sceneOf(int(state.range(0)));
    const Mode mode = Mode(state.range(1));
    QImage canvas(scene.contentSize().toSize(), QImage::Format_ARGB32_Premultiplied);
    BlurCache warm;
    AnnotationRenderer::Extras extras;
    extras.selectedID = scene.annotations[3].id;
    for (auto _ : state) {
        BlurCache fresh;
        if (mode == Cold) {
            CachedLayer::clearCache();
            SceneBase::clearCache();
        }
        QPainter painter(&canvas);
        AnnotationRenderer::drawScene(painter, scene, mode == Cached ? warm : fresh, extras);
    }
    static const char* names[] = {"cached", "uncached", "cold"};
    state.SetLabel(names[mode]);
}

// Where a cached frame goes: the background, the image with its shadow, the annotations.
void BM_RedrawPart(benchmark::State& state) {
    const EditorScene& full = sceneOf(int(state.range(0)));
    QImage canvas(full.contentSize().toSize(), QImage::Format_ARGB32_Premultiplied);
    EditorScene scene = full;
    static const char* names[] = {"background", "image and shadow", "annotations"};
    const int part = int(state.range(1));
    if (part != 1) scene.isWindowCapture = false;
    if (part != 0) scene.background = BackgroundStyle::None;
    if (part != 2) scene.annotations.clear();
    BlurCache warm;
    for (auto _ : state) {
        QPainter painter(&canvas);
        if (part == 0) {
            painter.setRenderHint(QPainter::Antialiasing);
            Backgrounds::paint(painter, QRectF(canvas.rect()), scene.background, {});
        } else if (part == 1) {
            AnnotationRenderer::drawScene(painter, scene, warm);
        } else {
            painter.setRenderHint(QPainter::Antialiasing);
            for (const Annotation& a : scene.annotations)
                AnnotationRenderer::draw(painter, a, scene, warm);
        }
    }
    state.SetLabel(names[part]);
}

void BM_RenderToPng(benchmark::State& state) {
    const EditorScene& scene = sceneOf(int(state.range(0)));
    const platform::codecs::PngEncoder encoder;
    qsizetype bytes = 0;
    for (auto _ : state) {
        BlurCache blurs;
        bytes = encoder.encode(AnnotationRenderer::render(scene, blurs)).size();
    }
    state.counters["bytes"] = double(bytes);
}

BENCHMARK(BM_Redraw)
    ->ArgsProduct({{1080, 2160}, {Cached, Uncached, Cold}})
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime();
BENCHMARK(BM_RedrawPart)
    ->ArgsProduct({{1080, 2160}, {0, 1, 2}})
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime();
BENCHMARK(BM_RenderToPng)->Arg(1080)->Arg(2160)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();

} // namespace

// Prints each cached redraw against the frame it has to fit in.
int main(int argc, char** argv) {
    return runDrawingBenchmarks(argc, argv, [](const BudgetReporter::Run& run) -> std::optional<std::string> {
        const std::string name = run.benchmark_name();
        if (name.rfind("BM_Redraw/", 0) != 0 || run.report_label != "cached") return std::nullopt;
        const bool uhd = name.find("/2160/") != std::string::npos;
        const double budget = uhd ? 40.0 : 16.0;
        const double ms = run.GetAdjustedRealTime();
        return std::string(uhd ? "2160p" : "1080p") + " cached redraw: " + std::to_string(ms) + " ms, " +
               std::to_string(ms / budget) + " of the " + std::to_string(int(budget)) + " ms budget";
    });
}
