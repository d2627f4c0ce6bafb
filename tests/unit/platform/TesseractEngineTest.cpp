#include "platform/ocr/TesseractEngine.h"
#include "platform/ocr/ZxingBarcodeReader.h"

#include <QFont>
#include <QFontMetricsF>
#include <QPainter>

#include <ZXing/BitMatrix.h>
#include <ZXing/MultiFormatWriter.h>

#include <gtest/gtest.h>

#include <thread>

using platform::RecognitionLevel;
using platform::RecognizedLine;
using platform::ocr::TesseractEngine;
using platform::ocr::ZxingBarcodeReader;

namespace {

struct Theme {
    QColor background, text;
};
const Theme light{QColor("#ffffff"), QColor("#1d1d1f")};
const Theme dark{QColor("#1e1f22"), QColor("#dfe1e5")};

// A strip of interface text: one line per entry, 13 px DejaVu Sans at the given scale. Keeps
// where each line's glyphs landed, in device pixels.
struct Rendered {
    QImage image;
    QList<QRectF> inkRects;
};

Rendered renderLines(const QStringList& lines, const Theme& theme, int scale = 1, int pixelSize = 13) {
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(pixelSize);
    const QFontMetricsF metrics(font);
    double width = 0;
    for (const QString& line : lines)
        width = std::max(width, metrics.horizontalAdvance(line));
    const double lineHeight = pixelSize * 1.8;
    Rendered out;
    out.image =
        QImage(int(width + 40) * scale, int(lineHeight * lines.size() + 20) * scale, QImage::Format_RGB32);
    out.image.setDevicePixelRatio(scale);
    out.image.fill(theme.background);
    QPainter painter(&out.image);
    painter.setFont(font);
    painter.setPen(theme.text);
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QPointF baseline(20, 10 + lineHeight * i + lineHeight * 0.7);
        painter.drawText(baseline, lines[i]);
        const QRectF ink = metrics.tightBoundingRect(lines[i]).translated(baseline);
        out.inkRects.append(QRectF(ink.topLeft() * scale, ink.size() * scale));
    }
    return out;
}

// Rows whose parts stand where an interface puts them: at x points from the left, with wide
// gaps between them. Keeps each part's ink, in device pixels, in the order given.
struct Part {
    QString text;
    double x = 0;
};

Rendered renderRows(const QList<QList<Part>>& rows, const Theme& theme, int scale = 1, int pixelSize = 13) {
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(pixelSize);
    const QFontMetricsF metrics(font);
    double width = 0;
    for (const QList<Part>& row : rows)
        for (const Part& part : row)
            width = std::max(width, part.x + metrics.horizontalAdvance(part.text));
    const double lineHeight = pixelSize * 1.8;
    Rendered out;
    out.image =
        QImage(int(width + 20) * scale, int(lineHeight * rows.size() + 20) * scale, QImage::Format_RGB32);
    out.image.setDevicePixelRatio(scale);
    out.image.fill(theme.background);
    QPainter painter(&out.image);
    painter.setFont(font);
    painter.setPen(theme.text);
    for (qsizetype i = 0; i < rows.size(); ++i)
        for (const Part& part : rows[i]) {
            const QPointF baseline(part.x, 10 + lineHeight * i + lineHeight * 0.7);
            painter.drawText(baseline, part.text);
            const QRectF ink = metrics.tightBoundingRect(part.text).translated(baseline);
            out.inkRects.append(QRectF(ink.topLeft() * scale, ink.size() * scale));
        }
    return out;
}

// The lines top to bottom, as a std::string that failures print legibly.
std::string joined(const QList<RecognizedLine>& lines) {
    QList<RecognizedLine> sorted = lines;
    std::sort(sorted.begin(), sorted.end(), [](const RecognizedLine& a, const RecognizedLine& b) {
        return a.box.center().y() > b.box.center().y();
    });
    QStringList texts;
    for (const RecognizedLine& line : sorted)
        texts.append(line.text);
    return texts.join(QLatin1Char('\n')).toStdString();
}

// A normalised box (origin bottom left) in the image's pixels (origin top left).
QRectF inPixels(const QRectF& box, const QImage& image) {
    const double w = image.width(), h = image.height();
    return QRectF(box.x() * w, (1 - box.y() - box.height()) * h, box.width() * w, box.height() * h);
}

