#include "editor/ClipboardOpener.h"
#include "capture/ImageUtils.h"
#include "editor/ProjectStore.h"
#include "support/FakePlatform.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <gtest/gtest.h>

namespace {

class ClipboardOpenerTest : public testsupport::PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        ClipboardOpener::setPresenter(
            [this](std::unique_ptr<EditorModel> model) { opened.push_back(std::move(model)); });
    }
    void TearDown() override {
        ClipboardOpener::setPresenter({});
        ClipboardOpener::setMovieOpener({});
    }

    QString write(const QString& name, const QByteArray& bytes) {
        const QString path = home.filePath(name);
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        return path;
    }

    static QImage picture() {
        QImage image(64, 32, QImage::Format_RGB32);
        image.fill(Qt::darkCyan);
        return image;
    }

    std::vector<std::unique_ptr<EditorModel>> opened;
};

TEST_F(ClipboardOpenerTest, FilesOpenAsPicturesOrWithTheirProjects) {
    const QString capture =
        write(QStringLiteral("Shot.png"), ImageUtils::data(picture(), QStringLiteral("png"), 2.0));
    ClipboardOpener::open(capture);
    ASSERT_EQ(opened.size(), 1u);
    EXPECT_EQ(opened[0]->imageSize(), QSizeF(64, 32));
    EXPECT_EQ(opened[0]->scale(), 2.0);
    EXPECT_FALSE(opened[0]->openedFromProject);

    // Edited and closed, the capture reopens with its annotations.
    opened[0]->addAnnotation(opened[0]->newAnnotation({2, 2}, {30, 20}));
    opened[0]->persistProjectOnCloseIfNeeded();
    ClipboardOpener::open(capture);
    ASSERT_EQ(opened.size(), 2u);
    EXPECT_TRUE(opened[1]->openedFromProject);
    EXPECT_EQ(opened[1]->annotations().size(), 1);
    EXPECT_EQ(opened[1]->sourceURL, capture);

    // An exported project opens on its own and is written back where it came from.
    const QString exported = write(QStringLiteral("Mine.pictavia"), opened[1]->makeProject().toBinary());
    ClipboardOpener::open(exported);
    ASSERT_EQ(opened.size(), 3u);
    EXPECT_EQ(opened[2]->projectFileURL, exported);
    opened[2]->clearAnnotations();
    EXPECT_TRUE(opened[2]->persistProject());
    EXPECT_TRUE(ProjectDocument::fromBinary([&] {
                    QFile f(exported);
                    f.open(QIODevice::ReadOnly);
                    return f.readAll();
                }())
                    ->annotations.isEmpty());
}

TEST_F(ClipboardOpenerTest, BadFilesAreRefusedWithAMessage) {
    ClipboardOpener::open(write(QStringLiteral("notes.png"), "not a picture"));
    EXPECT_EQ(toasts->shown.last(), QStringLiteral("Pictavia cannot open that file"));
    ClipboardOpener::open(
        write(QStringLiteral("broken.pictavia"), QByteArray("bplist00") + QByteArray(40, '\xff')));
    EXPECT_FALSE(toasts->shown.last().isEmpty());
    EXPECT_NE(toasts->shown.last(), QStringLiteral("Pictavia cannot open that file"));
    ClipboardOpener::open(home.filePath(QStringLiteral("missing.png")));
    EXPECT_EQ(toasts->shown.last(), QStringLiteral("Pictavia cannot open that file"));
    EXPECT_TRUE(opened.empty());

    // A capture whose project is damaged still opens as a picture.
    const QString capture =
        write(QStringLiteral("Kept.png"), ImageUtils::data(picture(), QStringLiteral("png")));
    QDir().mkpath(ProjectStore::directory());
    QFile damaged(ProjectStore::pathFor(capture));
    ASSERT_TRUE(damaged.open(QIODevice::WriteOnly));
    damaged.write("garbage");
    damaged.close();
    ClipboardOpener::open(capture);
    ASSERT_EQ(opened.size(), 1u);
    EXPECT_FALSE(opened[0]->openedFromProject);
    EXPECT_TRUE(toasts->shown.last().startsWith(QStringLiteral("The edits of Kept.png could not be read")))
        << qPrintable(toasts->shown.last());
}

TEST_F(ClipboardOpenerTest, CheckNamesTheFileAndWhatIsWrongWithIt) {
    EXPECT_TRUE(ClipboardOpener::check(
        write(QStringLiteral("Shot.png"), ImageUtils::data(picture(), QStringLiteral("png")))));
    const auto text = ClipboardOpener::check(write(QStringLiteral("notimg.txt"), "hello"));
    ASSERT_FALSE(text);
    EXPECT_EQ(text.error().message, QStringLiteral("notimg.txt is neither an image nor a Pictavia project"));
    for (const QByteArray& bytes : {QByteArray("bplist00") + QByteArray(40, '\xff'), QByteArray("junk")}) {
        const auto damaged = ClipboardOpener::check(write(QStringLiteral("damaged.pictavia"), bytes));
        ASSERT_FALSE(damaged);
        EXPECT_EQ(damaged.error().message,
                  QStringLiteral("damaged.pictavia is a damaged Pictavia project and cannot be opened"));
    }
    EXPECT_FALSE(ClipboardOpener::check(home.filePath(QStringLiteral("missing.png"))));
}

TEST_F(ClipboardOpenerTest, TheClipboardGivesAFileOrAPicture) {
    ClipboardOpener::openClipboard();
    EXPECT_EQ(toasts->shown.last(), QStringLiteral("Clipboard has no image or file to open"));

    QImage copied = picture();
    copied.setDevicePixelRatio(2.0);
    clipboard->held.image = copied;
    ClipboardOpener::openClipboard();
    ASSERT_EQ(opened.size(), 1u);
    EXPECT_EQ(opened[0]->scale(), 2.0);

    clipboard->held.files = {
        write(QStringLiteral("Copied.png"), ImageUtils::data(picture(), QStringLiteral("png")))};
    ClipboardOpener::openClipboard();
    ASSERT_EQ(opened.size(), 2u);
    EXPECT_EQ(opened[1]->sourceURL, clipboard->held.files.first());
}

TEST_F(ClipboardOpenerTest, MoviesGoToTheVideoEditorAndAreCheckedByTheirFirstBox) {
    QStringList movies;
    ClipboardOpener::setMovieOpener([&movies](const QString& file) { movies << QFileInfo(file).fileName(); });
    // The start of an MP4: a box of 32 bytes of type "ftyp".
    const QString movie = write(QStringLiteral("Clip.mp4"),
                                QByteArray::fromHex("00000020") + "ftypisom" + QByteArray(20, '\0'));
    const QString text = write(QStringLiteral("Notes.mov"), "just some words, no movie");
    EXPECT_TRUE(ClipboardOpener::check(movie));
    const auto refused = ClipboardOpener::check(text);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().message, QStringLiteral("“Notes.mov” is not a video Pictavia can read."));

    ClipboardOpener::open(movie);
    EXPECT_EQ(movies, QStringList{QStringLiteral("Clip.mp4")});
    EXPECT_TRUE(opened.empty()) << "a movie went to the image editor";
}

} // namespace
