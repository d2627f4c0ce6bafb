#include "agents/tools/AnnotateOperations.h"
#include "agents/tools/CaptureOperations.h"
#include "agents/tools/DesktopActions.h"
#include "agents/tools/ImageEdits.h"
#include "capture/HistoryManager.h"
#include "editor/EditorModel.h"
#include "editor/ProjectStore.h"
#include "support/FakePlatform.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QPainter>
#include <QTemporaryDir>

namespace {

using namespace AnnotateOperations;

const QSize imageSize(400, 200);

// A recognised line on a grid of 10 x 20 pixel characters from `topLeft`, normalised and
// measured from the bottom as recognisers report it.
platform::RecognizedLine line(const QString& text, QPoint topLeft) {
    const auto normalised = [](const QRectF& r) {
        return QRectF(r.x() / imageSize.width(), 1.0 - r.bottom() / imageSize.height(),
                      r.width() / imageSize.width(), r.height() / imageSize.height());
    };
    platform::RecognizedLine l{text, 0.9f, normalised(QRectF(topLeft, QSizeF(10.0 * text.size(), 20))), {}};
    for (qsizetype i = 0; i < text.size(); ++i)
        l.characterBoxes << (text[i].isSpace()
                                 ? QRectF()
                                 : normalised(QRectF(topLeft.x() + 10.0 * i, topLeft.y(), 10, 20)));
    return l;
}

QJsonArray ops(const char* json) {
    return QJsonDocument::fromJson(json).array();
}

QString parseError(const char* json) {
    const auto parsed = parse(ops(json));
    return parsed ? QString() : parsed.error().message;
}

class ImageToolsTest : public testsupport::PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        ASSERT_TRUE(QDir().mkpath(HistoryManager::directory()));
        image.fill(Qt::white);
    }

    // A capture in the history folder.
    QString capture(const QString& name = "Shot.png") {
        const QString path = HistoryManager::directory() + "/" + name;
        EXPECT_TRUE(image.save(path, "PNG"));
        return path;
    }

    QImage image{imageSize, QImage::Format_RGB32};
};

TEST_F(ImageToolsTest, ParsingNamesTheOperationAndWhatIsMissing) {
    EXPECT_EQ(parseError("[]"), "`operations` is empty: give at least one operation.");
    EXPECT_EQ(parseError("[5]"), "Operation 1 is not an object like {\"type\": \"arrow\", …}.");
    EXPECT_TRUE(parseError("[{\"from\": [1, 2]}]").startsWith("Operation 1 has no `type`"));
    EXPECT_TRUE(
        parseError("[{\"type\": \"arrow\", \"from\": [0, 0], \"to\": [5, 5]}, {\"type\": \"sparkle\"}]")
            .startsWith("Operation 2: unknown type “sparkle”. Use one of arrow, line"));
    EXPECT_EQ(parseError("[{\"type\": \"arrow\", \"from\": [0, 0]}]"),
              "Operation 1 (arrow): needs `from` and `to` points ({x, y} or [x, y]), or `target_text`.");
    EXPECT_EQ(parseError("[{\"type\": \"rectangle\", \"rect\": {\"x\": 1}}]"),
              "Operation 1 (rectangle): `rect` needs x, y, width and height as finite numbers (an object or "
              "[x, y, width, height]), not {\"x\":1}.");
    EXPECT_EQ(parseError("[{\"type\": \"blur\", \"rect\": [0, 0, 0, 10]}]"),
              "Operation 1 (blur): `rect` must have a width and height above 0.");
    EXPECT_EQ(parseError("[{\"type\": \"text\", \"at\": [0, 0]}]"), "Operation 1 (text): needs `text`.");
    EXPECT_EQ(parseError("[{\"type\": \"arrow\", \"from\": [0,0], \"to\": [1,1], \"color\": \"blurple\"}]"),
              "Operation 1 (arrow): `color` “blurple” is not a colour name, #hex or \"brand\".");
    EXPECT_EQ(parseError("[{\"type\": \"crop\"}]"),
              "Operation 1 (crop): needs `rect` or `aspect` (\"16:9\", \"1:1\"…).");
    EXPECT_EQ(parseError("[{\"type\": \"rotate\", \"degrees\": 45}]"),
              "Operation 1 (rotate): `degrees` must be 90, -90 or 180.");
    EXPECT_EQ(parseError("[{\"type\": \"background\", \"style\": \"plaid\"}]"),
              "Operation 1 (background): unknown background style “plaid” (list_styles has them).");
    EXPECT_EQ(parseError("[{\"type\": \"step\", \"target_text\": \"Save\", \"occurrence\": 0}]"),
              "Operation 1 (step): `occurrence` counts from 1.");

    // Lenient readers: arrays or objects, numbers as text, other spellings of types.
    const auto parsed = parse(ops(R"([{"type": "Rect", "rect": ["10", 20, 30, 40], "color": "#80ff0000"},
                                      {"type": "arrow", "from": {"x": 1, "y": 2}, "to": [3, 4]},
                                      {"type": "crop", "aspect": "16:9"}])"));
    ASSERT_TRUE(parsed) << parsed.error().message.toStdString();
    EXPECT_EQ(parsed->at(0).kind, Kind::Rectangle);
    EXPECT_EQ(*parsed->at(0).rect, QRectF(10, 20, 30, 40));
    EXPECT_EQ(parsed->at(0).style.color->alpha(), 128);
    EXPECT_EQ(parsed->at(0).style.color->red(), 255);
    EXPECT_EQ(parseColor("Pink"), QColor("pink"));
    EXPECT_EQ(parseColor("00ff00"), QColor(Qt::green));
    EXPECT_FALSE(parseColor("#12345"));
    EXPECT_EQ(*parsed->at(1).from, QPointF(1, 2));
    EXPECT_DOUBLE_EQ(*parsed->at(2).aspect, 16.0 / 9.0);
}