class TesseractEngineTest : public ::testing::Test {
protected:
    // One engine for the suite: Tesseract takes a moment to start.
    static TesseractEngine& engine() {
        static TesseractEngine instance;
        return instance;
    }

    static QList<RecognizedLine>
    read(const QImage& image, RecognitionLevel level = RecognitionLevel::accurate, bool correction = true) {
        auto result = engine().recognize(image, level, correction);
        EXPECT_TRUE(result.ok()) << (result.ok() ? "" : result.error().message.toStdString());
        return result.ok() ? *result : QList<RecognizedLine>{};
    }
};

const QStringList interfaceText{"Display name", "Save changes", "m.hamilton@example.com",
                                "Card 4539 1488 0343 6467"};

TEST_F(TesseractEngineTest, ReadsInterfaceTextInBothThemesAtBothScales) {
    for (const Theme& theme : {light, dark})
        for (int scale : {1, 2}) {
            SCOPED_TRACE(::testing::Message()
                         << (&theme == &light ? "light" : "dark") << " at " << scale << "x");
            EXPECT_EQ(joined(read(renderLines(interfaceText, theme, scale).image)),
                      interfaceText.join('\n').toStdString());
        }
    // Single characters, which Tesseract's sparse layout alone drops.
    EXPECT_EQ(joined(read(renderLines({"Unread", "7", "Pinned", "A"}, light).image)), "Unread\n7\nPinned\nA");
    // The fast level, and a call without language correction, give the same plain words.
    const QImage image = renderLines({"Open Recent", "Export as PDF"}, dark).image;
    EXPECT_EQ(joined(read(image, RecognitionLevel::fast)), "Open Recent\nExport as PDF");
    EXPECT_EQ(joined(read(image, RecognitionLevel::accurate, false)), "Open Recent\nExport as PDF");
}

TEST_F(TesseractEngineTest, BoxesCoverTheirCharactersInOriginalPixelsFromTheBottomLeft) {
    for (int scale : {1, 2}) {
        SCOPED_TRACE(::testing::Message() << scale << "x");
        // Dark at 2x: the boxes come back through inversion and no scaling alike.
        const Rendered rendered =
            renderLines({"Screenshot saved", "Copied to the clipboard"}, scale == 1 ? light : dark, scale);
        const QList<RecognizedLine> lines = read(rendered.image);
        ASSERT_EQ(lines.size(), 2);
        for (const RecognizedLine& line : lines) {
            ASSERT_EQ(line.characterBoxes.size(), line.text.size());
            EXPECT_GT(line.confidence, 0.5f);
            EXPECT_LE(line.confidence, 1.0f);
            const int index = line.text.startsWith("Screenshot") ? 0 : 1;
            const QRectF ink = rendered.inkRects[index];
            const QRectF box = inPixels(line.box, rendered.image);
            const double slack = 2.0 * scale;
            EXPECT_NEAR(box.left(), ink.left(), slack);
            EXPECT_NEAR(box.right(), ink.right(), slack);
            EXPECT_NEAR(box.top(), ink.top(), slack);
            EXPECT_NEAR(box.bottom(), ink.bottom(), slack);
            double previousRight = 0;
            for (qsizetype i = 0; i < line.text.size(); ++i) {
                const QRectF c = line.characterBoxes[i];
                if (line.text[i] == QLatin1Char(' ')) {
                    EXPECT_TRUE(c.isEmpty());
                    continue;
                }
                ASSERT_FALSE(c.isEmpty()) << i;
                EXPECT_TRUE(line.box.contains(c)) << i;
                EXPECT_GE(c.x() + 1e-6, previousRight - 1.0 / rendered.image.width())
                    << "left to right at " << i;
                previousRight = c.right();
            }
        }
        const auto first = std::find_if(lines.begin(), lines.end(),
                                        [](const RecognizedLine& l) { return l.text == "Screenshot saved"; });
        const auto second = std::find_if(lines.begin(), lines.end(), [](const RecognizedLine& l) {
            return l.text == "Copied to the clipboard";
        });
        ASSERT_NE(first, lines.end());
        ASSERT_NE(second, lines.end());
        // The origin is at the bottom: the upper line has the greater y.
        EXPECT_GT(first->box.y(), second->box.bottom());
        // A word's box spans its glyphs: "saved" starts after "Screenshot ".
        const QRectF saved = inPixels(*first->boxFor(11, 5), rendered.image);
        QFont font(QStringLiteral("DejaVu Sans"));
        font.setPixelSize(13);
        const double start = (20 + QFontMetricsF(font).horizontalAdvance("Screenshot ")) * scale;
        EXPECT_NEAR(saved.left(), start, 2.0 * scale);
        EXPECT_NEAR(saved.right(), rendered.inkRects[0].right(), 2.0 * scale);
    }
}

