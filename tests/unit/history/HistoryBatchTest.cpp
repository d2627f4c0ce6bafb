#include "history/HistoryBatch.h"

#include "support/FakePlatform.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <archive.h>
#include <archive_entry.h>

#include <map>

namespace {

using testsupport::PlatformTest;

class HistoryBatchTest : public PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        ASSERT_TRUE(QDir().mkpath(dir(QStringLiteral("history"))));
        ASSERT_TRUE(QDir().mkpath(dir(QStringLiteral("out"))));
        ASSERT_TRUE(QDir().mkpath(dir(QStringLiteral("tmp"))));
        // The ZIP working folders are made here, where the test can see what is left.
        qputenv("TMPDIR", dir(QStringLiteral("tmp")).toUtf8());
        HistoryBatch::setPanels({[this](const QString& name) {
                                     suggested << name;
                                     return chosenFile.isEmpty() ? chosenFile : dir(chosenFile);
                                 },
                                 [this] { return chosenFolder; },
                                 [this](const QStringList& folders) { revealed << folders; }});
    }
    void TearDown() override {
        HistoryBatch::setPanels({});
        qunsetenv("TMPDIR");
    }

    QString dir(const QString& name) const { return home.filePath(name); }

    QString image(const QString& name, QSize size, QColor color = Qt::blue) {
        QImage pixels(size, QImage::Format_RGB32);
        pixels.fill(color);
        const QString path = dir(QStringLiteral("history/") + name);
        EXPECT_TRUE(pixels.save(path, "PNG"));
        return path;
    }
    QString notAnImage(const QString& name) {
        const QString path = dir(QStringLiteral("history/") + name);
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("not pixels");
        return path;
    }

    QStringList suggested;
    QString chosenFile = QStringLiteral("out/result");
    QString chosenFolder;
    QList<QStringList> revealed;
};

// The page sizes of a PDF, in the order its pages were written.
QList<QSizeF> pageSizes(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return {};
    const QString text = QString::fromLatin1(file.readAll());
    static const QRegularExpression mediaBox(
        QStringLiteral(R"(/MediaBox\s*\[\s*0\s+0\s+([\d.]+)\s+([\d.]+)\s*\])"));
    QList<QSizeF> sizes;
    for (auto it = mediaBox.globalMatch(text); it.hasNext();) {
        const auto match = it.next();
        sizes << QSizeF(match.captured(1).toDouble(), match.captured(2).toDouble());
    }
    return sizes;
}

int pageObjects(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return -1;
    static const QRegularExpression page(QStringLiteral(R"(/Type\s*/Page\b(?!s))"));
    return int(QString::fromLatin1(file.readAll()).count(page));
}

// Every entry of a ZIP archive with its bytes, read back with libarchive.
std::map<QString, QByteArray> zipEntries(const QString& path) {
    std::map<QString, QByteArray> entries;
    struct archive* reader = archive_read_new();
    archive_read_support_format_zip(reader);
    if (archive_read_open_filename(reader, QFile::encodeName(path).constData(), 16384) == ARCHIVE_OK) {
        struct archive_entry* entry = nullptr;
        while (archive_read_next_header(reader, &entry) == ARCHIVE_OK) {
            QByteArray bytes(archive_entry_size(entry), '\0');
            if (!bytes.isEmpty()) archive_read_data(reader, bytes.data(), size_t(bytes.size()));
            entries[QString::fromUtf8(archive_entry_pathname_utf8(entry))] = bytes;
        }
    }
    archive_read_free(reader);
    return entries;
}

QByteArray contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

TEST_F(HistoryBatchTest, PdfHasOnePagePerImageInSelectionOrderSkippingOtherFiles) {
    const QStringList files{image(QStringLiteral("a.png"), {120, 40}), notAnImage(QStringLiteral("b.png")),
                            image(QStringLiteral("c.png"), {30, 90}),
                            image(QStringLiteral("d.png"), {64, 64})};
    chosenFile = QStringLiteral("out/captures.pdf");
    HistoryBatch::exportPDF(files);

    EXPECT_EQ(suggested, QStringList{QStringLiteral("Pictavia captures.pdf")});
    EXPECT_EQ(toasts->shown, QStringList{QStringLiteral("Saved 3 pages to captures.pdf")});
    const QString pdf = dir(chosenFile);
    EXPECT_EQ(pageObjects(pdf), 3);
    EXPECT_EQ(pageSizes(pdf), (QList<QSizeF>{{120, 40}, {30, 90}, {64, 64}}));
}

TEST_F(HistoryBatchTest, PdfWithoutImagesLeavesNoFile) {
    chosenFile = QStringLiteral("out/empty.pdf");
    HistoryBatch::exportPDF(
        {notAnImage(QStringLiteral("x.png")), dir(QStringLiteral("history/missing.png"))});
    EXPECT_EQ(toasts->shown, QStringList{QStringLiteral("Could not write the PDF")});
    EXPECT_FALSE(QFile::exists(dir(chosenFile)));
}

