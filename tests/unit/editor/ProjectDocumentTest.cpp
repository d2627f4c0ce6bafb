#include "editor/ProjectDocument.h"

#include "platform/plist/BinaryPropertyList.h"

#include <QBuffer>
#include <QImage>
#include <gtest/gtest.h>

namespace {

QByteArray png(const QColor& color, int width = 6, int height = 4) {
    QImage image(width, height, QImage::Format_ARGB32);
    image.fill(color);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

ProjectDocument fullDocument() {
    ProjectDocument d;
    d.savedAt = QDateTime(QDate(2024, 11, 3), QTime(9, 30, 15, 125), Qt::UTC);
    d.imagePNG = png(Qt::blue);
    d.scale = 2.0;
    d.padding = 48.5;
    d.cornerRadius = 12;
    d.background = QStringLiteral("glassOcean");
    d.nextCounter = 4;
    d.nextStep = 7;
    d.sourceFileName = QStringLiteral("Pictavia 2024-11-03 at 09.30.15.png");
    d.isWindowCapture = true;
    d.windowShadow = false;
    d.backdropPNG = png(Qt::green, 12, 8);
    d.customBackgroundPNG = png(Qt::yellow, 3, 3);

    Annotation arrow;
    arrow.tool = EditorTool::Arrow;
    arrow.p1 = {10, 20};
    arrow.p2 = {110.5, 80.25};
    arrow.color = QColor(0, 122, 255);
    arrow.lineWidth = 6;
    Annotation text;
    text.tool = EditorTool::Text;
    text.p1 = {5, 5};
    text.p2 = {5, 5};
    text.text = QStringLiteral("Look here — ✓");
    text.fontName = QStringLiteral("DejaVu Sans");
    text.textStyle = TextStyle::Filled;
    Annotation path;
    path.tool = EditorTool::Freehand;
    path.points = {{1, 1}, {2, 3}, {5, 8}};
    path.opacity = 0.5;
    Annotation step;
    step.tool = EditorTool::Step;
    step.number = 6;
    step.brandGradient = true;
    d.annotations = {arrow, text, path, step};
    return d;
}

QByteArray plistOf(const QVariantMap& map) {
    return BinaryPropertyList::encode(map);
}

std::string messageOf(const QByteArray& bytes) {
    const auto result = ProjectDocument::fromBinary(bytes);
    return result ? std::string("(decoded)") : result.error().message.toStdString();
}

} // namespace

TEST(ProjectDocumentTest, FullDocumentSurvivesTheBinaryForm) {
    const ProjectDocument original = fullDocument();
    const QByteArray bytes = original.toBinary();
    ASSERT_TRUE(bytes.startsWith("bplist00"));

    const auto decoded = ProjectDocument::fromBinary(bytes);
    ASSERT_TRUE(decoded.ok()) << decoded.error().message.toStdString();
    const ProjectDocument& d = *decoded;
    EXPECT_EQ(d.version, ProjectDocument::currentVersion);
    EXPECT_EQ(d.app, QStringLiteral("Pictavia"));
    EXPECT_EQ(d.savedAt, original.savedAt);
    EXPECT_EQ(d.imagePNG, original.imagePNG);
    EXPECT_EQ(d.scale, 2.0);
    EXPECT_EQ(d.padding, 48.5);
    EXPECT_EQ(d.cornerRadius, 12.0);
    EXPECT_EQ(d.background, QStringLiteral("glassOcean"));
    EXPECT_EQ(d.nextCounter, 4);
    EXPECT_EQ(d.nextStep, 7);
    EXPECT_EQ(d.sourceFileName, original.sourceFileName);
    EXPECT_TRUE(d.isWindowCapture);
    EXPECT_FALSE(d.windowShadow);
    EXPECT_EQ(d.backdropPNG, original.backdropPNG);
    EXPECT_EQ(d.customBackgroundPNG, original.customBackgroundPNG);
    ASSERT_EQ(d.annotations.size(), original.annotations.size());
    for (qsizetype i = 0; i < d.annotations.size(); ++i)
        EXPECT_EQ(d.annotations[i], original.annotations[i]) << "annotation " << i;
}

TEST(ProjectDocumentTest, OptionalFieldsAreLeftOutWhenAbsent) {
    ProjectDocument d;
    d.imagePNG = png(Qt::red);
    const QVariantMap map = d.encode();
    EXPECT_FALSE(map.contains("sourceFileName"));
    EXPECT_FALSE(map.contains("backdropPNG"));
    EXPECT_FALSE(map.contains("customBackgroundPNG"));

    const auto decoded = ProjectDocument::fromBinary(d.toBinary());
    ASSERT_TRUE(decoded.ok());
    EXPECT_FALSE(decoded->sourceFileName);
    EXPECT_FALSE(decoded->backdropPNG);
    EXPECT_FALSE(decoded->customBackgroundPNG);
}

TEST(ProjectDocumentTest, OnlyAnImageGivesTheDefaults) {
    const QByteArray image = png(Qt::red);
    const QDateTime before = QDateTime::currentDateTimeUtc().addSecs(-1);
    const auto decoded = ProjectDocument::fromBinary(plistOf({{"imagePNG", image}}));
    ASSERT_TRUE(decoded.ok()) << decoded.error().message.toStdString();
    const ProjectDocument& d = *decoded;
    EXPECT_EQ(d.imagePNG, image);
    EXPECT_EQ(d.version, 1);
    EXPECT_EQ(d.app, QStringLiteral("Pictavia"));
    EXPECT_GE(d.savedAt, before);
    EXPECT_EQ(d.scale, 1.0);
    EXPECT_TRUE(d.annotations.isEmpty());
    EXPECT_EQ(d.padding, 0.0);
    EXPECT_EQ(d.cornerRadius, 0.0);
    EXPECT_EQ(d.background, QStringLiteral("none"));
    EXPECT_EQ(d.nextCounter, 1);
    EXPECT_EQ(d.nextStep, 1);
    EXPECT_FALSE(d.sourceFileName);
    EXPECT_FALSE(d.isWindowCapture);
    EXPECT_TRUE(d.windowShadow);
}

TEST(ProjectDocumentTest, NumbersAreReadWhateverTheirStoredKind) {
    // Integers where reals are expected and whole reals where integers are: both occur in
    // files written by other encoders.
    const auto decoded = ProjectDocument::fromBinary(
        plistOf({{"imagePNG", png(Qt::red)}, {"padding", 32}, {"scale", 2}, {"nextCounter", 3.0}}));
    ASSERT_TRUE(decoded.ok()) << decoded.error().message.toStdString();
    EXPECT_EQ(decoded->padding, 32.0);
    EXPECT_EQ(decoded->scale, 2.0);
    EXPECT_EQ(decoded->nextCounter, 3);
}

TEST(ProjectDocumentTest, AnUnreadableAnnotationIsSkipped) {
    ProjectDocument d = fullDocument();
    QVariantMap map = d.encode();
    QVariantList annotations = map.value("annotations").toList();
    annotations.insert(
        1, QVariantMap{{"tool", "teleporter"}, {"p1", QVariantList{0, 0}}, {"p2", QVariantList{1, 1}}});
    annotations.insert(2, QStringLiteral("not an annotation"));
    map.insert("annotations", annotations);
    const auto decoded = ProjectDocument::fromBinary(plistOf(map));
    ASSERT_TRUE(decoded.ok()) << decoded.error().message.toStdString();
    EXPECT_EQ(decoded->annotations, d.annotations);
}

TEST(ProjectDocumentTest, ForeignAndMalformedFilesNameTheProblem) {
    const QByteArray image = png(Qt::red);
    EXPECT_EQ(messageOf(plistOf({{"app", "Keynote"}, {"slides", 12}})), "This is not a Pictavia project.");
    EXPECT_EQ(messageOf(plistOf({{"app", "Pictavia"}, {"scale", 2.0}})), "The project has no image.");
    EXPECT_EQ(messageOf(plistOf({})), "The project has no image.");
    EXPECT_EQ(messageOf(plistOf({{"imagePNG", "a string, not bytes"}})), "The project has no image.");
    EXPECT_EQ(messageOf(BinaryPropertyList::encode(QVariantList{1, 2, 3})),
              "This is not a Pictavia project.");
    EXPECT_EQ(messageOf(plistOf({{"imagePNG", image}, {"scale", "large"}})),
              "This is not a Pictavia project: its \"scale\" is not a number.");
    EXPECT_EQ(messageOf(plistOf({{"imagePNG", image}, {"windowShadow", 1}})),
              "This is not a Pictavia project: its \"windowShadow\" is not true or false.");
    EXPECT_EQ(messageOf(plistOf({{"imagePNG", image}, {"annotations", QVariantMap{}}})),
              "This is not a Pictavia project: its \"annotations\" is not a list.");
    EXPECT_EQ(messageOf(plistOf({{"imagePNG", image}, {"nextStep", 2.5}})),
              "This is not a Pictavia project: its \"nextStep\" is not a whole number.");
    EXPECT_EQ(messageOf(plistOf({{"imagePNG", image}, {"scale", 0}})),
              "This is not a Pictavia project: its \"scale\" is not a positive number.");

    EXPECT_EQ(messageOf(QByteArray()),
              "This is not a Pictavia project. The file is not a binary property list.");
    EXPECT_EQ(messageOf(png(Qt::red)),
              "This is not a Pictavia project. The file is not a binary property list.");
}

TEST(ProjectDocumentTest, TruncatedAndGarbledFilesFailWithoutCrashing) {
    const QByteArray bytes = fullDocument().toBinary();
    for (qsizetype length = 0; length < bytes.size(); length += 7) {
        const auto decoded = ProjectDocument::fromBinary(bytes.left(length));
        ASSERT_FALSE(decoded.ok()) << length;
        EXPECT_TRUE(decoded.error().message.startsWith("This is not a Pictavia project")) << length;
    }
    // Damage in the object table: any outcome but a crash is acceptable.
    for (qsizetype at = bytes.size() - 32; at < bytes.size(); ++at) {
        QByteArray garbled = bytes;
        garbled[at] = char(garbled[at] ^ 0x5A);
        (void)ProjectDocument::fromBinary(garbled);
    }
}