TEST_F(ImageToolsTest, OperationsMakeTheirAnnotationKindsAndImageChanges) {
    EditorModel model(image, 1.0);
    const auto parsed = parse(ops(R"([
        {"type": "arrow", "from": [10, 10], "to": [100, 50], "color": "blue", "stroke_width": 6},
        {"type": "line", "from": [0, 0], "to": [5, 5]},
        {"type": "rectangle", "rect": [10, 10, 50, 30]},
        {"type": "ellipse", "rect": [10, 10, 50, 30]},
        {"type": "highlight", "rect": [10, 10, 50, 30]},
        {"type": "blur", "rect": [10, 10, 50, 30]},
        {"type": "pixelate", "rect": [10, 10, 50, 30]},
        {"type": "spotlight", "rect": [10, 10, 50, 30]},
        {"type": "text", "at": [20, 20], "text": "Hello", "font_size": 30, "text_style": "filled"},
        {"type": "step", "at": [50, 50]},
        {"type": "step", "at": [80, 50]},
        {"type": "counter", "at": [50, 80], "number": 7},
        {"type": "emoji", "at": [0, 0], "emoji": "👍", "size": 64},
        {"type": "freehand", "points": [[0, 0], [5, 5], [9, 2]]},
        {"type": "expand_canvas", "all": 10, "fill": "black"}])"));
    ASSERT_TRUE(parsed) << parsed.error().message.toStdString();
    const auto applied = apply(model, *parsed, {});
    ASSERT_TRUE(applied) << applied.error().message.toStdString();
    EXPECT_EQ(applied->annotationsAdded, 14);

    const auto& a = model.annotations();
    ASSERT_EQ(a.size(), 14);
    const QList<EditorTool> tools{EditorTool::Arrow,   EditorTool::Line,      EditorTool::Rect,
                                  EditorTool::Ellipse, EditorTool::Highlight, EditorTool::Blur,
                                  EditorTool::Blur,    EditorTool::Spotlight, EditorTool::Text,
                                  EditorTool::Step,    EditorTool::Step,      EditorTool::Counter,
                                  EditorTool::Emoji,   EditorTool::Freehand};
    for (int i = 0; i < tools.size(); ++i)
        EXPECT_EQ(a[i].tool, tools[i]) << i;
    EXPECT_EQ(a[0].color, QColor(Qt::blue));
    EXPECT_EQ(a[0].lineWidth, 6);
    EXPECT_EQ(a[5].blurStyle, BlurStyle::Gaussian);
    EXPECT_EQ(a[6].blurStyle, BlurStyle::Pixelate);
    EXPECT_EQ(a[8].text, "Hello");
    EXPECT_EQ(a[8].textStyle, TextStyle::Filled);
    EXPECT_EQ(a[9].number, 1);
    EXPECT_EQ(a[10].number, 2);
    EXPECT_EQ(a[11].number, 7);
    EXPECT_EQ(a[12].text, "👍");
    EXPECT_EQ(a[13].points.size(), 3);
    // The canvas grew by 10 on each side and everything moved with the image.
    EXPECT_EQ(model.imageSize(), QSizeF(420, 220));
    EXPECT_EQ(a[0].p1, QPointF(20, 20));
    EXPECT_EQ(model.baseImage().pixelColor(0, 0), QColor(Qt::black));

    // Results stay within 50 megapixels.
    const auto huge = apply(model, *parse(ops(R"([{"type": "resize", "width": 20000}])")), {});
    ASSERT_FALSE(huge);
    EXPECT_EQ(huge.error().message, "Operation 1 (resize): the result would be larger than 50 megapixels.");
    EXPECT_FALSE(apply(model, *parse(ops(R"([{"type": "expand_canvas", "all": 5000}])")), {}));
    EXPECT_EQ(model.imageSize(), QSizeF(420, 220));
}

