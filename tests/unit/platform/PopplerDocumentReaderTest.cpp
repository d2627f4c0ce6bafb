#include "platform/document/PopplerDocumentReader.h"
#include "support/DamagedBytes.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QPageSize>
#include <QPainter>
#include <QPdfWriter>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtConcurrent>

#include <gtest/gtest.h>

#include <array>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

using platform::document::PopplerDocumentReader;

namespace {

const QColor red(255, 0, 0), green(0, 160, 0), blue(0, 0, 255), black(0, 0, 0), white(255, 255, 255);

// A4 pages (595 × 842 points): red; green with a black top-left quarter; blue on the left
// half only, the paper left bare on the right.
void writeSamplePdf(const QString& file, int pages = 3) {
    QPdfWriter writer(file);
    writer.setPageSize(QPageSize(QPageSize::A4));
    writer.setPageMargins(QMarginsF(0, 0, 0, 0));
    writer.setResolution(72);
    QPainter painter(&writer);
    const QRect page(0, 0, writer.width(), writer.height());
    painter.fillRect(page, red);
    if (pages == 1) return;
    writer.newPage();
    painter.fillRect(page, green);
    painter.fillRect(QRect(0, 0, page.width() / 2, page.height() / 2), black);
    writer.newPage();
    painter.fillRect(QRect(0, 0, page.width() / 2, page.height()), blue);
}

QByteArray rc4(const QByteArray& key, const QByteArray& data) {
    std::array<uint8_t, 256> s{};
    std::iota(s.begin(), s.end(), 0);
    for (int i = 0, j = 0; i < 256; ++i) {
        j = (j + s[i] + uint8_t(key[i % key.size()])) & 255;
        std::swap(s[i], s[j]);
    }
    QByteArray out = data;
    for (int n = 0, i = 0, j = 0; n < out.size(); ++n) {
        i = (i + 1) & 255;
        j = (j + s[i]) & 255;
        std::swap(s[i], s[j]);
        out[n] = char(uint8_t(out[n]) ^ s[(s[i] + s[j]) & 255]);
    }
    return out;
}

// A one-page PDF with the standard 40-bit security handler and the user password "secret",
// so that it cannot be opened without it.
QByteArray passwordProtectedPdf() {
    const QByteArray padding =
        QByteArray::fromHex("28BF4E5E4E758A4164004E56FFFA01082E2E00B6D0683E802F0CA9FE6453697A");
    const auto padded = [&](const QByteArray& password) { return (password + padding).left(32); };
    const auto md5 = [](const QByteArray& bytes) {
        return QCryptographicHash::hash(bytes, QCryptographicHash::Md5);
    };
    const QByteArray id = QByteArray::fromHex("0123456789abcdef0123456789abcdef");
    const QByteArray owner = rc4(md5(padded("owner")).left(5), padded("secret"));
    const QByteArray permissions = QByteArray::fromHex("fcffffff"); // -4, little-endian
    const QByteArray user = rc4(md5(padded("secret") + owner + permissions + id).left(5), padding);

    const std::vector<QByteArray> objects{
        "<< /Type /Catalog /Pages 2 0 R >>", "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 200 200] >>",
        "<< /Filter /Standard /V 1 /R 2 /O <" + owner.toHex() + "> /U <" + user.toHex() + "> /P -4 >>"};
    QByteArray pdf = "%PDF-1.4\n";
    QByteArray table = "xref\n0 5\n0000000000 65535 f \n";
    for (size_t i = 0; i < objects.size(); ++i) {
        table += QByteArray::number(pdf.size()).rightJustified(10, '0') + " 00000 n \n";
        pdf += QByteArray::number(qsizetype(i + 1)) + " 0 obj\n" + objects[i] + "\nendobj\n";
    }
    const qsizetype start = pdf.size();
    return pdf + table + "trailer\n<< /Size 5 /Root 1 0 R /Encrypt 4 0 R /ID [<" + id.toHex() + "> <" +
           id.toHex() + ">] >>\nstartxref\n" + QByteArray::number(start) + "\n%%EOF\n";
}

void writeFile(const QString& file, const QByteArray& bytes) {
    QFile out(file);
    ASSERT_TRUE(out.open(QIODevice::WriteOnly));
    out.write(bytes);
}

::testing::AssertionResult hasColour(const QImage& image, QPointF at, const QColor& expected) {
    const QColor seen = image.pixelColor(int(at.x() * image.width()), int(at.y() * image.height()));
    const int distance =
        std::max({std::abs(seen.red() - expected.red()), std::abs(seen.green() - expected.green()),
                  std::abs(seen.blue() - expected.blue())});
    if (distance <= 8) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << "at " << at.x() << "," << at.y() << " the page is " << seen.name().toStdString() << ", not "
           << expected.name().toStdString();
}

// Each page's colours, at points given as fractions of the page.
::testing::AssertionResult pageLooksRight(const Result<QImage>& rendered, int page) {
    if (!rendered) return ::testing::AssertionFailure() << rendered.error().message.toStdString();
    const QImage& image = *rendered;
    if (image.format() != QImage::Format_RGB32)
        return ::testing::AssertionFailure() << "format " << int(image.format());
    std::vector<std::pair<QPointF, QColor>> expected;
    if (page == 1) expected = {{{0.5, 0.5}, red}, {{0.02, 0.02}, red}, {{0.98, 0.98}, red}};
    if (page == 2) expected = {{{0.25, 0.25}, black}, {{0.75, 0.25}, green}, {{0.25, 0.75}, green}};
    if (page == 3) expected = {{{0.25, 0.5}, blue}, {{0.75, 0.5}, white}, {{0.98, 0.02}, white}};
    for (const auto& [at, colour] : expected)
        if (auto result = hasColour(image, at, colour); !result) return result << " on page " << page;
    return ::testing::AssertionSuccess();
}

// PATH replaced while it lives.
class ScopedPath {
public:
    explicit ScopedPath(const QString& path) : m_saved(qgetenv("PATH")) {
        qputenv("PATH", QFile::encodeName(path));
    }
    ~ScopedPath() { qputenv("PATH", m_saved); }
    ScopedPath(const ScopedPath&) = delete;
    ScopedPath& operator=(const ScopedPath&) = delete;

private:
    QByteArray m_saved;
};

// A stand-in for LibreOffice's soffice: logs its arguments, then "converts" by copying
// `pdf` into --outdir under the source's name, except for sources named broken.*, which
// it fails on as soffice does: quietly, with no PDF.
void writeFakeOffice(const QString& folder, const QString& pdf, const QString& log) {
    QDir().mkpath(folder);
    const QString file = folder + "/soffice";
    writeFile(file, QStringLiteral("#!/bin/sh\n"
                                   "printf '%s\\n' \"$*\" >> '%1'\n"
                                   "for last; do :; done\n"
                                   "while [ $# -gt 0 ]; do [ \"$1\" = --outdir ] && out=\"$2\"; shift; done\n"
                                   "name=$(basename \"$last\")\n"
                                   "case \"$name\" in broken.*) exit 0;; esac\n"
                                   "cp '%2' \"$out/${name%.*}.pdf\"\n")
                        .arg(log, pdf)
                        .toUtf8());
    QFile(file).setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

QStringList lines(const QString& file) {
    QFile in(file);
    if (!in.open(QIODevice::ReadOnly)) return {};
    return QString::fromUtf8(in.readAll()).split(u'\n', Qt::SkipEmptyParts);
}

} // namespace

class PopplerDocumentReaderTest : public ::testing::Test {
protected:
    void SetUp() override { writeSamplePdf(sample); }
    QString emptyFolder() const {
        QDir().mkpath(folder.filePath("empty"));
        return folder.filePath("empty");
    }

