#include "app/Prefs.h"

#include "support/FakePlatform.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

using PrefsTest = testsupport::PlatformTest;

QByteArray fileText() {
    QFile file(Prefs::filePath());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeFile(const QByteArray& text) {
    QDir().mkpath(QFileInfo(Prefs::filePath()).absolutePath());
    QFile file(Prefs::filePath());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(text);
}

TEST_F(PrefsTest, DefaultsAreRegisteredInOrderAndNeverWritten) {
    const auto& table = Prefs::defaults();
    ASSERT_EQ(table.size(), 67);
    EXPECT_EQ(table.first().key, "imageFormat");
    EXPECT_EQ(table[61].key, "dockIcon");
    EXPECT_EQ(table.last().key, "menuBar.show.agents");

    EXPECT_EQ(Prefs::filenameTemplate(), "Pictavia {date} at {time}");
    EXPECT_EQ(Prefs::saveDirectory(), QDir::homePath() + "/Desktop");
    EXPECT_DOUBLE_EQ(Prefs::real("jpegQuality"), 0.9);
    EXPECT_EQ(Prefs::integer("historyLimit"), 100);
    EXPECT_TRUE(Prefs::flag("menuBar.show.recording"));
    EXPECT_FALSE(Prefs::lastArea());

    Prefs::sync();
    EXPECT_FALSE(fileText().contains("imageFormat"));
}

TEST_F(PrefsTest, WrittenValuesReadBackAndReachTheFile) {
    Prefs::setValue("imageFormat", "webp");
    Prefs::setValue("captureCounter", 42);
    Prefs::setValue("copyToClipboard", false);
    Prefs::sync();
    EXPECT_EQ(Prefs::text("imageFormat"), "webp");
    EXPECT_EQ(Prefs::integer("captureCounter"), 42);
    EXPECT_FALSE(Prefs::flag("copyToClipboard"));
    const QByteArray text = fileText();
    EXPECT_TRUE(text.contains("imageFormat = webp")) << text.toStdString();
    EXPECT_TRUE(text.contains("copyToClipboard = false"));
}

TEST_F(PrefsTest, HandWrittenFileIsReadAndItsCommentsSurvive) {
    writeFile("; chosen by hand\n"
              "saveDirectory = ~/Pictures/Shots\n"
              "copyToClipboard = no\n"
              "historyLimit = lots\n");
    EXPECT_EQ(Prefs::saveDirectory(), QDir::homePath() + "/Pictures/Shots");
    EXPECT_FALSE(Prefs::flag("copyToClipboard"));
    EXPECT_EQ(Prefs::integer("historyLimit"), 100); // not a number: the default

    Prefs::setValue("imageFormat", "jpg");
    Prefs::sync();
    EXPECT_TRUE(fileText().startsWith("; chosen by hand\nsaveDirectory = ~/Pictures/Shots\n"))
        << fileText().toStdString();
}

TEST_F(PrefsTest, ARewriteReplacesTheFileWholeAndKeepsADuplicatedKeysEarlierLine) {
    const QByteArray handWritten = "; mine\nhistoryLimit = 10\nodd line\r\nhistoryLimit=20\n";
    writeFile(handWritten);
    EXPECT_EQ(Prefs::integer("historyLimit"), 20); // the last line counts
    QFile before(Prefs::filePath());
    ASSERT_TRUE(before.open(QIODevice::ReadOnly)); // a reader that opened it earlier

    Prefs::setValue("historyLimit", 30);
    Prefs::sync();
    EXPECT_EQ(fileText(), "; mine\nhistoryLimit = 10\nodd line\r\nhistoryLimit = 30\n");
    EXPECT_EQ(Prefs::integer("historyLimit"), 30);
    // Written beside and renamed over: the earlier reader still sees the whole old file,
    // and nothing is left beside it.
    EXPECT_EQ(before.readAll(), handWritten);
    EXPECT_EQ(QDir(QFileInfo(Prefs::filePath()).absolutePath()).entryList(QDir::Files),
              QStringList{"pictavia.conf"});
}

TEST_F(PrefsTest, EnumerationsFallBackToTheirDefaults) {
    Prefs::setValue("gifQuality", "grainy");
    Prefs::setValue("postActionScope", "images");
    Prefs::setValue("recMaxResolution", "fullHD");
    EXPECT_EQ(Prefs::gifQuality(), GIFQuality::balanced);
    EXPECT_EQ(Prefs::postActionScope(), PostActionScope::images);
    EXPECT_EQ(Prefs::recMaxResolution(), RecordingResolution::fullHD);
    EXPECT_EQ(Prefs::qaoSize(), QAOSize::medium);
    EXPECT_EQ(Prefs::postAction(), PostActionKind::none);
    EXPECT_EQ(Prefs::scrollAxis(), ScrollAxis::automatic);
    EXPECT_EQ(Prefs::recCodec(), RecordingCodec::h264);
}

TEST_F(PrefsTest, AreasAreStoredAsFourNumbers) {
    Prefs::setLastArea(Prefs::Area{QRectF(10, 20.5, 300, 0.25), 77});
    EXPECT_EQ(Prefs::text("lastAreaRect"), "10,20.5,300,0.25");
    EXPECT_EQ(Prefs::lastArea(), (Prefs::Area{QRectF(10, 20.5, 300, 0.25), 77}));

    Prefs::setValue("lastAreaRect", "1,2,3");
    EXPECT_FALSE(Prefs::lastArea());
    Prefs::setValue("lastAreaRect", "1,2,3,x");
    EXPECT_FALSE(Prefs::lastArea());

    Prefs::setLastRecordingArea(Prefs::Area{QRectF(0, 0, 640, 480), 3});
    EXPECT_EQ(Prefs::lastRecordingArea()->displayID, 3u);
    Prefs::setLastRecordingArea(std::nullopt);
    EXPECT_FALSE(Prefs::lastRecordingArea());
}

} // namespace
