#include "editor/Annotation.h"

#include <QFontMetricsF>
#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>

namespace {

QVariantMap minimal(const QString& tool = "rect") {
    return {{"tool", tool}, {"p1", QVariantList{10.0, 20.0}}, {"p2", QVariantList{30, 60}}};
}

TEST(AnnotationCoding, MinimalKeysTakeDefaults) {
    const auto decoded = Annotation::decode(minimal());
    ASSERT_TRUE(decoded.ok()) << decoded.error().message.toStdString();
    const Annotation& a = *decoded;
    EXPECT_EQ(a.tool, EditorTool::Rect);
    EXPECT_EQ(a.p1, QPointF(10, 20));
    EXPECT_EQ(a.p2, QPointF(30, 60));
    EXPECT_EQ(a.color, QColor(0xFF, 0x3B, 0x30));
    EXPECT_EQ(a.lineWidth, 4.0);
    EXPECT_EQ(a.fontSize, 28.0);
    EXPECT_EQ(a.opacity, 1.0);
    EXPECT_TRUE(a.shadow);
    EXPECT_EQ(a.number, 1);
    EXPECT_FALSE(a.brandGradient);
    EXPECT_EQ(a.blurStyle, BlurStyle::Pixelate);
    EXPECT_EQ(a.textStyle, TextStyle::Plain);
    EXPECT_FALSE(a.fontName);
    EXPECT_TRUE(a.points.isEmpty());
    EXPECT_TRUE(a.text.isEmpty());
    EXPECT_FALSE(a.id.isNull());
}

TEST(AnnotationCoding, RoundTripThroughJson) {
    Annotation a;
    a.tool = EditorTool::Freehand;
    a.p1 = {1.5, 2.25};
    a.p2 = {-3, 4};
    a.points = {{1, 2}, {3.5, 4.5}, {6, 7}};
    a.text = QStringLiteral("Hi ✓");
    a.number = 7;
    a.color = QColor::fromRgbF(0.2f, 0.4f, 0.6f, 0.5f);
    a.brandGradient = true;
    a.blurStyle = BlurStyle::Gaussian;
    a.lineWidth = 2.5;
    a.fontSize = 17;
    a.fontName = QStringLiteral("DejaVu Serif");
    a.textStyle = TextStyle::Outlined;
    a.opacity = 0.75;
    a.shadow = false;

    const QVariantMap encoded = a.encode();
    EXPECT_EQ(encoded["tool"].toString(), "freehand");
    EXPECT_EQ(encoded["color"].toMap()["b"].toDouble(), 0.6f);

    // Through JSON, as documents and agent tools carry it.
    const QByteArray json = QJsonDocument(QJsonObject::fromVariantMap(encoded)).toJson();
    const auto decoded = Annotation::decode(QJsonDocument::fromJson(json).object().toVariantMap());
    ASSERT_TRUE(decoded.ok()) << decoded.error().message.toStdString();
    EXPECT_EQ(*decoded, a);

    // Absent optionals stay absent.
    a.fontName.reset();
    EXPECT_FALSE(a.encode().contains("fontName"));
    EXPECT_EQ(*Annotation::decode(a.encode()), a);
}

TEST(AnnotationCoding, BadInputGivesSentences) {
    const auto message = [](const QVariantMap& map) {
        const auto result = Annotation::decode(map);
        return result.ok() ? QString() : result.error().message;
    };
    QVariantMap map = minimal();
    map.remove("p2");
    EXPECT_EQ(message(map), "The annotation has no \"p2\".");
    EXPECT_EQ(message(minimal("laser")), "The annotation's tool \"laser\" is not a known tool.");

    map = minimal();
    map["p1"] = QVariantList{1.0};
    EXPECT_EQ(message(map), "The annotation's \"p1\" is not a pair of numbers.");
    map = minimal();
    map["color"] = QVariantMap{{"r", 1.0}, {"g", "x"}, {"b", 0.0}};
    EXPECT_EQ(message(map), "The annotation's \"color\" is not a colour with r, g, b and a between 0 and 1.");
    map = minimal();
    map["textStyle"] = "bold";
    EXPECT_EQ(message(map), "The annotation's \"textStyle\" is not \"plain\", \"filled\" or \"outlined\".");
    map = minimal();
    map["points"] = QVariantList{QVariantList{1.0, 2.0}, "3,4"};
    EXPECT_EQ(message(map), "The annotation's \"points\" is not a list of number pairs.");
    map = minimal();
    map["number"] = 2.5;
    EXPECT_EQ(message(map), "The annotation's \"number\" is not a whole number.");
}

TEST(AnnotationCoding, ColourClampsAndDefaultsAlpha) {
    const auto color = CodableColor::decode(QVariantMap{{"r", 2.0}, {"g", 0.0}, {"b", -1.0}});
    ASSERT_TRUE(color);
    EXPECT_EQ(*color, QColor(255, 0, 0, 255));
    EXPECT_FALSE(CodableColor::decode(QVariant("red")));
}

TEST(AnnotationBounds, BadgesAreCentredOnTheirPoint) {
    Annotation counter;
    counter.tool = EditorTool::Counter;
    counter.p1 = {100, 50};
    counter.fontSize = 20;
    EXPECT_EQ(counter.bounds(), QRectF(83, 33, 34, 34));

    Annotation step = counter;
    step.tool = EditorTool::Step;
    step.number = 12;
    const QSizeF label = QFontMetricsF(boldSystemFont(17)).size(0, "Step 12");
    EXPECT_EQ(step.stepLabel(), "Step 12");
    EXPECT_EQ(step.stepPillSize(), label + QSizeF(24, 11));
    EXPECT_EQ(step.bounds().center(), QPointF(100, 50));
    EXPECT_EQ(step.bounds().size(), step.stepPillSize());
}

TEST(AnnotationBounds, TextAndEmojiStartAtTheirPointWithoutLineWidth) {
    Annotation text;
    text.tool = EditorTool::Text;
    text.p1 = {5, 6};
    text.text = "Hello";
    text.lineWidth = 30;
    const QSizeF measured = QFontMetricsF(boldSystemFont(28)).size(0, "Hello");
    EXPECT_EQ(text.bounds(), QRectF(QPointF(5, 6), measured + QSizeF(4, 2)));
    EXPECT_TRUE(text.textFont().bold());

    text.fontName = QStringLiteral("DejaVu Serif");
    EXPECT_EQ(text.textFont().family(), "DejaVu Serif");
    EXPECT_EQ(text.textFont().pixelSize(), 28);

    Annotation emoji = text;
    emoji.tool = EditorTool::Emoji;
    emoji.text = QStringLiteral("😀");
    EXPECT_EQ(emoji.emojiFont().pixelSize(), 56);
    EXPECT_EQ(emoji.bounds().topLeft(), QPointF(5, 6));
    EXPECT_GT(emoji.bounds().height(), 40);
}

TEST(AnnotationBounds, StrokesAreNormalisedAndGrownByLineWidth) {
    Annotation line;
    line.tool = EditorTool::Line;
    line.p1 = {50, 40};
    line.p2 = {10, 80};
    line.lineWidth = 3;
    EXPECT_EQ(line.bounds(), QRectF(7, 37, 46, 46));

    Annotation freehand = line;
    freehand.tool = EditorTool::Freehand;
    freehand.points = {{20, 20}, {25, 10}, {30, 22}};
    EXPECT_EQ(freehand.bounds(), QRectF(17, 7, 16, 18));
}

TEST(EditorTypes, AspectRatios) {
    EXPECT_EQ(aspectRatio(CropAspect::Free), 0);
    EXPECT_EQ(aspectRatio(CropAspect::Square), 1);
    EXPECT_DOUBLE_EQ(aspectRatio(CropAspect::Wide), 16.0 / 9.0);
    EXPECT_DOUBLE_EQ(aspectRatio(CropAspect::Portrait), 9.0 / 16.0);
}

} // namespace