TEST_F(HistoryBatchTest, ZipHoldsOneFolderWithTheFilesAndLeavesNoWorkingFolder) {
    const QString a = image(QStringLiteral("Shot one.png"), {10, 10});
    const QString b = notAnImage(QStringLiteral("notes.txt"));
    chosenFile = QStringLiteral("out/captures.zip");
    HistoryBatch::exportZIP({a, b});

    EXPECT_EQ(suggested, QStringList{QStringLiteral("Pictavia captures.zip")});
    EXPECT_TRUE(toasts->shown.isEmpty());
    const auto entries = zipEntries(dir(chosenFile));
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_TRUE(entries.count(QStringLiteral("Pictavia captures/")));
    EXPECT_EQ(entries.at(QStringLiteral("Pictavia captures/Shot one.png")), contents(a));
    EXPECT_EQ(entries.at(QStringLiteral("Pictavia captures/notes.txt")), contents(b));
    EXPECT_TRUE(QDir(dir(QStringLiteral("tmp"))).isEmpty());
}

TEST_F(HistoryBatchTest, ZipFailureToastsAndStillRemovesTheWorkingFolder) {
    chosenFile = QStringLiteral("out/no such folder/captures.zip");
    HistoryBatch::exportZIP({image(QStringLiteral("a.png"), {10, 10})});
    EXPECT_EQ(toasts->shown, QStringList{QStringLiteral("Could not create the archive")});
    EXPECT_TRUE(QDir(dir(QStringLiteral("tmp"))).isEmpty());

    toasts->shown.clear();
    chosenFile = QStringLiteral("out/missing.zip");
    HistoryBatch::exportZIP({dir(QStringLiteral("history/gone.png"))});
    EXPECT_EQ(toasts->shown, QStringList{QStringLiteral("Could not create the archive")});
    EXPECT_FALSE(QFile::exists(dir(chosenFile)));
    EXPECT_TRUE(QDir(dir(QStringLiteral("tmp"))).isEmpty());
}

TEST_F(HistoryBatchTest, StyledExportCountsImagesAndNamesCopiesWithoutOverwriting) {
    chosenFolder = dir(QStringLiteral("out"));
    const QString shot = image(QStringLiteral("Shot.png"), {40, 30});
    HistoryBatch::beautifyAndExportToFolder({shot});
    HistoryBatch::beautifyAndExportToFolder(
        {shot, notAnImage(QStringLiteral("junk.png")), image(QStringLiteral("Other.png"), {20, 20})});

    EXPECT_EQ(toasts->shown, (QStringList{QStringLiteral("Exported 1 styled image"),
                                          QStringLiteral("Exported 2 styled images")}));
    const QStringList names = QDir(chosenFolder).entryList(QDir::Files, QDir::Name);
    EXPECT_EQ(names, (QStringList{QStringLiteral("Other styled.png"), QStringLiteral("Shot styled (2).png"),
                                  QStringLiteral("Shot styled.png")}));
    // Beautified: on a canvas larger than the capture.
    const QImage styled(dir(QStringLiteral("out/Shot styled.png")));
    EXPECT_GT(styled.width(), 40);
    EXPECT_GT(styled.height(), 30);
}

TEST_F(HistoryBatchTest, StyledExportUsesTheImageFormatWhenItCanBeWritten) {
    const QString shot = image(QStringLiteral("Shot.png"), {40, 30});
    Prefs::setValue(QStringLiteral("imageFormat"), QStringLiteral("jpg"));
    EXPECT_EQ(HistoryBatch::beautifyAndExport({shot}, dir(QStringLiteral("out"))).size(), 1);
    Prefs::setValue(QStringLiteral("imageFormat"), QStringLiteral("tiff"));
    EXPECT_EQ(HistoryBatch::beautifyAndExport({shot}, dir(QStringLiteral("out"))).size(), 1);
    EXPECT_EQ(QDir(dir(QStringLiteral("out"))).entryList(QDir::Files, QDir::Name),
              (QStringList{QStringLiteral("Shot styled.jpg"), QStringLiteral("Shot styled.png")}));
}

TEST_F(HistoryBatchTest, EmptySelectionAsksNothingAndSaysSo) {
    HistoryBatch::exportPDF({});
    HistoryBatch::exportZIP({});
    HistoryBatch::beautifyAndExportToFolder({});
    HistoryBatch::share({});
    EXPECT_EQ(toasts->shown, QStringList(4, QStringLiteral("Select some screenshots first")));
    EXPECT_TRUE(suggested.isEmpty());
    EXPECT_TRUE(revealed.isEmpty());
}

TEST_F(HistoryBatchTest, CancelledPanelsWriteNothing) {
    chosenFile.clear();
    HistoryBatch::exportPDF({image(QStringLiteral("a.png"), {10, 10})});
    HistoryBatch::beautifyAndExportToFolder({image(QStringLiteral("a.png"), {10, 10})});
    EXPECT_TRUE(toasts->shown.isEmpty());
    EXPECT_TRUE(QDir(dir(QStringLiteral("out"))).isEmpty());
}

TEST_F(HistoryBatchTest, ShareHandsTheFilesToTheDesktop) {
    const QStringList files{image(QStringLiteral("a.png"), {10, 10}),
                            image(QStringLiteral("b.png"), {10, 10})};
    HistoryBatch::share(files);
    EXPECT_EQ(revealed, QList<QStringList>{files});
    EXPECT_TRUE(toasts->shown.isEmpty());
}

} // namespace
