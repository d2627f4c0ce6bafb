// Reference renderings of every annotation kind and background style, compared with the
// PNGs in golden/ within a tolerance (fonts and antialiasing differ a little between
// library versions).
//
// After an intended change of the look, rewrite the references and review them:
//     PICTAVIA_UPDATE_GOLDEN=1 build/tests/unit_tests --gtest_filter='RendererGolden*'

#include "editor/AnnotationRenderer.h"
#include "support/GoldenImages.h"

#include <QDir>
#include <QImage>
#include <QPainter>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

namespace {

// A small screenshot-like picture: a title bar, text-like bars and a coloured panel.
QImage sampleImage(QSize size) {
    QImage image(size, QImage::Format_RGB32);
    image.fill(QColor(246, 246, 248));
    QPainter p(&image);
    p.fillRect(0, 0, size.width(), 12, QColor(222, 224, 230));
    for (int i = 0; i < 3; ++i)
        p.fillRect(6 + 7 * i, 3, 5, 5, QColor::fromHsv(i * 40, 180, 230));
    for (int row = 0; 20 + row * 9 < size.height() - 4; ++row)
        p.fillRect(8, 20 + row * 9, (size.width() / 2) - (row * 11) % 30, 4, QColor(60, 64, 72));
    p.fillRect(QRect(size.width() * 2 / 3, 20, size.width() / 4, size.height() - 30), QColor(80, 150, 230));
    return image;
}

struct Case {
    const char* name;
    std::function<void(EditorScene&, AnnotationRenderer::Extras&)> setUp;
};

Annotation make(EditorTool tool, QPointF p1, QPointF p2) {
    Annotation a;
    a.tool = tool;
    a.p1 = p1;
    a.p2 = p2;
    return a;
}

void add(EditorScene& scene, const Annotation& a) {
    scene.annotations.append(a);
}

const QList<Case>& annotationCases() {
    static const QList<Case> cases = {
        {"arrow",
         [](auto& s, auto&) {
             add(s, make(EditorTool::Arrow, {20, 80}, {130, 30}));
         }},
        {"arrow_brand",
         [](auto& s, auto&) {
             Annotation a = make(EditorTool::Arrow, {20, 80}, {130, 30});
             a.brandGradient = true;
             a.lineWidth = 6;
             add(s, a);
         }},
        {"arrow_no_shadow",
         [](auto& s, auto&) {
             Annotation a = make(EditorTool::Arrow, {20, 80}, {130, 30});
             a.shadow = false;
             add(s, a);
         }},
        {"line",
         [](auto& s, auto&) {
             add(s, make(EditorTool::Line, {15, 20}, {145, 85}));
         }},
        {"rect",
         [](auto& s, auto&) {
             add(s, make(EditorTool::Rect, {120, 20}, {30, 75}));
         }},
        {"rect_translucent",
         [](auto& s, auto&) {
             Annotation a = make(EditorTool::Rect, {30, 20}, {120, 75});
             a.opacity = 0.5;
             a.lineWidth = 8;
             a.color = QColor(0, 160, 80);
             add(s, a);
         }},
        {"ellipse",
         [](auto& s, auto&) {
             Annotation a = make(EditorTool::Ellipse, {25, 15}, {135, 85});
             a.brandGradient = true;
             add(s, a);
         }},
        {"freehand",
         [](auto& s, auto&) {
             Annotation a = make(EditorTool::Freehand, {}, {});
             for (int i = 0; i <= 40; ++i)
                 a.points.append(QPointF(15 + i * 3.2, 50 + 25 * std::sin(i / 4.0)));
             add(s, a);
         }},
        {"highlight",
         [](auto& s, auto&) {
             Annotation a = make(EditorTool::Highlight, {4, 17}, {90, 38});
             a.color = QColor(255, 214, 10);
             add(s, a);
         }},
        {"text_plain",
         [](auto& s, auto&) {
             Annotation a = make(EditorTool::Text, {10, 25}, {});
             a.text = "Hello";
             add(s, a);
         }},
        {"text_filled",
         [](auto& s, auto&) {
             Annotation a = make(EditorTool::Text, {10, 25}, {});
             a.text = "Filled";
             a.fontSize = 24;
             a.textStyle = TextStyle::Filled;
             add(s, a);
         }},
        {"text_filled_brand",
         [](auto& s, auto&) {
             Annotation a = make(EditorTool::Text, {10, 25}, {});
             a.text = "Brand";
             a.textStyle = TextStyle::Filled;
             a.brandGradient = true;
             add(s, a);
         }},
        {"text_outlined",
         [](auto& s, auto&) {
             Annotation a = make(EditorTool::Text, {10, 25}, {});
             a.text = "Outline";
             a.textStyle = TextStyle::Outlined;
             a.color = QColor(0, 122, 255);
             add(s, a);
         }},
        {"emoji",
         [](auto& s, auto&) {
             Annotation a = make(EditorTool::Emoji, {50, 20}, {});
             a.text = QStringLiteral("😀");
             a.fontSize = 20;
             add(s, a);
         }},
        {"counter",
         [](auto& s, auto&) {
             Annotation a = make(EditorTool::Counter, {40, 50}, {});
             a.number = 3;
             a.fontSize = 20;
             add(s, a);
             a.p1 = {110, 50};
             a.number = 12;
             a.brandGradient = true;
             a.shadow = false;
             add(s, a);
         }},
        {"step",
         [](auto& s, auto&) {
             Annotation a = make(EditorTool::Step, {80, 50}, {});
             a.number = 2;
             a.fontSize = 18;
             add(s, a);
         }},
        {"blur_pixelate",
         [](auto& s, auto&) {
             add(s, make(EditorTool::Blur, {4, 15}, {100, 70}));
         }},
        {"blur_gaussian",
         [](auto& s, auto&) {
             Annotation a = make(EditorTool::Blur, {4, 15}, {150, 70});
             a.blurStyle = BlurStyle::Gaussian;
             add(s, a);
         }},
        {"spotlight",
         [](auto& s, auto&) {
             add(s, make(EditorTool::Spotlight, {30, 25}, {110, 70}));
         }},
        {"selection",
         [](auto& s, auto& extras) {
             add(s, make(EditorTool::Rect, {30, 25}, {110, 70}));
             Annotation arrow = make(EditorTool::Arrow, {20, 90}, {140, 80});
             arrow.shadow = false;
             add(s, arrow);
             extras.selectedID = s.annotations.first().id;
         }},
        {"selection_line",
         [](auto& s, auto& extras) {
             add(s, make(EditorTool::Line, {20, 80}, {130, 20}));
             extras.selectedID = s.annotations.first().id;
         }},
        {"crop_overlay",
         [](auto&, auto& extras) {
             extras.showHints = true;
             extras.cropRect = QRectF(30, 20, 90, 55);
         }},
        {"draft_over_annotations",
         [](auto& s, auto& extras) {
             add(s, make(EditorTool::Rect, {20, 20}, {100, 70}));
             Annotation draft = make(EditorTool::Ellipse, {60, 40}, {150, 90});
             draft.color = QColor(0, 122, 255);
             extras.draft = draft;
         }},
    };
    return cases;
}

QImage render(const Case& c, EditorScene scene) {
    AnnotationRenderer::Extras extras;
    c.setUp(scene, extras);
    const QSizeF size = scene.contentSize();
    QImage out(size.toSize(), QImage::Format_ARGB32_Premultiplied);
    out.fill(Qt::transparent);
    QPainter painter(&out);
    BlurCache blurs;
    AnnotationRenderer::drawScene(painter, scene, blurs, extras);
    painter.end();
    return out.convertToFormat(QImage::Format_ARGB32);
}

void expectMatchesGolden(const QImage& actual, const QString& name) {
    testsupport::expectMatchesGolden(actual, GOLDEN_DIR, name, "pictavia-" + name);
}

TEST(RendererGolden, EveryAnnotationKind) {
    EditorScene scene;
    scene.baseImage = sampleImage({160, 100});
    for (const Case& c : annotationCases()) {
        SCOPED_TRACE(c.name);
        expectMatchesGolden(render(c, scene), QString::fromLatin1(c.name));
    }
}

TEST(RendererGolden, EveryBackgroundStyle) {
    EditorScene scene;
    scene.baseImage = sampleImage({110, 50});
    scene.padding = 25;
    scene.cornerRadius = 8;
    scene.backdropImage = sampleImage({90, 70});
    scene.customBackground = sampleImage({40, 40}).mirrored(true, false);
    for (BackgroundStyle style : Backgrounds::allCases()) {
        SCOPED_TRACE(Backgrounds::raw(style).toStdString());
        scene.background = style;
        const Case c{"background", [](auto&, auto&) {}};
        expectMatchesGolden(render(c, scene), "background_" + Backgrounds::raw(style));
    }
}

TEST(RendererGolden, WindowShadowAndAnnotationsInsidePadding) {
    EditorScene scene;
    scene.baseImage = sampleImage({110, 50});
    scene.padding = 25;
    scene.cornerRadius = 6;
    scene.background = BackgroundStyle::Ocean;
    scene.isWindowCapture = true;
    const Case c{"window", [](auto& s, auto&) { add(s, make(EditorTool::Arrow, {10, 40}, {90, 10})); }};
    expectMatchesGolden(render(c, scene), "window_shadow");
    scene.windowShadow = false;
    expectMatchesGolden(render(c, scene), "window_no_shadow");
}

} // namespace