TEST_F(ImageToolsTest, NormalizedAndPreviewCoordinatesAreConverted) {
    EditorModel model(image, 1.0);
    const auto parsed = parse(ops(R"([{"type": "rectangle", "rect": [0.25, 0.5, 0.5, 0.25]},
                                      {"type": "crop", "rect": [0, 0, 0.5, 0.5]},
                                      {"type": "arrow", "from": [0, 0], "to": [1, 1]}])"));
    ASSERT_TRUE(parsed);
    ASSERT_TRUE(apply(model, *parsed, {Coordinates::Normalized, 1.0, {}, {}}));
    EXPECT_EQ(model.imageSize(), QSizeF(200, 100));
    // The rectangle lay below the crop; the arrow spans the cropped image.
    EXPECT_EQ(model.annotations()[0].p1, QPointF(100, 100));
    EXPECT_EQ(model.annotations()[1].p2, QPointF(200, 100));

    EditorModel preview(image, 1.0);
    ASSERT_TRUE(apply(preview, *parse(ops(R"([{"type": "arrow", "from": [10, 10], "to": [50, 20]}])")),
                      {Coordinates::Preview, 2.0, {}, {}}));
    EXPECT_EQ(preview.annotations()[0].p2, QPointF(100, 40));
}

// A capture whose project keeps 48 pixels of window shadow around the image, as window
// captures have: the saved file is the image plus that padding on every side.
class PaddedCaptureTest : public ImageToolsTest {
protected:
    static constexpr double padding = 48;
    const QSize canvasSize{imageSize.width() + 96, imageSize.height() + 96};

    static bool isBlue(const QColor& c) { return c.blue() > 200 && c.red() < 80 && c.green() < 80; }

    std::unique_ptr<EditorModel> paddedModel() {
        auto model = std::make_unique<EditorModel>(image, 1.0);
        model->setIsWindowCapture(true);
        model->setPadding(padding);
        return model;
    }

    // The capture as the history holds it: the rendered file with its project beside it.
    QString paddedCapture() {
        const QString path = HistoryManager::directory() + "/Window.png";
        auto model = paddedModel();
        EXPECT_TRUE(model->renderFinal()->save(path, "PNG"));
        EXPECT_TRUE(ProjectStore::save(model->makeProject(), path));
        return path;
    }

    // The saved result of annotating the capture.
    QImage annotated(const char* operations, const QString& coordinates = "pixels") {
        Prefs::setValue(QStringLiteral("imageFormat"), QStringLiteral("png"));
        const auto done =
            ImageEdits::annotate(paddedCapture(), ops(operations), coordinates, std::nullopt, true, {});
        EXPECT_TRUE(done) << (done ? "" : done.error().message.toStdString());
        if (!done) return {};
        const QImage saved(done->json["path"].toString());
        EXPECT_EQ(saved.size(), canvasSize);
        return saved;
    }
};

TEST_F(PaddedCaptureTest, MarksLandWhereTheAgentAimedInTheSavedImage) {
    textRecognition->lines = {line("Help", {300, 20})};
    const QImage saved = annotated(R"([
        {"type": "arrow", "from": [150, 150], "to": [350, 150], "color": "blue", "stroke_width": 8,
         "shadow": false},
        {"type": "rectangle", "rect": [100, 80, 200, 100], "color": "blue", "stroke_width": 6, "shadow": false},
        {"type": "rectangle", "target_text": "Help", "color": "blue", "stroke_width": 4, "shadow": false}])");
    ASSERT_FALSE(saved.isNull());
    // The arrow's shaft at y 150, not 48 pixels lower and to the right.
    EXPECT_TRUE(isBlue(saved.pixelColor(220, 150)));
    EXPECT_FALSE(isBlue(saved.pixelColor(220, 198)));
    // The rectangle's left edge at x 100; 48 pixels on is the inside of the box.
    EXPECT_TRUE(isBlue(saved.pixelColor(100, 130)));
    EXPECT_FALSE(isBlue(saved.pixelColor(148, 165)));
    // Recognised text is found in the image and boxed where it shows in the saved file:
    // "Help" is at x 300 to 340, y 20 to 40 of the image, so 348 to 388, 68 to 88 here.
    EXPECT_TRUE(isBlue(saved.pixelColor(344, 78)));
    EXPECT_FALSE(isBlue(saved.pixelColor(296, 30)));

    // In the model the marks are in image coordinates, as the editor keeps them.
    auto model = paddedModel();
    ASSERT_TRUE(apply(*model, *parse(ops(R"([{"type": "arrow", "from": [150, 150], "to": [350, 150]},
                                               {"type": "freehand", "points": [[48, 48], [60, 70]]}])")),
                      {}));
    EXPECT_EQ(model->annotations()[0].p1, QPointF(102, 102));
    EXPECT_EQ(model->annotations()[1].points[0], QPointF(0, 0));
}