    QTemporaryDir folder;
    const QString sample = folder.filePath("sample.pdf");
    PopplerDocumentReader reader{folder.filePath("cache")};
};

TEST_F(PopplerDocumentReaderTest, HandlesDocumentsByTheirNames) {
    for (const char* name : {"a.pdf", "b.PDF", "c.docx", "d.Doc", "e.rtf", "f.ODT", "/tmp/g.h.pdf"})
        EXPECT_TRUE(reader.handles(name)) << name;
    for (const char* name : {"a.txt", "b.png", "pdf", "c.pdf.txt", "d.docm", "e.pdfx", ""})
        EXPECT_FALSE(reader.handles(name)) << name;
}

TEST_F(PopplerDocumentReaderTest, PagesRenderInTheirColoursOnWhite) {
    const Result<int> pages = reader.pageCount(sample);
    ASSERT_TRUE(pages) << pages.error().message.toStdString();
    EXPECT_EQ(*pages, 3);
    for (int page = 1; page <= 3; ++page)
        EXPECT_TRUE(pageLooksRight(reader.renderPage(sample, page, 0.5), page));
}

TEST_F(PopplerDocumentReaderTest, ScaleSetsThePixelSize) {
    for (const auto& [scale, size] : std::vector<std::pair<double, QSize>>{
             {1.0, QSize(595, 842)}, {2.0, QSize(1190, 1684)}, {0.25, QSize(149, 211)}}) {
        const Result<QImage> image = reader.renderPage(sample, 2, scale);
        ASSERT_TRUE(image) << image.error().message.toStdString();
        EXPECT_NEAR(image->width(), size.width(), 1) << scale;
        EXPECT_NEAR(image->height(), size.height(), 1) << scale;
        EXPECT_TRUE(pageLooksRight(image, 2)) << scale;
    }
    for (const double scale : {0.0, -1.0, std::nan(""), 1000.0}) {
        const Result<QImage> image = reader.renderPage(sample, 1, scale);
        ASSERT_FALSE(image) << scale;
        EXPECT_FALSE(image.error().message.isEmpty());
    }
}

TEST_F(PopplerDocumentReaderTest, PagesOutsideTheDocumentAreNamed) {
    for (const int page : {0, 4, -1})
        EXPECT_EQ(reader.renderPage(sample, page, 1).error().message,
                  QStringLiteral("The document has 3 pages; there is no page %1.").arg(page));
    const QString single = folder.filePath("single.pdf");
    writeSamplePdf(single, 1);
    EXPECT_EQ(*reader.pageCount(single), 1);
    EXPECT_EQ(reader.renderPage(single, 2, 1).error().message,
              QStringLiteral("The document has 1 page; there is no page 2."));
}

TEST_F(PopplerDocumentReaderTest, UnreadableFilesAreExplained) {
    writeFile(folder.filePath("notes.pdf"), "Meeting notes: ship it on Friday.\n");
    writeFile(folder.filePath("locked.pdf"), passwordProtectedPdf());
    writeFile(folder.filePath("notes.txt"), "Not a document at all.\n");
    ASSERT_TRUE(QDir(folder.path()).mkdir("folder.pdf"));
    const std::vector<std::pair<QString, QString>> cases{
        {"missing.pdf", "“missing.pdf” does not exist."},
        {"missing.docx", "“missing.docx” does not exist."},
        {"notes.pdf", "“notes.pdf” is not a PDF Pictavia can read."},
        {"folder.pdf", "“folder.pdf” is not a PDF Pictavia can read."},
        {"notes.txt", "“notes.txt” is not a document Pictavia can read."},
        {"locked.pdf", "“locked.pdf” is protected by a password, so Pictavia cannot open it."}};
    for (const auto& [name, sentence] : cases) {
        SCOPED_TRACE(name.toStdString());
        const Result<int> pages = reader.pageCount(folder.filePath(name));
        ASSERT_FALSE(pages);
        EXPECT_EQ(pages.error().message, sentence);
        const Result<QImage> image = reader.renderPage(folder.filePath(name), 1, 1);
        ASSERT_FALSE(image);
        EXPECT_EQ(image.error().message, sentence);
    }
}

TEST_F(PopplerDocumentReaderTest, WordFilesWithoutLibreOfficeAskForIt) {
    const ScopedPath noOffice(emptyFolder());
    const QString sentence =
        QStringLiteral("Word documents need LibreOffice to be read: install the libreoffice-writer package.");
    for (const char* name : {"letter.docx", "letter.doc", "letter.rtf", "letter.odt"}) {
        writeFile(folder.filePath(name), "{\\rtf1\\ansi Dear reader,\\par}");
        const Result<int> pages = reader.pageCount(folder.filePath(name));
        ASSERT_FALSE(pages) << name;
        EXPECT_EQ(pages.error().message, sentence);
        const Result<QImage> image = reader.renderPage(folder.filePath(name), 1, 1);
        ASSERT_FALSE(image) << name;
        EXPECT_EQ(image.error().message, sentence);
    }
    // PDFs need no LibreOffice.
    EXPECT_TRUE(reader.pageCount(sample));
}

TEST_F(PopplerDocumentReaderTest, WordFilesAreConvertedIntoTheCacheOncePerVersion) {
    const QString log = folder.filePath("office.log");
    writeFakeOffice(folder.filePath("bin"), sample, log);
    const ScopedPath fakeOffice(folder.filePath("bin") + ":/usr/bin:/bin");
    const QString letter = folder.filePath("Letter to the bank.docx");
    writeFile(letter, "first draft");

    ASSERT_EQ(*reader.pageCount(letter), 3);
    for (int page = 1; page <= 3; ++page)
        EXPECT_TRUE(pageLooksRight(reader.renderPage(letter, page, 0.25), page));
    ASSERT_EQ(lines(log).size(), 1);
    const QString call = lines(log).first();
    const QString cache = folder.filePath("cache");
    // A profile of its own, headless, into a folder of the cache, the source named in full.
    EXPECT_TRUE(call.startsWith("-env:UserInstallation=file:///")) << call.toStdString();
    EXPECT_TRUE(call.contains(" --headless ")) << call.toStdString();
    EXPECT_TRUE(call.contains(" --convert-to pdf --outdir " + cache + "/")) << call.toStdString();
    EXPECT_TRUE(call.endsWith(" " + letter)) << call.toStdString();
    EXPECT_EQ(QDir(cache).entryList(QDir::Files), QStringList{QDir(cache).entryList({"*.pdf"}).value(0)});
    EXPECT_EQ(QDir(cache).entryList(QDir::Dirs | QDir::NoDotAndDotDot), QStringList());

    // Another reader finds the conversion too; a changed file is converted again and
    // replaces its old conversion.
    PopplerDocumentReader another(cache);
    EXPECT_EQ(*another.pageCount(letter), 3);
    EXPECT_EQ(lines(log).size(), 1);
    writeFile(letter, "second draft, longer");
    EXPECT_EQ(*reader.pageCount(letter), 3);
    EXPECT_EQ(lines(log).size(), 2);
    EXPECT_EQ(QDir(cache).entryList({"*.pdf"}).size(), 1);
    const QString other = folder.filePath("other.odt");
    writeFile(other, "another document");
    EXPECT_TRUE(reader.pageCount(other));
    EXPECT_EQ(QDir(cache).entryList({"*.pdf"}).size(), 2);

    // Threads asking for the same new file at once wait for one conversion.
    const QString shared = folder.filePath("shared.doc");
    writeFile(shared, "asked for by many");
    const QList<int> counts = QtConcurrent::blockingMapped(QList<int>(6, 1), [&](int) {
        const Result<int> pages = reader.pageCount(shared);
        return pages ? *pages : -1;
    });
    EXPECT_EQ(counts, QList<int>(6, 3));
    EXPECT_EQ(lines(log).size(), 4);

    const QString broken = folder.filePath("broken.rtf");
    writeFile(broken, "{\\rtf1 not really");
    EXPECT_EQ(reader.pageCount(broken).error().message,
              QStringLiteral("LibreOffice could not convert “broken.rtf” to PDF."));
    EXPECT_EQ(QDir(cache).entryList({"*.pdf"}).size(), 3);
}

TEST_F(PopplerDocumentReaderTest, WordFilesRenderThroughTheInstalledLibreOffice) {
    if (QStandardPaths::findExecutable("soffice").isEmpty()) GTEST_SKIP() << "LibreOffice is not installed";
    const QString letter = folder.filePath("letter.rtf");
    writeFile(letter, "{\\rtf1\\ansi\\fs96 Dear reader,\\par}");
    const Result<QImage> page = reader.renderPage(letter, 1, 0.5);
    ASSERT_TRUE(page) << page.error().message.toStdString();
    EXPECT_EQ(*reader.pageCount(letter), 1);
    EXPECT_TRUE(hasColour(*page, {0.98, 0.98}, white));
    int ink = 0;
    for (int y = 0; y < page->height(); ++y)
        for (int x = 0; x < page->width(); ++x)
            ink += qGray(page->pixel(x, y)) < 128;
    EXPECT_GT(ink, 50);
}

TEST_F(PopplerDocumentReaderTest, PagesRenderOnManyThreadsAtOnce) {
    QList<int> pages;
    for (int i = 0; i < 18; ++i)
        pages << 1 + i % 3;
    // One reader for every thread, as the application shares the installed one.
    const QList<bool> right = QtConcurrent::blockingMapped(pages, [this](int page) {
        return bool(pageLooksRight(reader.renderPage(sample, page, 0.25), page));
    });
    EXPECT_EQ(right.count(true), pages.size());
}

TEST_F(PopplerDocumentReaderTest, DamagedPdfsNeverCrash) {
    QFile original(sample);
    ASSERT_TRUE(original.open(QIODevice::ReadOnly));
    const QByteArray bytes = original.readAll();
    const QList<QByteArray> damaged =
        testsupport::damagedCopies(bytes, {0, 9, 400, bytes.size() / 2, bytes.size() - 30}, 20, 8, 88172645u);
    for (qsizetype i = 0; i < damaged.size(); ++i) {
        const QString file = folder.filePath(QStringLiteral("damaged-%1.pdf").arg(i));
        writeFile(file, damaged[i]);
        SCOPED_TRACE(file.toStdString());
        const Result<int> pages = reader.pageCount(file);
        EXPECT_TRUE(pages || !pages.error().message.isEmpty());
        for (int page = 1; page <= 3; ++page) {
            const Result<QImage> image = reader.renderPage(file, page, 0.25);
            if (image)
                EXPECT_FALSE(image->isNull());
            else
                EXPECT_FALSE(image.error().message.isEmpty());
        }
    }
}
