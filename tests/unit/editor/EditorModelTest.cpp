#include "editor/EditorModel.h"
#include "capture/HistoryManager.h"
#include "editor/ClipboardOpener.h"
#include "editor/ProjectStore.h"
#include "support/EventLoop.h"
#include "support/FakePlatform.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFileInfo>
#include <QPainter>
#include <gtest/gtest.h>

namespace {

using testsupport::PlatformTest;
using testsupport::waitUntil;

QImage canvas(int w = 200, int h = 100) {
    QImage image(w, h, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::white);
    return image;
}

Annotation mark(EditorTool tool, QPointF p1, QPointF p2 = {}, int number = 1) {
    Annotation a;
    a.tool = tool;
    a.p1 = p1;
    a.p2 = p2;
    a.number = number;
    return a;
}

class EditorModelTest : public PlatformTest {};

TEST_F(EditorModelTest, UndoKeepsSixtyStepsAndRedoIsDroppedByAnyNewChange) {
    EditorModel model(canvas(), 1.0);
    for (int i = 0; i < 61; ++i)
        model.addAnnotation(mark(EditorTool::Rect, {double(i), 0}, {10, 10}));
    EXPECT_EQ(model.undoDepth(), EditorModel::undoLimit);
    for (int i = 0; i < 60; ++i)
        model.undo();
    // Back to the state after the first change; the empty start is gone.
    EXPECT_EQ(model.annotations().size(), 1);
    model.undo();
    EXPECT_EQ(model.annotations().size(), 1);

    model.redo();
    model.redo();
    EXPECT_EQ(model.annotations().size(), 3);
    EXPECT_TRUE(model.canRedo());
    model.addAnnotation(mark(EditorTool::Line, {0, 0}, {5, 5}));
    EXPECT_FALSE(model.canRedo());
}

TEST_F(EditorModelTest, UndoRestoresBeautifyAndImageAndClearsTheSelection) {
    EditorModel model(canvas(), 2.0);
    model.pushUndo();
    model.setPadding(40);
    model.setCornerRadius(12);
    model.setBackground(BackgroundStyle::Ocean);
    model.setIsWindowCapture(true);
    model.addAnnotation(mark(EditorTool::Arrow, {1, 1}, {50, 50}));
    model.applyCrop(QRectF(10, 10, 50, 40));
    ASSERT_EQ(model.imageSize(), QSizeF(50, 40));
    ASSERT_TRUE(model.selectedID());

    model.undo(); // the crop
    EXPECT_EQ(model.imageSize(), QSizeF(200, 100));
    EXPECT_FALSE(model.selectedID());
    model.undo(); // the arrow
    model.undo(); // the beautify settings
    EXPECT_EQ(model.padding(), 0);
    EXPECT_EQ(model.cornerRadius(), 0);
    EXPECT_EQ(model.background(), BackgroundStyle::None);
    EXPECT_FALSE(model.isWindowCapture());
    EXPECT_TRUE(model.annotations().isEmpty());
}

TEST_F(EditorModelTest, BadgeCountersFollowTheHighestNumber) {
    EditorModel model(canvas(), 1.0);
    model.setTool(EditorTool::Counter);
    for (int i = 0; i < 3; ++i)
        model.addAnnotation(model.newAnnotation({10.0 * i, 10}, {}));
    EXPECT_EQ(model.nextCounter(), 4);
    EXPECT_EQ(model.annotations()[2].number, 3);

    model.setSelectedID(model.annotations()[2].id);
    model.deleteSelected();
    EXPECT_EQ(model.nextCounter(), 3);
    model.undo();
    model.setSelectedID(model.annotations()[1].id);
    model.deleteSelected();
    EXPECT_EQ(model.nextCounter(), 4); // gaps lower down are not filled

    model.setTool(EditorTool::Step);
    EXPECT_EQ(model.newAnnotation({}, {}).number, 1);
}

TEST_F(EditorModelTest, HighlightsSnapToRecognisedWords) {
    EditorModel model(canvas(), 1.0);
    const QRectF word(40, 20, 60, 20);
    model.setWordBoxes({word, QRectF(110, 20, 40, 20)});

    // A click on a word takes the word, grown by 8 % and 16 % of its height.
    EXPECT_EQ(model.snappedHighlightRect(QRectF(50, 30, 2, 2)), word.adjusted(-1.6, -3.2, 1.6, 3.2));
    // A drag across both words takes both.
    EXPECT_EQ(model.snappedHighlightRect(QRectF(45, 25, 80, 5)), QRectF(38.4, 16.8, 113.2, 26.4));
    // A click on empty space keeps the tiny rectangle.
    EXPECT_EQ(model.snappedHighlightRect(QRectF(5, 80, 2, 2)), QRectF(5, 80, 2, 2));
    // Words at the edge are clipped to the image.
    model.setWordBoxes({QRectF(0, 0, 30, 10)});
    EXPECT_EQ(model.snappedHighlightRect(QRectF(5, 5, 1, 1)).topLeft(), QPointF(0, 0));
    model.setSmartHighlight(false);
    EXPECT_EQ(model.snappedHighlightRect(QRectF(5, 5, 1, 1)), QRectF(5, 5, 1, 1));
}

// Every image operation moves the annotations with the pixels they marked.
TEST_F(EditorModelTest, ImageOperationsKeepAnnotationsOnTheirPixels) {
    const QColor marked(10, 200, 30);
    QImage image = canvas(200, 100);
    image.setPixelColor(30, 70, marked);
    const QPointF centre(30.5, 70.5);

    const auto markedPixelStaysUnder = [&](const std::function<void(EditorModel&)>& operation) {
        EditorModel model(image, 2.0);
        model.addAnnotation(mark(EditorTool::Counter, centre));
        operation(model);
        const QPointF p = model.annotations().first().p1;
        const QPoint pixel(int(std::floor(p.x())), int(std::floor(p.y())));
        return model.baseImage().pixelColor(pixel) == marked;
    };
    EXPECT_TRUE(markedPixelStaysUnder([](EditorModel& m) { m.applyCrop(QRectF(20, 50, 40, 30)); }));
    EXPECT_TRUE(markedPixelStaysUnder([](EditorModel& m) { m.rotate(true); }));
    EXPECT_TRUE(markedPixelStaysUnder([](EditorModel& m) { m.rotate(false); }));
    EXPECT_TRUE(markedPixelStaysUnder([](EditorModel& m) { m.flip(true); }));
    EXPECT_TRUE(markedPixelStaysUnder([](EditorModel& m) { m.flip(false); }));
    EXPECT_TRUE(markedPixelStaysUnder([](EditorModel& m) { m.expandCanvas(7, 9, 3, 1, QColor(Qt::black)); }));
    EXPECT_TRUE(
        markedPixelStaysUnder([](EditorModel& m) { m.combine({canvas(300, 40)}, true, 8, std::nullopt); }));
    EXPECT_TRUE(
        markedPixelStaysUnder([](EditorModel& m) { m.combine({canvas(50, 300)}, false, 8, std::nullopt); }));

    EditorModel model(image, 1.0);
    Annotation line = mark(EditorTool::Line, {0, 0}, {100, 50});
    line.lineWidth = 4;
    model.addAnnotation(line);
    model.resizeImage(100);
    EXPECT_EQ(model.imageSize(), QSizeF(100, 50));
    EXPECT_EQ(model.annotations().first().p2, QPointF(50, 25));
    EXPECT_EQ(model.annotations().first().lineWidth, 2);
}

TEST_F(EditorModelTest, ExpandingTheCanvasFillsTheNewMargin) {
    EditorModel model(canvas(20, 10), 1.0);
    model.expandCanvas(5, 5, 0, 0, std::nullopt);
    EXPECT_EQ(model.imageSize(), QSizeF(25, 15));
    EXPECT_EQ(model.baseImage().pixelColor(0, 0).alpha(), 0);
    model.expandCanvas(0, 0, 0, 4, QColor(Qt::black));
    EXPECT_EQ(model.baseImage().pixelColor(28, 14), QColor(Qt::black));
}

TEST_F(EditorModelTest, PresetsAreOneUndoStep) {
    EditorModel model(canvas(), 1.0);
    BeautifyPreset preset;
    preset.style = QStringLiteral("glassOcean");
    preset.padding = 48;
    preset.radius = 10;
    model.applyPreset(preset);
    EXPECT_EQ(model.background(), BackgroundStyle::GlassOcean);
    EXPECT_EQ(model.padding(), 48);
    EXPECT_EQ(model.contentSize(), QSizeF(296, 196));
    model.undo();
    EXPECT_EQ(model.background(), BackgroundStyle::None);
    EXPECT_EQ(model.padding(), 0);
}

TEST_F(EditorModelTest, RedactionCoversEveryHitInOneStep) {
    // One recognised line with a normalised box per character.
    platform::RecognizedLine line{
        QStringLiteral("mail ada@example.com now"), 0.9f, QRectF(0.1, 0.4, 0.8, 0.2), {}};
    for (qsizetype i = 0; i < line.text.size(); ++i)
        line.characterBoxes.append(QRectF(0.1 + 0.03 * double(i), 0.4, 0.03, 0.2));
    textRecognition->lines = {line};
    EditorModel model(canvas(400, 100), 1.0);
    model.scanForSensitive();
    waitUntil([&] { return !model.scanningSensitive(); });
    ASSERT_TRUE(model.sensitiveScanned());
    ASSERT_EQ(model.sensitiveHits().size(), 1);

    model.redactDetected();
    ASSERT_EQ(model.annotations().size(), 1);
    EXPECT_EQ(model.annotations().first().tool, EditorTool::Blur);
    EXPECT_TRUE(model.sensitiveHits().isEmpty());
    model.undo();
    EXPECT_TRUE(model.annotations().isEmpty());
}

TEST_F(EditorModelTest, FailedBackgroundRemovalLeavesTheImage) {
    EditorModel model(canvas(), 1.0);
    subjectLifter->failure =
        Error{QStringLiteral("No subject found to cut out"), {}, platform::SubjectLifter::NoSubject};
    model.removeBackground();
    waitUntil([&] { return !model.removingBackground(); });
    EXPECT_EQ(model.imageSize(), QSizeF(200, 100));
    EXPECT_FALSE(model.canUndo());
    EXPECT_EQ(toasts->shown.last(), QStringLiteral("No subject found to cut out"));

    QImage cut = canvas();
    cut.fill(Qt::transparent);
    subjectLifter->failure.reset();
    subjectLifter->cutOut = cut;
    model.removeBackground();
    waitUntil([&] { return !model.removingBackground(); });
    EXPECT_EQ(model.baseImage().pixelColor(5, 5).alpha(), 0);
    EXPECT_TRUE(model.canUndo());
}

TEST_F(EditorModelTest, ClosingWritesAProjectOnlyWhenThereIsSomethingToKeep) {
    const QString capture = home.filePath(QStringLiteral("Shot.png"));
    {
        EditorModel untouched(canvas(), 1.0);
        untouched.sourceURL = capture;
        untouched.persistProjectOnCloseIfNeeded();
        EXPECT_FALSE(ProjectStore::has(capture));
    }
    {
        EditorModel padded(canvas(), 1.0);
        padded.sourceURL = capture;
        padded.setPadding(20);
        padded.persistProjectOnCloseIfNeeded();
        EXPECT_TRUE(ProjectStore::has(capture));
        EXPECT_TRUE(padded.didPersistProject);
    }
    // Reopened from its project, the capture comes back with its edits and numbering.
    EditorModel edited(canvas(), 2.0);
    edited.sourceURL = capture;
    edited.setTool(EditorTool::Step);
    edited.addAnnotation(edited.newAnnotation({20, 20}, {}));
    edited.addAnnotation(mark(EditorTool::Blur, {10, 10}, {60, 40}));
    edited.persistProjectOnCloseIfNeeded();
    const auto document = ProjectStore::load(capture);
    ASSERT_TRUE(document) << document.error().message.toStdString();
    const auto reopened = EditorModel::make(*document);
    ASSERT_TRUE(reopened);
    EXPECT_TRUE(reopened->openedFromProject);
    EXPECT_EQ(reopened->annotations(), edited.annotations());
    EXPECT_EQ(reopened->scale(), 2.0);
    EXPECT_EQ(reopened->nextStep(), 2);
    EXPECT_EQ(reopened->renderFinal()->convertToFormat(QImage::Format_ARGB32_Premultiplied),
              edited.renderFinal()->convertToFormat(QImage::Format_ARGB32_Premultiplied));
}

TEST_F(EditorModelTest, CopyAndSaveUseTheFlattenedImage) {
    EditorModel model(canvas(), 2.0);
    model.sourceURL = home.filePath(QStringLiteral("Capture 1.png"));
    model.addAnnotation(mark(EditorTool::Rect, {10, 10}, {60, 60}));
    model.copyToClipboard();
    ASSERT_EQ(clipboard->images.size(), 1);
    EXPECT_EQ(clipboard->images.first().devicePixelRatio(), 2.0);
    EXPECT_EQ(toasts->shown.last(), QStringLiteral("Copied"));

    const auto saved = model.saveToDefaultLocation();
    ASSERT_TRUE(saved);
    EXPECT_TRUE(saved->endsWith(QStringLiteral("Capture 1.png")));
    EXPECT_TRUE(toasts->shown.last().startsWith(QStringLiteral("Saved to ")));
    const QImage written(*saved);
    EXPECT_EQ(written.size(), QSize(200, 100));
    EXPECT_NE(written.pixelColor(10, 35), QColor(Qt::white)); // the rectangle's left edge

    // The default save folder is the desktop folder where there is one, and never made:
    // without one the file went to the home folder.
    EXPECT_FALSE(QDir(home.filePath(QStringLiteral("Desktop"))).exists());
    EXPECT_EQ(QFileInfo(*saved).absolutePath(), QDir::homePath());
    ASSERT_TRUE(QDir(home.path()).mkdir(QStringLiteral("Desktop")));
    EXPECT_EQ(QFileInfo(*model.saveToDefaultLocation()).absolutePath(),
              home.filePath(QStringLiteral("Desktop")));
    // A folder the user chose is made when missing.
    Prefs::setValue(QStringLiteral("saveDirectory"), home.filePath(QStringLiteral("Shots")));
    EXPECT_EQ(QFileInfo(*model.saveToDefaultLocation()).absolutePath(),
              home.filePath(QStringLiteral("Shots")));
}

TEST_F(EditorModelTest, DoneWritesTheEditsBackIntoTheHistoryCapture) {
    QStringList reindexed;
    HistoryManager::setIndex(
        {[&](const QString& path, const CaptureContext&) { reindexed << path; }, {}, {}});
    QDir().mkpath(HistoryManager::directory());
    const QString capture = QDir(HistoryManager::directory()).filePath(QStringLiteral("Shot.png"));
    ASSERT_TRUE(canvas().save(capture));

    auto model = ClipboardOpener::modelForFile(capture);
    ASSERT_TRUE(model);
    (*model)->addAnnotation(mark(EditorTool::Rect, {10, 10}, {60, 60}));
    int finished = 0;
    (*model)->onDone = [&] { ++finished; };
    (*model)->done();
    EXPECT_EQ(finished, 1);

    // The same file, now showing the rectangle, read again by the history.
    const QImage updated(capture);
    EXPECT_EQ(updated.size(), QSize(200, 100));
    EXPECT_NE(updated.pixelColor(10, 35), QColor(Qt::white));
    EXPECT_EQ(QDir(HistoryManager::directory()).entryList(QDir::Files),
              QStringList{QStringLiteral("Shot.png")});
    EXPECT_EQ(reindexed, QStringList{capture});

    // Opened again, it has its rectangle as an annotation over the original pixels.
    auto reopened = ClipboardOpener::modelForFile(capture);
    ASSERT_TRUE(reopened);
    EXPECT_EQ((*reopened)->annotations().size(), 1);
    EXPECT_EQ((*reopened)->baseImage().pixelColor(10, 35), QColor(Qt::white));

    // A file from elsewhere is left as it is; an untouched capture is not written again.
    const QString elsewhere = home.filePath(QStringLiteral("Elsewhere.png"));
    ASSERT_TRUE(canvas().save(elsewhere));
    auto outside = ClipboardOpener::modelForFile(elsewhere);
    (*outside)->addAnnotation(mark(EditorTool::Rect, {10, 10}, {60, 60}));
    (*outside)->done();
    EXPECT_EQ(QImage(elsewhere).pixelColor(10, 35), QColor(Qt::white));
    reindexed.clear();
    EditorModel plain(canvas(), 1.0);
    plain.sourceURL = capture;
    plain.done();
    EXPECT_TRUE(reindexed.isEmpty());
    HistoryManager::setIndex({});
}

} // namespace