// A menu bar, a status bar with parts pushed to the right and two columns side by side: rows
// Tesseract returns in pieces, each piece of a row on its own line, right parts sometimes first.
const QList<QList<Part>> wideGapRows{
    {{"File", 10}, {"Edit", 80}, {"View", 150}, {"Window", 220}, {"Help", 330}},
    {{"Ready", 10}, {"Brightness 70%", 330}, {"Volume 35%", 470}, {"5G", 590}},
    {{"Owner: Ana Silva", 10}, {"Size: 4.2 MB", 300}},
    {{"Created: 9 Jun 2022", 10}, {"Status: Draft", 300}},
};
const char* const wideGapText = "File Edit View Window Help\n"
                                "Ready Brightness 70% Volume 35% 5G\n"
                                "Owner: Ana Silva Size: 4.2 MB\n"
                                "Created: 9 Jun 2022 Status: Draft";

TEST_F(TesseractEngineTest, RowsWithWideGapsComeBackWholeInReadingOrder) {
    for (const Theme& theme : {light, dark})
        for (int pixelSize : {11, 13}) {
            SCOPED_TRACE(::testing::Message()
                         << (&theme == &light ? "light" : "dark") << " at " << pixelSize << " px");
            const QList<RecognizedLine> lines = read(renderRows(wideGapRows, theme, 1, pixelSize).image);
            EXPECT_EQ(lines.size(), 4);
            EXPECT_EQ(joined(lines), wideGapText);
        }
}

TEST_F(TesseractEngineTest, BoxesOfAJoinedRowMapBackToEachPartInOriginalPixels) {
    for (int scale : {1, 2}) {
        SCOPED_TRACE(::testing::Message() << scale << "x");
        const Rendered rendered = renderRows({wideGapRows[1]}, scale == 1 ? dark : light, scale);
        const QList<RecognizedLine> lines = read(rendered.image);
        ASSERT_EQ(lines.size(), 1);
        const RecognizedLine& row = lines.first();
        ASSERT_EQ(row.text, "Ready Brightness 70% Volume 35% 5G");
        ASSERT_EQ(row.characterBoxes.size(), row.text.size());
        qsizetype start = 0;
        for (qsizetype i = 0; i < wideGapRows[1].size(); ++i) {
            const QString part = wideGapRows[1][i].text;
            start = row.text.indexOf(part, start);
            const auto box = row.boxFor(start, part.size());
            ASSERT_TRUE(box) << part.toStdString();
            const QRectF inImage = inPixels(*box, rendered.image), ink = rendered.inkRects[i];
            const double slack = 2.0 * scale;
            EXPECT_NEAR(inImage.left(), ink.left(), slack) << part.toStdString();
            EXPECT_NEAR(inImage.right(), ink.right(), slack) << part.toStdString();
            EXPECT_NEAR(inImage.top(), ink.top(), slack) << part.toStdString();
            EXPECT_NEAR(inImage.bottom(), ink.bottom(), slack) << part.toStdString();
            start += part.size();
        }
    }
}

TEST_F(TesseractEngineTest, ImagesWithoutTextGiveNoLines) {
    QImage blank(400, 300, QImage::Format_RGB32);
    blank.fill(QColor("#2b2d30"));
    EXPECT_TRUE(read(blank).isEmpty());
    blank.fill(Qt::white);
    EXPECT_TRUE(read(blank).isEmpty());
    EXPECT_TRUE(read(QImage()).isEmpty());
    QImage dot(1, 1, QImage::Format_RGB32);
    dot.fill(Qt::black);
    EXPECT_TRUE(read(dot).isEmpty());
}