TEST_F(PaddedCaptureTest, NormalizedAndPreviewCoordinatesAreFractionsAndPixelsOfTheSavedImage) {
    const QImage saved = annotated(
        R"([{"type": "rectangle", "rect": [0.25, 0.25, 0.5, 0.5], "color": "blue", "stroke_width": 6,
             "shadow": false}])",
        "normalized");
    ASSERT_FALSE(saved.isNull());
    // 0.25 of 496 × 296 is 124, 74: the left edge runs down x 124.
    EXPECT_TRUE(isBlue(saved.pixelColor(124, 148)));
    EXPECT_FALSE(isBlue(saved.pixelColor(172, 148)));

    auto model = paddedModel();
    ASSERT_TRUE(apply(*model, *parse(ops(R"([{"type": "arrow", "from": [0, 0], "to": [1, 1]}])")),
                      {Coordinates::Normalized, std::nullopt, {}, {}}));
    EXPECT_EQ(model->annotations()[0].p1, QPointF(-48, -48));
    EXPECT_EQ(model->annotations()[0].p2, QPointF(448, 248));

    // A preview of a wide capture is scaled from the saved image's size, padding included.
    EditorModel wide(QImage(3000, 200, QImage::Format_RGB32), 1.0);
    wide.setPadding(padding);
    const double scale = 3096.0 / 1568;
    ASSERT_TRUE(apply(wide, *parse(ops(R"([{"type": "step", "at": [784, 100]}])")),
                      {Coordinates::Preview, std::nullopt, {}, {}}));
    EXPECT_NEAR(wide.annotations()[0].p1.x(), 784 * scale - 48, 1e-9);
    EXPECT_NEAR(wide.annotations()[0].p1.y(), 100 * scale - 48, 1e-9);
}

TEST_F(ImageToolsTest, SizesArePixelsWhateverTheCoordinates) {
    // Resizing to a width gives an image that wide, not the width times the image's.
    EditorModel model(image, 1.0);
    const auto parsed = parse(ops(R"([{"type": "resize", "width": 800},
                                      {"type": "emoji", "at": [0.5, 0.5], "emoji": "👍", "size": 64},
                                      {"type": "expand_canvas", "top": 0.25}])"));
    ASSERT_TRUE(parsed);
    ASSERT_TRUE(apply(model, *parsed, {Coordinates::Normalized, std::nullopt, {}, {}}));
    EXPECT_EQ(model.renderFinal()->width(), 800);
    EXPECT_EQ(model.annotations()[0].fontSize, 32);
    // Margins are fractions of their own side: a quarter of the height above.
    EXPECT_EQ(model.imageSize(), QSizeF(800, 500));

    // With padding around the image, the saved image is what comes out at the width.
    EditorModel padded(image, 1.0);
    padded.setPadding(48);
    padded.setCornerRadius(10);
    ASSERT_TRUE(apply(padded, *parse(ops(R"([{"type": "resize", "width": 800}])")),
                      {Coordinates::Normalized, std::nullopt, {}, {}}));
    EXPECT_EQ(padded.renderFinal()->width(), 800);
    EXPECT_EQ(padded.imageSize().width(), 645);
    EXPECT_NEAR(padded.padding(), 77.5, 1e-9);
    EXPECT_NEAR(padded.cornerRadius(), 10 * 645.0 / 400, 1e-9);
    ASSERT_TRUE(apply(padded, *parse(ops(R"([{"type": "scale", "scale": 0.5}])")),
                      {Coordinates::Preview, 3.0, {}, {}}));
    EXPECT_EQ(padded.renderFinal()->width(), 400);
    // One step back undoes the whole resize, padding included.
    padded.undo();
    EXPECT_EQ(padded.renderFinal()->width(), 800);
}

