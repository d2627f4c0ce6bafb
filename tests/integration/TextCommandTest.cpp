// pictavia text and pictavia scan on image files, with the real recogniser: what scripts
// and people get back, and the failures they are told about.

#include "TextImage.h"
#include "XServer.h"

#include <QFont>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPainter>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

using namespace testsupport;

class TextCommandTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(dir.isValid()); }

    std::string render(const QStringList& lines) { return saveTextImage(dir.path(), lines); }

    ProcessOutput pictavia(const std::vector<std::string>& args) {
        return run(PICTAVIA_BIN, args, {{"HOME", dir.path().toStdString()}});
    }
    static ProcessOutput run(const std::string& program, const std::vector<std::string>& args,
                             const Environment& environment) {
        return runToEnd(program, args, environment);
    }

    QTemporaryDir dir;
};

TEST_F(TextCommandTest, TextLinesAndPhrases) {
    const std::string file = render({"Quarterly report", "Send it to ana.lopez@example.org"});
    const ProcessOutput text = pictavia({"text", file});
    ASSERT_EQ(text.exitCode, 0) << text.err;
    EXPECT_EQ(text.out, "Quarterly report\nSend it to ana.lopez@example.org\n");

    const ProcessOutput found = pictavia({"text", file, "--find", "report"});
    ASSERT_EQ(found.exitCode, 0) << found.err;
    // "x,y,w,h<TAB>report": the word sits on the first line, right of "Quarterly".
    const QStringList fields = QString::fromStdString(found.out).trimmed().split('\t');
    ASSERT_EQ(fields.size(), 2) << found.out;
    EXPECT_EQ(fields[1], "report");
    const QStringList box = fields[0].split(',');
    EXPECT_GT(box[0].toInt(), 90);
    EXPECT_NEAR(box[1].toInt(), 28, 8);

    EXPECT_EQ(pictavia({"text", file, "--find", "invoice"}).exitCode, 1);
    const ProcessOutput missing = pictavia({"text", dir.filePath("none.png").toStdString()});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_NE(missing.err.find("cannot open"), std::string::npos);
    EXPECT_EQ(pictavia({"text"}).exitCode, 2);
}

TEST_F(TextCommandTest, RowsWithWideGapsReadAsOneLineEach) {
    // A menu bar and a status bar with its parts pushed to the right, 13 px as on screen.
    QImage image(700, 80, QImage::Format_RGB32);
    image.fill(QColor(246, 246, 246));
    QPainter p(&image);
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(13);
    p.setFont(font);
    p.setPen(QColor(30, 30, 30));
    const QList<std::pair<QPoint, QString>> parts{{{10, 28}, "File"},        {{80, 28}, "Edit"},
                                                  {{150, 28}, "View"},       {{230, 28}, "Help"},
                                                  {{10, 60}, "Ready"},       {{360, 60}, "Brightness 70%"},
                                                  {{500, 60}, "Volume 35%"}, {{630, 60}, "5G"}};
    for (const auto& [at, text] : parts)
        p.drawText(at, text);
    p.end();
    const std::string file = dir.filePath(QStringLiteral("bars.png")).toStdString();
    ASSERT_TRUE(image.save(QString::fromStdString(file)));

    const ProcessOutput text = pictavia({"text", file});
    ASSERT_EQ(text.exitCode, 0) << text.err;
    EXPECT_EQ(text.out, "File Edit View Help\nReady Brightness 70% Volume 35% 5G\n");

    // A phrase across the gap is found, its box from the start of one part to the end of the
    // next, in the image's pixels.
    const ProcessOutput found = pictavia({"text", file, "--find", "70% Volume"});
    ASSERT_EQ(found.exitCode, 0) << found.err;
    const QStringList box = QString::fromStdString(found.out).section('\t', 0, 0).split(',');
    ASSERT_EQ(box.size(), 4) << found.out;
    const QFontMetrics metrics(font);
    const int left = 360 + metrics.horizontalAdvance("Brightness "),
              right = 500 + metrics.horizontalAdvance("Volume");
    EXPECT_NEAR(box[0].toInt(), left, 3);
    EXPECT_NEAR(box[0].toInt() + box[2].toInt(), right, 3);
    EXPECT_NEAR(box[1].toInt() + box[3].toInt(), 60, 3); // down to the baseline
}

TEST_F(TextCommandTest, ScanReportsKindsAndBoxes) {
    const std::string file = render({"Contact: ana.lopez@example.org", "Card 4111 1111 1111 1111"});
    const ProcessOutput scan = pictavia({"scan", file, "--json"});
    ASSERT_EQ(scan.exitCode, 0) << scan.err;
    const QJsonArray hits = QJsonDocument::fromJson(QByteArray::fromStdString(scan.out)).array();
    QStringList kinds;
    for (const auto& hit : hits)
        kinds << hit.toObject()["kind"].toString();
    EXPECT_EQ(kinds, (QStringList{"email", "card number"})) << scan.out;
    EXPECT_GT(hits[0].toObject()["rect"].toObject()["x"].toInt(), 60);
}

} // namespace