TEST_F(TesseractEngineTest, SeveralThreadsReadAtOnce) {
    const QImage first = renderLines({"Downloads"}, light).image,
                 second = renderLines({"Shared with me"}, dark).image;
    std::string a, b;
    std::thread one([&] { a = joined(read(first)); });
    std::thread two([&] { b = joined(read(second)); });
    one.join();
    two.join();
    EXPECT_EQ(a, "Downloads");
    EXPECT_EQ(b, "Shared with me");
}

TEST(TesseractEngineSetupTest, BandsReadByThreadsGiveTheLinesOfTheWholeImage) {
    TesseractEngine::Options options;
    options.threads = 2;
    options.pixelsPerThread = 20'000; // a few lines each
    TesseractEngine banded(options);
    const QStringList text{"General", "Appearance", "Shortcuts", "Advanced", "Storage used", "Upgrade plan"};
    const Rendered rendered = renderLines(text, dark);
    const auto lines = banded.recognize(rendered.image, RecognitionLevel::accurate, true);
    ASSERT_TRUE(lines.ok());
    EXPECT_EQ(joined(*lines), text.join('\n').toStdString());
    for (const RecognizedLine& line : *lines) {
        const QRectF ink = rendered.inkRects[text.indexOf(line.text)];
        EXPECT_NEAR(inPixels(line.box, rendered.image).center().y(), ink.center().y(), 2.0)
            << line.text.toStdString();
    }
}

TEST(TesseractEngineSetupTest, AMissingModelIsAClearError) {
    TesseractEngine::Options options;
    options.dataPath = QStringLiteral("/nonexistent/tessdata");
    TesseractEngine engine(options);
    const auto result =
        engine.recognize(renderLines({"Hello"}, light).image, RecognitionLevel::accurate, true);
    ASSERT_FALSE(result.ok());
    EXPECT_EQ(result.error().message,
              "Text recognition is not available: the English model for Tesseract is not installed.");
}

// A code drawn by ZXing's writer onto a light or dark window with some text around it.
QImage screenWithCode(ZXing::BarcodeFormat format, const std::string& payload, QSize size, bool inverted) {
    const ZXing::BitMatrix bits =
        ZXing::MultiFormatWriter(format).setMargin(0).encode(payload, size.width(), size.height());
    QImage screen(size.width() + 200, size.height() + 120, QImage::Format_RGB32);
    const QColor background = inverted ? QColor("#1e1f22") : QColor("#f6f6f6");
    const QColor ink = inverted ? QColor("#e8e8e8") : QColor("#111111");
    screen.fill(background);
    QPainter painter(&screen);
    painter.setPen(ink);
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(13);
    painter.setFont(font);
    painter.drawText(QPointF(20, 30), QStringLiteral("Scan to pay"));
    for (int y = 0; y < bits.height(); ++y)
        for (int x = 0; x < bits.width(); ++x)
            if (bits.get(x, y)) painter.fillRect(QRect(100 + x, 60 + y, 1, 1), ink);
    return screen;
}

TEST(ZxingBarcodeReaderTest, ReadsQrCodesAndLinearBarcodesInScreenshots) {
    ZxingBarcodeReader reader;
    EXPECT_EQ(reader.read(screenWithCode(ZXing::BarcodeFormat::QRCode, "https://pictavia.invalid/pay?id=42",
                                         QSize(150, 150), false)),
              QStringList{"https://pictavia.invalid/pay?id=42"});
    EXPECT_EQ(
        reader.read(screenWithCode(ZXing::BarcodeFormat::Code128, "PICT-2024-0042", QSize(260, 60), false)),
        QStringList{"PICT-2024-0042"});
    // Light on dark, as dark themes draw them.
    EXPECT_EQ(reader.read(screenWithCode(ZXing::BarcodeFormat::QRCode, "WIFI:S:Office;T:WPA;P:secret;;",
                                         QSize(150, 150), true)),
              QStringList{"WIFI:S:Office;T:WPA;P:secret;;"});
    QImage plain(300, 200, QImage::Format_RGB32);
    plain.fill(Qt::white);
    EXPECT_TRUE(reader.read(plain).isEmpty());
    EXPECT_TRUE(reader.read(QImage()).isEmpty());
}

} // namespace