TEST_F(ImageToolsTest, UnusableNumbersAreRefusedWithAMessage) {
    const std::pair<const char*, const char*> refused[] = {
        {R"([{"type": "arrow", "from": ["nan", 5], "to": [1, 1]}])",
         "Operation 1 (arrow): `from` must be a point {x, y} or [x, y] of finite numbers, not [\"nan\",5]."},
        {R"([{"type": "arrow", "from": [0, 0], "to": [1, 1], "stroke_width": "nan"}])",
         "Operation 1 (arrow): `stroke_width` must be a finite number, not “nan”."},
        {R"([{"type": "text", "at": [0, 0], "text": "Hi", "font_size": "inf"}])",
         "Operation 1 (text): `font_size` must be a finite number, not “inf”."},
        {R"([{"type": "line", "from": [0, 0], "to": [1, 1], "opacity": "-Infinity"}])",
         "Operation 1 (line): `opacity` must be a finite number, not “-Infinity”."},
        {R"([{"type": "blur", "rect": [0, 0, "1e309", 5]}])",
         "Operation 1 (blur): `rect` needs x, y, width and height as finite numbers (an object or [x, y, "
         "width, height]), not [0,0,\"1e309\",5]."},
        {R"([{"type": "resize", "width": "NaN"}])",
         "Operation 1 (resize): `width` must be a finite number, not “NaN”."},
        {R"([{"type": "step", "at": [1, 1], "number": "nan"}])",
         "Operation 1 (step): `number` must be a finite number, not “nan”."},
        {R"([{"type": "emoji", "at": [1, 1], "emoji": "👍", "size": "inf"}])",
         "Operation 1 (emoji): `size` must be a finite number, not “inf”."},
        {R"([{"type": "expand_canvas", "all": "1e400"}])",
         "Operation 1 (expand_canvas): `all` must be a finite number, not “1e400”."},
        {R"([{"type": "background", "padding": "nan"}])",
         "Operation 1 (background): `padding` must be a finite number, not “nan”."},
        {R"([{"type": "freehand", "points": [[0, 0], ["inf", 1]]}])",
         "Operation 1 (freehand): every entry of `points` must be a point {x, y} or [x, y] of finite "
         "numbers, "
         "not [\"inf\",1]."},
        {R"([{"type": "rotate", "degrees": 1e300}])",
         "Operation 1 (rotate): `degrees` must be 90, -90 or 180."},
        {R"([{"type": "step", "target_text": "Go", "occurrence": 1e300}])",
         "Operation 1 (step): `occurrence` must be at most 10000."},
        {R"([{"type": "background", "padding": 1e300}])",
         "Operation 1 (background): `padding` must be between 0 and 2000."},
    };
    for (const auto& [json, message] : refused)
        EXPECT_EQ(parseError(json), message) << json;

    // Non-finite numbers that reach the readers as numbers rather than text.
    for (const double bad : {qQNaN(), qInf(), -qInf()}) {
        const QJsonArray arrow{
            QJsonObject{{"type", "arrow"}, {"from", QJsonArray{bad, 0}}, {"to", QJsonArray{1, 1}}}};
        EXPECT_FALSE(parse(arrow));
        const QJsonArray width{QJsonObject{
            {"type", "line"}, {"from", QJsonArray{0, 0}}, {"to", QJsonArray{1, 1}}, {"stroke_width", bad}}};
        EXPECT_FALSE(parse(width));
    }

    // Finite but far beyond any image, or beyond once converted: refused, not drawn.
    EditorModel model(image, 1.0);
    const auto far =
        apply(model, *parse(ops(R"([{"type": "blur", "rect": [1e300, 1e300, 1e300, 1e300]}])")), {});
    ASSERT_FALSE(far);
    EXPECT_EQ(far.error().message, "Operation 1 (blur): the coordinates lie too far outside the image.");
    EXPECT_FALSE(apply(model, *parse(ops(R"([{"type": "arrow", "from": [1e308, 0], "to": [1, 1]}])")),
                       {Coordinates::Normalized, std::nullopt, {}, {}}));
    EXPECT_FALSE(apply(model, *parse(ops(R"([{"type": "crop", "rect": [-1e300, -1e300, 2e300, 2e300]}])")),
                       {Coordinates::Normalized, std::nullopt, {}, {}}));
    EXPECT_FALSE(apply(model, *parse(ops(R"([{"type": "expand_canvas", "all": 10000}])")),
                       {Coordinates::Normalized, std::nullopt, {}, {}}));
    EXPECT_FALSE(apply(
        model, *parse(ops(R"([{"type": "background", "padding": 2000}, {"type": "resize", "scale": 8}])")),
        {}));
    EXPECT_TRUE(model.annotations().isEmpty());
    EXPECT_EQ(model.imageSize(), QSizeF(imageSize));
}

TEST_F(ImageToolsTest, TargetTextAimsAtWhatRecognitionFound) {
    textRecognition->lines = {line("Sign in to continue", {100, 120}), line("Help", {300, 20})};
    EditorModel model(image, 1.0);
    const auto parsed = parse(ops(R"([
        {"type": "rectangle", "target_text": "Sign in"},
        {"type": "arrow", "target_text": "Help"},
        {"type": "step", "target_text": "continue"},
        {"type": "text", "target_text": "Sign in", "text": "Click here", "font_size": 12}])"));
    ASSERT_TRUE(parsed);
    const auto applied = apply(model, *parsed, {});
    ASSERT_TRUE(applied) << applied.error().message.toStdString();
    const auto& a = model.annotations();
    ASSERT_EQ(a.size(), 4);
    // "Sign in" covers x 100 to 170, y 120 to 140; the box leaves a margin around it.
    const QRectF box = QRectF(a[0].p1, a[0].p2).normalized();
    EXPECT_TRUE(box.contains(QRectF(100, 120, 70, 20)));
    EXPECT_LT(box.width(), 90);
    // The arrow's tip ends just beside "Help" (x 300 to 340, y 20 to 40), pointing at its middle.
    EXPECT_NEAR(a[1].p2.y(), 30, 1);
    EXPECT_TRUE(a[1].p2.x() < 300 || a[1].p2.x() > 340);
    // The badge sits left of "continue" (x 220 to 300) on its line.
    EXPECT_LT(a[2].p1.x(), 220);
    EXPECT_NEAR(a[2].p1.y(), 130, 1);
    // The text goes below its target.
    EXPECT_GE(a[3].p1.y(), 140);
    EXPECT_NEAR(a[3].p1.x(), 100, 1);

    const auto missing = apply(model, *parse(ops(R"([{"type": "blur", "target_text": "Password"}])")), {});
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().message, "Operation 1 (blur): “Password” was not found in the image.");
}

TEST_F(ImageToolsTest, EditedCapturesAreSavedAsNewEditableCapturesOrInPlace) {
    Prefs::setValue(QStringLiteral("imageFormat"), QStringLiteral("png"));
    const QString original = capture();
    auto model = CaptureOperations::openForEditing(original);
    ASSERT_TRUE(model);
    ASSERT_TRUE(apply(**model, *parse(ops(R"([{"type": "arrow", "from": [0, 0], "to": [50, 50]}])")), {}));
    const auto saved = CaptureOperations::saveEdited(**model, original, CaptureOperations::SaveMode::New);
    ASSERT_TRUE(saved) << saved.error().message.toStdString();
    EXPECT_EQ(saved->id, "Shot edited.png");
    EXPECT_EQ(QFileInfo(saved->path).absolutePath(), QDir(HistoryManager::directory()).absolutePath());
    EXPECT_EQ(saved->width, 400);
    EXPECT_GT(saved->bytes, 0);
    EXPECT_TRUE(QFileInfo::exists(original));
    ASSERT_TRUE(ProjectStore::has(saved->path));
    const auto project = ProjectStore::load(saved->path);
    ASSERT_TRUE(project);
    ASSERT_EQ(project->annotations.size(), 1);
    EXPECT_EQ(project->annotations[0].tool, EditorTool::Arrow);
    EXPECT_FALSE(ProjectStore::has(original));

    // Editing the edited capture again keeps its arrow; replacing writes over it.
    auto again = CaptureOperations::openForEditing(saved->path);
    ASSERT_TRUE(again);
    EXPECT_EQ((*again)->annotations().size(), 1);
    ASSERT_TRUE(apply(**again, *parse(ops(R"([{"type": "step", "at": [20, 20]}])")), {}));
    const auto replaced =
        CaptureOperations::saveEdited(**again, saved->path, CaptureOperations::SaveMode::Replace);
    ASSERT_TRUE(replaced);
    EXPECT_EQ(replaced->id, saved->id);
    EXPECT_EQ(ProjectStore::load(saved->path)->annotations.size(), 2);
    EXPECT_EQ(QDir(HistoryManager::directory()).entryList(QDir::Files).size(), 2);

    // Without keeping what was there, the pixels alone.
    auto plain = CaptureOperations::openForEditing(saved->path, false);
    ASSERT_TRUE(plain);
    EXPECT_TRUE((*plain)->annotations().isEmpty());

    // Files outside the history cannot be replaced.
    QTemporaryDir elsewhere;
    const QString outside = elsewhere.filePath("x.png");
    image.save(outside, "PNG");
    auto other = CaptureOperations::openForEditing(outside);
    ASSERT_TRUE(other);
    EXPECT_FALSE(CaptureOperations::saveEdited(**other, outside, CaptureOperations::SaveMode::Replace));
}

TEST_F(ImageToolsTest, RedactionListsOnADryRunAndBurnsTheBoxesIn) {
    textRecognition->lines = {line("mail jane@example.com now", {20, 40}), line("Secret plan", {20, 120})};
    QPainter(&image).fillRect(QRect(20, 40, 250, 20), Qt::black);
    for (int x = 70; x < 200; x += 4)
        image.setPixelColor(x, 50, Qt::white);

    const auto found = CaptureOperations::findSensitive(image, {}, {"Secret"});
    ASSERT_TRUE(found);
    ASSERT_EQ(found->size(), 2);
    EXPECT_EQ(found->at(0).kind, "email");
    EXPECT_EQ(found->at(0).sample, "jane@example.com");
    EXPECT_EQ(found->at(1).kind, "text");
    EXPECT_EQ(CaptureOperations::toJson(found->at(1))["rect"].toObject()["x"].toInt(), 20);

    const auto onlyPhones = CaptureOperations::findSensitive(image, {"phone"}, {});
    ASSERT_TRUE(onlyPhones);
    EXPECT_TRUE(onlyPhones->isEmpty());
    EXPECT_FALSE(CaptureOperations::findSensitive(image, {"shoe size"}, {}));

    EditorModel model(image, 1.0);
    CaptureOperations::burnIn(model, *found, BlurStyle::Pixelate);
    // No annotation holds the secret: the pixels themselves changed.
    EXPECT_TRUE(model.annotations().isEmpty());
    EXPECT_NE(model.baseImage().copy(70, 40, 130, 20),
              image.convertToFormat(model.baseImage().format()).copy(70, 40, 130, 20));
    EXPECT_EQ(model.baseImage().pixelColor(300, 180), QColor(Qt::white));
    EXPECT_EQ(ProjectDocument::fromBinary(model.makeProject().toBinary())->imagePNG,
              model.makeProject().imagePNG);
}

TEST_F(ImageToolsTest, CombineStacksWithSpacingAndFill) {
    QImage small(100, 50, QImage::Format_RGB32);
    small.fill(Qt::red);
    const QImage vertical = CaptureOperations::combine({image, small}, true, 10, QColor(Qt::green));
    EXPECT_EQ(vertical.size(), QSize(400, 260));
    EXPECT_EQ(vertical.pixelColor(0, 205), QColor(Qt::green));
    EXPECT_EQ(vertical.pixelColor(200, 230), QColor(Qt::red));
    const QImage across = CaptureOperations::combine({image, small, small}, false, 0, std::nullopt);
    EXPECT_EQ(across.size(), QSize(600, 200));
    EXPECT_EQ(across.pixelColor(450, 0).alpha(), 0);
}

TEST_F(ImageToolsTest, ExportWritesFilesOnePDFOrOneZIP) {
    const QStringList files{capture("a.png"), capture("b.png"), capture("c.png")};
    QTemporaryDir out;
    const auto pdf = CaptureOperations::exportCaptures({files, out.path(), "pdf", std::nullopt, false});
    ASSERT_TRUE(pdf) << pdf.error().message.toStdString();
    EXPECT_EQ(pdf->items, 3);
    ASSERT_EQ(pdf->paths.size(), 1);
    EXPECT_TRUE(pdf->paths[0].endsWith(".pdf"));
    EXPECT_TRUE(QFileInfo::exists(pdf->paths[0]));

    const auto zip =
        CaptureOperations::exportCaptures({files, out.filePath("bundle.zip"), "zip", std::nullopt, false});
    ASSERT_TRUE(zip);
    EXPECT_EQ(zip->items, 3);
    EXPECT_EQ(zip->paths, QStringList{out.filePath("bundle.zip")});

    const auto jpegs = CaptureOperations::exportCaptures({files, out.filePath("small"), "jpeg", 100, false});
    ASSERT_TRUE(jpegs) << jpegs.error().message.toStdString();
    EXPECT_EQ(jpegs->items, 3);
    EXPECT_EQ(QImage(jpegs->paths[0]).width(), 100);
    EXPECT_TRUE(jpegs->paths[0].endsWith("a.jpg"));
    // Taken names get another; overwrite replaces.
    const auto twice =
        CaptureOperations::exportCaptures({{files[0]}, out.filePath("small"), "jpeg", 100, false});
    EXPECT_NE(twice->paths[0], jpegs->paths[0]);
    const auto over =
        CaptureOperations::exportCaptures({{files[0]}, out.filePath("small"), "jpeg", 100, true});
    EXPECT_EQ(over->paths[0], jpegs->paths[0]);

    // The default destination is the save folder.
    Prefs::setValue(QStringLiteral("saveDirectory"), out.filePath("saved"));
    const auto plain = CaptureOperations::exportCaptures({{files[1]}, {}, {}, std::nullopt, false});
    ASSERT_TRUE(plain);
    EXPECT_EQ(plain->paths, QStringList{out.filePath("saved/b.png")});
    EXPECT_FALSE(CaptureOperations::exportCaptures({files, out.path(), "tiff", std::nullopt, false}));
}

TEST_F(ImageToolsTest, BackgroundRemovalKeepsTheSubjectAndAddsWhatGoesBehind) {
    QImage cut(imageSize, QImage::Format_ARGB32_Premultiplied);
    cut.fill(Qt::transparent);
    QPainter(&cut).fillRect(QRect(100, 50, 100, 60), Qt::blue);
    subjectLifter->cutOut = cut;

    EditorModel transparent(image, 1.0);
    CaptureOperations::CutOutOptions options;
    options.cropToSubject = true;
    ASSERT_TRUE(CaptureOperations::removeBackground(transparent, options));
    EXPECT_EQ(transparent.imageSize(), QSizeF(100, 60));

    EditorModel styled(image, 1.0);
    options = {};
    options.background = "glassOcean";
    ASSERT_TRUE(CaptureOperations::removeBackground(styled, options));
    EXPECT_EQ(styled.background(), BackgroundStyle::GlassOcean);
    EXPECT_GT(styled.padding(), 0);

    EditorModel colored(image, 1.0);
    options = {};
    options.background = "#00ff00";
    options.shadow = false;
    ASSERT_TRUE(CaptureOperations::removeBackground(colored, options));
    EXPECT_EQ(colored.baseImage().pixelColor(0, 0), QColor(Qt::green));
    EXPECT_EQ(colored.baseImage().pixelColor(150, 80), QColor(Qt::blue));

    options.background = "paisley";
    EditorModel wrong(image, 1.0);
    EXPECT_FALSE(CaptureOperations::removeBackground(wrong, options));
    subjectLifter->failure = Error{"No subject"};
    EXPECT_FALSE(CaptureOperations::removeBackground(wrong, {}));
}

TEST_F(ImageToolsTest, BeautifyByPresetOrStyle) {
    EditorModel model(image, 1.0);
    auto styled = CaptureOperations::BeautifyOptions::withPresets();
    styled.background = "sunset";
    styled.padding = 40.0;
    styled.cornerRadius = 12.0;
    ASSERT_TRUE(CaptureOperations::beautify(model, styled));
    EXPECT_EQ(model.background(), BackgroundStyle::Sunset);
    EXPECT_EQ(model.padding(), 40);
    EXPECT_EQ(model.cornerRadius(), 12);

    // Presets come from the snapshot taken on the main thread, by name in any case.
    CaptureOperations::BeautifyOptions named;
    BeautifyPreset poster;
    poster.name = "Poster";
    poster.style = "sunset";
    poster.padding = 20;
    poster.radius = 6;
    named.presets = {poster};
    named.preset = "  poster ";
    ASSERT_TRUE(CaptureOperations::beautify(model, named));
    EXPECT_EQ(model.padding(), 20);
    EXPECT_EQ(model.cornerRadius(), 6);
    named.preset = "No such preset";
    const auto missing = CaptureOperations::beautify(model, named);
    ASSERT_FALSE(missing);
    EXPECT_TRUE(missing.error().message.contains("Poster"));

    CaptureOperations::BeautifyOptions desktop;
    desktop.background = "desktop";
    EXPECT_FALSE(CaptureOperations::beautify(model, desktop)) << "only window captures have a desktop";
}

TEST_F(ImageToolsTest, AnnotateStoresANewCaptureAndOpensItWhenAsked) {
    QStringList opened;
    DesktopActions::Hooks hooks;
    hooks.openEditor = [&opened](const QString& file) { opened << file; };
    DesktopActions::setHooks(hooks);
    const QString original = capture();
    ImageEdits::Delivery delivery;
    delivery.openInEditor = true;
    const auto done =
        ImageEdits::annotate(original, ops(R"([{"type": "arrow", "from": [0.1, 0.1], "to": [0.5, 0.5]}])"),
                             "normalized", 1.0, true, delivery);
    DesktopActions::setHooks({});
    ASSERT_TRUE(done) << done.error().message.toStdString();
    EXPECT_EQ(done->json["id"].toString(), "Shot edited.png");
    EXPECT_EQ(done->json["annotations_added"].toInt(), 1);
    EXPECT_EQ(done->image.size(), imageSize);
    EXPECT_EQ(opened, QStringList{done->json["path"].toString()});
    EXPECT_TRUE(done->notes.contains("Opened in Pictavia's editor."));
    EXPECT_FALSE(ImageEdits::annotate(original, ops("[]"), "pixels", 1.0, true, {}));
    EXPECT_FALSE(
        ImageEdits::annotate(original, ops(R"([{"type": "clear_annotations"}])"), "inches", 1.0, true, {}));
}

TEST_F(ImageToolsTest, RedactDryRunChangesNothingAndARealRunStoresARedactedCapture) {
    textRecognition->lines = {line("mail jane@example.com now", {20, 40})};
    const QString original = capture();
    const auto dry = ImageEdits::redact(original, {}, {}, "", true, {});
    ASSERT_TRUE(dry) << dry.error().message.toStdString();
    EXPECT_EQ(dry->json["count"].toInt(), 1);
    EXPECT_EQ(dry->json["found"].toArray()[0].toObject()["kind"].toString(), "email");
    EXPECT_FALSE(dry->json.contains("id"));
    EXPECT_EQ(QDir(HistoryManager::directory()).entryList(QDir::Files).size(), 1);

    const auto real = ImageEdits::redact(original, {}, {}, "blur", false, {});
    ASSERT_TRUE(real) << real.error().message.toStdString();
    EXPECT_EQ(real->json["count"].toInt(), 1);
    EXPECT_EQ(real->json["id"].toString(), "Shot edited.png");
    EXPECT_EQ(QDir(HistoryManager::directory()).entryList(QDir::Files).size(), 2);
    EXPECT_TRUE(ProjectStore::load(real->json["path"].toString())->annotations.isEmpty());
    EXPECT_FALSE(ImageEdits::redact(original, {}, {}, "smudge", false, {}));
}

TEST_F(ImageToolsTest, CombineStoresOneNewCapture) {
    const QString a = capture("a.png");
    image = QImage(100, 50, QImage::Format_RGB32);
    image.fill(Qt::red);
    const QString b = capture("b.png");
    const auto done = ImageEdits::combine({a, b}, "horizontal", 20, "white", {});
    ASSERT_TRUE(done) << done.error().message.toStdString();
    EXPECT_EQ(done->json["width"].toInt(), 520);
    EXPECT_EQ(done->json["height"].toInt(), 200);
    EXPECT_EQ(done->json["id"].toString(), "a combined.png");
    EXPECT_EQ(ImageEdits::combine({a}, "", 0, "", {}).error().message,
              "Give at least two captures to combine.");
    EXPECT_FALSE(ImageEdits::combine({a, b}, "diagonal", 0, "", {}));
}

} // namespace
